// SPDX-License-Identifier: MIT
// Accepts processes, hands their mails to mailboxes' owners and publishes to subscribers.
#include "Platform/Messaging/TCRouterCore.h"

#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
#include <utility>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvMailRouter";
constexpr std::size_t kParkedLimit = 1024;      // messages kept for mailboxes without owner
constexpr std::size_t kParkedOfOne = 64;        // of them of one connection, which then has to wait
constexpr std::size_t kGroups = 128;            // of a user that are considered
constexpr std::size_t kSubscriptionLimit = 64;  // of one connection
constexpr std::size_t kNotAdmittedLimit = 16;   // connections of a user who may not greet
constexpr std::uint64_t kSecond = 1000000;
constexpr std::uint64_t kTryAgain = kSecond / 10;  // after memory or descriptors have run out
constexpr std::uint64_t kAccuracy = kSecond / 100;

void RequireLoop(int Result, char const* Operation) {
  if (Result < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot %s: %s", Operation, MailWire::ErrorText(Result).c_str());
  }
}

TCEventHandle NewEvent() {
  sd_event* Event = nullptr;
  RequireLoop(sd_event_new(&Event), "make an event loop");
  return TCEventHandle(Event);
}

// Different for every run of a router, so that positions of an earlier run are told apart.
std::uint64_t NewEpoch() {
  sd_id128_t ID;
  RequireLoop(sd_id128_randomize(&ID), "draw an epoch");
  return ID.qwords[0];
}

// The bus library does not look up the name of a peer without a bus, so it is asked by number.
std::string ProcessName(pid_t Process) {
  sd_bus_creds* Raw = nullptr;
  char const* Name = nullptr;
  int const Result = sd_bus_creds_new_from_pid(&Raw, Process, SD_BUS_CREDS_COMM);
  TCBusCredentials const Credentials(Raw);
  return Result >= 0 && sd_bus_creds_get_comm(Raw, &Name) >= 0 ? Name : "unknown";
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

bool IsCall(sd_bus_message* Message, char const* Member) {
  return sd_bus_message_is_method_call(Message, nullptr, Member) > 0;
}

void RequireOwnName(TSNorvMailSender const& Sender, char const* Identity) {
  if (Sender.Identity != Identity) {
    throw TCException(kSource, __LINE__).Format("a mail in another's name");
  }
}

}  // namespace

TCRouterCore::TCRouterCore(std::string const& Address)
    : m_Address(Address),
      m_Socket(Address),
      m_Event(NewEvent()),
      m_Wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  m_Position.Epoch = NewEpoch();
  sd_event_source* Source = nullptr;
  RequireLoop(
      sd_event_add_io(m_Event.get(), &Source, m_Socket.get_File(), EPOLLIN, OnConnect, this),
      "watch the socket");
  m_ConnectSource.reset(Source);
  RequireLoop(sd_event_add_io(m_Event.get(), &Source, m_Wake.get(), EPOLLIN, OnWake, this),
              "watch for tasks");
  m_WakeSource.reset(Source);
  RequireLoop(sd_event_add_defer(m_Event.get(), &Source, OnReap, this), "prepare cleaning up");
  m_ReapSource.reset(Source);
  RequireLoop(sd_event_source_set_enabled(Source, SD_EVENT_OFF), "prepare cleaning up");
  RequireLoop(sd_event_add_post(m_Event.get(), &Source, OnProgress, this), "watch for progress");
  m_ProgressSource.reset(Source);
  RequireLoop(sd_event_source_set_enabled(Source, SD_EVENT_OFF), "watch for progress");
  m_AcceptAgainSource = NewTimer(OnAcceptAgain);
  m_ProgressTimer = NewTimer(OnProgressTime);
}

TCRouterCore::~TCRouterCore() = default;

// ---- the loop ----

void TCRouterCore::Run() {
  BeginTurn();
  int Result = 0;
  for (;;) {
    {
      std::lock_guard<std::mutex> const Lock(m_Mutex);
      if (m_Stopping || Result < 0) {
        m_Stopping = false;
        break;
      }
    }
    Result = sd_event_run(m_Event.get(), UINT64_MAX);
  }
  EndTurn();
  RequireLoop(Result, "run the event loop");
}

void TCRouterCore::BeginTurn() {
  std::unique_lock<std::mutex> Lock(m_Mutex);
  m_Changed.wait(Lock, [this] { return m_Runner == std::thread::id(); });
  m_Runner = std::this_thread::get_id();
}

// No task is left behind: it is run here, or its thread takes the next turn.
void TCRouterCore::EndTurn() {
  for (;;) {
    RunTasks();
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    if (m_Tasks.empty()) {
      m_Runner = std::thread::id();
      m_Changed.notify_all();
      return;
    }
  }
}

void TCRouterCore::Stop() {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  m_Stopping = true;
  eventfd_write(m_Wake.get(), 1);
}

void TCRouterCore::Execute(std::function<void()> const& Function) {
  std::unique_lock<std::mutex> Lock(m_Mutex);
  if (m_Runner == std::this_thread::get_id()) {
    Lock.unlock();
    Function();
    return;
  }
  bool Done = false;
  std::exception_ptr Failure;
  m_Tasks.emplace_back([&] {
    try {
      Function();
    } catch (...) {
      Failure = std::current_exception();
    }
    std::lock_guard<std::mutex> const TaskLock(m_Mutex);
    Done = true;
    m_Changed.notify_all();
  });
  if (m_Runner == std::thread::id()) {
    m_Runner = std::this_thread::get_id();
    Lock.unlock();
    EndTurn();
    Lock.lock();
  } else {
    eventfd_write(m_Wake.get(), 1);
  }
  m_Changed.wait(Lock, [&Done] { return Done; });
  Lock.unlock();
  if (Failure) {
    std::rethrow_exception(Failure);
  }
}

void TCRouterCore::RunTasks() {
  for (;;) {
    std::function<void()> Task;
    {
      std::lock_guard<std::mutex> const Lock(m_Mutex);
      if (m_Tasks.empty()) {
        return;
      }
      Task = std::move(m_Tasks.front());
      m_Tasks.pop_front();
    }
    Task();
  }
}

int TCRouterCore::OnWake(sd_event_source* /*Source*/, int File, std::uint32_t /*Events*/,
                         void* Core) {
  eventfd_t Ignored = 0;
  eventfd_read(File, &Ignored);
  static_cast<TCRouterCore*>(Core)->RunTasks();
  return 0;
}

// ---- connections ----

std::uint64_t TCRouterCore::Now() const {
  std::uint64_t Time = 0;
  sd_event_now(m_Event.get(), CLOCK_MONOTONIC, &Time);
  return Time;
}

int TCRouterCore::OnConnect(sd_event_source* /*Source*/, int /*File*/, std::uint32_t /*Events*/,
                            void* Core) {
  auto& Self = *static_cast<TCRouterCore*>(Core);
  try {
    Self.Accept();
  } catch (...) {
    if (Self.m_LogBudget.Grant()) {
      LogIfPossible([&] {
        SyslogError("mail router: a connection failed: %s%s", MailWire::CaughtText().c_str(),
                    Self.m_LogBudget.TakeNote().c_str());
      });
    }
  }
  return 0;
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
  sd_event_source_set_enabled(m_ConnectSource.get(), SD_EVENT_OFF);
  WakeAfter(m_AcceptAgainSource.get());
  LogIfPossible([&] {
    SyslogError("mail router: cannot accept a connection: %s; trying again",
                MailWire::ErrorText(Error).c_str());
  });
}

// A timer that waits for WakeAfter().
TCEventSource TCRouterCore::NewTimer(sd_event_time_handler_t OnTime) {
  sd_event_source* Source = nullptr;
  RequireLoop(
      sd_event_add_time(m_Event.get(), &Source, CLOCK_MONOTONIC, 0, kAccuracy, OnTime, this),
      "prepare a timer");
  TCEventSource Timer(Source);
  RequireLoop(sd_event_source_set_enabled(Source, SD_EVENT_OFF), "prepare a timer");
  return Timer;
}

void TCRouterCore::WakeAfter(sd_event_source* Timer) const {
  sd_event_source_set_time(Timer, Now() + kTryAgain);
  sd_event_source_set_enabled(Timer, SD_EVENT_ONESHOT);
}

int TCRouterCore::OnAcceptAgain(sd_event_source* /*Source*/, std::uint64_t /*Time*/, void* Core) {
  auto& Self = *static_cast<TCRouterCore*>(Core);
  if (sd_event_source_set_enabled(Self.m_ConnectSource.get(), SD_EVENT_ON) < 0) {
    Self.WakeAfter(Self.m_AcceptAgainSource.get());
  }
  return 0;
}

void TCRouterCore::Serve(TCFileDescriptor File) {
  sd_bus* Bus = nullptr;
  MailWire::Require(sd_bus_new(&Bus), "make a connection");
  TCBusHandle Handle(Bus);
  sd_id128_t ID;
  MailWire::Require(sd_id128_randomize(&ID), "draw an id");
  TSNorvMailSender Sender;
  ReadCredentials(File.get(), Sender);
  MailWire::Require(sd_bus_set_fd(Bus, File.get(), File.get()), "use a connection");
  File.Release();
  MailWire::Require(sd_bus_set_server(Bus, 1, ID), "serve a connection");
  // Who will be refused at the greeting leaves no descriptors here until then.
  MailWire::Require(sd_bus_negotiate_fds(Bus, IsAdmitted(Sender) ? 1 : 0), "serve a connection");
  TCRouterConnection& Connection = m_Connections.emplace_back(*this, std::move(Handle));
  Connection.m_Sender = std::move(Sender);
  Connection.m_Place = std::prev(m_Connections.end());
  try {
    MailWire::Require(sd_bus_add_filter(Bus, nullptr, OnMessage, &Connection),
                      "serve a connection");
    MailWire::Require(sd_bus_start(Bus), "start a connection");
    RequireRoomFor(Connection.m_Sender);
    sd_event_source* Source = nullptr;
    auto const Limit =
        static_cast<std::uint64_t>(std::chrono::microseconds(m_Limits.GreetingTime).count());
    MailWire::Require(sd_event_add_time_relative(m_Event.get(), &Source, CLOCK_MONOTONIC, Limit,
                                                 kAccuracy, OnGreetingLimit, &Connection),
                      "limit the time of a greeting");
    Connection.m_GreetingLimit.reset(Source);
    Connection.Attach(m_Event.get(), OnReady);
  } catch (...) {
    Drop(Connection);
    throw;
  }
}

bool TCRouterCore::IsAdmitted(TSNorvMailSender const& Sender) const {
  return m_Admission ? m_Admission(Sender) : Sender.User == 0 || Sender.User == geteuid();
}

void TCRouterCore::RequireRoomFor(TSNorvMailSender const& Sender) const {
  std::size_t const ForUser = IsAdmitted(Sender) ? m_Limits.ConnectionsPerUser : kNotAdmittedLimit;
  std::size_t const OfUser = static_cast<std::size_t>(std::count_if(
      m_Connections.begin(), m_Connections.end(),
      [&](auto const& Connection) { return Connection.m_Sender.User == Sender.User; }));
  if (OfUser > ForUser || m_Connections.size() > m_Limits.Connections) {
    throw TCException(kSource, __LINE__)
        .Format("too many connections: %zu of user %u (at most %zu), %zu in all (at most %u)",
                OfUser - 1, Sender.User, ForUser, m_Connections.size() - 1, m_Limits.Connections);
  }
}

int TCRouterCore::OnGreetingLimit(sd_event_source* /*Source*/, std::uint64_t /*Time*/,
                                  void* Connection) {
  auto& Silent = *static_cast<TCRouterConnection*>(Connection);
  Silent.m_Core.Drop(Silent);
  return 0;
}

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
  sd_event_source_set_enabled(m_ReapSource.get(), SD_EVENT_ONESHOT);
  if (!Connection.IsGreeted() && m_LogBudget.Grant()) {
    LogIfPossible([&] {
      SyslogWarning("mail router: a connection of %s ended before its greeting%s",
                    Connection.Describe().c_str(), m_LogBudget.TakeNote().c_str());
    });
  }
}

// One message at a time, so that every peer gets its turn. What comes with the authentication is
// read together with it, and the socket tells nothing of it.
int TCRouterCore::OnReady(sd_event_source* /*Source*/, int /*File*/, std::uint32_t /*Events*/,
                          void* Connection) {
  auto& From = *static_cast<TCRouterConnection*>(Connection);
  bool const Greeting = !From.IsGreeted();
  int const Result = From.HasEnded() ? -ENOTCONN : sd_bus_process(From.get_Bus(), nullptr);
  From.m_HoldsMore = Result > 0 && (Greeting || From.m_HoldsMore);
  if (Result < 0 || From.HasEnded()) {
    From.m_Core.Drop(From);
  }
  From.Watch();
  return 0;
}

void TCRouterCore::DropEnded() {
  sd_event_source_set_enabled(m_ReapSource.get(), SD_EVENT_ONESHOT);
}

int TCRouterCore::OnReap(sd_event_source* /*Source*/, void* Core) {
  auto& Self = *static_cast<TCRouterCore*>(Core);
  for (auto Place = Self.m_Connections.begin(); Place != Self.m_Connections.end();) {
    TCRouterConnection& Connection = *Place++;
    if (Connection.HasEnded()) {
      Self.Drop(Connection);
    }
  }
  Self.m_Dropped.clear();
  return 0;
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
  if (From.m_LogBudget.Grant()) {
    SyslogError("Mail of %s refused: %s%s", From.Describe().c_str(), Reason.c_str(),
                From.m_LogBudget.TakeNote().c_str());
  }
  if (sd_bus_message_get_expect_reply(Message) > 0 && !From.IsCongested() &&
      sd_bus_reply_method_errorf(Message, MailWire::kErrorRefused, "%s", Reason.c_str()) < 0) {
    From.m_Core.Drop(From);  // it would wait for the answer
  }
}

// ---- messages ----

int TCRouterCore::Route(TCRouterConnection& Connection, sd_bus_message* Message) {
  if (sd_bus_message_is_method_call(Message, nullptr, nullptr) <= 0) {
    return 1;
  }
  if (Connection.IsCongested() && !IsCall(Message, MailWire::kSend) &&
      !IsCall(Message, MailWire::kSendMany)) {
    SyslogWarning("mail router: %s does not read its answers; its connection is ended",
                  Connection.Describe().c_str());
    Drop(Connection);
    return 1;
  }
  char const* const Path = sd_bus_message_get_path(Message);
  if (Path != nullptr && std::strcmp(Path, MailWire::kRouterPath) == 0) {
    RouteToRouter(Connection, Message);
    return 1;
  }
  if (!MailWire::ParseClassInterface(sd_bus_message_get_interface(Message))) {
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
  char const* Identity = nullptr;
  char const* Device = nullptr;
  std::uint32_t Version = 0;
  MailWire::Require(sd_bus_message_read(Message, "sus", &Identity, &Version, &Device),
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
  if (!IsAdmitted(Connection.m_Sender)) {
    throw TCException(kSource, __LINE__)
        .Format("%s may not use this router; its administrator can allow it",
                Connection.Describe().c_str());
  }
  Connection.m_Sender.Device = TCMACAddress(std::string(Device));
  Connection.m_Sender.Identity = Identity;
  Connection.m_Form = MailWire::FormOf(Version);
  Connection.m_GreetingLimit.reset();
  MailWire::Require(sd_bus_reply_method_return(Message, "u", Version), "greet");
}

// A proxy that reconnects may find its former connection still there; nobody else may take its
// identity, because mails sent in its name would make its own look like repeats.
void TCRouterCore::RequireFreeIdentity(TCRouterConnection const& Connection,
                                       std::string const& Identity) const {
  TSNorvMailSender const& Asking = Connection.m_Sender;
  if (!Asking.Identity.empty()) {
    throw TCException(kSource, __LINE__).Format("a second greeting");
  }
  for (TCRouterConnection const& Other : m_Connections) {
    TSNorvMailSender const& Held = Other.m_Sender;
    if (Held.Identity == Identity && (Held.Process != Asking.Process || Held.User != Asking.User)) {
      throw TCException(kSource, __LINE__).Format("the identity of another process");
    }
  }
}

void TCRouterCore::Subscribe(TCRouterConnection& Connection, sd_bus_message* Message) {
  char const* Interface = nullptr;
  MailWire::TSPosition Known;
  MailWire::Require(sd_bus_message_read(Message, "stt", &Interface, &Known.Epoch, &Known.Sequence),
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
      !m_Recent.ReachBackTo(Known.Sequence, m_Position.Sequence)) {
    CatchUpByServices(Connection, Interface);
    return;
  }
  TSForwarded Last;
  m_Recent.ForEachAfter(Known.Sequence, [&](TSPublishedMail const& Mail) {
    if (Mail.Interface == Interface) {
      Forward(Connection, Subscription, Mail, Last);
    }
    return !Subscription.Behind;
  });
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
    std::uint64_t const Included = Owner->get_LastTaken(Subscriber.Identity);
    TCBusMessage const Message = NewPublished(
        Connection,
        {Path, Interface, m_Position.Sequence, MailWire::kNoOrigin, Included, "", Content}, 0,
        Content.Body);
    if (!Connection.Send(Message.get(), Content.Body->get_Size())) {
      FallBehind(Connection, Subscription);
      return;
    }
  }
  Subscription.Whole = false;
  Subscription.Sent = m_Position.Sequence;
}

// ---- subscribers that do not keep up ----

// Nothing more is sent to the subscriber, and nothing is kept for it, until it has read what waits.
void TCRouterCore::FallBehind(TCRouterConnection& Connection,
                              TCRouterConnection::TSSubscription& Subscription) {
  Subscription.Behind = true;
  Subscription.Own.reset();  // they are among what it has missed
  sd_event_source_set_enabled(m_ProgressSource.get(), SD_EVENT_ON);
  if (Connection.IsDrained()) {
    WakeAfter(m_ProgressTimer.get());  // its reading, which it is not waiting for, wakes nobody
  }
  if (Connection.m_LogBudget.Grant()) {
    LogIfPossible([&] {
      SyslogWarning("mail router: %s does not read its mails; it will be brought up to date%s",
                    Connection.Describe().c_str(), Connection.m_LogBudget.TakeNote().c_str());
    });
  }
}

// Runs after every turn of the loop in which anything happened, such as a peer's reading.
int TCRouterCore::OnProgress(sd_event_source* Source, void* Core) {
  auto& Self = *static_cast<TCRouterCore*>(Core);
  bool Waiting = false;
  for (auto Place = Self.m_Connections.begin(); Place != Self.m_Connections.end();) {
    TCRouterConnection& Connection = *Place++;  // it may be dropped
    if (Connection.IsBehind() && Connection.IsDrained()) {
      Self.Resume(Connection);
    }
    Waiting = Waiting || Connection.IsBehind();
  }
  if (!Waiting) {
    sd_event_source_set_enabled(Source, SD_EVENT_OFF);
  }
  return 0;
}

// That it has been called is what OnProgress() runs after.
int TCRouterCore::OnProgressTime(sd_event_source* /*Source*/, std::uint64_t /*Time*/,
                                 void* /*Core*/) {
  return 0;
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
    LogIfPossible([&] {
      SyslogError("mail router: %s cannot be brought up to date: %s; its connection is ended",
                  Connection.Describe().c_str(), MailWire::CaughtText().c_str());
    });
  }
}

void TCRouterCore::BringUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned) {
  for (TCRouterConnection& Connection : m_Connections) {
    if (Connection.IsGreeted() && IsConcerned(Connection.m_Sender)) {
      for (auto& [Interface, Subscription] : Connection.m_Subscriptions) {
        try {
          CatchUpByServices(Connection, Interface);
        } catch (...) {
          FallBehind(Connection, Subscription);
        }
      }
    }
  }
}

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
    SyslogError("mail router: %zu messages wait for mailboxes without owner; %s has to come again",
                Count, Connection.Describe().c_str());
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
  sd_event_source* Source = nullptr;
  MailWire::Require(sd_event_add_io(m_Event.get(), &Source, sd_bus_get_fd(Connection.get_Bus()),
                                    EPOLLRDHUP, OnHangUp, &Connection),
                    "watch a connection");
  Connection.m_HangUp.reset(Source);
}

int TCRouterCore::OnHangUp(sd_event_source* /*Source*/, int /*File*/, std::uint32_t /*Events*/,
                           void* Connection) {
  auto& Ended = *static_cast<TCRouterConnection*>(Connection);
  Ended.m_Core.Drop(Ended);
  return 0;
}

void TCRouterCore::ReadAgain(TCRouterConnection& Connection) {
  if (Connection.m_Pause || Connection.m_HangUp) {
    return;
  }
  try {
    Connection.Attach(m_Event.get(), OnReady);
  } catch (std::exception const&) {
    Drop(Connection);
  }
}

void TCRouterCore::CountMails(TCRouterConnection& Connection, std::size_t Mails) {
  std::uint64_t const Pause = Connection.CountMails(Mails, m_Limits.MailsPerSecond, Now());
  if (Pause != 0) {
    SlowDown(Connection, Pause);
  }
}

// The peer is not read from for a time, so it waits and nobody else does.
void TCRouterCore::SlowDown(TCRouterConnection& Connection, std::uint64_t Pause) {
  if (Connection.m_Pause) {
    MailWire::Require(sd_event_source_set_time_relative(Connection.m_Pause.get(), Pause),
                      "slow a connection down");
    return;
  }
  if (Connection.m_LogBudget.Grant()) {
    LogIfPossible([&] {
      SyslogWarning("mail router: %s sends more than %u mails a second and is slowed down%s",
                    Connection.Describe().c_str(), m_Limits.MailsPerSecond,
                    Connection.m_LogBudget.TakeNote().c_str());
    });
  }
  sd_event_source* Source = nullptr;
  MailWire::Require(sd_event_add_time_relative(m_Event.get(), &Source, CLOCK_MONOTONIC, Pause,
                                               kAccuracy, OnPauseOver, &Connection),
                    "slow a connection down");
  Connection.m_Pause.reset(Source);
  Connection.Detach();
}

int TCRouterCore::OnPauseOver(sd_event_source* /*Source*/, std::uint64_t /*Time*/,
                              void* Connection) {
  auto& Paused = *static_cast<TCRouterConnection*>(Connection);
  Paused.m_Pause.reset();
  Paused.m_Core.ReadAgain(Paused);
  return 0;
}

template <class TFunction>
void TCRouterCore::TakeOrDrop(TCRouterConnection& Connection, TFunction const& Take) {
  try {
    Take();
  } catch (std::exception const& Reason) {
    DropForNow(Connection, Reason);
  }
}

// Its proxy comes back and sends again what has not been acknowledged.
void TCRouterCore::DropForNow(TCRouterConnection& Connection, std::exception const& Reason) {
  Drop(Connection);
  if (m_LogBudget.Grant()) {
    LogIfPossible([&] {
      SyslogError("A mail of %s cannot be taken now: %s; its connection is ended%s",
                  Connection.Describe().c_str(), Reason.what(), m_LogBudget.TakeNote().c_str());
    });
  }
}

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
  if (Connection.m_LogBudget.Grant()) {
    SyslogError("Mail of %s refused: %s%s", Connection.Describe().c_str(), Reason.what(),
                Connection.m_LogBudget.TakeNote().c_str());
  }
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
         [&] { return MailWire::ReadMail(Message, MailClass, MailWire::kMailLimit); });
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
      Take(Owner, Connection, Mail, [&] { return MailWire::UnpackMail(Group, Packed, MailClass); });
      ++Mail.Number;
    }
  });
}

void TCRouterCore::DeliverRequest(TCNorvService& Owner, TCRouterConnection& Connection,
                                  sd_bus_message* Message, TCNorvMailClassID const& MailClass) {
  char const* Identity = nullptr;
  MailWire::Require(sd_bus_message_read(Message, "s", &Identity), "read an envelope");
  TSNorvMailSender const& Sender = Connection.m_Sender;
  RequireOwnName(Sender, Identity);
  if (sd_bus_message_get_expect_reply(Message) <= 0) {
    throw TCException(kSource, __LINE__).Format("a request that expects no answer");
  }
  TSNorvMailContent const Request = MailWire::ReadMail(Message, MailClass, MailWire::kMailLimit);
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
                                          Owner.get_LastTaken(Sender.Identity)),
                    "append an envelope");
  MailWire::AppendMail(Raw, Answer, Connection.m_Form);
  if (!Connection.Send(Raw, Answer.Body->get_Size())) {
    Drop(Connection);  // its proxy comes back and asks again
  }
}

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

void TCRouterCore::SetAdmission(std::function<bool(TSNorvMailSender const&)> Admission) {
  m_Admission = std::move(Admission);
}

void TCRouterCore::Acknowledge(std::string const& Path, std::string const& Identity,
                               std::uint64_t Number) {
  for (TCRouterConnection& Connection : m_Connections) {
    if (Connection.m_Sender.Identity == Identity) {
      for (auto& [Interface, Subscription] : Connection.m_Subscriptions) {
        TellOfOwn(Connection, Interface, Subscription);
      }
      Connection.Acknowledge(Path, Number);
      if (Connection.IsBehind()) {
        sd_event_source_set_enabled(m_ProgressSource.get(), SD_EVENT_ON);
      }
    }
  }
}

// ---- publishing ----

TCBusMessage TCRouterCore::NewPublished(TCRouterConnection const& Connection,
                                        TSPublishedMail const& Mail, std::uint64_t Previous,
                                        std::shared_ptr<TCNorvMailBody const> const& Body) const {
  sd_bus_message* Raw = nullptr;
  MailWire::Require(sd_bus_message_new_signal(Connection.get_Bus(), &Raw, Mail.Path.c_str(),
                                              Mail.Interface.c_str(), MailWire::kPublished),
                    "make a published mail");
  TCBusMessage Message(Raw);
  MailWire::AppendValues(
      Raw, "tttst",
      {&m_Position.Epoch, &Previous, &Mail.Sequence, Mail.Origin.c_str(), &Mail.Number},
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
    if (Mail.Origin == Connection.m_Sender.Identity) {
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
  if (!Mail.Audience.empty() && Mail.Audience != Connection.m_Sender.Identity) {
    return;
  }
  if (Connection.IsCongested()) {
    FallBehind(Connection, Subscription);
    return;
  }
  try {
    auto const Owner = m_Mailboxes.find(Mail.Path);
    auto const Body = Owner == m_Mailboxes.end()
                          ? Mail.Content.Body
                          : Owner->second->OnForward(Connection.m_Sender, Mail.Content);
    if (!Body) {
      return;
    }
    TellOfOwn(Connection, Mail.Interface, Subscription);
    if (Subscription.Behind) {
      return;
    }
    if (Last.Body != Body.get() || Last.Previous != Subscription.Sent ||
        Last.Form != Connection.m_Form) {
      Last = {NewPublished(Connection, Mail, Subscription.Sent, Body), Body.get(),
              Subscription.Sent, Connection.m_Form};
    }
    if (Connection.Send(Last.Message.get(), Body->get_Size())) {
      Subscription.Sent = Mail.Sequence;
      return;
    }
  } catch (...) {
    LogIfPossible([&] {
      SyslogError("mail router: cannot send to %s: %s", Connection.Describe().c_str(),
                  MailWire::CaughtText().c_str());
    });
  }
  FallBehind(Connection, Subscription);
}
