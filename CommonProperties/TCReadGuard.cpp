// SPDX-License-Identifier: MIT
// Holds the store's lock, and knows for each thread whether a guard does.
#include "CommonProperties/TCReadGuard.h"

#include "CommonProperties/TCPropertyCollection.h"

namespace Property {

namespace {

thread_local int t_Guards = 0;

}  // namespace

TCReadGuard::TCReadGuard() noexcept {
  TCPropertyCollection::m_CSection.Enter();
  ++t_Guards;
}

TCReadGuard::~TCReadGuard() {
  --t_Guards;
  TCPropertyCollection::m_CSection.Leave();
}

bool TCReadGuard::IsHeld() noexcept {
  return t_Guards != 0;
}

}  // namespace Property
