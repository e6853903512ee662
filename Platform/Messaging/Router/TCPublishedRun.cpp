// SPDX-License-Identifier: MIT
// Says which mails fit together, and makes their frame.
#include "Platform/Messaging/Router/TCPublishedRun.h"

#include <optional>
#include <utility>

void TCPublishedRun::Begin(TSRouterSubscription& Subscription, Wire::TEWhose Whose) {
  m_Parts.clear();
  m_Bytes = 0;
  m_Subscription = &Subscription;
  m_Whose = Whose;
}

// Mails that are the subscriber's own have numbers of their own.
bool TCPublishedRun::Takes(TSRouterSubscription const& Subscription, Wire::TEWhose Whose,
                           TSPublishedMail const& Mail, TCNorvMailBody const& Body) const {
  return !m_Parts.empty() && m_Subscription == &Subscription && m_Whose == Whose &&
         Whose == Wire::TEWhose::eAnothers && Mail.Sequence == get_Last() + 1 &&
         *Mail.Mailbox == *m_Parts.back().Mail->Mailbox &&
         Body.get_Signature() == m_Parts.back().Body->get_Signature() &&
         m_Parts.size() < Wire::kMailCountLimit &&
         m_Bytes + Wire::kMailHeadSize + Body.get_Size() <= Wire::kMailsLimit;
}

void TCPublishedRun::Add(TSPublishedMail const& Mail, std::shared_ptr<TCNorvMailBody const> Body) {
  m_Bytes += Wire::kMailHeadSize + Body->get_Size();
  m_Parts.push_back({&Mail, std::move(Body)});
}

std::shared_ptr<Wire::TCFrame const> TCPublishedRun::get_Frame(std::uint64_t Epoch) {
  std::uint64_t const Previous = m_Subscription->Sent;
  if (!m_MadeOf.empty() && m_MadePrevious == Previous && m_MadeWhose == m_Whose &&
      m_MadeOf == m_Parts) {
    return m_Made;
  }
  if (m_Made.use_count() != 1) {
    m_Made = std::make_shared<Wire::TCFrame>();  // the other one waits for somebody to read it
  }
  m_MadeOf.clear();
  for (TSPart const& Part : m_Parts) {
    Write(Part, Epoch);
  }
  m_MadeOf = m_Parts;
  m_MadePrevious = Previous;
  m_MadeWhose = m_Whose;
  return m_Made;
}

void TCPublishedRun::Write(TSPart const& Part, std::uint64_t Epoch) {
  TSNorvMailContent const& Whole = Part.Mail->Content;
  std::optional<TSNorvMailContent> Selected;
  if (Whole.Body != Part.Body) {
    Selected = {Whole.MailClass, Whole.SignalType, Whole.SignalName, Part.Body};
  }
  TSNorvMailContent const& Content = Selected ? *Selected : Whole;
  if (&Part == &m_Parts.front()) {
    m_Made->Begin(HeadOf(*Part.Mail, m_Whose, Epoch, m_Subscription->Sent), Content);
  } else {
    m_Made->Append(Content);
  }
}

void TCPublishedRun::Forget() {
  m_Parts.clear();
  m_MadeOf.clear();
  if (m_Made && m_Made->get_Body()) {
    m_Made.reset();  // it has much memory
  }
}

Wire::TSFrameHead TCPublishedRun::HeadOf(TSPublishedMail const& Mail, Wire::TEWhose Whose,
                                         std::uint64_t Epoch, std::uint64_t Previous) {
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::ePublished;
  Head.Whose = Whose;
  Head.Mailbox = *Mail.Mailbox;
  Head.SetClass(Mail.Content.MailClass);
  Head.Number = Whose == Wire::TEWhose::eAnothers ? 0 : Mail.Number;
  Head.Position = {Epoch, Mail.Sequence};
  Head.Previous = Previous;
  return Head;
}
