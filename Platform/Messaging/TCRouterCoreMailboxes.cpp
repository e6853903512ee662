// SPDX-License-Identifier: MIT
// Hands mails and requests to the owners of mailboxes, or keeps them until there is one.
#include <sys/epoll.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <utility>

#include "Platform/Messaging/TCRouterCore.h"
#include "Platform/Messaging/TCRouterWork.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCRouterCoreMailboxes";
constexpr std::size_t kParkedLimit = 1024;   // messages kept for mailboxes without owner
constexpr std::size_t kParkedOfOne = 64;     // of them of one connection, which then has to wait
constexpr std::uint64_t kBusyPause = 10000;  // microseconds

void RequireOwnName(TSNorvMailSender const& Sender, char const* Identity) {
  if (Sender.Identity != Identity) {
    throw TCException(kSource, __LINE__).Format("a mail in another's name");
  }
}

}  // namespace

// ---- mailboxes ----

void TCRouterCore::OpenMailbox(std::string const& Mailbox, std::string const& Path,
                               TCNorvService& Owner) {
  if (!m_Mailboxes.emplace(Path, &Owner).second) {
    throw TCException(kSource, __LINE__).Format("mailbox %s has an owner", Mailbox.c_str());
  }
  for (auto Place = m_Parked.find(Path); Place != m_Parked.end() && !Place->second.empty();
       Place = m_Parked.find(Path)) {
    TSParked const First = std::move(Place->second.front());
    Place->second.pop_front();
    OnMessage(First.Message.get(), First.Connection, nullptr);  // may drop it, and with it the rest
  }
  m_Parked.erase(Path);
  // Who subscribed before, or was there already, may lack what nobody could give it.
  HaveBroughtUpToDate([](TSNorvMailSender const& /*Sender*/) { return true; });
  if (m_Position.Sequence > 0) {
    KeepForReturning(TSNorvSenderKey());
  }
  for (auto Place = m_Connections.begin(); Place != m_Connections.end();) {
    TCRouterConnection& Connection = *Place++;
    if (Connection.m_HangUp) {
      Connection.m_HangUp.reset();
      ReadAgain(Connection);
    } else {
      Connection.Watch();  // it may have been answered
    }
  }
}

void TCRouterCore::CloseMailbox(std::string const& Path) {
  m_Mailboxes.erase(Path);
}

void TCRouterCore::Acknowledge(std::string const& Path, TSNorvSenderKey const& Sender,
                               std::uint64_t Number) {
  for (TCRouterConnection& Connection : m_Connections) {
    if (Connection.m_Sender.get_Key() == Sender) {
      for (auto& [Interface, Subscription] : Connection.m_Subscriptions) {
        TellOfOwn(Connection, Interface, Subscription);
      }
      Connection.Acknowledge(Path, Number);
      if (Connection.IsBehind()) {
        m_Progress.Schedule();
      }
    }
  }
}

// ---- messages to a mailbox ----

void TCRouterCore::RouteToMailbox(TCRouterConnection& Connection, sd_bus_message* Message) {
  if (!Connection.IsGreeted()) {
    throw TCException(kSource, __LINE__).Format("a mail before the greeting");
  }
  CountMails(Connection, 1);
  auto const Owner = m_Mailboxes.find(sd_bus_message_get_path(Message));
  if (Owner == m_Mailboxes.end()) {
    Park(Connection, Message);
    return;
  }
  auto const MailClass = MailWire::ParseClassInterface(sd_bus_message_get_interface(Message));
  if (IsCall(Message, MailWire::kSend)) {
    DeliverMail(*Owner->second, Connection, Message, *MailClass);
  } else if (IsCall(Message, MailWire::kSendMany)) {
    DeliverMails(*Owner->second, Connection, Message, *MailClass);
  } else if (IsCall(Message, MailWire::kRequest)) {
    DeliverRequest(*Owner->second, Connection, Message, *MailClass);
  } else {
    throw TCException(kSource, __LINE__)
        .Format("a mailbox knows no operation %s", sd_bus_message_get_member(Message));
  }
}

// ---- messages that wait for an owner ----

void TCRouterCore::Park(TCRouterConnection& Connection, sd_bus_message* Message) {
  std::size_t Count = 0;
  std::size_t OfOne = 0;
  for (auto const& [Path, Messages] : m_Parked) {
    Count += Messages.size();
    OfOne += static_cast<std::size_t>(std::count_if(
        Messages.begin(), Messages.end(),
        [&Connection](TSParked const& Parked) { return Parked.Connection == &Connection; }));
  }
  if (Count >= kParkedLimit) {
    // Its proxy comes back and sends again what has not been acknowledged.
    LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
      SyslogError(
          "mail router: %zu messages wait for mailboxes without owner; %s has to come again%s",
          Count, Connection.Describe().c_str(), Note);
    });
    Drop(Connection);
    return;
  }
  m_Parked[sd_bus_message_get_path(Message)].push_back(
      {&Connection, TCBusMessage(sd_bus_message_ref(Message))});
  if (OfOne + 1 >= kParkedOfOne) {
    TakeOrDrop(Connection, [&] { WaitForOwner(Connection); });
  }
}

// The peer is not read from until a mailbox gets its owner; its end is noticed.
void TCRouterCore::WaitForOwner(TCRouterConnection& Connection) {
  Connection.Detach();
  Connection.m_HangUp.emplace(get_Loop(), sd_bus_get_fd(Connection.get_Bus()), EPOLLRDHUP,
                              [this, &Connection](std::uint32_t /*Events*/) { Drop(Connection); });
}

void TCRouterCore::ReadAgain(TCRouterConnection& Connection) {
  if (Connection.m_Pause || Connection.m_HangUp) {
    return;
  }
  try {
    Attach(Connection);
  } catch (std::exception const&) {
    Drop(Connection);
  }
}

// ---- peers that send too much ----

void TCRouterCore::CountMails(TCRouterConnection& Connection, std::size_t Mails) {
  std::uint64_t const Pause = Connection.CountMails(Mails, m_Limits.MailsPerSecond, Now());
  if (Pause != 0) {
    SlowDown(Connection, Pause,
             "sends more than " + std::to_string(m_Limits.MailsPerSecond) + " mails a second");
  }
}

// A record takes as long as a mail of one record does. One was counted when the mail came.
void TCRouterCore::CountRecords(TCRouterConnection& Connection, TSNorvReceivedMail const& Mail) {
  int const Records = Mail.Content.Body->get_Count();
  if (Records > 1) {
    CountMails(Connection, static_cast<std::size_t>(Records) - 1);
  }
}

// How long a user has to wait that has had its share of the router's time; 0 for one that has not.
std::uint64_t TCRouterCore::PauseOf(TCRouterUser const& User) {
  return User.IsCharged() ? User.get_Pause(TCRouterWork::Now()) : 0;
}

// Whether the peer is one of such a user; then it has to wait.
bool TCRouterCore::Postpone(TCRouterConnection& Connection) {
  std::uint64_t const Pause = PauseOf(*Connection.m_User);
  if (Pause == 0) {
    return false;
  }
  TakeOrDrop(Connection, [&] {
    SlowDown(Connection, Pause, "makes more work than its user's share of the router's time");
  });
  return true;
}

void TCRouterCore::WaitWhileBusy(TCNorvService const& Owner, TCRouterConnection& Connection) {
  if (Owner.IsBusy()) {
    SlowDown(Connection, kBusyPause, "sends more than can be stored at once");
  }
}

// The peer is not read from for a time, so it waits and nobody else does. Of several reasons the
// one that takes longest counts.
void TCRouterCore::SlowDown(TCRouterConnection& Connection, std::uint64_t Pause,
                            std::string const& Reason) {
  std::chrono::microseconds const Time(static_cast<std::int64_t>(Pause));
  if (Connection.m_Pause) {
    TCNorvLoopTimer& Present = *Connection.m_Pause;
    Present.SetAt(std::max(Present.get_Deadline(), get_Loop().Now() + Time));
    return;
  }
  LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
    SyslogWarning("mail router: %s %s and is slowed down%s", Connection.Describe().c_str(),
                  Reason.c_str(), Note);
  });
  Connection.m_Pause.emplace(get_Loop(), CLOCK_MONOTONIC,
                             [this, &Connection] { OnPauseOver(Connection); });
  Connection.m_Pause->SetAfter(Time);
  Connection.Detach();
}

void TCRouterCore::OnPauseOver(TCRouterConnection& Connection) {
  Connection.m_Pause.reset();
  ReadAgain(Connection);
}

// ---- mails and requests ----

template <class TRead>
void TCRouterCore::Take(TCNorvService& Owner, TCRouterConnection& Connection,
                        TSNorvReceivedMail& Mail, TRead const& Read) {
  try {
    Mail.Content = Read();
    Owner.OnMail(Mail);
  } catch (TCException const& Reason) {
    Refuse(Owner, Connection, Mail, Reason);
  }
}

void TCRouterCore::Refuse(TCNorvService& Owner, TCRouterConnection& Connection,
                          TSNorvReceivedMail const& Mail, TCException const& Reason) {
  LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
    SyslogError("Mail of %s refused: %s%s", Connection.Describe().c_str(), Reason.what(), Note);
  });
  Owner.OnRefused(Mail);
}

void TCRouterCore::DeliverMail(TCNorvService& Owner, TCRouterConnection& Connection,
                               sd_bus_message* Message, TCNorvMailClassID const& MailClass) {
  TSNorvReceivedMail Mail{Connection.m_Sender, 0, {MailClass, 0, 0, TCNorvMailBody::Empty()}};
  char const* Identity = nullptr;
  MailWire::ReadValues(Message, "st", {&Identity, &Mail.Number}, "read an envelope");
  RequireOwnName(Connection.m_Sender, Identity);
  TakeOrDrop(Connection, [&] {
    Take(Owner, Connection, Mail,
         [&] { return MailWire::ReadMail(Message, MailClass, get_MailLimit()); });
    CountRecords(Connection, Mail);
    WaitWhileBusy(Owner, Connection);
  });
}

// Each of them is a mail like any other. Where they can not be told apart, all are refused at once,
// by the number of the last: sent again they would be as malformed.
void TCRouterCore::DeliverMails(TCNorvService& Owner, TCRouterConnection& Connection,
                                sd_bus_message* Message, TCNorvMailClassID const& MailClass) {
  TSNorvMailContent const Nothing{MailClass, 0, 0, TCNorvMailBody::Empty()};
  TSNorvReceivedMail Mail{Connection.m_Sender, 0, Nothing};
  char const* Identity = nullptr;
  std::uint32_t Count = 0;
  MailWire::ReadValues(Message, "stu", {&Identity, &Mail.Number, &Count}, "read an envelope");
  RequireOwnName(Connection.m_Sender, Identity);
  if (Count == 0 || Mail.Number > UINT64_MAX - (Count - 1)) {
    throw TCException(kSource, __LINE__).Format("mails without numbers");
  }
  TakeOrDrop(Connection, [&] {
    MailWire::TSMailGroup Group;
    try {
      Group = MailWire::ReadMails(Message, Count);
    } catch (TCException const& Reason) {
      Mail.Number += Count - 1;
      Refuse(Owner, Connection, Mail, Reason);
      return;
    }
    CountMails(Connection, Count - 1);  // one was counted when the message came
    for (MailWire::TSPackedMail const& Packed : Group.Mails) {
      Mail.Content = Nothing;
      Take(Owner, Connection, Mail,
           [&] { return MailWire::UnpackMail(Group, Packed, MailClass, m_Limits.RecordsPerMail); });
      CountRecords(Connection, Mail);
      ++Mail.Number;
    }
    WaitWhileBusy(Owner, Connection);
  });
}

void TCRouterCore::DeliverRequest(TCNorvService& Owner, TCRouterConnection& Connection,
                                  sd_bus_message* Message, TCNorvMailClassID const& MailClass) {
  char const* Identity = nullptr;
  MailWire::RequireSound(sd_bus_message_read(Message, "s", &Identity), "read an envelope");
  TSNorvMailSender const& Sender = Connection.m_Sender;
  RequireOwnName(Sender, Identity);
  if (sd_bus_message_get_expect_reply(Message) <= 0) {
    throw TCException(kSource, __LINE__).Format("a request that expects no answer");
  }
  TSNorvMailContent const Request = MailWire::ReadMail(Message, MailClass, get_MailLimit());
  TSNorvMailContent Answer{MailClass, 0, 0, TCNorvMailBody::Empty()};
  if (!Owner.OnRequest(Sender, Request, Answer)) {
    MailWire::Require(
        sd_bus_reply_method_errorf(Message, MailWire::kErrorRefused, "the service refuses"),
        "refuse a request");
    return;
  }
  sd_bus_message* Raw = nullptr;
  MailWire::Require(sd_bus_message_new_method_return(Message, &Raw), "make an answer");
  TCBusMessage const Reply(Raw);
  MailWire::Require(sd_bus_message_append(Raw, "ttt", m_Position.Epoch, m_Position.Sequence,
                                          Owner.get_LastTaken(Sender)),
                    "append an envelope");
  MailWire::AppendMail(Raw, Answer, Connection.m_Form);
  if (!Connection.Send(Raw, Answer.Body->get_Size())) {
    Drop(Connection);  // its proxy comes back and asks again
  }
}
