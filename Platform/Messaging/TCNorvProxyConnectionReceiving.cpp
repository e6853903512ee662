// SPDX-License-Identifier: MIT
// Takes what the router sends: answers, acknowledgements and published mails.
#include <algorithm>
#include <cinttypes>
#include <new>
#include <utility>

#include "Platform/Messaging/GuardedCall.h"
#include "Platform/Messaging/TCNorvProxyConnection.h"
#include "Platform/Messaging/ThreadStream.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvProxyConnectionReceiving";

}  // namespace

int TCNorvProxyConnection::OnFilter(sd_bus_message* Message, void* Connection,
                                    sd_bus_error* /*Error*/) {
  auto& Self = *static_cast<TCNorvProxyConnection*>(Connection);
  if (sd_bus_message_is_signal(Message, MailWire::kRouterInterface, MailWire::kAcknowledged) > 0) {
    Guarded("mail router", [&] { Self.OnAcknowledged(Message); });
    return 1;
  }
  bool const Own = sd_bus_message_is_signal(Message, nullptr, MailWire::kPublishedOwn) > 0;
  if (!Own && sd_bus_message_is_signal(Message, nullptr, MailWire::kPublished) <= 0) {
    return 0;
  }
  bool Known = true;
  Guarded("published mail refused", [&] {
    TSSource const* const Source = Self.SourceOf(Message);
    Known = Source != nullptr;
    if (Known) {
      Own ? Self.OnPublishedOwn(Message, *Source) : Self.OnPublished(Message, *Source);
    }
  });
  return Known ? 1 : 0;
}

// Null when the message is not of a mail class.
TCNorvProxyConnection::TSSource const* TCNorvProxyConnection::SourceOf(sd_bus_message* Message) {
  char const* const Path = sd_bus_message_get_path(Message);
  char const* const Interface = sd_bus_message_get_interface(Message);
  if (!m_LastSource || m_LastSource->Path != Path || m_LastSource->Interface != Interface) {
    auto const MailClass = MailWire::ParseClassInterface(Interface);
    if (!MailClass) {
      return nullptr;
    }
    m_LastSource = {Path, Interface, StreamName(Path, Interface), *MailClass};
  }
  return &*m_LastSource;
}

int TCNorvProxyConnection::OnAnswer(sd_bus_message* Message, void* Exchange,
                                    sd_bus_error* /*Error*/) {
  auto& Pending = *static_cast<TSExchange*>(Exchange);
  TCNorvProxyConnection& Self = *Pending.Connection;
  if (sd_bus_message_is_method_error(Message, SD_BUS_ERROR_NO_REPLY) > 0) {
    return 0;  // the connection is gone; the request is sent again on the next one
  }
  Pending.Answered = false;
  if (sd_bus_message_is_method_error(Message, nullptr) > 0) {
    Guarded("mail router", [&] { Pending.Refusal = sd_bus_message_get_error(Message)->message; });
  } else {
    Guarded("answer refused", [&] { Self.ReadAnswer(Pending, Message); });
  }
  Self.m_Changed.notify_all();
  return 0;
}

void TCNorvProxyConnection::ReadAnswer(TSExchange& Exchange, sd_bus_message* Message) {
  MailWire::TSPosition Position;
  std::uint64_t Number = 0;
  MailWire::RequireSound(
      sd_bus_message_read(Message, "ttt", &Position.Epoch, &Position.Sequence, &Number),
      "read an envelope");
  TSNorvMailContent Answer = MailWire::ReadMail(Message, Exchange.Content->MailClass);
  TSSubscription& Subscription = m_Subscriptions[Exchange.Interface];
  // The first answer counts: what was published since is missing from the values it brought.
  if (!Subscription.Subscribed && Subscription.Received.Epoch != Position.Epoch) {
    Subscription.Received = Position;
    std::string const Stream = StreamName(*Exchange.Mailbox, Exchange.Interface);
    m_Outboxes[*Exchange.Mailbox].Streams[Stream] = Number;
    m_OwnChanges->CatchUp(Stream, Number);
  }
  if (Exchange.Held) {
    m_AnswersInHand.push_back(Exchange.Waiter);
  }
  *Exchange.Content = std::move(Answer);
  Exchange.Answered = true;
}

void TCNorvProxyConnection::OnAcknowledged(sd_bus_message* Message) {
  std::uint64_t Number = 0;
  MailWire::RequireSound(sd_bus_message_read(Message, "t", &Number), "read an acknowledgement");
  char const* const Path = sd_bus_message_get_path(Message);
  auto const Found = m_Outboxes.find(Path == nullptr ? "" : Path);
  if (Found == m_Outboxes.end()) {
    return;
  }
  TSOutbox& Outbox = Found->second;
  while (Outbox.Untransmitted > 0 && Outbox.Mails.front().Number <= Number) {
    m_UnacknowledgedBytes -= KeptSize(Outbox.Mails.front().Content);
    Outbox.Mails.pop_front();
    --Outbox.Untransmitted;
  }
  // Counts behind all that was published before: what has not come by then will not.
  for (auto const& [Stream, Published] : Outbox.Streams) {
    if (m_OwnChanges->HasUpTo(Stream, Number)) {
      Receive({TEKind::eAcknowledged, Stream, Number, {TCNorvMailClassID("", 0), 0, 0, nullptr}});
    }
  }
  m_Changed.notify_all();
  Transmit();
}

TCNorvProxyConnection::TEKind TCNorvProxyConnection::KindOf(MailWire::TEWhose Whose) {
  switch (Whose) {
    case MailWire::TEWhose::eAnothers:
      return TEKind::eForeign;
    case MailWire::TEWhose::eOwn:
      return TEKind::eOwn;
    case MailWire::TEWhose::eUpToDate:
      return TEKind::eCatchUp;
  }
  throw TCException(kSource, __LINE__)
      .Format("Malformed mail: whose it is, is said by no number %d", static_cast<int>(Whose));
}

void TCNorvProxyConnection::OnPublished(sd_bus_message* Message, TSSource const& Source) {
  MailWire::TSPosition Position;
  std::uint64_t Previous = 0;
  MailWire::TEWhose Whose = MailWire::TEWhose::eAnothers;
  std::uint64_t Number = 0;
  MailWire::ReadValues(Message, "tttyt",
                       {&Position.Epoch, &Previous, &Position.Sequence, &Whose, &Number},
                       "read an envelope");
  TEKind const Kind = KindOf(Whose);
  TSSubscription& Subscription = m_Subscriptions[Source.Interface];
  MailWire::TSPosition const Former = Subscription.Received;
  if (!Admit(Subscription, Position, Previous, Kind)) {
    NoteMissing(Source, Subscription.Missing);
    return;
  }
  try {
    TSNorvMailContent Content = MailWire::ReadMail(Message, Source.MailClass);
    if (IsWitnessed(Source)) {
      m_Witness->Hear(Content, m_Outboxes[Source.Path].get_LastAcknowledged());
    }
    if (Kind != TEKind::eForeign) {
      m_Outboxes[Source.Path].Streams[Source.Stream] = Number;
    }
    bool const Whole = Kind == TEKind::eCatchUp && Previous == 0;
    Receive({Kind, Source.Stream, Number, std::move(Content), Whole});
    NoteMissing(Source, false);
  } catch (std::bad_alloc const&) {
    Subscription.Received = Former;  // it is missing, and will be asked for
    NoteMissing(Source, true);
    throw;
  }
}

bool TCNorvProxyConnection::IsWitnessed(TSSource const& Source) const {
  return m_Witness && m_Witness->MailClass == Source.MailClass;
}

// What the witness has missed it has to hear before acknowledgements count again: it is asked for
// now, or has been.
void TCNorvProxyConnection::NoteMissing(TSSource const& Source, bool Missing) {
  if (!IsWitnessed(Source) || m_Witness->Missing == Missing) {
    return;
  }
  m_Witness->Missing = Missing;
  TSSubscription& Subscription = m_Subscriptions[Source.Interface];
  if (Missing && !Subscription.Missing) {
    Subscription.Missing = true;
    Subscription.Requested = false;
    Transmit();
  }
  m_Changed.notify_all();
}

// Mails of this process were published, up to one of them, and nothing else in between. They are
// kept here until they are acknowledged, which comes later.
void TCNorvProxyConnection::OnPublishedOwn(sd_bus_message* Message, TSSource const& Source) {
  MailWire::TSPosition Position;
  std::uint64_t Previous = 0;
  std::uint64_t Number = 0;
  MailWire::ReadValues(Message, "tttt", {&Position.Epoch, &Previous, &Position.Sequence, &Number},
                       "read an envelope");
  if (!Admit(m_Subscriptions[Source.Interface], Position, Previous, TEKind::eOwn)) {
    return;
  }
  TSOutbox& Outbox = m_Outboxes[Source.Path];
  std::uint64_t& Published = Outbox.Streams[Source.Stream];
  auto const First =
      std::partition_point(Outbox.Mails.begin(), Outbox.Mails.end(),
                           [&](auto const& Mail) { return Mail.Number <= Published; });
  for (auto Mail = First; Mail != Outbox.Mails.end() && Mail->Number <= Number; ++Mail) {
    if (Mail->Content.MailClass == Source.MailClass) {
      Receive({TEKind::eOwn, Source.Stream, Mail->Number, Mail->Content});
    }
  }
  Published = Number;
}

// Whether a published mail is the next one. After a missing one all later mails are asked for. What
// brings the process up to date comes in its place like any other, unless it stands for all.
bool TCNorvProxyConnection::Admit(TSSubscription& Subscription, MailWire::TSPosition Position,
                                  std::uint64_t Previous, TEKind Kind) {
  bool const StandsForAll = Kind == TEKind::eCatchUp && Previous == 0;
  if (!StandsForAll && Position.Epoch == Subscription.Received.Epoch) {
    if (Position.Sequence <= Subscription.Received.Sequence) {
      return false;  // had it
    }
    if (Previous > Subscription.Received.Sequence) {
      if (!std::exchange(Subscription.Missing, true)) {
        SyslogWarning("Published mails %" PRIu64 " to %" PRIu64 " are missing and are asked for",
                      Subscription.Received.Sequence + 1, Previous);
        Subscription.Requested = false;
        Transmit();
      }
      return false;
    }
  }
  Subscription.Missing = false;
  Subscription.Received = Position;
  return true;
}

void TCNorvProxyConnection::Receive(TSReceived Received) {
  // Nothing that a hook has to hear of, and nothing before it: done at once.
  bool const First = m_Inbox.empty() && !m_Delivering && m_AnswersInHand.empty();
  if (First && Received.Kind == TEKind::eAcknowledged) {
    m_OwnChanges->Acknowledge(Received.Stream, Received.Number);
    return;
  }
  if (First && Received.Kind == TEKind::eOwn &&
      m_OwnChanges->EndOwnSilently(Received.Stream, Received.Number)) {
    return;
  }
  m_Inbox.push_back(std::move(Received));
  Signal(TEEvent::eMails);
}
