// SPDX-License-Identifier: MIT
// Hands a subscriber what it may have of the mails, and stops where it does not keep up.
#include "Platform/Messaging/Router/TCRouterForwarding.h"

#include <utility>

#include "Platform/Messaging/Router/TCRouterThrottle.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace {

Wire::TEWhose WhoseFor(TSNorvMailSender const& Subscriber, TSPublishedMail const& Mail) {
  if (Mail.Origin != Subscriber.get_Key()) {
    return Wire::TEWhose::eAnothers;
  }
  return Mail.Restoring ? Wire::TEWhose::eUpToDate : Wire::TEWhose::eOwn;
}

}  // namespace

void TCRouterForwarding::Forward(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                                 TSPublishedMail const& Mail) {
  if (Mail.Restoring && Mail.Origin != Peer.get_Sender().get_Key()) {
    return;
  }
  if (Peer.IsCongested()) {
    FallBehind(Peer, Subscription);
    return;
  }
  if (TCRouterThrottle::PauseOf(Peer.get_User()) > 0) {
    ServeLater(Peer, Subscription);
    return;
  }
  DoOrFallBehind(Peer, Subscription, [&] {
    AddToRun(Peer, Subscription, Mail);
    return true;
  });
}

// Calls `Function`; where that throws, or returns false, the subscription falls behind.
template <class TFunction>
void TCRouterForwarding::DoOrFallBehind(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                                        TFunction const& Function) {
  try {
    if (Function()) {
      return;
    }
  } catch (...) {
    LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
      SyslogError("mail router: cannot send to %s: %s%s", Peer.Describe().c_str(),
                  FailureText::OfCaught().c_str(), Note);
    });
  }
  FallBehind(Peer, Subscription);
}

void TCRouterForwarding::AddToRun(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                                  TSPublishedMail const& Mail) {
  auto const Owner = m_Owners.find(*Mail.Mailbox);
  if (Owner == m_Owners.end()) {
    return;  // nobody can say what of it the subscriber may have
  }
  auto Body = Owner->second->OnForward(Peer.get_Sender(), Mail.Content);
  if (!Body) {
    return;
  }
  Wire::TEWhose const Whose = WhoseFor(Peer.get_Sender(), Mail);
  if (!m_Run.Takes(Subscription, Whose, Mail, *Body)) {
    Finish(Peer);
    TellOfOwn(Peer, Mail.Content.MailClass, Subscription);
    if (Subscription.IsBehind()) {
      return;
    }
    m_Run.Begin(Subscription, Whose);
  }
  m_Run.Add(Mail, std::move(Body));
}

// What is not sent, because the subscription has fallen behind since, is sent when it catches up.
void TCRouterForwarding::Finish(TCRouterPeer& Peer) {
  if (m_Run.IsEmpty()) {
    return;
  }
  TSRouterSubscription& Subscription = m_Run.get_Subscription();
  if (!Subscription.IsBehind()) {
    DoOrFallBehind(Peer, Subscription, [&] {
      bool const Sent = Peer.Send(m_Run.get_Frame(m_Position.Epoch));
      Subscription.Sent = Sent ? m_Run.get_Last() : Subscription.Sent;
      return Sent;
    });
  }
  m_Run.End();
}

// The peer holds its own mails already. It has to hear of them before anything that came after
// them, and before their acknowledgement, and of many of them once.
void TCRouterForwarding::KeepOwn(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                                 TSPublishedMail const& Mail) {
  if (Subscription.Own && *Subscription.Own->Mailbox != *Mail.Mailbox) {
    Finish(Peer);
    TellOfOwn(Peer, Mail.Content.MailClass, Subscription);
  }
  if (Subscription.IsBehind()) {
    return;
  }
  Subscription.Own = {Mail.Mailbox, Mail.Sequence, Mail.Number};
}

void TCRouterForwarding::TellOfOwn(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                                   TSRouterSubscription& Subscription) {
  if (!Subscription.Own) {
    return;
  }
  TSRouterSubscription::TSOwnMails const Own = *std::exchange(Subscription.Own, std::nullopt);
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::ePublished;
  Head.Whose = Wire::TEWhose::eOwnKept;
  Head.Mailbox = *Own.Mailbox;
  Head.SetClass(MailClass);
  Head.Number = Own.Number;
  Head.Position = {m_Position.Epoch, Own.Sequence};
  Head.Previous = Subscription.Sent;
  try {
    if (!Peer.IsCongested() && Peer.Send(Wire::TCFrame(Head))) {
      Subscription.Sent = Own.Sequence;
      return;
    }
  } catch (std::exception const&) {  // as one that does not read
  }
  FallBehind(Peer, Subscription);
}

// Nothing more is sent to the subscriber, and nothing is kept for it, until it has read what waits
// and its user has time again.
void TCRouterForwarding::ServeLater(TCRouterPeer& Peer, TSRouterSubscription& Subscription) {
  Subscription.FallBehind();
  m_OnBehind(Peer);
}

void TCRouterForwarding::FallBehind(TCRouterPeer& Peer, TSRouterSubscription& Subscription) {
  ServeLater(Peer, Subscription);
  LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
    SyslogWarning("mail router: %s does not read its mails; it will be brought up to date%s",
                  Peer.Describe().c_str(), Note);
  });
}
