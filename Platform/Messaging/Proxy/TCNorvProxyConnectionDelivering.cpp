// SPDX-License-Identifier: MIT
// Runs the proxy's thread, and hands what has arrived to the proxy's owner, one after the other.
#include <algorithm>
#include <system_error>
#include <utility>

#include "Platform/Messaging/Proxy/GuardedCall.h"
#include "Platform/Messaging/Proxy/TCLiveConnections.h"
#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"
#include "Platform/Messaging/Proxy/TCSignalsBlocked.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Proxy/TCNorvProxyConnectionDelivering";

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
  m_Link.get_Wait().Begin();
}

void TCNorvProxyConnection::Run() {
  TCMutexLock Lock(m_Mutex);
  while (
      WaitUntil(
          Lock, [this]() PROPERTY_REQUIRES(m_Mutex) { return !m_Events.empty(); }, std::nullopt) &&
      !m_Closing) {
    TEEvent const Event = m_Events.front();
    m_Events.pop_front();
    Lock.Leave();
    Deliver(Event);
    Lock.Enter();
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
    TCMutexLock const Lock(m_Mutex);
    if (!m_Inbox.IsEmpty()) {
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

void TCNorvProxyConnection::EndAnswer() {
  TCMutexLock const Lock(m_Mutex);
  m_Inbox.Release(std::this_thread::get_id());
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
  TCMutexLock Lock(m_Mutex);
  RequireOwnProcess();
  std::thread::id const Here = std::this_thread::get_id();
  if (m_Inbox.IsDeliveredBy(Here) || m_Inbox.IsHeldBy(Here)) {
    return false;
  }
  ++m_DeliveryAwaited;
  bool const Delivered = WaitUntil(
      Lock, [this]() PROPERTY_REQUIRES(m_Mutex) { return m_Inbox.IsDelivered(); },
      DeadlineAfter(Timeout));
  --m_DeliveryAwaited;
  return Delivered;
}

bool TCNorvProxyConnection::DeliverMail(bool Wait) {
  TCMutexLock Lock(m_Mutex);
  for (;;) {
    if (m_Inbox.TurnsAway() || (m_Inbox.IsEmpty() && !Wait)) {
      return false;
    }
    if (!WaitUntil(
            Lock, [this, Wait]() PROPERTY_REQUIRES(m_Mutex) { return m_Inbox.IsReady(Wait); },
            std::nullopt)) {
      return false;
    }
    if (m_Inbox.IsDelivering() || m_Inbox.IsEmpty()) {
      continue;
    }
    TCInbox::TSReceived const Received = m_Inbox.Take();
    std::set<std::string> Held;
    if (IsToBeHandedOver(Received, Held)) {
      m_Inbox.BeginDelivery(Received, std::this_thread::get_id());
      Lock.Leave();
      HandOver(Received, std::move(Held));
      return true;
    }
    TellOfDelivery();
  }
}

// `Held` gets the keys that the hook is to leave alone.
bool TCNorvProxyConnection::IsToBeHandedOver(TCInbox::TSReceived const& Received,
                                             std::set<std::string>& Held) {
  switch (Received.Kind) {
    case TCInbox::TEKind::eOwn:
      return m_OwnChanges.EndOwn(Received.Stream, Received.Number, Held);
    case TCInbox::TEKind::eCatchUp:
      m_OwnChanges.CatchUp(Received.Stream, Received.Number);
      return true;
    case TCInbox::TEKind::eAcknowledged:
      m_OwnChanges.Acknowledge(Received.Stream, Received.Number);
      return false;
    case TCInbox::TEKind::eForeign:
      break;
  }
  return true;
}

void TCNorvProxyConnection::HandOver(TCInbox::TSReceived const& Received,
                                     std::set<std::string> Held) {
  auto const End = [this](TCInbox* Inbox) {
    TCMutexLock const Lock(m_Mutex);
    if (Inbox->EndDelivery()) {
      Signal(TEEvent::eMails);
      Wake();  // the proxy's thread may be polling
    }
    TellOfDelivery();
  };
  std::unique_ptr<TCInbox, decltype(End)> const Ending(&m_Inbox, End);
  TCNorvMailInHand InHand;
  InHand.m_Changes = &m_OwnChanges;
  InHand.m_Stream = Received.Stream;
  InHand.m_Held = std::move(Held);
  m_Owner.OnServiceMail(TCNorvMessage(Received.Content, &InHand));
}
