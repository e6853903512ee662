// SPDX-License-Identifier: MIT
// Publishes mails to those that have subscribed, and brings those up to date that have missed some.
#include "Platform/Messaging/Router/TCRouterPublisher.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <new>
#include <utility>

#include "Platform/Messaging/FailureText.h"
#include "Platform/Messaging/Router/TCRouterThrottle.h"
#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Utility/RandomBytes.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Router/TCRouterPublisher";
constexpr std::size_t kSubscriptionLimit = 64;  // of one peer
constexpr std::uint64_t kProgressTime = 2000;   // microseconds, in a turn of the loop
constexpr std::chrono::milliseconds kTryLater{100};

// Different for every run of a router, so that positions of an earlier run are told apart.
// Small ones are none: who subscribes may say with them that it knows of nothing.
std::uint64_t NewEpoch() {
  std::uint64_t Epoch = 0;
  DrawRandomBytes(&Epoch, sizeof(Epoch));
  return Epoch | std::uint64_t{1} << 63U;
}

Wire::TEWhose WhoseFor(TSNorvMailSender const& Subscriber, TSPublishedMail const& Mail) {
  if (Mail.Origin != Subscriber.get_Key()) {
    return Wire::TEWhose::eAnothers;
  }
  return Mail.Restoring ? Wire::TEWhose::eUpToDate : Wire::TEWhose::eOwn;
}

}  // namespace

TCRouterPublisher::TCRouterPublisher(TCNorvEventLoop& Loop, TCRouterPeers& Peers,
                                     TCMailboxOwners const& Owners, TCRouterWork*& Innermost)
    : m_Peers(Peers),
      m_Owners(Owners),
      m_Innermost(Innermost),
      m_Progress(Loop, TCNorvLoopWork::TEWhen::eAfterTurns, [this] { OnProgress(); }),
      m_NextTurn(Loop, TCNorvLoopWork::TEWhen::eNextTurn, [] {}),
      m_ProgressTimer(Loop, CLOCK_MONOTONIC, [] {}) {
  m_Position.Epoch = NewEpoch();
}

// ---- subscribing ----

void TCRouterPublisher::Subscribe(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                                  Wire::TSPosition const& Known) {
  if (MailClass.get_Name().empty() || MailClass.get_Version() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("%s, version %d, is no mail class", MailClass.get_Name().c_str(),
                MailClass.get_Version());
  }
  TSRouterSubscription* Subscription = Peer.FindSubscription(MailClass);
  if (Subscription == nullptr) {
    if (Peer.m_Subscriptions.size() >= kSubscriptionLimit) {
      throw TCException(kSource, __LINE__)
          .Format("more than %zu subscriptions", kSubscriptionLimit);
    }
    Subscription = &Peer.m_Subscriptions.emplace_back(MailClass, TSRouterSubscription()).second;
  }
  // What it was not told of at once it would never hear of.
  m_Peers.DoOrDrop(Peer, [&] { CatchUp(Peer, MailClass, *Subscription, Known); });
}

// Sends what the subscriber has not had: the kept mails after its position, or, when they do not
// reach back that far or the position is of an earlier run, what the services say.
void TCRouterPublisher::CatchUp(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                                TSRouterSubscription& Subscription, Wire::TSPosition Known) {
  bool const IsOutdated = Subscription.State == TSRouterSubscription::TEState::eOutdated;
  Subscription.State = TSRouterSubscription::TEState::eCurrent;
  Subscription.Own.reset();
  if (Known.Epoch == 0) {
    Subscription.Sent = m_Position.Sequence;  // it has had nothing that could be out of date
    return;
  }
  Subscription.Sent = Known.Sequence;
  if (IsOutdated || Known.Epoch != m_Position.Epoch ||
      !m_Recent.ReachBackTo(Known.Sequence, m_Position.Sequence) ||
      HasToHaveAll(Peer.get_Sender(), Known.Sequence)) {
    CatchUpByServices(Peer, MailClass, Subscription);
    return;
  }
  m_Recent.ForEachAfter(Known.Sequence, [&](TSPublishedMail const& Mail) {
    if (Mail.IsMail() && Mail.Content.MailClass == MailClass) {
      TSForwarded Last;
      Forward(Peer, Subscription, Mail, Last);
    }
    return !Subscription.IsBehind();
  });
}

// Whether it was away when those were brought up to date that were there.
bool TCRouterPublisher::HasToHaveAll(TSNorvSenderKey const& Subscriber, std::uint64_t Since) const {
  bool Found = false;
  m_Recent.ForEachAfter(Since, [&](TSPublishedMail const& Mail) {
    Found = !Mail.IsMail() && (Mail.Origin.Identity.empty() || Mail.Origin == Subscriber);
    return !Found;
  });
  return Found;
}

void TCRouterPublisher::CatchUpByServices(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                                          TSRouterSubscription& Subscription) {
  TSNorvMailSender const& Subscriber = Peer.get_Sender();
  Subscription.Outdate();
  if (Peer.IsCongested()) {
    FallBehind(Peer, Subscription);
    return;
  }
  for (auto const& [Mailbox, Owner] : m_Owners) {
    TSNorvMailContent Content{MailClass, 0, 0, TCNorvMailBody::Empty()};
    if (!Owner->OnCatchUp(Subscriber, MailClass, Content)) {
      continue;
    }
    std::uint64_t const Included = Owner->get_LastTaken(Subscriber);
    if (!Peer.Send(
            NewFrame({Mailbox, m_Position.Sequence, Subscriber.get_Key(), Included, true, Content},
                     Wire::TEWhose::eUpToDate, 0, Content.Body))) {
      FallBehind(Peer, Subscription);
      return;
    }
  }
  Subscription.State = TSRouterSubscription::TEState::eCurrent;
  Subscription.Sent = m_Position.Sequence;
}

// ---- subscribers that do not keep up ----

// Nothing more is sent to the subscriber, and nothing is kept for it, until it has read what waits
// and its user has time again.
void TCRouterPublisher::ServeLater(TCRouterPeer& Peer, TSRouterSubscription& Subscription) {
  Subscription.FallBehind();
  m_Progress.Schedule();
  if (Peer.IsDrained()) {
    m_ProgressTimer.SetAfter(kTryLater);  // its reading, which it is not waiting for, wakes nobody
  }
}

void TCRouterPublisher::FallBehind(TCRouterPeer& Peer, TSRouterSubscription& Subscription) {
  ServeLater(Peer, Subscription);
  LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
    SyslogWarning("mail router: %s does not read its mails; it will be brought up to date%s",
                  Peer.Describe().c_str(), Note);
  });
}

// Runs after every turn of the loop in which anything happened, such as a peer's reading.
void TCRouterPublisher::OnProgress() {
  std::uint64_t const End = TCRouterWork::Now() + kProgressTime;
  bool Waiting = false;
  m_Peers.ForEach([&](TCRouterPeer& Peer) {
    if (Peer.IsBehind() && Peer.IsDrained()) {
      ResumeInTurn(Peer, End);
    }
    Waiting = Waiting || (!Peer.m_IsDropped && Peer.IsBehind());
  });
  if (!Waiting) {
    m_Progress.Cancel();
  }
}

// Not all at once: who asks for something meanwhile is served in between.
void TCRouterPublisher::ResumeInTurn(TCRouterPeer& Peer, std::uint64_t End) {
  if (TCRouterThrottle::PauseOf(Peer.get_User()) > 0) {
    m_ProgressTimer.SetAfter(kTryLater);
  } else if (TCRouterWork::Now() < End) {
    TCRouterWork const Work(m_Innermost, Peer);
    Resume(Peer);
  } else {
    m_NextTurn.Schedule();
  }
}

void TCRouterPublisher::Resume(TCRouterPeer& Peer) {
  try {
    bool Behind = false;
    for (auto& [MailClass, Subscription] : Peer.m_Subscriptions) {
      if (Subscription.IsBehind()) {
        CatchUp(Peer, MailClass, Subscription, {m_Position.Epoch, Subscription.Sent});
      }
      Behind = Behind || Subscription.IsBehind();
    }
    if (!Behind) {
      Peer.SendAcknowledgements();
    }
  } catch (...) {
    m_Peers.Drop(Peer);
    LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
      SyslogError("mail router: %s cannot be brought up to date: %s; its connection is ended%s",
                  Peer.Describe().c_str(), FailureText::OfCaught().c_str(), Note);
    });
  }
}

// One after the other, as others that are behind: for each the services may look at all they hold.
void TCRouterPublisher::BringUpToDate(
    std::function<bool(TSNorvMailSender const&)> const& IsConcerned, bool WhenReturning) {
  m_Peers.ForEach([&](TCRouterPeer& Peer) {
    if (!Peer.IsGreeted() || !IsConcerned(Peer.get_Sender())) {
      return;
    }
    for (auto& [MailClass, Subscription] : Peer.m_Subscriptions) {
      Subscription.Outdate();
      m_Progress.Schedule();
      m_NextTurn.Schedule();
    }
  });
  if (WhenReturning) {
    KeepForReturning(TSNorvSenderKey());
  }
}

void TCRouterPublisher::BringUpToDate(TSNorvSenderKey const& Sender) {
  BringUpToDate([&Sender](TSNorvMailSender const& Other) { return Other.get_Key() == Sender; },
                false);
  KeepForReturning(Sender);
}

// Who is away, or goes before its turn comes, subscribes from a place before this one. Stands among
// the published mails as none; without an identity it is for everybody.
void TCRouterPublisher::KeepForReturning(TSNorvSenderKey const& Sender) {
  ++m_Position.Sequence;
  try {
    m_Recent.Add(std::make_shared<TSPublishedMail const>(
        TSPublishedMail{std::string(),
                        m_Position.Sequence,
                        Sender,
                        0,
                        true,
                        {TCNorvMailClassID("", 0), 0, 0, TCNorvMailBody::Empty()}}));
  } catch (std::bad_alloc const&) {
    m_Recent.Clear();  // then everybody who returns is brought up to date
  }
}

// ---- publishing ----

Wire::TCFrame TCRouterPublisher::NewFrame(TSPublishedMail const& Mail, Wire::TEWhose Whose,
                                          std::uint64_t Previous,
                                          std::shared_ptr<TCNorvMailBody const> const& Body) const {
  TSNorvMailContent const& Content = Mail.Content;
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::ePublished;
  Head.Whose = Whose;
  Head.Mailbox = Mail.Mailbox;
  Head.Class = Content.MailClass.get_Name();
  Head.Version = Content.MailClass.get_Version();
  Head.Number = Whose == Wire::TEWhose::eAnothers ? 0 : Mail.Number;
  Head.Position = {m_Position.Epoch, Mail.Sequence};
  Head.Previous = Previous;
  return Wire::TCFrame(Head, {Content.MailClass, Content.SignalType, Content.SignalName, Body});
}

void TCRouterPublisher::Publish(TSPublishedMail Published) {
  Published.Sequence = m_Position.Sequence + 1;
  auto const Kept = std::make_shared<TSPublishedMail const>(std::move(Published));
  TSPublishedMail const& Mail = *Kept;
  m_Recent.Add(Kept);
  ++m_Position.Sequence;
  TSForwarded Last;
  m_Peers.ForEach([&](TCRouterPeer& Peer) {
    TSRouterSubscription* const Subscription = Peer.FindSubscription(Mail.Content.MailClass);
    if (Subscription == nullptr || Subscription->IsBehind()) {
      return;
    }
    if (!Mail.Restoring && Mail.Origin == Peer.get_Sender().get_Key()) {
      KeepOwn(Peer, *Subscription, Mail);
    } else {
      Forward(Peer, *Subscription, Mail, Last);
    }
  });
}

// The peer holds its own mails already. It has to hear of them before anything that came after
// them, and before their acknowledgement, and of many of them once.
void TCRouterPublisher::KeepOwn(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                                TSPublishedMail const& Mail) {
  if (Subscription.Own && Subscription.Own->Mailbox != Mail.Mailbox) {
    TellOfOwn(Peer, Mail.Content.MailClass, Subscription);
  }
  if (Subscription.IsBehind()) {
    return;
  }
  try {
    Subscription.Own = {Mail.Mailbox, Mail.Sequence, Mail.Number};
  } catch (std::bad_alloc const&) {
    FallBehind(Peer, Subscription);
  }
}

void TCRouterPublisher::TellOfOwn(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                                  TSRouterSubscription& Subscription) {
  if (!Subscription.Own) {
    return;
  }
  TSRouterSubscription::TSOwnMails const Own = *std::exchange(Subscription.Own, std::nullopt);
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::ePublished;
  Head.Whose = Wire::TEWhose::eOwnKept;
  Head.Mailbox = Own.Mailbox;
  Head.Class = MailClass.get_Name();
  Head.Version = MailClass.get_Version();
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

void TCRouterPublisher::Acknowledge(std::string const& Mailbox, TSNorvSenderKey const& Sender,
                                    std::uint64_t Number) {
  m_Peers.ForEach([&](TCRouterPeer& Peer) {
    if (Peer.get_Sender().get_Key() != Sender) {
      return;
    }
    for (auto& [MailClass, Subscription] : Peer.m_Subscriptions) {
      TellOfOwn(Peer, MailClass, Subscription);
    }
    Peer.Acknowledge(Mailbox, Number);
    if (Peer.IsBehind()) {
      m_Progress.Schedule();
    }
  });
}

void TCRouterPublisher::Forward(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                                TSPublishedMail const& Mail, TSForwarded& Last) {
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
  TCRouterWork const Work(m_Innermost, Peer);  // what it may have of many records takes long
  try {
    if (TryToForward(Peer, Subscription, Mail, Last)) {
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

// False when it could not be sent.
bool TCRouterPublisher::TryToForward(TCRouterPeer& Peer, TSRouterSubscription& Subscription,
                                     TSPublishedMail const& Mail, TSForwarded& Last) {
  auto const Owner = m_Owners.find(Mail.Mailbox);
  if (Owner == m_Owners.end()) {
    return true;  // nobody can say what of it the subscriber may have
  }
  auto const Body = Owner->second->OnForward(Peer.get_Sender(), Mail.Content);
  if (!Body) {
    return true;
  }
  TellOfOwn(Peer, Mail.Content.MailClass, Subscription);
  if (Subscription.IsBehind()) {
    return true;
  }
  Wire::TEWhose const Whose = WhoseFor(Peer.get_Sender(), Mail);
  if (Last.Body != Body || Last.Previous != Subscription.Sent || Last.Whose != Whose) {
    Last = {std::make_shared<Wire::TCFrame const>(NewFrame(Mail, Whose, Subscription.Sent, Body)),
            Body, Subscription.Sent, Whose};
  }
  if (!Peer.Send(Last.Frame)) {
    return false;
  }
  Subscription.Sent = Mail.Sequence;
  return true;
}
