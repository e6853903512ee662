// SPDX-License-Identifier: MIT
// Asks the account of changes on their way.
#include "Platform/Messaging/TCNorvMailInHand.h"

#include "Platform/Messaging/Proxy/TCOwnChanges.h"

bool TCNorvMailInHand::IsOvertaken(std::string const& Key) const {
  if (m_Changes == nullptr) {
    return false;
  }
  return m_IsAnswer ? m_Changes->IsHeld(m_Stream, Key)
                    : m_Held.count(Key) != 0 || m_Changes->IsOnWay(m_Stream, Key);
}

bool TCNorvMailInHand::IsAnyOvertaken() const {
  return m_Changes != nullptr && (!m_Held.empty() || !m_Changes->IsEmpty());
}
