// SPDX-License-Identifier: MIT
// Sends what waits: subscriptions, mails, alone or together, and requests.
#include <utility>

#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace {

constexpr unsigned kBusy = 8;  // mails on their way to one mailbox before others may wait
constexpr std::chrono::microseconds kHoldTime{200};
constexpr std::chrono::milliseconds kSendingRetryDelay{100};  // after memory or files ran out

}  // namespace

// Whether the newest mail waits for others, to go out with them. Only where it would wait for the
// router anyway, and only while somebody serves, who ends its waiting in time.
bool TCNorvProxyConnection::HoldBack(TCOutbox const& Outbox) {
  if (!m_Link.IsReady() || !m_IsServed || Outbox.get_OnWay() < kBusy ||
      !(m_HeldUntil || IsRouterBehind()) || Outbox.IsWorthAFrame()) {
    return false;
  }
  if (!m_HeldUntil) {
    m_HeldUntil = TCClock::now() + kHoldTime;
    LookUpBy(*m_HeldUntil);
  }
  return true;
}

// A call of the system, and so not made for each mail while the router keeps up.
bool TCNorvProxyConnection::IsRouterBehind() {
  if (m_SentUnlooked > 0) {
    --m_SentUnlooked;
    return false;
  }
  bool const IsBehind = m_Link.IsRouterBehind();
  m_SentUnlooked = IsBehind ? 0 : kBusy - 1;
  return IsBehind;
}

bool TCNorvProxyConnection::IsTimeToTransmit() const {
  return (m_HeldUntil && TCClock::now() >= *m_HeldUntil) ||
         (m_Shortage.RetryAt && TCClock::now() >= *m_Shortage.RetryAt);
}

// What does not go out now because the router does not read goes out when it does, and what can not
// for lack of memory or descriptors is tried again.
void TCNorvProxyConnection::Transmit() {
  m_HeldUntil.reset();
  if (!m_Link.IsReady() || m_Link.IsBlocked() ||
      (m_Shortage.RetryAt && TCClock::now() < *m_Shortage.RetryAt)) {
    return;
  }
  m_Shortage.RetryAt.reset();
  // Subscriptions first, so that what this process has missed arrives before the acknowledgement of
  // mails that are sent again.
  bool AllSent =
      TryToSend("a subscription", [this]() PROPERTY_REQUIRES(m_Mutex) { TransmitSubscriptions(); });
  for (auto& [Mailbox, Outbox] : m_Outboxes) {
    AllSent = AllSent && TryToSend("a mail", [this, &To = Outbox]() PROPERTY_REQUIRES(m_Mutex) {
                TransmitOutbox(To);
              });
  }
  for (TSExchange* const Exchange : m_Exchanges) {
    AllSent = AllSent && TryToSend("a request", [this, Exchange]() PROPERTY_REQUIRES(m_Mutex) {
                TransmitExchange(*Exchange);
              });
  }
  if (AllSent && std::exchange(m_Shortage.HasLogged, false)) {
    LogIfPossible([this]() PROPERTY_REQUIRES(m_Mutex) {
      SyslogWarning("mail router at %s: what could not be sent is on its way",
                    m_Link.get_Address().c_str());
    });
  }
  if (m_Link.IsBlocked()) {
    Wake();  // who serves has to wait for the router's reading, too
  }
}

// False when it did not go out for lack of memory, descriptors or the like. It is tried again, with
// whatever is to come after it.
template <class TFunction>
bool TCNorvProxyConnection::TryToSend(char const* Subject, TFunction const& Function) {
  try {
    Function();
    return true;
  } catch (...) {
    m_Shortage.RetryAt = TCClock::now() + kSendingRetryDelay;
    LookUpBy(*m_Shortage.RetryAt);
    if (!std::exchange(m_Shortage.HasLogged, true)) {
      LogIfPossible([&]() PROPERTY_REQUIRES(m_Mutex) {
        SyslogWarning("mail router at %s: %s can not be sent now and is tried again: %s",
                      m_Link.get_Address().c_str(), Subject, FailureText::OfCaught().c_str());
      });
    }
    return false;
  }
}

void TCNorvProxyConnection::TransmitOutbox(TCOutbox& Outbox) {
  while (Outbox.HasUnsent()) {
    TCOutbox::TSNext const Next = Outbox.NextFrame();
    if (!m_Link.Send(Next.Frame)) {
      return;
    }
    Outbox.NoteSent(Next.Count);
  }
}

void TCNorvProxyConnection::TransmitExchange(TSExchange& Exchange) {
  if (Exchange.Request != 0 || Exchange.Answered ||
      OutboxOf(*Exchange.Mailbox).HasUnsentUpTo(Exchange.After)) {
    return;
  }
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::eRequest;
  Head.Mailbox = *Exchange.Mailbox;
  Head.SetClass(Exchange.Content->MailClass);
  Head.Request = m_LastRequest + 1;
  if (m_Link.Send(Wire::TCFrame(Head, *Exchange.Content))) {
    Exchange.Request = ++m_LastRequest;
  }
}

void TCNorvProxyConnection::TransmitSubscriptions() {
  for (auto& [MailClass, Subscription] : m_Subscriptions) {
    if (!Subscription.IsToBeRequested()) {
      continue;
    }
    Wire::TSFrameHead Head;
    Head.Kind = Wire::TEFrame::eSubscribe;
    Head.SetClass(MailClass);
    Head.Position = Subscription.get_Received();
    if (!m_Link.Send(Wire::TCFrame(Head))) {
      return;
    }
    Subscription.NoteRequested();
  }
}
