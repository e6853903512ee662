// SPDX-License-Identifier: MIT
// Publishes mails to those that have subscribed, and brings those up to date that have missed some.
#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "Platform/Messaging/TCRouterCore.h"
#include "Platform/Messaging/TCRouterWork.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCRouterCoreSubscriptions";
constexpr std::size_t kSubscriptionLimit = 64;  // of one connection
constexpr std::uint64_t kProgressTime = 2000;   // microseconds, in a turn of the loop
constexpr std::chrono::milliseconds kTryLater{100};

MailWire::TEWhose WhoseFor(TSNorvMailSender const& Subscriber, TSPublishedMail const& Mail) {
  if (Mail.Origin != Subscriber.get_Key()) {
    return MailWire::TEWhose::eAnothers;
  }
  return Mail.Restoring ? MailWire::TEWhose::eUpToDate : MailWire::TEWhose::eOwn;
}

}  // namespace

// ---- subscribing ----

void TCRouterCore::Subscribe(TCRouterConnection& Connection, sd_bus_message* Message) {
  char const* Interface = nullptr;
  MailWire::TSPosition Known;
  MailWire::RequireSound(
      sd_bus_message_read(Message, "stt", &Interface, &Known.Epoch, &Known.Sequence),
      "read a subscription");
  if (!MailWire::ParseClassInterface(Interface)) {
    throw TCException(kSource, __LINE__).Format("%s is no mail class", Interface);
  }
  if (!Connection.IsGreeted()) {
    throw TCException(kSource, __LINE__).Format("a subscription before the greeting");
  }
  if (Connection.m_Subscriptions.size() >= kSubscriptionLimit &&
      Connection.m_Subscriptions.count(Interface) == 0) {
    throw TCException(kSource, __LINE__).Format("more than %zu subscriptions", kSubscriptionLimit);
  }
  Connection.m_Subscriptions[Interface].Behind = false;
  // What it was not told of at once it would never hear of.
  TakeOrDrop(Connection, [&] { CatchUp(Connection, Interface, Known); });
}

// Sends what the subscriber has not had: the kept mails after its position, or, when they do not
// reach back that far or the position is of an earlier run, what the services say.
void TCRouterCore::CatchUp(TCRouterConnection& Connection, std::string const& Interface,
                           MailWire::TSPosition Known) {
  TCRouterConnection::TSSubscription& Subscription = Connection.m_Subscriptions[Interface];
  Subscription.Own.reset();
  if (Known.Epoch == 0) {
    Subscription.Sent = m_Position.Sequence;  // it has had nothing that could be out of date
    return;
  }
  Subscription.Sent = Known.Sequence;
  if (Subscription.Whole || Known.Epoch != m_Position.Epoch ||
      !m_Recent.ReachBackTo(Known.Sequence, m_Position.Sequence) ||
      HasToHaveAll(Connection.m_Sender, Known.Sequence)) {
    CatchUpByServices(Connection, Interface);
    return;
  }
  m_Recent.ForEachAfter(Known.Sequence, [&](TSPublishedMail const& Mail) {
    if (Mail.Interface == Interface) {
      TSForwarded Last;
      Forward(Connection, Subscription, Mail, Last);
    }
    return !Subscription.Behind;
  });
}

// Whether it was away when those were brought up to date that were there.
bool TCRouterCore::HasToHaveAll(TSNorvSenderKey const& Subscriber, std::uint64_t Since) const {
  bool Found = false;
  m_Recent.ForEachAfter(Since, [&](TSPublishedMail const& Mail) {
    Found = Mail.Interface.empty() && (Mail.Origin.Identity.empty() || Mail.Origin == Subscriber);
    return !Found;
  });
  return Found;
}

void TCRouterCore::CatchUpByServices(TCRouterConnection& Connection, std::string const& Interface) {
  TCRouterConnection::TSSubscription& Subscription = Connection.m_Subscriptions[Interface];
  TCNorvMailClassID const MailClass = *MailWire::ParseClassInterface(Interface.c_str());
  TSNorvMailSender const& Subscriber = Connection.m_Sender;
  Subscription.Whole = true;
  Subscription.Own.reset();
  if (Connection.IsCongested()) {
    FallBehind(Connection, Subscription);
    return;
  }
  for (auto const& [Path, Owner] : m_Mailboxes) {
    TSNorvMailContent Content{MailClass, 0, 0, TCNorvMailBody::Empty()};
    if (!Owner->OnCatchUp(Subscriber, MailClass, Content)) {
      continue;
    }
    std::uint64_t const Included = Owner->get_LastTaken(Subscriber);
    TCBusMessage const Message = NewPublished(
        Connection,
        {Path, Interface, m_Position.Sequence, Subscriber.get_Key(), Included, true, Content},
        MailWire::TEWhose::eUpToDate, 0, Content.Body);
    if (!Connection.Send(Message.get(), Content.Body->get_Size())) {
      FallBehind(Connection, Subscription);
      return;
    }
  }
  Subscription.Whole = false;
  Subscription.Sent = m_Position.Sequence;
}

// ---- subscribers that do not keep up ----

// Nothing more is sent to the subscriber, and nothing is kept for it, until it has read what waits
// and its user has time again.
void TCRouterCore::ServeLater(TCRouterConnection& Connection,
                              TCRouterConnection::TSSubscription& Subscription) {
  Subscription.Behind = true;
  Subscription.Own.reset();  // they are among what it has missed
  m_Progress.Schedule();
  if (Connection.IsDrained()) {
    m_ProgressTimer.SetAfter(kTryLater);  // its reading, which it is not waiting for, wakes nobody
  }
}

void TCRouterCore::FallBehind(TCRouterConnection& Connection,
                              TCRouterConnection::TSSubscription& Subscription) {
  ServeLater(Connection, Subscription);
  LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
    SyslogWarning("mail router: %s does not read its mails; it will be brought up to date%s",
                  Connection.Describe().c_str(), Note);
  });
}

bool TCRouterCore::IsBehind(pid_t Process) const {
  return std::any_of(m_Connections.begin(), m_Connections.end(), [=](auto const& Connection) {
    return Connection.m_Sender.Process == Process && Connection.IsBehind();
  });
}

// Runs after every turn of the loop in which anything happened, such as a peer's reading.
void TCRouterCore::OnProgress() {
  std::uint64_t const End = TCRouterWork::Now() + kProgressTime;
  bool Waiting = false;
  for (auto Place = m_Connections.begin(); Place != m_Connections.end();) {
    TCRouterConnection& Connection = *Place++;  // it may be dropped
    if (Connection.IsBehind() && Connection.IsDrained()) {
      ResumeInTurn(Connection, End);
    }
    Waiting = Waiting || Connection.IsBehind();
  }
  if (!Waiting) {
    m_Progress.Cancel();
  }
}

// Not all at once: who asks for something meanwhile is served in between.
void TCRouterCore::ResumeInTurn(TCRouterConnection& Connection, std::uint64_t End) {
  if (PauseOf(*Connection.m_User) > 0) {
    m_ProgressTimer.SetAfter(kTryLater);
  } else if (TCRouterWork::Now() < End) {
    TCRouterWork const Work(Connection);
    Resume(Connection);
  } else {
    m_NextTurn.Schedule();
  }
}

void TCRouterCore::Resume(TCRouterConnection& Connection) {
  try {
    bool Behind = false;
    for (auto& [Interface, Subscription] : Connection.m_Subscriptions) {
      if (Subscription.Behind) {
        Subscription.Behind = false;
        CatchUp(Connection, Interface, {m_Position.Epoch, Subscription.Sent});
      }
      Behind = Behind || Subscription.Behind;
    }
    if (!Behind) {
      Connection.SendAcknowledgements();
    }
  } catch (...) {
    Drop(Connection);
    LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
      SyslogError("mail router: %s cannot be brought up to date: %s; its connection is ended%s",
                  Connection.Describe().c_str(), MailWire::CaughtText().c_str(), Note);
    });
  }
}

void TCRouterCore::BringUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned) {
  HaveBroughtUpToDate(IsConcerned);
  KeepForReturning(TSNorvSenderKey());
}

void TCRouterCore::BringUpToDate(TSNorvSenderKey const& Sender) {
  HaveBroughtUpToDate(
      [&Sender](TSNorvMailSender const& Other) { return Other.get_Key() == Sender; });
  KeepForReturning(Sender);
}

// One after the other, as others that are behind: for each the services may look at all they hold.
void TCRouterCore::HaveBroughtUpToDate(
    std::function<bool(TSNorvMailSender const&)> const& IsConcerned) {
  for (TCRouterConnection& Connection : m_Connections) {
    if (Connection.IsGreeted() && IsConcerned(Connection.m_Sender)) {
      for (auto& [Interface, Subscription] : Connection.m_Subscriptions) {
        Subscription.Behind = true;
        Subscription.Whole = true;
        Subscription.Own.reset();
        m_Progress.Schedule();
        m_NextTurn.Schedule();
      }
    }
  }
}

// Who is away, or goes before its turn comes, subscribes from a place before this one. Stands among
// the published mails as one of no class; without an identity it is for everybody.
void TCRouterCore::KeepForReturning(TSNorvSenderKey const& Sender) {
  ++m_Position.Sequence;
  try {
    m_Recent.Add(std::make_shared<TSPublishedMail const>(
        TSPublishedMail{std::string(),
                        std::string(),
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

TCBusMessage TCRouterCore::NewPublished(TCRouterConnection const& Connection,
                                        TSPublishedMail const& Mail, MailWire::TEWhose Whose,
                                        std::uint64_t Previous,
                                        std::shared_ptr<TCNorvMailBody const> const& Body) const {
  sd_bus_message* Raw = nullptr;
  MailWire::Require(sd_bus_message_new_signal(Connection.get_Bus(), &Raw, Mail.Path.c_str(),
                                              Mail.Interface.c_str(), MailWire::kPublished),
                    "make a published mail");
  TCBusMessage Message(Raw);
  std::uint64_t const Number = Whose == MailWire::TEWhose::eAnothers ? 0 : Mail.Number;
  MailWire::AppendValues(Raw, "tttyt",
                         {&m_Position.Epoch, &Previous, &Mail.Sequence, &Whose, &Number},
                         "append an envelope");
  MailWire::AppendMail(
      Raw, {Mail.Content.MailClass, Mail.Content.SignalType, Mail.Content.SignalName, Body},
      Connection.m_Form);
  return Message;
}

// Whatever fails for one subscriber makes it fall behind and concerns nobody else.
void TCRouterCore::Publish(TSPublishedMail Published) {
  Published.Sequence = m_Position.Sequence + 1;
  auto const Kept = std::make_shared<TSPublishedMail const>(std::move(Published));
  TSPublishedMail const& Mail = *Kept;
  m_Recent.Add(Kept);
  ++m_Position.Sequence;
  TSForwarded Last;
  for (TCRouterConnection& Connection : m_Connections) {
    auto const Subscribed = Connection.m_Subscriptions.find(Mail.Interface);
    if (Subscribed == Connection.m_Subscriptions.end() || Subscribed->second.Behind) {
      continue;
    }
    if (!Mail.Restoring && Mail.Origin == Connection.m_Sender.get_Key()) {
      KeepOwn(Connection, Subscribed->second, Mail);
    } else {
      Forward(Connection, Subscribed->second, Mail, Last);
    }
  }
}

// The peer holds its own mails already. It has to hear of them before anything that came after
// them, and before their acknowledgement, and of many of them once.
void TCRouterCore::KeepOwn(TCRouterConnection& Connection,
                           TCRouterConnection::TSSubscription& Subscription,
                           TSPublishedMail const& Mail) {
  if (Subscription.Own && Subscription.Own->Path != Mail.Path) {
    TellOfOwn(Connection, Mail.Interface, Subscription);
  }
  if (Subscription.Behind) {
    return;
  }
  try {
    Subscription.Own = {Mail.Path, Mail.Sequence, Mail.Number};
  } catch (std::bad_alloc const&) {
    FallBehind(Connection, Subscription);
  }
}

void TCRouterCore::TellOfOwn(TCRouterConnection& Connection, std::string const& Interface,
                             TCRouterConnection::TSSubscription& Subscription) {
  if (!Subscription.Own) {
    return;
  }
  TCRouterConnection::TSOwnMails const Own = *std::exchange(Subscription.Own, std::nullopt);
  if (!Connection.IsCongested() &&
      sd_bus_emit_signal(Connection.get_Bus(), Own.Path.c_str(), Interface.c_str(),
                         MailWire::kPublishedOwn, "tttt", m_Position.Epoch, Subscription.Sent,
                         Own.Sequence, Own.Number) >= 0) {
    Subscription.Sent = Own.Sequence;
  } else {
    FallBehind(Connection, Subscription);
  }
  Connection.Watch();
}

void TCRouterCore::Forward(TCRouterConnection& Connection,
                           TCRouterConnection::TSSubscription& Subscription,
                           TSPublishedMail const& Mail, TSForwarded& Last) {
  MailWire::TEWhose const Whose = WhoseFor(Connection.m_Sender, Mail);
  if (Mail.Restoring && Whose == MailWire::TEWhose::eAnothers) {
    return;
  }
  if (Connection.IsCongested()) {
    FallBehind(Connection, Subscription);
    return;
  }
  if (PauseOf(*Connection.m_User) > 0) {
    ServeLater(Connection, Subscription);
    return;
  }
  TCRouterWork const Work(Connection);  // what it may have of many records takes long to select
  try {
    auto const Owner = m_Mailboxes.find(Mail.Path);
    if (Owner == m_Mailboxes.end()) {
      return;  // nobody can say what of it the subscriber may have
    }
    auto const Body = Owner->second->OnForward(Connection.m_Sender, Mail.Content);
    if (!Body) {
      return;
    }
    TellOfOwn(Connection, Mail.Interface, Subscription);
    if (Subscription.Behind) {
      return;
    }
    if (Last.Body != Body || Last.Previous != Subscription.Sent || Last.Form != Connection.m_Form ||
        Last.Whose != Whose) {
      Last = {NewPublished(Connection, Mail, Whose, Subscription.Sent, Body), Body,
              Subscription.Sent, Connection.m_Form, Whose};
    }
    if (Connection.Send(Last.Message.get(), Body->get_Size())) {
      Subscription.Sent = Mail.Sequence;
      return;
    }
  } catch (...) {
    LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
      SyslogError("mail router: cannot send to %s: %s%s", Connection.Describe().c_str(),
                  MailWire::CaughtText().c_str(), Note);
    });
  }
  FallBehind(Connection, Subscription);
}
