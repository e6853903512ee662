// SPDX-License-Identifier: MIT
// Publishes mails to those that have subscribed, and brings those up to date that have missed some.
#include "Platform/Messaging/Router/TCRouterPublisher.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <new>
#include <utility>

#include "Platform/Messaging/Router/TCRouterThrottle.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/RandomBytes.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCLogBudget.h"

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

}  // namespace

TCRouterPublisher::TCRouterPublisher(TCNorvEventLoop& Loop, TCRouterPeers& Peers,
                                     TCMailboxOwners const& Owners, TCRouterWork*& Innermost)
    : m_Peers(Peers),
      m_Owners(Owners),
      m_Innermost(Innermost),
      m_Forwarding(Owners, m_Position, [this](TCRouterPeer const& Peer) { OnBehind(Peer); }),
      m_Telling(Loop, TCNorvLoopWork::TEWhen::eAfterTurns, [this] { Tell(); }),
      m_Progress(Loop, TCNorvLoopWork::TEWhen::eAfterTurns, [this] { OnProgress(); }),
      m_NextTurn(Loop, TCNorvLoopWork::TEWhen::eNextTurn, [] {}),
      m_ProgressTimer(Loop, CLOCK_MONOTONIC, [] {}) {
  m_Position.Epoch = NewEpoch();
  m_Untold.reserve(Wire::kMailCountLimit);
  m_Told.reserve(Wire::kMailCountLimit);
}

// ---- subscribing ----

void TCRouterPublisher::Subscribe(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                                  Wire::TSPosition const& Known) {
  if (MailClass.get_Name().empty() || MailClass.get_Version() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("%s, version %d, is no mail class", MailClass.get_Name().c_str(),
                MailClass.get_Version());
  }
  // Before there is a subscription: it begins at its own place, which may be an earlier one.
  Tell();
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
      m_Forwarding.Forward(Peer, Subscription, Mail);
    }
    return !Subscription.IsBehind();
  });
  m_Forwarding.Finish(Peer);
  m_Forwarding.Forget();
}

// Whether it was away when those were brought up to date that were there.
bool TCRouterPublisher::HasToHaveAll(TSNorvSenderKey const& Subscriber, std::uint64_t Since) const {
  bool Found = false;
  m_Recent.ForEachAfter(Since, [&](TSPublishedMail const& Mail) {
    Found = !Mail.IsMail() && (Mail.Origin->Identity.empty() || Mail.Origin == Subscriber);
    return !Found;
  });
  return Found;
}

void TCRouterPublisher::CatchUpByServices(TCRouterPeer& Peer, TCNorvMailClassID const& MailClass,
                                          TSRouterSubscription& Subscription) {
  TSNorvMailSender const& Subscriber = Peer.get_Sender();
  Subscription.Outdate();
  if (Peer.IsCongested()) {
    m_Forwarding.FallBehind(Peer, Subscription);
    return;
  }
  for (auto const& [Mailbox, Owner] : m_Owners) {
    TSNorvMailContent Content{MailClass, 0, 0, TCNorvMailBody::Empty()};
    if (!Owner->OnCatchUp(Subscriber, MailClass, Content)) {
      continue;
    }
    std::uint64_t const Included = Owner->get_LastTaken(Subscriber);
    TSPublishedMail const Mail{std::make_shared<std::string const>(Mailbox),
                               m_Position.Sequence,
                               Peer.get_SharedSender(),
                               Included,
                               true,
                               Content};
    if (!Peer.Send(Wire::TCFrame(
            TCPublishedRun::HeadOf(Mail, Wire::TEWhose::eUpToDate, m_Position.Epoch, 0),
            Content))) {
      m_Forwarding.FallBehind(Peer, Subscription);
      return;
    }
  }
  Subscription.State = TSRouterSubscription::TEState::eCurrent;
  Subscription.Sent = m_Position.Sequence;
}

// ---- subscribers that do not keep up ----

void TCRouterPublisher::OnBehind(TCRouterPeer const& Peer) {
  m_Progress.Schedule();
  if (Peer.IsDrained()) {
    m_ProgressTimer.SetAfter(kTryLater);  // its reading, which it is not waiting for, wakes nobody
  }
}

// Runs after every turn of the loop in which anything happened, such as a peer's reading.
void TCRouterPublisher::OnProgress() {
  Tell();
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
  Tell();
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
        TSPublishedMail{nullptr,
                        m_Position.Sequence,
                        TSNorvMailSender{Sender, 0, {}, 0, std::string(), TCMACAddress()},
                        0,
                        true,
                        {TCNorvMailClassID("", 0), 0, 0, TCNorvMailBody::Empty()}}));
  } catch (std::bad_alloc const&) {
    m_Recent.Clear();  // then everybody who returns is brought up to date
  }
}

// ---- publishing ----

void TCRouterPublisher::Publish(TSPublishedMail Published) {
  Published.Sequence = m_Position.Sequence + 1;
  auto const Kept = std::make_shared<TSPublishedMail const>(std::move(Published));
  m_Recent.Add(Kept);
  ++m_Position.Sequence;
  m_Untold.push_back(Kept);  // there is room
  if (m_Untold.size() == Wire::kMailCountLimit) {
    Tell();
  } else {
    m_Telling.Schedule();
  }
}

void TCRouterPublisher::Tell() {
  m_Telling.Cancel();
  if (m_Untold.empty() || !m_Told.empty()) {
    return;
  }
  m_Untold.swap(m_Told);
  m_Peers.ForEach([this](TCRouterPeer& Peer) { Tell(Peer); });
  m_Forwarding.Forget();
  m_Told.clear();
}

void TCRouterPublisher::Tell(TCRouterPeer& Peer) {
  TCRouterWork const Work(m_Innermost, Peer);  // what it may have of many records takes long
  for (auto const& Mail : m_Told) {
    TSRouterSubscription* const Subscription = Peer.FindSubscription(Mail->Content.MailClass);
    if (Subscription == nullptr || Subscription->IsBehind()) {
      continue;
    }
    if (!Mail->Restoring && Mail->Origin == Peer.get_Sender().get_Key()) {
      m_Forwarding.KeepOwn(Peer, *Subscription, *Mail);
    } else {
      m_Forwarding.Forward(Peer, *Subscription, *Mail);
    }
  }
  m_Forwarding.Finish(Peer);
}

void TCRouterPublisher::Acknowledge(std::string const& Mailbox, TSNorvSenderKey const& Sender,
                                    std::uint64_t Number) {
  Tell();
  m_Peers.ForEach([&](TCRouterPeer& Peer) {
    if (Peer.get_Sender().get_Key() != Sender) {
      return;
    }
    for (auto& [MailClass, Subscription] : Peer.m_Subscriptions) {
      m_Forwarding.TellOfOwn(Peer, MailClass, Subscription);
    }
    Peer.Acknowledge(Mailbox, Number);
    if (Peer.IsBehind()) {
      m_Progress.Schedule();
    }
  });
}
