// SPDX-License-Identifier: MIT
// Runs the proxy's thread, and hands what has arrived to the proxy's owner, one after the other.
#include <algorithm>
#include <system_error>
#include <utility>

#include "Platform/Messaging/GuardedCall.h"
#include "Platform/Messaging/TCLiveConnections.h"
#include "Platform/Messaging/TCNorvProxyConnection.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Messaging/TCSignalsBlocked.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvProxyConnectionDelivering";

// The stream of the mail that the calling thread is being handed, by whom, and which records of it
// the process holds already.
struct TSThreadDelivery {
  TCNorvProxyConnection const* Connection = nullptr;
  std::string const* Stream = nullptr;
  std::set<std::string> const* Held = nullptr;
};

thread_local TSThreadDelivery ThreadDelivery;

}  // namespace

void TCNorvProxyConnection::Start() {
  if (m_Thread.joinable() || m_Closing) {
    return;
  }
  TCLiveConnections::CloseAtExit();
  try {
    TCSignalsBlocked const Blocked;
    m_Thread = std::thread([Self = shared_from_this()] { Self->Run(); });
  } catch (std::system_error const& Reason) {
    throw TCException(kSource, __LINE__)
        .Format("cannot start the proxy's thread: %s", Reason.what());
  }
  m_RouterWait.Begin();
}

void TCNorvProxyConnection::Run() {
  TCLock Lock(m_Mutex);
  while (WaitUntil(
             Lock, [this] { return !m_Events.empty(); }, std::nullopt) &&
         !m_Closing) {
    TEEvent const Event = m_Events.front();
    m_Events.pop_front();
    Lock.unlock();
    Deliver(Event);
    Lock.lock();
  }
  m_ThreadEnded = true;
  m_Changed.notify_all();
}

void TCNorvProxyConnection::Deliver(TEEvent Event) {
  bool Completed = false;
  Guarded("mail handler", [&] {
    if (Event == TEEvent::eMails) {
      m_Owner.OnProxySignal();
    } else {
      m_Owner.OnMailRouterState(Event == TEEvent::eReachable);
    }
    Completed = true;
  });
  if (!Completed && Event == TEEvent::eMails) {
    TCLock const Lock(m_Mutex);
    if (!m_Inbox.empty()) {
      Signal(TEEvent::eMails);
    }
  }
}

void TCNorvProxyConnection::Signal(TEEvent Event) {
  // One pending signal stands for all mails behind it.
  if (Event != TEEvent::eMails ||
      std::find(m_Events.begin(), m_Events.end(), Event) == m_Events.end()) {
    m_Events.push_back(Event);
  }
  m_Changed.notify_all();
}

bool TCNorvProxyConnection::IsAnswerHeldHere() const {
  return std::find(m_AnswersInHand.begin(), m_AnswersInHand.end(), std::this_thread::get_id()) !=
         m_AnswersInHand.end();
}

void TCNorvProxyConnection::EndAnswer() {
  TCLock const Lock(m_Mutex);
  m_AnswersInHand.erase(
      std::find(m_AnswersInHand.begin(), m_AnswersInHand.end(), std::this_thread::get_id()));
  Wake();  // whoever waits to deliver may be polling
  m_Changed.notify_all();
}

// With m_Mutex held, after the inbox has become shorter or a hook has returned.
void TCNorvProxyConnection::TellOfDelivery() {
  if (m_DeliveryAwaited > 0) {
    Wake();  // whoever waits may be polling
  }
  m_Changed.notify_all();
}

bool TCNorvProxyConnection::WaitForDelivery(int Timeout) {
  TCLock Lock(m_Mutex);
  RequireOwnProcess();
  if (ThreadDelivery.Connection == this || IsAnswerHeldHere()) {
    return false;
  }
  ++m_DeliveryAwaited;
  bool const Delivered = WaitUntil(
      Lock, [this] { return m_Inbox.empty() && !m_Delivering; }, DeadlineAfter(Timeout));
  --m_DeliveryAwaited;
  return Delivered;
}

bool TCNorvProxyConnection::DeliverMail(bool Wait) {
  TCLock Lock(m_Mutex);
  for (;;) {
    // Mails are handed over one after the other: who comes while one is, leaves the rest to it.
    if (m_Delivering || IsAnswerHeldHere()) {
      m_TurnedAway = true;
      return false;
    }
    if (m_Inbox.empty() && !Wait) {
      return false;
    }
    auto const IsNext = [this, Wait] {
      return m_Delivering || (m_AnswersInHand.empty() && (!Wait || !m_Inbox.empty()));
    };
    if (!WaitUntil(Lock, IsNext, std::nullopt)) {
      return false;
    }
    if (m_Delivering || m_Inbox.empty()) {
      continue;
    }
    TSReceived const Received = std::move(m_Inbox.front());
    m_Inbox.pop_front();
    std::set<std::string> Held;
    if (IsToBeHandedOver(Received, Held)) {
      m_Delivering = true;
      bool const OfOne = Received.Kind == TEKind::eCatchUp && !Received.Whole;
      m_InDelivery = {OfOne ? Received.Stream : std::string(), Received.Number};
      Lock.unlock();
      HandOver(Received, Held);
      return true;
    }
    TellOfDelivery();
  }
}

// `Held` gets the keys that the hook is to leave alone.
bool TCNorvProxyConnection::IsToBeHandedOver(TSReceived const& Received,
                                             std::set<std::string>& Held) {
  switch (Received.Kind) {
    case TEKind::eOwn:
      return m_OwnChanges->EndOwn(Received.Stream, Received.Number, Held);
    case TEKind::eCatchUp:
      m_OwnChanges->CatchUp(Received.Stream, Received.Number);
      return true;
    case TEKind::eAcknowledged:
      m_OwnChanges->Acknowledge(Received.Stream, Received.Number);
      return false;
    case TEKind::eForeign:
      break;
  }
  return true;
}

void TCNorvProxyConnection::HandOver(TSReceived const& Received,
                                     std::set<std::string> const& Held) {
  auto const End = [this](TSThreadDelivery* Delivery) {
    *Delivery = TSThreadDelivery();
    TCLock const Lock(m_Mutex);
    m_Delivering = false;
    if (std::exchange(m_TurnedAway, false) && !m_Inbox.empty()) {
      Signal(TEEvent::eMails);
      Wake();  // the proxy's thread may be polling
    }
    TellOfDelivery();
  };
  ThreadDelivery = {this, &Received.Stream, &Held};
  std::unique_ptr<TSThreadDelivery, decltype(End)> const Ending(&ThreadDelivery, End);
  m_Owner.OnServiceMail(TCNorvMessage(Received.Content));
}

bool TCNorvProxyConnection::IsAnyOvertaken() const {
  return ThreadDelivery.Connection == this &&
         (!ThreadDelivery.Held->empty() || !m_OwnChanges->IsEmpty());
}

bool TCNorvProxyConnection::IsOvertaken(std::string const& Key) const {
  return ThreadDelivery.Connection == this && (ThreadDelivery.Held->count(Key) != 0 ||
                                               m_OwnChanges->IsOnWay(*ThreadDelivery.Stream, Key));
}
