// SPDX-License-Identifier: MIT
// Finds the owner of a mailbox, and reads for it what has come.
#include "Platform/Messaging/Router/TCRouterMailboxes.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Router/TCRouterMailboxes";
constexpr std::size_t kParkedLimit = 1024;  // frames kept for mailboxes without owner
constexpr std::size_t kParkedOfOne = 64;    // of them of one peer, which then has to wait
constexpr std::size_t kParkedBytesOfOne = std::size_t{1} << 20;
constexpr std::size_t kParkedFiles = 64;  // memory files among them
constexpr std::size_t kParkedFilesOfOne = 4;

}  // namespace

TCRouterMailboxes::TCRouterMailboxes(TCRouterPeers& Peers, TCRouterThrottle& Throttle,
                                     TCRouterPublisher& Publisher, TCMailboxOwners const& Owners,
                                     TSNorvRouterLimits const& Limits)
    : m_Peers(Peers),
      m_Throttle(Throttle),
      m_Publisher(Publisher),
      m_Owners(Owners),
      m_Limits(Limits) {}

void TCRouterMailboxes::Take(TCRouterPeer& Peer, Wire::TCFrameView const& Frame,
                             std::string_view Bytes, int File, std::uint64_t Now) {
  m_Throttle.CountMails(Peer, 1, Now);
  std::string_view const Mailbox = Frame.get_Head().Mailbox;
  auto const Owner = m_Owners.find(Mailbox);
  if (Owner == m_Owners.end()) {
    m_Peers.DoOrDrop(Peer, [&] { Park(Peer, std::string(Mailbox), Bytes, File); });
  } else if (Frame.get_Head().Kind == Wire::TEFrame::eRequest) {
    TakeRequest(*Owner->second, Peer, Frame);
  } else {
    TakeMails(*Owner->second, Peer, Frame, Now);
  }
}

TCNorvMailClassID const& TCRouterMailboxes::ClassOf(Wire::TCFrameView const& Frame) {
  if (!Frame.get_Head().IsOf(m_LastClass)) {
    m_LastClass = Frame.get_Class();
  }
  return m_LastClass;
}

// ---- frames that wait for an owner ----

void TCRouterMailboxes::Park(TCRouterPeer& Peer, std::string const& Mailbox, std::string_view Bytes,
                             int File) {
  TSParkedCount const All = CountParked(nullptr);
  TSParkedCount const OfOne = CountParked(&Peer);
  if (All.Frames >= kParkedLimit || (File >= 0 && All.Files >= kParkedFiles)) {
    throw TCException(kSource, __LINE__)
        .Format("%zu messages wait for mailboxes without owner, %zu of them with files", All.Frames,
                All.Files);
  }
  TCFileDescriptor Kept(File < 0 ? -1 : fcntl(File, F_DUPFD_CLOEXEC, 0));
  if (File >= 0 && Kept.get() < 0) {
    throw std::system_error(errno, std::generic_category());
  }
  m_Parked[Mailbox].push_back({&Peer, std::string(Bytes), std::move(Kept)});
  if (OfOne.Frames + 1 >= kParkedOfOne || OfOne.Bytes + Bytes.size() >= kParkedBytesOfOne ||
      OfOne.Files + 1 >= kParkedFilesOfOne) {
    Peer.AwaitOwner();
  }
}

// Of one peer, or of all.
TCRouterMailboxes::TSParkedCount TCRouterMailboxes::CountParked(TCRouterPeer const* Peer) const {
  TSParkedCount Count;
  for (auto const& [Mailbox, Frames] : m_Parked) {
    for (TSParked const& Parked : Frames) {
      if (Peer == nullptr || Parked.Peer == Peer) {
        ++Count.Frames;
        Count.Bytes += Parked.Bytes.size();
        Count.Files += Parked.File.get() >= 0 ? 1U : 0U;
      }
    }
  }
  return Count;
}

std::optional<TCRouterMailboxes::TSParked> TCRouterMailboxes::TakeParked(
    std::string const& Mailbox) {
  auto const Place = m_Parked.find(Mailbox);
  if (Place == m_Parked.end()) {
    return std::nullopt;
  }
  std::optional<TSParked> First(std::move(Place->second.front()));
  Place->second.pop_front();
  if (Place->second.empty()) {
    m_Parked.erase(Place);
  }
  return First;
}

void TCRouterMailboxes::Forget(TCRouterPeer const& Peer) {
  for (auto Place = m_Parked.begin(); Place != m_Parked.end();) {
    std::deque<TSParked>& Frames = Place->second;
    Frames.erase(std::remove_if(Frames.begin(), Frames.end(),
                                [&Peer](TSParked const& Parked) { return Parked.Peer == &Peer; }),
                 Frames.end());
    Place = Frames.empty() ? m_Parked.erase(Place) : std::next(Place);
  }
}

// ---- mails ----

// Each of them is a mail like any other. Where they can not be told apart, all are refused at once,
// by the number of the last: sent again they would be as malformed.
void TCRouterMailboxes::TakeMails(TCNorvService& Owner, TCRouterPeer& Peer, Wire::TCFrameView Frame,
                                  std::uint64_t Now) {
  TSNorvReceivedMail Mail{Peer.get_SharedSender(),
                          Frame.get_Head().Number,
                          {ClassOf(Frame), 0, 0, TCNorvMailBody::Empty()}};
  std::size_t const Count = Frame.get_Count();
  if (Count == 0 || Mail.Number > UINT64_MAX - (Count - 1)) {
    throw TCException(kSource, __LINE__).Format("mails without numbers");
  }
  m_Peers.DoOrDrop(Peer, [&] {
    try {
      Frame.RequireSound();
    } catch (TCException const& Reason) {
      Mail.Number += Count - 1;
      Refuse(Owner, Peer, Mail, Reason);
      return;
    }
    std::size_t Work = Count - 1;  // a record takes as long as a mail of one does; one is counted
    Wire::TSFrameMail Packed;
    while (Frame.Next(Packed)) {
      Mail.Content.SignalType = 0;  // until it is read
      Mail.Content.SignalName = 0;
      Mail.Content.Body = TCNorvMailBody::Empty();
      TakeMail(Owner, Peer, Mail, Frame, Packed);
      int const Records = Mail.Content.Body->get_Count();
      Work += Records > 1 ? static_cast<std::size_t>(Records) - 1 : 0;
      ++Mail.Number;
    }
    if (Work > 0) {
      m_Throttle.CountMails(Peer, Work, Now);
    }
    if (Owner.IsBusy()) {
      m_Throttle.WaitABit(Peer);
    }
  });
}

void TCRouterMailboxes::TakeMail(TCNorvService& Owner, TCRouterPeer& Peer, TSNorvReceivedMail& Mail,
                                 Wire::TCFrameView const& Frame, Wire::TSFrameMail const& Packed) {
  try {
    Mail.Content = Frame.Read(Packed, Mail.Content.MailClass, get_MailLimit());
    Owner.OnMail(Mail);
  } catch (TCException const& Reason) {
    Refuse(Owner, Peer, Mail, Reason);
  }
}

void TCRouterMailboxes::Refuse(TCNorvService& Owner, TCRouterPeer& Peer,
                               TSNorvReceivedMail const& Mail, TCException const& Reason) {
  LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
    SyslogError("Mail of %s refused: %s%s", Peer.Describe().c_str(), Reason.what(), Note);
  });
  Owner.OnRefused(Mail);
}

// ---- requests ----

void TCRouterMailboxes::TakeRequest(TCNorvService& Owner, TCRouterPeer& Peer,
                                    Wire::TCFrameView const& Frame) {
  TCNorvMailClassID const MailClass = ClassOf(Frame);
  TSNorvMailSender const& Sender = Peer.get_Sender();
  TSNorvMailContent const Request = Frame.ReadOnly(MailClass, get_MailLimit());
  TSNorvMailContent Answer{MailClass, 0, 0, TCNorvMailBody::Empty()};
  if (!Owner.OnRequest(Sender, Request, Answer)) {
    throw TCException(kSource, __LINE__).Format("the service refuses");
  }
  m_Publisher.Tell();  // what the answer includes comes before it
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::eAnswer;
  Head.Mailbox = Frame.get_Head().Mailbox;
  Head.SetClass(MailClass);
  Head.Request = Frame.get_Head().Request;
  Head.Number = Owner.get_LastTaken(Sender);
  Head.Position = m_Publisher.get_Position();
  if (!Peer.Send(Wire::TCFrame(Head, Answer))) {
    m_Peers.Drop(Peer);
  }
}
