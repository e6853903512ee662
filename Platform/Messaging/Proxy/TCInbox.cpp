// SPDX-License-Identifier: MIT
// Lines up what has arrived.
#include "Platform/Messaging/Proxy/TCInbox.h"

#include <algorithm>
#include <utility>

bool TCInbox::TurnsAway() {
  bool const IsAway = IsDelivering() || IsHeldBy(std::this_thread::get_id());
  m_HasTurnedAway = m_HasTurnedAway || IsAway;
  return IsAway;
}

TCInbox::TSReceived TCInbox::Take() {
  TSReceived Received = std::move(m_Received.front());
  m_Received.pop_front();
  return Received;
}

void TCInbox::BeginDelivery(TSReceived const& Received, std::thread::id By) {
  m_DeliveredBy = By;
  m_InDelivery.reset();
  if (Received.Kind == TEKind::eCatchUp && !Received.Whole) {
    m_InDelivery = {Received.Stream, Received.Number};
  }
}

bool TCInbox::EndDelivery() {
  m_DeliveredBy = std::thread::id();
  return std::exchange(m_HasTurnedAway, false) && !IsEmpty();
}

void TCInbox::Release(std::thread::id Thread) {
  m_AnswersInHand.erase(std::find(m_AnswersInHand.begin(), m_AnswersInHand.end(), Thread));
}

bool TCInbox::IsHeldBy(std::thread::id Thread) const {
  return std::find(m_AnswersInHand.begin(), m_AnswersInHand.end(), Thread) != m_AnswersInHand.end();
}
