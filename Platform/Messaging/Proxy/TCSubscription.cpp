// SPDX-License-Identifier: MIT
// Follows the published mails of a class without losing one.
#include "Platform/Messaging/Proxy/TCSubscription.h"

namespace {

constexpr std::uint64_t kNoEpoch = 1;  // of no router's run: all that is remembered comes first

}  // namespace

void TCSubscription::Want() {
  if (m_State == TEState::eUnwanted) {
    m_State = TEState::eWanted;
  }
}

void TCSubscription::WantRemembered() {
  Want();
  m_Received.Epoch = kNoEpoch;
}

void TCSubscription::NoteRequested() {
  m_State = m_State == TEState::eGap ? TEState::eGapRequested : TEState::eComing;
}

void TCSubscription::Restart() {
  if (m_State != TEState::eUnwanted) {
    m_State = TEState::eWanted;
  }
}

bool TCSubscription::BeginAt(Wire::TSPosition const& Position) {
  if (m_State != TEState::eUnwanted || m_Received.Epoch == Position.Epoch) {
    return false;
  }
  m_Received = Position;
  return true;
}

TCSubscription::TEVerdict TCSubscription::Admit(Wire::TSPosition const& Position,
                                                std::uint64_t Previous, bool StandsForAll) {
  if (!StandsForAll && Position.Epoch == m_Received.Epoch) {
    if (Position.Sequence <= m_Received.Sequence) {
      return TEVerdict::eHad;
    }
    if (Previous > m_Received.Sequence) {
      if (IsMissing()) {
        return TEVerdict::eStillGap;
      }
      m_State = TEState::eGap;
      return TEVerdict::eGap;
    }
  }
  m_State = m_State == TEState::eGap            ? TEState::eWanted
            : m_State == TEState::eGapRequested ? TEState::eComing
                                                : m_State;
  m_Received = Position;
  return TEVerdict::eNext;
}

void TCSubscription::TakeBack(Wire::TSPosition const& Former) {
  m_Received = Former;
}

void TCSubscription::AskAgain() {
  if (!IsMissing()) {
    m_State = TEState::eGap;
  }
}
