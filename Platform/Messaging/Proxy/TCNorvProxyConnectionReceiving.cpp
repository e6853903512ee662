// SPDX-License-Identifier: MIT
// Takes what the router sends: answers, acknowledgements and published mails.
#include <algorithm>
#include <cinttypes>
#include <new>
#include <utility>

#include "Platform/Messaging/Proxy/GuardedCall.h"
#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace {

TCInbox::TEKind KindOf(Wire::TEWhose Whose) {
  switch (Whose) {
    case Wire::TEWhose::eOwn:
      return TCInbox::TEKind::eOwn;
    case Wire::TEWhose::eUpToDate:
      return TCInbox::TEKind::eCatchUp;
    default:
      return TCInbox::TEKind::eForeign;
  }
}

}  // namespace

// No more than `Most` frames, so that a stream of mails keeps nobody from the mutex, and a lone
// frame is delivered before the socket is asked for the next.
void TCNorvProxyConnection::Receive(int Most) {
  Wire::TETransfer Result = Wire::TETransfer::eDone;
  for (int Count = 0; Count < Most && Result == Wire::TETransfer::eDone; ++Count) {
    Result = m_Link.Receive();
    if (Result == Wire::TETransfer::eDone) {
      Guarded("mail router", [this]() PROPERTY_REQUIRES(m_Mutex) { OnFrame(); });
      m_Link.EndFrame();
    }
  }
  if (Result != Wire::TETransfer::eDone && Result != Wire::TETransfer::eLater) {
    OnLost();
  }
}

// Everything that was on its way is sent again on the next connection.
void TCNorvProxyConnection::OnLost() {
  bool const WasReady = m_Link.IsReady();
  m_Link.Drop();
  m_HeldUntil.reset();
  m_Shortage.RetryAt.reset();
  for (TSExchange* const Exchange : m_Exchanges) {
    Exchange->Request = 0;
  }
  for (auto& [Mailbox, Outbox] : m_Outboxes) {
    Outbox.Restart();
  }
  for (auto& [MailClass, Subscription] : m_Subscriptions) {
    Subscription.Restart();
  }
  if (WasReady) {
    Guarded("mail router", [this]() PROPERTY_REQUIRES(m_Mutex) { Signal(TEEvent::eLost); });
  }
}

void TCNorvProxyConnection::OnFrame() {
  Wire::TCFrameView const Frame = m_Link.get_Frame();
  switch (Frame.get_Head().Kind) {
    case Wire::TEFrame::eWelcome:
      OnWelcome();
      break;
    case Wire::TEFrame::eRefused:
      OnRefused(Frame);
      break;
    case Wire::TEFrame::eAnswer:
      OnAnswer(Frame);
      break;
    case Wire::TEFrame::ePublished:
      Guarded("published mail refused", [&]() PROPERTY_REQUIRES(m_Mutex) { OnPublished(Frame); });
      break;
    case Wire::TEFrame::eAcknowledged:
      OnAcknowledged(Frame.get_Head());
      break;
    default:
      break;  // of no use to a proxy
  }
}

void TCNorvProxyConnection::OnWelcome() {
  m_Link.OnWelcome();
  Signal(TEEvent::eReachable);
  Transmit();
}

void TCNorvProxyConnection::OnRefused(Wire::TCFrameView const& Frame) {
  std::string Reason = Wire::ReadTexts(Frame, 1).front();
  if (Frame.get_Head().Request == 0) {
    m_Link.OnRefused(std::move(Reason));
  } else if (TSExchange* const Exchange = FindExchange(Frame.get_Head().Request)) {
    Exchange->Refusal = std::move(Reason);
    Exchange->Answered = false;
    m_Changed.notify_all();
  }
}

// Null when the thread that asked waits no more.
TCNorvProxyConnection::TSExchange* TCNorvProxyConnection::FindExchange(std::uint64_t Request) {
  auto const Place =
      std::find_if(m_Exchanges.begin(), m_Exchanges.end(), [Request](TSExchange const* Exchange) {
        return Exchange->Request == Request && !Exchange->Answered;
      });
  return Place != m_Exchanges.end() ? *Place : nullptr;
}

void TCNorvProxyConnection::OnAnswer(Wire::TCFrameView const& Frame) {
  TSExchange* const Exchange = FindExchange(Frame.get_Head().Request);
  if (Exchange == nullptr) {
    return;
  }
  Exchange->Answered = false;
  Guarded("answer refused", [&]() PROPERTY_REQUIRES(m_Mutex) { ReadAnswer(*Exchange, Frame); });
  m_Changed.notify_all();
}

void TCNorvProxyConnection::ReadAnswer(TSExchange& Exchange, Wire::TCFrameView const& Frame) {
  Wire::TSFrameHead const& Head = Frame.get_Head();
  TCNorvMailClassID const& MailClass = Exchange.Content->MailClass;
  TSNorvMailContent Answer = Frame.ReadOnly(MailClass);
  TCOwnChanges::TCStream const Stream = m_OwnChanges.StreamOf(*Exchange.Mailbox, MailClass);
  // The first answer counts: what was published since is missing from the values it brought.
  if (SubscriptionOf(MailClass).BeginAt(Head.Position)) {
    OutboxOf(*Exchange.Mailbox).NotePublished(Stream, Head.Number);
    m_OwnChanges.CatchUp(Stream, Head.Number);
  }
  if (Exchange.Held != nullptr && !Exchange.Held->IsAnswer()) {
    m_Inbox.HoldFor(Exchange.Waiter);
    Exchange.Held->m_Changes = &m_OwnChanges;
    Exchange.Held->m_Stream = Stream;
    Exchange.Held->m_IsAnswer = true;
  }
  *Exchange.Content = std::move(Answer);
  Exchange.Answered = true;
}

void TCNorvProxyConnection::OnAcknowledged(Wire::TSFrameHead const& Head) {
  auto const Found = m_Outboxes.find(std::string(Head.Mailbox));
  if (Found == m_Outboxes.end()) {
    return;
  }
  m_KeptBytes -= Found->second.Acknowledge(Head.Number);
  // Counts behind all that was published before: what has not come by then will not.
  for (auto const& [Stream, Published] : Found->second.get_Streams()) {
    PutAwayAcknowledged(Stream, Head.Number);
  }
  m_Changed.notify_all();
  Transmit();
}

TCNorvProxyConnection::TSSource const& TCNorvProxyConnection::SourceOf(
    Wire::TCFrameView const& Frame) {
  Wire::TSFrameHead const& Head = Frame.get_Head();
  if (!m_LastSource || m_LastSource->Mailbox != Head.Mailbox ||
      !Head.IsOf(m_LastSource->MailClass)) {
    std::string const Mailbox(Head.Mailbox);
    TCNorvMailClassID const MailClass = Frame.get_Class();
    m_LastSource = {Mailbox, MailClass, m_OwnChanges.StreamOf(Mailbox, MailClass)};
  }
  return *m_LastSource;
}

void TCNorvProxyConnection::OnPublished(Wire::TCFrameView Frame) {
  TSSource const& Source = SourceOf(Frame);
  if (Frame.get_Head().Whose == Wire::TEWhose::eOwnKept) {
    OnPublishedOwn(Frame.get_Head(), Source);
    return;
  }
  Frame.RequireSound();
  Wire::TSPosition Position = Frame.get_Head().Position;
  std::uint64_t Previous = Frame.get_Head().Previous;
  Wire::TSFrameMail Mail;
  while (Frame.Next(Mail)) {
    TakePublished(Frame, Mail, Position, Previous, Source);
    Previous = Position.Sequence++;
  }
}

void TCNorvProxyConnection::TakePublished(Wire::TCFrameView const& Frame,
                                          Wire::TSFrameMail const& Mail,
                                          Wire::TSPosition const& Position, std::uint64_t Previous,
                                          TSSource const& Source) {
  TCInbox::TEKind const Kind = KindOf(Frame.get_Head().Whose);
  std::uint64_t const Number = Frame.get_Head().Number;
  bool const Whole = Kind == TCInbox::TEKind::eCatchUp && Previous == 0;
  TCSubscription& Subscription = SubscriptionOf(Source.MailClass);
  Wire::TSPosition const Former = Subscription.get_Received();
  if (!Admit(Source, Position, Previous, Whole)) {
    NoteMissing(Source, Subscription.IsMissing());
    return;
  }
  try {
    TSNorvMailContent Content = Frame.Read(Mail, Source.MailClass);
    TCOutbox& Outbox = OutboxOf(Source.Mailbox);
    if (IsWitnessed(Source)) {
      m_Witness->Hear(Content, Outbox.get_LastAcknowledged());
    }
    if (Kind != TCInbox::TEKind::eForeign) {
      Outbox.NotePublished(Source.Stream, Number);
    }
    PutAway({Kind, Source.Stream, Number, std::move(Content), Whole});
    NoteMissing(Source, false);
  } catch (std::bad_alloc const&) {
    Subscription.TakeBack(Former);  // it is missing, and will be asked for
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
  if (Missing) {
    SubscriptionOf(Source.MailClass).AskAgain();
    Transmit();
  }
  m_Changed.notify_all();
}

// Mails of this process were published, up to one of them, and nothing else in between. They are
// kept here until they are acknowledged, which comes later.
void TCNorvProxyConnection::OnPublishedOwn(Wire::TSFrameHead const& Head, TSSource const& Source) {
  if (!Admit(Source, Head.Position, Head.Previous, false)) {
    return;
  }
  OutboxOf(Source.Mailbox)
      .TakePublished(Source.MailClass, Source.Stream, Head.Number,
                     [&](std::uint64_t Number, TSNorvMailContent const& Content)
                         PROPERTY_REQUIRES(m_Mutex) {
                           PutAway({TCInbox::TEKind::eOwn, Source.Stream, Number, Content});
                         });
}

// After a missing mail all later ones are asked for.
bool TCNorvProxyConnection::Admit(TSSource const& Source, Wire::TSPosition const& Position,
                                  std::uint64_t Previous, bool StandsForAll) {
  TCSubscription& Subscription = SubscriptionOf(Source.MailClass);
  std::uint64_t const Last = Subscription.get_Received().Sequence;
  TCSubscription::TEVerdict const Verdict = Subscription.Admit(Position, Previous, StandsForAll);
  if (Verdict == TCSubscription::TEVerdict::eGap) {
    SyslogWarning("Published mails %" PRIu64 " to %" PRIu64 " are missing and are asked for",
                  Last + 1, Previous);
    Transmit();
  }
  return Verdict == TCSubscription::TEVerdict::eNext;
}

// What nobody has to hear of, and has nothing before it, is done at once.
void TCNorvProxyConnection::PutAway(TCInbox::TSReceived Received) {
  if (Received.Kind == TCInbox::TEKind::eOwn && m_Inbox.IsNextInLine() &&
      m_OwnChanges.EndOwnSilently(Received.Stream, Received.Number)) {
    return;
  }
  m_Inbox.Add(std::move(Received));
  Signal(TEEvent::eMails);
}

void TCNorvProxyConnection::PutAwayAcknowledged(TCOwnChanges::TCStream Stream,
                                                std::uint64_t Number) {
  if (m_Inbox.IsNextInLine()) {
    m_OwnChanges.Acknowledge(Stream, Number);
  } else if (m_OwnChanges.HasUpTo(Stream, Number)) {
    PutAway({TCInbox::TEKind::eAcknowledged,
             Stream,
             Number,
             {TCNorvMailClassID("", 0), 0, 0, nullptr}});
  }
}
