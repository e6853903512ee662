// SPDX-License-Identifier: MIT
// Keeps mails until they are acknowledged.
#include "Platform/Messaging/Proxy/TCOutbox.h"

#include <utility>

namespace {

// What is kept of a mail beside its records: its place in the outbox, and what is noted of its
// changes until they have come back.
constexpr std::size_t kMailOverhead = 480;
// Mails, and their bytes, that are not held back to go out with others.
constexpr std::size_t kFullFrameMails = 32;
constexpr std::size_t kFullFrameBytes = std::size_t{16} << 10;

}  // namespace

TCOutbox::TCOutbox(std::string Mailbox) : m_Mailbox(std::move(Mailbox)) {}

std::size_t TCOutbox::KeptSize(TSNorvMailContent const& Content) {
  return Content.Body->get_MemorySize() + kMailOverhead;
}

std::uint64_t TCOutbox::Add(TSNorvMailContent const& Content, TCOwnChanges::TCStream Stream) {
  m_Streams.try_emplace(Stream, 0);
  m_Mails.push_back({m_LastNumber + 1, Content});
  return ++m_LastNumber;
}

void TCOutbox::RemoveNewest() {
  m_Mails.pop_back();
  --m_LastNumber;
}

std::size_t TCOutbox::Acknowledge(std::uint64_t Number) {
  std::size_t Bytes = 0;
  while (m_OnWay > 0 && m_Mails.front().Number <= Number) {
    Bytes += KeptSize(m_Mails.front().Content);
    m_Mails.pop_front();
    --m_OnWay;
  }
  return Bytes;
}

TCOutbox::TSNext TCOutbox::NextFrame() const {
  TSMail const& First = m_Mails[m_OnWay];
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::eMails;
  Head.Mailbox = m_Mailbox;
  Head.SetClass(First.Content.MailClass);
  Head.Number = First.Number;
  TSNext Next{Wire::TCFrame(Head, First.Content), 1};
  for (std::size_t Place = m_OnWay + 1; Place < m_Mails.size(); ++Place, ++Next.Count) {
    TSNorvMailContent const& Content = m_Mails[Place].Content;
    if (!(Content.MailClass == First.Content.MailClass) || !Next.Frame.HasRoomFor(Content)) {
      break;
    }
    Next.Frame.Append(Content);
  }
  return Next;
}

bool TCOutbox::IsWorthAFrame() const {
  std::size_t Bytes = 0;
  for (std::size_t Place = m_OnWay; Place < m_Mails.size(); ++Place) {
    Bytes += Wire::kMailHeadSize + m_Mails[Place].Content.Body->get_Size();
    if (Place + 1 - m_OnWay >= kFullFrameMails || Bytes >= kFullFrameBytes) {
      return true;
    }
  }
  return false;
}
