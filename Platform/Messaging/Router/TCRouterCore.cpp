// SPDX-License-Identifier: MIT
// Receives frames and refuses those that nobody takes.
#include "Platform/Messaging/Router/TCRouterCore.h"

#include <algorithm>
#include <new>
#include <utility>

#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCLogBudget.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Router/TCRouterCore";

}  // namespace

TCRouterCore::TCRouterCore(std::string const& Address)
    : TCRouterCore(Address, TCRouterSocket(Address)) {}

TCRouterCore::TCRouterCore(TCFileDescriptor Listening, std::string const& Address)
    : TCRouterCore(Address, TCRouterSocket(std::move(Listening))) {}

TCRouterCore::TCRouterCore(std::string const& Address, TCRouterSocket Socket)
    : m_Address(Address),
      m_Socket(std::move(Socket)),
      m_Peers(get_Loop(), [this](TCRouterPeer& Peer) { m_Mailboxes.Forget(Peer); }),
      m_Throttle(m_Peers, m_Limits),
      m_Publisher(get_Loop(), m_Peers, m_Owners, m_Work),
      m_Mailboxes(m_Peers, m_Throttle, m_Publisher, m_Owners, m_Limits),
      m_Acceptor(get_Loop(), m_Socket, m_Peers, m_Limits,
                 [this](TCRouterPeer& Peer) { OnReadable(Peer); }) {}

// Who publishes outside of a turn of the loop has the subscribers told at once.
void TCRouterCore::Execute(std::function<void()> const& Function) {
  m_Loop.Execute([&] {
    Function();
    m_Publisher.Tell();
  });
}

void TCRouterCore::OpenMailbox(std::string const& Mailbox, TCNorvService& Owner) {
  if (!m_Owners.emplace(Mailbox, &Owner).second) {
    throw TCException(kSource, __LINE__).Format("mailbox %s has an owner", Mailbox.c_str());
  }
  while (auto const Parked = m_Mailboxes.TakeParked(Mailbox)) {
    Take(*Parked->Peer, Parked->Bytes, Parked->File.get());
  }
  // Who subscribed before, or was there already, may lack what nobody could give it.
  m_Publisher.BringUpToDate([](TSNorvMailSender const& /*Sender*/) { return true; },
                            m_Publisher.get_Position().Sequence > 0);
  m_Peers.ForEach([this](TCRouterPeer& Peer) {
    if (Peer.IsAwaitingOwner()) {
      m_Peers.DoOrDrop(Peer, [&Peer] { Peer.EndAwaiting(); });
    }
  });
}

// One frame at a time, so that every peer gets its turn. Files are taken of peers that have greeted
// only: who will be refused leaves no descriptors here.
void TCRouterCore::OnReadable(TCRouterPeer& Peer) {
  if (m_Throttle.Postpone(Peer)) {
    return;
  }
  TCRouterWork const Work(m_Work, Peer);
  switch (m_Receiver.Receive(Peer.get_File(), Peer.IsGreeted())) {
    case Wire::TETransfer::eDone:
      Take(Peer, m_Receiver.get_Bytes(), m_Receiver.get_File());
      m_Receiver.CloseFile();
      break;
    case Wire::TETransfer::eLater:
      break;
    case Wire::TETransfer::eEnded:
      m_Peers.Drop(Peer);
      break;
    case Wire::TETransfer::eBroken:
      DropBroken(Peer,
                 "Malformed mail: a packet that is no frame, or a file that can not be taken");
      break;
  }
}

// Who sends what is no frame has no use for the connection.
void TCRouterCore::Take(TCRouterPeer& Peer, std::string_view Bytes, int File) {
  try {
    Wire::TCFrameView const Frame(Bytes, File);
    RouteOrRefuse(Peer, Frame, Bytes, File);
  } catch (std::bad_alloc const& Reason) {
    m_Peers.DropForNow(Peer, Reason);
  } catch (TCException const& Reason) {
    DropBroken(Peer, Reason.what());
  }
}

void TCRouterCore::DropBroken(TCRouterPeer& Peer, char const* Reason) {
  LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
    SyslogError("Mail of %s refused: %s; its connection is ended%s", Peer.Describe().c_str(),
                Reason, Note);
  });
  m_Peers.Drop(Peer);
}

// A mail must not be lost for lack of memory, nor a greeting or a subscription refused for ever.
void TCRouterCore::RouteOrRefuse(TCRouterPeer& Peer, Wire::TCFrameView const& Frame,
                                 std::string_view Bytes, int File) {
  try {
    Route(Peer, Frame, Bytes, File);
  } catch (std::bad_alloc const&) {
    if (Frame.get_Head().Kind != Wire::TEFrame::eRequest) {
      throw;
    }
    Refuse(Peer, Frame.get_Head(), FailureText::OfCaught());
  } catch (...) {
    Refuse(Peer, Frame.get_Head(), FailureText::OfCaught());
  }
}

void TCRouterCore::Route(TCRouterPeer& Peer, Wire::TCFrameView const& Frame, std::string_view Bytes,
                         int File) {
  Wire::TEFrame const Kind = Frame.get_Head().Kind;
  if (Peer.IsCongested() && Kind != Wire::TEFrame::eMails) {
    DropCongested(Peer);
    return;
  }
  if (Kind == Wire::TEFrame::eHello) {
    m_Acceptor.Greet(Peer, Frame);
    return;
  }
  if (!Peer.IsGreeted()) {
    throw TCException(kSource, __LINE__).Format("a mail before the greeting");
  }
  switch (Kind) {
    case Wire::TEFrame::eSubscribe:
      m_Publisher.Subscribe(Peer, Frame.get_Class(), Frame.get_Head().Position);
      break;
    case Wire::TEFrame::eMails:
    case Wire::TEFrame::eRequest:
      m_Mailboxes.Take(Peer, Frame, Bytes, File, m_Loop.Now());
      break;
    default:
      throw TCException(kSource, __LINE__).Format("a frame that only a router sends");
  }
}

void TCRouterCore::DropCongested(TCRouterPeer& Peer) {
  LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
    SyslogWarning("mail router: %s does not read its answers; its connection is ended%s",
                  Peer.Describe().c_str(), Note);
  });
  m_Peers.Drop(Peer);
}

// Greetings and requests are answered. Who is refused for lack of room goes.
void TCRouterCore::Refuse(TCRouterPeer& Peer, Wire::TSFrameHead const& Head,
                          std::string const& Reason) {
  bool const IsGreeting = Head.Kind == Wire::TEFrame::eHello;
  LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
    SyslogError("%s of %s refused: %s%s", IsGreeting && !Peer.IsGreeted() ? "Greeting" : "Mail",
                Peer.Describe().c_str(), Reason.c_str(), Note);
  });
  bool IsOver = !Peer.m_NoRoom.empty();
  if (!Peer.m_IsDropped && (IsGreeting || Head.Kind == Wire::TEFrame::eRequest)) {
    Wire::TSFrameHead Answer;
    Answer.Kind = Wire::TEFrame::eRefused;
    Answer.Request = Head.Request;
    IsOver = !Peer.Send(Wire::TCFrame(Answer, Wire::TextMail({Reason}))) || IsOver;
  }
  if (IsOver) {
    m_Peers.Drop(Peer);  // it would wait for the answer
  }
}

bool TCRouterCore::IsBehind(pid_t Process) {
  m_Publisher.Tell();
  auto const& All = m_Peers.get_All();
  return std::any_of(All.begin(), All.end(), [=](TCRouterPeer const& Peer) {
    return Peer.get_Sender().Process == Process && Peer.IsBehind();
  });
}

std::vector<TSNorvSenderKey> TCRouterCore::get_Senders() const {
  std::vector<TSNorvSenderKey> Senders;
  for (TCRouterPeer const& Peer : m_Peers.get_All()) {
    if (Peer.IsGreeted()) {
      Senders.push_back(Peer.get_Sender());
    }
  }
  return Senders;
}
