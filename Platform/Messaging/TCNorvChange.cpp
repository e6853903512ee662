// SPDX-License-Identifier: MIT
// Ends the way of a change that is not sent.
#include "Platform/Messaging/TCNorvChange.h"

#include <utility>

#include "Platform/Messaging/Proxy/TCOwnChanges.h"

TCNorvChange::TCNorvChange(TCNorvChange&& Other) noexcept
    : m_Changes(std::exchange(Other.m_Changes, nullptr)), m_Mark(Other.m_Mark) {}

TCNorvChange::~TCNorvChange() {
  if (m_Changes != nullptr) {
    m_Changes->Unmark(m_Mark);
  }
}

// It is on its way in mail `Number` from now on.
void TCNorvChange::Sent(std::uint64_t Number) {
  m_Changes->Sent(m_Mark, Number);
  m_Changes = nullptr;
}
