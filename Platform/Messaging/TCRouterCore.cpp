// SPDX-License-Identifier: MIT
// Accepts processes, greets them, and drops those that have gone.
#include "Platform/Messaging/TCRouterCore.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <iterator>
#include <new>
#include <utility>

#include "Platform/Messaging/TCRouterWork.h"
#include "Platform/Utility/RandomBytes.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCRouterCore";
constexpr std::size_t kNameSize = 64;          // of a process; the system keeps 16 bytes
constexpr std::size_t kGroups = 128;           // of a user that are considered
constexpr std::size_t kNotAdmittedLimit = 16;  // connections of a user who may not greet
constexpr std::size_t kNoRoomLimit = 16;  // of a user, above its limit, that wait to be told so
constexpr std::size_t kNoRoomInAll = 64;
constexpr std::uint64_t kSecond = 1000000;
constexpr std::chrono::milliseconds kTryAgain{100};  // after memory or descriptors have run out

// Different for every run of a router, so that positions of an earlier run are told apart.
// Small ones are none: who subscribes may say with them that it knows of nothing.
std::uint64_t NewEpoch() {
  std::uint64_t Epoch = 0;
  DrawRandomBytes(&Epoch, sizeof(Epoch));
  return Epoch | std::uint64_t{1} << 63U;
}

// As the system says it, without the line feed behind it.
std::string ProcessName(pid_t Process) {
  std::string const Path = "/proc/" + std::to_string(Process) + "/comm";
  TCFileDescriptor const File(open(Path.c_str(), O_RDONLY | O_CLOEXEC));
  char Name[kNameSize];
  ssize_t const Size = File.get() < 0 ? 0 : read(File.get(), Name, sizeof(Name));
  return Size > 1 ? std::string(Name, static_cast<std::size_t>(Size) - 1) : "unknown";
}

// Who is at the other end, from the socket itself.
void ReadCredentials(int File, TSNorvMailSender& Sender) {
  ucred Peer = {};
  socklen_t Size = sizeof(Peer);
  MailWire::Require(getsockopt(File, SOL_SOCKET, SO_PEERCRED, &Peer, &Size) == 0 ? 0 : -errno,
                    "read credentials");
  Sender.User = Peer.uid;
  Sender.Group = Peer.gid;
  Sender.Process = Peer.pid;
  Sender.ProcessName = ProcessName(Sender.Process);
  Sender.Groups.resize(kGroups);
  Size = static_cast<socklen_t>(Sender.Groups.size() * sizeof(gid_t));
  bool const Known = getsockopt(File, SOL_SOCKET, SO_PEERGROUPS, Sender.Groups.data(), &Size) == 0;
  Sender.Groups.resize(Known ? Size / sizeof(gid_t) : 0);
}

bool IsOfMailClass(sd_bus_message* Message) {
  return MailWire::ParseClassInterface(sd_bus_message_get_interface(Message)).has_value();
}

}  // namespace

TCRouterCore::TCRouterCore(std::string const& Address)
    : TCRouterCore(Address, TCRouterSocket(Address)) {}

TCRouterCore::TCRouterCore(TCFileDescriptor Listening, std::string const& Address)
    : TCRouterCore(Address, TCRouterSocket(std::move(Listening))) {}

TCRouterCore::TCRouterCore(std::string const& Address, TCRouterSocket Socket)
    : m_Address(Address),
      m_Socket(std::move(Socket)),
      m_Connects(get_Loop(), m_Socket.get_File(), EPOLLIN,
                 [this](std::uint32_t /*Events*/) { OnConnect(); }),
      m_AcceptAgain(get_Loop(), CLOCK_MONOTONIC, [this] { OnAcceptAgain(); }),
      m_Reaping(get_Loop(), TCNorvLoopWork::TEWhen::eNextTurn, [this] { OnReap(); }),
      m_Progress(get_Loop(), TCNorvLoopWork::TEWhen::eAfterTurns, [this] { OnProgress(); }),
      m_NextTurn(get_Loop(), TCNorvLoopWork::TEWhen::eNextTurn, [] {}),
      m_ProgressTimer(get_Loop(), CLOCK_MONOTONIC, [] {}) {
  m_Position.Epoch = NewEpoch();
}

TCRouterCore::~TCRouterCore() = default;

// ---- accepting ----

void TCRouterCore::OnConnect() {
  try {
    Accept();
  } catch (...) {
    LogWithin(m_LogBudget, [](char const* Note) {
      SyslogError("mail router: a connection failed: %s%s", MailWire::CaughtText().c_str(), Note);
    });
  }
}

void TCRouterCore::Accept() {
  TCFileDescriptor File = m_Socket.Accept();
  if (File.get() >= 0) {
    Serve(std::move(File));
  } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
    AcceptLater();
  }
}

// Who waits stays in the socket's queue, and the loop does not spin for them.
void TCRouterCore::AcceptLater() {
  int const Error = errno;
  m_Connects.SetEvents(0);
  m_AcceptAgain.SetAfter(kTryAgain);
  LogWithin(m_LogBudget, [&](char const* Note) {
    SyslogError("mail router: cannot accept a connection: %s; trying again%s",
                MailWire::ErrorText(Error).c_str(), Note);
  });
}

void TCRouterCore::OnAcceptAgain() {
  try {
    m_Connects.SetEvents(EPOLLIN);
  } catch (std::exception const&) {
    m_AcceptAgain.SetAfter(kTryAgain);
  }
}

void TCRouterCore::Serve(TCFileDescriptor File) {
  TSNorvMailSender Sender;
  ReadCredentials(File.get(), Sender);
  std::shared_ptr<TCRouterUser> const User = m_Users.Find(Sender.User, Now());
  std::string const Refusal = FindRoom(Sender, *User);
  if (!Refusal.empty() && !MayHearOfNoRoom(Sender)) {
    return;
  }
  sd_bus* Bus = nullptr;
  MailWire::Require(sd_bus_new(&Bus), "make a connection");
  TCBusHandle Handle(Bus);
  sd_id128_t ID;
  DrawRandomBytes(&ID, sizeof(ID));
  MailWire::Require(sd_bus_set_fd(Bus, File.get(), File.get()), "use a connection");
  File.Release();
  MailWire::Require(sd_bus_set_server(Bus, 1, ID), "serve a connection");
  // Who will be refused at the greeting leaves no descriptors here until then.
  bool const IsWelcome = Refusal.empty() && IsAdmitted(Sender);
  MailWire::Require(sd_bus_negotiate_fds(Bus, IsWelcome ? 1 : 0), "serve a connection");
  TCRouterConnection& Connection = m_Connections.emplace_back(*this, std::move(Handle));
  Connection.m_Sender = std::move(Sender);
  Connection.m_User = User;
  Connection.m_Refusal = Refusal;
  Connection.m_Place = std::prev(m_Connections.end());
  try {
    Start(Connection);
  } catch (...) {
    Drop(Connection);
    throw;
  }
}

void TCRouterCore::Start(TCRouterConnection& Connection) {
  sd_bus* const Bus = Connection.get_Bus();
  MailWire::Require(sd_bus_add_filter(Bus, nullptr, OnMessage, &Connection), "serve a connection");
  MailWire::Require(sd_bus_start(Bus), "start a connection");
  Connection.m_GreetingLimit.emplace(get_Loop(), CLOCK_MONOTONIC,
                                     [this, &Connection] { Drop(Connection); });
  Connection.m_GreetingLimit->SetAfter(m_Limits.GreetingTime);
  Attach(Connection);
}

void TCRouterCore::Attach(TCRouterConnection& Connection) {
  Connection.Attach(get_Loop(),
                    [this, &Connection](std::uint32_t /*Events*/) { OnReady(Connection); });
}

void TCRouterCore::SetAdmission(TCNorvMailRouter::TCAdmission Admission) {
  m_Admission = std::move(Admission);
}

// Why the sender may not connect; empty when it may.
std::string TCRouterCore::ReasonAgainst(TSNorvMailSender const& Sender) const {
  if (m_Admission) {
    return m_Admission(Sender);
  }
  bool const Admitted = Sender.User == 0 || Sender.User == geteuid();
  return Admitted ? std::string() : "only root and the user that runs the router may";
}

// Why there is no room for one more connection of the sender, as it may be told; empty when there
// is.
std::string TCRouterCore::FindRoom(TSNorvMailSender const& Sender, TCRouterUser& User) {
  std::size_t OfUser = 0;
  std::size_t InAll = 0;
  for (TCRouterConnection const& Connection : m_Connections) {
    if (Connection.m_Refusal.empty()) {
      ++InAll;
      OfUser += Connection.m_Sender.User == Sender.User ? 1 : 0;
    }
  }
  std::size_t const ForUser = IsAdmitted(Sender) ? m_Limits.ConnectionsPerUser : kNotAdmittedLimit;
  if (OfUser < ForUser && InAll < m_Limits.Connections) {
    return std::string();
  }
  LogWithin(User.m_LogBudget, [&](char const* Note) {
    SyslogError(
        "mail router: too many connections: %zu of user %u (at most %zu), %zu in all (at most "
        "%u)%s",
        OfUser, Sender.User, ForUser, InAll, m_Limits.Connections, Note);
  });
  return OfUser >= ForUser
             ? "too many connections of user " + std::to_string(Sender.User) + " (at most " +
                   std::to_string(ForUser) + ")"
             : "too many connections in all (at most " + std::to_string(m_Limits.Connections) + ")";
}

// Whether a connection that there is no room for is kept until its greeting is answered. The others
// are ended at once.
bool TCRouterCore::MayHearOfNoRoom(TSNorvMailSender const& Sender) const {
  std::size_t OfUser = 0;
  std::size_t InAll = 0;
  for (TCRouterConnection const& Connection : m_Connections) {
    if (!Connection.m_Refusal.empty()) {
      ++InAll;
      OfUser += Connection.m_Sender.User == Sender.User ? 1 : 0;
    }
  }
  return IsAdmitted(Sender) && OfUser < kNoRoomLimit && InAll < kNoRoomInAll;
}

// ---- connections ----

// Needs no memory: what can not be dropped would be called for ever.
void TCRouterCore::Drop(TCRouterConnection& Connection) {
  if (Connection.m_IsDropped) {
    return;
  }
  Connection.m_IsDropped = true;
  for (auto Place = m_Parked.begin(); Place != m_Parked.end();) {
    std::deque<TSParked>& Messages = Place->second;
    Messages.erase(std::remove_if(Messages.begin(), Messages.end(),
                                  [&Connection](TSParked const& Parked) {
                                    return Parked.Connection == &Connection;
                                  }),
                   Messages.end());
    Place = Messages.empty() ? m_Parked.erase(Place) : std::next(Place);
  }
  Connection.m_GreetingLimit.reset();
  Connection.m_Pause.reset();
  Connection.m_HangUp.reset();
  Connection.Detach();
  m_Dropped.splice(m_Dropped.end(), m_Connections, Connection.m_Place);
  m_Reaping.Schedule();
  if (!Connection.IsGreeted() && Connection.m_Refusal.empty()) {
    LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
      SyslogWarning("mail router: a connection of %s ended before its greeting%s",
                    Connection.Describe().c_str(), Note);
    });
  }
}

// Its proxy comes back and sends again what has not been acknowledged.
void TCRouterCore::DropForNow(TCRouterConnection& Connection, std::exception const& Reason) {
  Drop(Connection);
  LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
    SyslogError("A mail of %s cannot be taken now: %s; its connection is ended%s",
                Connection.Describe().c_str(), Reason.what(), Note);
  });
}

// One message at a time, so that every peer gets its turn. What comes with the authentication is
// read together with it, and the socket tells nothing of it.
void TCRouterCore::OnReady(TCRouterConnection& Connection) {
  if (Postpone(Connection)) {
    return;
  }
  bool const Greeting = !Connection.IsGreeted();
  int Result = -ENOTCONN;
  if (!Connection.HasEnded()) {
    TCRouterWork const Work(Connection);
    Result = sd_bus_process(Connection.get_Bus(), nullptr);
  }
  Connection.m_HoldsMore = Result > 0 && (Greeting || Connection.m_HoldsMore);
  if (Result < 0 || Connection.HasEnded()) {
    Drop(Connection);
  }
  Connection.Watch();
}

void TCRouterCore::DropEnded() {
  m_Reaping.Schedule();
}

void TCRouterCore::OnReap() {
  for (auto Place = m_Connections.begin(); Place != m_Connections.end();) {
    TCRouterConnection& Connection = *Place++;
    if (Connection.HasEnded()) {
      Drop(Connection);
    }
  }
  m_Dropped.clear();
}

int TCRouterCore::OnMessage(sd_bus_message* Message, void* Connection, sd_bus_error* /*Error*/) {
  auto& From = *static_cast<TCRouterConnection*>(Connection);
  try {
    try {
      return From.m_Core.Route(From, Message);
    } catch (std::bad_alloc const&) {
      if (!IsCall(Message, MailWire::kRequest)) {
        throw;  // a mail must not be lost, nor a greeting or a subscription refused for ever
      }
      RefuseMessage(From, Message, MailWire::CaughtText());
    } catch (...) {
      RefuseMessage(From, Message, MailWire::CaughtText());
    }
  } catch (std::bad_alloc const& Reason) {
    From.m_Core.DropForNow(From, Reason);
  }
  return 1;
}

void TCRouterCore::RefuseMessage(TCRouterConnection& From, sd_bus_message* Message,
                                 std::string const& Reason) {
  LogWithin(From.m_User->m_LogBudget, [&](char const* Note) {
    SyslogError("%s of %s refused: %s%s", IsCall(Message, MailWire::kHello) ? "Greeting" : "Mail",
                From.Describe().c_str(), Reason.c_str(), Note);
  });
  if (sd_bus_message_get_expect_reply(Message) > 0 && !From.IsCongested() &&
      sd_bus_reply_method_errorf(Message, MailWire::kErrorRefused, "%s", Reason.c_str()) < 0) {
    From.m_Core.Drop(From);  // it would wait for the answer
  }
}

// ---- messages to the router ----

// Whether it is a mail, which is not answered. Others may call their members so.
bool TCRouterCore::IsMail(sd_bus_message* Message) {
  return (IsCall(Message, MailWire::kSend) || IsCall(Message, MailWire::kSendMany)) &&
         IsOfMailClass(Message);
}

int TCRouterCore::Route(TCRouterConnection& Connection, sd_bus_message* Message) {
  if (sd_bus_message_is_method_call(Message, nullptr, nullptr) <= 0) {
    return 1;
  }
  if (Connection.IsCongested() && !IsMail(Message)) {
    LogWithin(Connection.m_User->m_LogBudget, [&](char const* Note) {
      SyslogWarning("mail router: %s does not read its answers; its connection is ended%s",
                    Connection.Describe().c_str(), Note);
    });
    Drop(Connection);
    return 1;
  }
  char const* const Path = sd_bus_message_get_path(Message);
  if (Path != nullptr && std::strcmp(Path, MailWire::kRouterPath) == 0) {
    RouteToRouter(Connection, Message);
    return 1;
  }
  if (!IsOfMailClass(Message)) {
    return 0;  // the bus library answers for unknown objects and its own interfaces
  }
  RouteToMailbox(Connection, Message);
  return 1;
}

void TCRouterCore::RouteToRouter(TCRouterConnection& Connection, sd_bus_message* Message) {
  if (sd_bus_message_is_method_call(Message, MailWire::kRouterInterface, MailWire::kHello) > 0) {
    Greet(Connection, Message);
  } else if (sd_bus_message_is_method_call(Message, MailWire::kRouterInterface,
                                           MailWire::kSubscribe) > 0) {
    Subscribe(Connection, Message);
  } else {
    throw TCException(kSource, __LINE__)
        .Format("the router knows no operation %s", sd_bus_message_get_member(Message));
  }
}

void TCRouterCore::Greet(TCRouterConnection& Connection, sd_bus_message* Message) {
  if (!Connection.m_Refusal.empty()) {
    RefuseMessage(Connection, Message, Connection.m_Refusal);
    Drop(Connection);
    return;
  }
  char const* Identity = nullptr;
  char const* Device = nullptr;
  std::uint32_t Version = 0;
  MailWire::RequireSound(sd_bus_message_read(Message, "sus", &Identity, &Version, &Device),
                         "read a greeting");
  if (Version != MailWire::kProtocolVersion && Version != MailWire::kTypedVersion) {
    MailWire::Require(
        sd_bus_reply_method_errorf(Message, MailWire::kErrorProtocol,
                                   "protocol version %u is not spoken here, only %u and %u",
                                   Version, MailWire::kTypedVersion, MailWire::kProtocolVersion),
        "refuse a greeting");
    return;
  }
  if (std::strlen(Identity) == 0 || std::strlen(Identity) > MailWire::kIdentityLimit) {
    throw TCException(kSource, __LINE__)
        .Format("an identity has 1 to %zu bytes", MailWire::kIdentityLimit);
  }
  RequireFreeIdentity(Connection, Identity);
  std::string const Reason = ReasonAgainst(Connection.m_Sender);
  if (!Reason.empty()) {
    throw TCException(kSource, __LINE__)
        .Format("user %u may not connect: %s", Connection.m_Sender.User, Reason.c_str());
  }
  Connection.m_Sender.Device = TCMACAddress(std::string(Device));
  Connection.m_Sender.Identity = Identity;
  Connection.m_Form = MailWire::FormOf(Version);
  Connection.m_GreetingLimit.reset();
  MailWire::Require(sd_bus_reply_method_return(Message, "u", Version), "greet");
}

// A proxy that reconnects may find its former connection still there; no other process of its user
// may take its identity, because mails sent in its name would make its own look like repeats. What
// another user calls itself is no concern of its.
void TCRouterCore::RequireFreeIdentity(TCRouterConnection const& Connection,
                                       std::string const& Identity) const {
  TSNorvMailSender const& Asking = Connection.m_Sender;
  if (!Asking.Identity.empty()) {
    throw TCException(kSource, __LINE__).Format("a second greeting");
  }
  for (TCRouterConnection const& Other : m_Connections) {
    TSNorvMailSender const& Held = Other.m_Sender;
    if (Held.User == Asking.User && Held.Identity == Identity && Held.Process != Asking.Process) {
      throw TCException(kSource, __LINE__).Format("the identity of another process");
    }
  }
}

std::vector<TSNorvSenderKey> TCRouterCore::get_Senders() const {
  std::vector<TSNorvSenderKey> Senders;
  for (TCRouterConnection const& Connection : m_Connections) {
    if (Connection.IsGreeted()) {
      Senders.push_back(Connection.m_Sender);
    }
  }
  return Senders;
}
