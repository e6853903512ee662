// SPDX-License-Identifier: MIT
// The first use of what belongs to the process.
#include "CommonProperties/Store/TCProcessState.h"

namespace Property {

std::atomic<TCProcessState*> TCProcessState::m_Made{nullptr};

TCProcessState& TCProcessState::Make() {
  static TCProcessState& Result = *new TCProcessState;
  m_Made.store(&Result, std::memory_order_release);
  return Result;
}

}  // namespace Property
