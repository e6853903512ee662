// SPDX-License-Identifier: MIT
// Accepts processes and answers their greetings.
#include "Platform/Messaging/Router/TCRouterAcceptor.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <utility>

#include "Platform/Messaging/Wire/TCPromptClosing.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Router/TCRouterAcceptor";
constexpr std::size_t kNameSize = 64;          // of a process; the system keeps 16 bytes
constexpr std::size_t kGroups = 128;           // of a user that are considered
constexpr std::size_t kNotAdmittedLimit = 16;  // connections of a user who may not greet
constexpr std::size_t kNoRoomLimit = 16;  // of a user, above its limit, that wait to be told so
constexpr std::size_t kNoRoomInAll = 64;
constexpr std::chrono::milliseconds kTryAgain{100};  // after memory or descriptors have run out

// As the system says it, without the line feed behind it.
std::string ProcessName(pid_t Process) {
  std::string const Path = "/proc/" + std::to_string(Process) + "/comm";
  TCFileDescriptor const File(open(Path.c_str(), O_RDONLY | O_CLOEXEC));
  char Name[kNameSize];
  ssize_t const Size = File.get() < 0 ? 0 : read(File.get(), Name, sizeof(Name));
  return Size > 1 ? std::string(Name, static_cast<std::size_t>(Size) - 1) : "unknown";
}

// Who is at the other end, from the socket itself.
TSNorvMailSender ReadCredentials(int File) {
  TSNorvMailSender Sender;
  ucred Peer = {};
  socklen_t Size = sizeof(Peer);
  if (getsockopt(File, SOL_SOCKET, SO_PEERCRED, &Peer, &Size) != 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot read credentials: %s", FailureText::OfError(errno).c_str());
  }
  Sender.User = Peer.uid;
  Sender.Group = Peer.gid;
  Sender.Process = Peer.pid;
  Sender.ProcessName = ProcessName(Sender.Process);
  Sender.Groups.resize(kGroups);
  Size = static_cast<socklen_t>(Sender.Groups.size() * sizeof(gid_t));
  bool const Known = getsockopt(File, SOL_SOCKET, SO_PEERGROUPS, Sender.Groups.data(), &Size) == 0;
  Sender.Groups.resize(Known ? Size / sizeof(gid_t) : 0);
  return Sender;
}

}  // namespace

TCRouterAcceptor::TCRouterAcceptor(TCNorvEventLoop& Loop, TCRouterSocket& Socket,
                                   TCRouterPeers& Peers, TSNorvRouterLimits const& Limits,
                                   std::function<void(TCRouterPeer&)> OnReadable)
    : m_Loop(Loop),
      m_Socket(Socket),
      m_Peers(Peers),
      m_Limits(Limits),
      m_OnReadable(std::move(OnReadable)),
      m_Connects(Loop, Socket.get_File(), EPOLLIN,
                 [this](std::uint32_t /*Events*/) { OnConnect(); }),
      m_AcceptAgain(Loop, CLOCK_MONOTONIC, [this] { OnAcceptAgain(); }) {}

// ---- accepting ----

void TCRouterAcceptor::OnConnect() {
  try {
    TCFileDescriptor File = m_Socket.Accept();
    if (File.get() >= 0) {
      Serve(std::move(File));
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
      AcceptLater(errno);
    }
  } catch (...) {
    LogWithin(m_LogBudget, [](char const* Note) {
      SyslogError("mail router: a connection failed: %s%s", FailureText::OfCaught().c_str(), Note);
    });
  }
}

// Who waits stays in the socket's queue, and the loop does not spin for them.
void TCRouterAcceptor::AcceptLater(int Error) {
  m_Connects.SetEvents(0);
  m_AcceptAgain.SetAfter(kTryAgain);
  LogWithin(m_LogBudget, [&](char const* Note) {
    SyslogError("mail router: cannot accept a connection: %s; trying again%s",
                FailureText::OfError(Error).c_str(), Note);
  });
}

void TCRouterAcceptor::OnAcceptAgain() {
  try {
    m_Connects.SetEvents(EPOLLIN);
  } catch (std::exception const&) {
    m_AcceptAgain.SetAfter(kTryAgain);
  }
}

void TCRouterAcceptor::Serve(TCFileDescriptor File) {
  TSNorvMailSender Sender = ReadCredentials(File.get());
  auto const Now = static_cast<std::uint64_t>(m_Loop.Now().count());
  std::shared_ptr<TCRouterUser> User = m_Users.Find(Sender.User, Now);
  std::string NoRoom = FindRoom(Sender, *User);
  if (!NoRoom.empty() && !MayHearOfNoRoom(Sender)) {
    Wire::TCPromptClosing const Closing;
    File = TCFileDescriptor();
    return;
  }
  TCRouterPeer& Peer = m_Peers.Add(std::move(File), std::move(Sender), std::move(User));
  Peer.m_NoRoom = std::move(NoRoom);
  try {
    Peer.LimitGreeting(m_Limits.GreetingTime, [this, &Peer] { m_Peers.Drop(Peer); });
    Peer.Start([this, &Peer] { m_OnReadable(Peer); }, [this, &Peer] { m_Peers.Drop(Peer); });
  } catch (...) {
    m_Peers.Drop(Peer);
    throw;
  }
}

// Why the sender may not connect; empty when it may.
std::string TCRouterAcceptor::ReasonAgainst(TSNorvMailSender const& Sender) const {
  if (m_Admission) {
    return m_Admission(Sender);
  }
  bool const Admitted = Sender.User == 0 || Sender.User == geteuid();
  return Admitted ? std::string() : "only root and the user that runs the router may";
}

// Those that there is room for, or those that wait to be told that there is none.
TCRouterAcceptor::TSCount TCRouterAcceptor::CountPeers(uid_t User, bool WithRoom) const {
  TSCount Count;
  for (TCRouterPeer const& Peer : m_Peers.get_All()) {
    if (Peer.m_NoRoom.empty() == WithRoom) {
      ++Count.InAll;
      Count.OfUser += Peer.get_Sender().User == User ? 1U : 0U;
    }
  }
  return Count;
}

// Why there is no room for one more connection of the sender, as it may be told; empty when there
// is.
std::string TCRouterAcceptor::FindRoom(TSNorvMailSender const& Sender, TCRouterUser& User) {
  TSCount const Count = CountPeers(Sender.User, true);
  std::size_t const ForUser = IsAdmitted(Sender) ? m_Limits.ConnectionsPerUser : kNotAdmittedLimit;
  if (Count.OfUser < ForUser && Count.InAll < m_Limits.Connections) {
    return std::string();
  }
  LogWithin(User.m_LogBudget, [&](char const* Note) {
    SyslogError(
        "mail router: too many connections: %zu of user %u (at most %zu), %zu in all (at most "
        "%u)%s",
        Count.OfUser, Sender.User, ForUser, Count.InAll, m_Limits.Connections, Note);
  });
  return Count.OfUser >= ForUser
             ? "too many connections of user " + std::to_string(Sender.User) + " (at most " +
                   std::to_string(ForUser) + ")"
             : "too many connections in all (at most " + std::to_string(m_Limits.Connections) + ")";
}

// Whether a connection that there is no room for is kept until its greeting is answered. The others
// are ended at once.
bool TCRouterAcceptor::MayHearOfNoRoom(TSNorvMailSender const& Sender) const {
  TSCount const Count = CountPeers(Sender.User, false);
  return IsAdmitted(Sender) && Count.OfUser < kNoRoomLimit && Count.InAll < kNoRoomInAll;
}

// ---- greeting ----

void TCRouterAcceptor::Greet(TCRouterPeer& Peer, Wire::TCFrameView const& Frame) {
  if (!Peer.m_NoRoom.empty()) {
    throw TCException(kSource, __LINE__).Format("%s", Peer.m_NoRoom.c_str());
  }
  if (Frame.get_Head().Version != Wire::kProtocolVersion) {
    throw TCException(kSource, __LINE__)
        .Format("protocol version %d is not spoken here, only %d", Frame.get_Head().Version,
                Wire::kProtocolVersion);
  }
  std::vector<std::string> const Texts = Wire::ReadTexts(Frame, 2);
  std::string const& Identity = Texts[0];
  if (Identity.empty() || Identity.size() > Wire::kIdentityLimit) {
    throw TCException(kSource, __LINE__)
        .Format("an identity has 1 to %zu bytes", Wire::kIdentityLimit);
  }
  RequireFreeIdentity(Peer, Identity);
  std::string const Reason = ReasonAgainst(Peer.get_Sender());
  if (!Reason.empty()) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not connect: %s", Peer.get_Sender().User, Reason.c_str());
  }
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::eWelcome;
  Head.Version = Wire::kProtocolVersion;
  Peer.Greet(Identity, TCMACAddress(Texts[1]));
  Peer.Send(Wire::TCFrame(Head));
}

// A proxy that reconnects may find its former connection still there; no other process of its user
// may take its identity, because mails sent in its name would make its own look like repeats. What
// another user calls itself is no concern of its.
void TCRouterAcceptor::RequireFreeIdentity(TCRouterPeer const& Peer,
                                           std::string const& Identity) const {
  TSNorvMailSender const& Asking = Peer.get_Sender();
  if (Peer.IsGreeted()) {
    throw TCException(kSource, __LINE__).Format("a second greeting");
  }
  for (TCRouterPeer const& Other : m_Peers.get_All()) {
    TSNorvMailSender const& Held = Other.get_Sender();
    if (Held.User == Asking.User && Held.Identity == Identity && Held.Process != Asking.Process) {
      throw TCException(kSource, __LINE__).Format("the identity of another process");
    }
  }
}
