// SPDX-License-Identifier: MIT
// Accepts processes, hands their mails to mailboxes' owners and publishes to subscribers.
#include "Platform/Messaging/TCRouterCore.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvMailRouter";
constexpr std::size_t kRecentLimit = 1024;  // published mails kept for late subscribers
constexpr std::size_t kRecentByteLimit = std::size_t{16} << 20;  // and the size of their records
constexpr std::size_t kParkedLimit = 8192;  // messages kept for a mailbox without owner

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

std::string Describe(TSNorvMailSender const& Sender) {
  return Sender.ProcessName + " (process " + std::to_string(Sender.Process) + ", user " +
         std::to_string(Sender.User) + ")";
}

// The bus library does not look up the name of a peer without a bus, so it is asked by number.
std::string ProcessName(pid_t Process) {
  sd_bus_creds* Raw = nullptr;
  char const* Name = nullptr;
  int const Result = sd_bus_creds_new_from_pid(&Raw, Process, SD_BUS_CREDS_COMM);
  TCBusCredentials const Credentials(Raw);
  return Result >= 0 && sd_bus_creds_get_comm(Raw, &Name) >= 0 ? Name : "unknown";
}

void ReadCredentials(sd_bus* Bus, TSNorvMailSender& Sender) {
  sd_bus_creds* Raw = nullptr;
  constexpr std::uint64_t kMask = SD_BUS_CREDS_PID | SD_BUS_CREDS_EUID | SD_BUS_CREDS_EGID |
                                  SD_BUS_CREDS_SUPPLEMENTARY_GIDS;
  MailWire::Require(sd_bus_get_owner_creds(Bus, kMask, &Raw), "read credentials");
  TCBusCredentials const Credentials(Raw);
  MailWire::Require(sd_bus_creds_get_euid(Raw, &Sender.User), "read the user");
  sd_bus_creds_get_egid(Raw, &Sender.Group);
  gid_t const* Groups = nullptr;
  int const Count = sd_bus_creds_get_supplementary_gids(Raw, &Groups);
  if (Count > 0) {
    Sender.Groups.assign(Groups, Groups + Count);
  }
  sd_bus_creds_get_pid(Raw, &Sender.Process);
  Sender.ProcessName = ProcessName(Sender.Process);
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

int TCRouterCore::OnConnect(sd_event_source* /*Source*/, int /*File*/, std::uint32_t /*Events*/,
                            void* Core) {
  try {
    static_cast<TCRouterCore*>(Core)->Accept();
  } catch (...) {
    SyslogError("mail router: a connection failed: %s", MailWire::CaughtText().c_str());
  }
  return 0;
}

void TCRouterCore::Accept() {
  TCFileDescriptor File = m_Socket.Accept();
  if (File.get() < 0) {
    return;
  }
  sd_bus* Bus = nullptr;
  MailWire::Require(sd_bus_new(&Bus), "make a connection");
  TCBusHandle Handle(Bus);
  sd_id128_t ID;
  MailWire::Require(sd_id128_randomize(&ID), "draw an id");
  MailWire::Require(sd_bus_set_fd(Bus, File.get(), File.get()), "use a connection");
  File.Release();
  MailWire::Require(sd_bus_set_server(Bus, 1, ID), "serve a connection");
  MailWire::Require(sd_bus_negotiate_fds(Bus, 1), "serve a connection");
  TSConnection& Connection = m_Connections.emplace_back();
  Connection.Place = std::prev(m_Connections.end());
  Connection.Core = this;
  Connection.Bus = std::move(Handle);
  try {
    MailWire::Require(sd_bus_add_filter(Bus, nullptr, OnMessage, &Connection),
                      "serve a connection");
    MailWire::Require(sd_bus_start(Bus), "start a connection");
    ReadCredentials(Bus, Connection.Sender);
    MailWire::Require(sd_bus_attach_event(Bus, m_Event.get(), SD_EVENT_PRIORITY_NORMAL),
                      "attach a connection");
  } catch (...) {
    Drop(Connection);
    throw;
  }
}

void TCRouterCore::Drop(TSConnection& Connection) {
  for (auto& [Path, Messages] : m_Parked) {
    std::deque<TSParked> Kept;
    for (TSParked& Parked : Messages) {
      if (Parked.Connection != &Connection) {
        Kept.push_back(std::move(Parked));
      }
    }
    Messages.swap(Kept);
  }
  if (Connection.Sender.Identity.empty()) {
    SyslogWarning("mail router: a connection of %s ended before its greeting",
                  Describe(Connection.Sender).c_str());
  }
  m_Dropped.splice(m_Dropped.end(), m_Connections, Connection.Place);
  sd_event_source_set_enabled(m_ReapSource.get(), SD_EVENT_ONESHOT);
}

int TCRouterCore::OnReap(sd_event_source* /*Source*/, void* Core) {
  static_cast<TCRouterCore*>(Core)->m_Dropped.clear();
  return 0;
}

int TCRouterCore::OnMessage(sd_bus_message* Message, void* Connection, sd_bus_error* /*Error*/) {
  auto& From = *static_cast<TSConnection*>(Connection);
  try {
    return From.Core->Route(From, Message);
  } catch (...) {
    std::string const Reason = MailWire::CaughtText();
    SyslogError("Mail of %s refused: %s", Describe(From.Sender).c_str(), Reason.c_str());
    if (sd_bus_message_get_expect_reply(Message) > 0) {
      sd_bus_reply_method_errorf(Message, MailWire::kErrorRefused, "%s", Reason.c_str());
    }
  }
  return 1;
}

// ---- messages ----

int TCRouterCore::Route(TSConnection& Connection, sd_bus_message* Message) {
  if (sd_bus_message_is_signal(Message, "org.freedesktop.DBus.Local", "Disconnected") > 0) {
    Drop(Connection);
    return 1;
  }
  if (sd_bus_message_is_method_call(Message, nullptr, nullptr) <= 0) {
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

void TCRouterCore::RouteToRouter(TSConnection& Connection, sd_bus_message* Message) {
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

void TCRouterCore::Greet(TSConnection& Connection, sd_bus_message* Message) {
  char const* Identity = nullptr;
  char const* Device = nullptr;
  std::uint32_t Version = 0;
  MailWire::Require(sd_bus_message_read(Message, "sus", &Identity, &Version, &Device),
                    "read a greeting");
  if (Version != MailWire::kProtocolVersion) {
    sd_bus_reply_method_errorf(Message, MailWire::kErrorProtocol,
                               "protocol version %u is not spoken here, only %u", Version,
                               MailWire::kProtocolVersion);
    return;
  }
  if (std::strlen(Identity) == 0 || std::strlen(Identity) > MailWire::kIdentityLimit) {
    throw TCException(kSource, __LINE__)
        .Format("an identity has 1 to %zu bytes", MailWire::kIdentityLimit);
  }
  RequireFreeIdentity(Connection, Identity);
  Connection.Sender.Identity = Identity;
  Connection.Sender.Device = TCMACAddress(std::string(Device));
  MailWire::Require(sd_bus_reply_method_return(Message, "u", MailWire::kProtocolVersion), "greet");
}

// A proxy that reconnects may find its former connection still there; nobody else may take its
// identity, because mails sent in its name would make its own look like repeats.
void TCRouterCore::RequireFreeIdentity(TSConnection const& Connection,
                                       std::string const& Identity) const {
  TSNorvMailSender const& Asking = Connection.Sender;
  if (!Asking.Identity.empty()) {
    throw TCException(kSource, __LINE__).Format("a second greeting");
  }
  for (TSConnection const& Other : m_Connections) {
    TSNorvMailSender const& Held = Other.Sender;
    if (Held.Identity == Identity && (Held.Process != Asking.Process || Held.User != Asking.User)) {
      throw TCException(kSource, __LINE__).Format("the identity of another process");
    }
  }
}

void TCRouterCore::Subscribe(TSConnection& Connection, sd_bus_message* Message) {
  char const* Interface = nullptr;
  MailWire::TSPosition Known;
  MailWire::Require(sd_bus_message_read(Message, "stt", &Interface, &Known.Epoch, &Known.Sequence),
                    "read a subscription");
  if (!MailWire::ParseClassInterface(Interface)) {
    throw TCException(kSource, __LINE__).Format("%s is no mail class", Interface);
  }
  Connection.Classes.insert(Interface);
  CatchUp(Connection, Interface, Known);
}

// Sends what the subscriber has not had: the kept mails after its position, or, when they do not
// reach back that far or the position is of an earlier run, what the services say.
void TCRouterCore::CatchUp(TSConnection& Connection, std::string const& Interface,
                           MailWire::TSPosition Known) {
  if (Known.Epoch == 0) {
    return;  // it has had nothing that could be out of date
  }
  std::uint64_t const Oldest =
      m_Recent.empty() ? m_Position.Sequence + 1 : m_Recent.front().Sequence;
  if (Known.Epoch != m_Position.Epoch || Known.Sequence + 1 < Oldest) {
    CatchUpByServices(Connection, Interface);
    return;
  }
  for (TSPublished const& Published : m_Recent) {
    if (Published.Sequence > Known.Sequence && Published.Interface == Interface) {
      TCBusMessage const Message = NewPublished(Connection.Bus.get(), Published);
      sd_bus_send(Connection.Bus.get(), Message.get(), nullptr);
    }
  }
}

void TCRouterCore::CatchUpByServices(TSConnection& Connection, std::string const& Interface) {
  TCNorvMailClassID const MailClass = *MailWire::ParseClassInterface(Interface.c_str());
  for (auto const& [Path, Owner] : m_Mailboxes) {
    TSNorvMailContent Content{MailClass, 0, 0, TCNorvMailBody::Empty()};
    if (Owner->OnCatchUp(Connection.Sender, MailClass, Content)) {
      TCBusMessage const Message =
          NewPublished(Connection.Bus.get(),
                       {Path, Interface, m_Position.Sequence, MailWire::kNoOrigin, 0, Content});
      sd_bus_send(Connection.Bus.get(), Message.get(), nullptr);
    }
  }
}

void TCRouterCore::RouteToMailbox(TSConnection& Connection, sd_bus_message* Message) {
  if (Connection.Sender.Identity.empty()) {
    throw TCException(kSource, __LINE__).Format("a mail before the greeting");
  }
  auto const Owner = m_Mailboxes.find(sd_bus_message_get_path(Message));
  if (Owner == m_Mailboxes.end()) {
    Park(Connection, Message);
    return;
  }
  auto const MailClass = MailWire::ParseClassInterface(sd_bus_message_get_interface(Message));
  if (sd_bus_message_is_method_call(Message, nullptr, MailWire::kSend) > 0) {
    DeliverMail(*Owner->second, Connection, Message, *MailClass);
  } else if (sd_bus_message_is_method_call(Message, nullptr, MailWire::kRequest) > 0) {
    DeliverRequest(*Owner->second, Connection, Message, *MailClass);
  } else {
    throw TCException(kSource, __LINE__)
        .Format("a mailbox knows no operation %s", sd_bus_message_get_member(Message));
  }
}

void TCRouterCore::Park(TSConnection& Connection, sd_bus_message* Message) {
  std::size_t Count = 0;
  for (auto const& [Path, Messages] : m_Parked) {
    Count += Messages.size();
  }
  if (Count >= kParkedLimit) {
    throw TCException(kSource, __LINE__)
        .Format("%zu messages wait for mailboxes without owner, no more are kept", Count);
  }
  m_Parked[sd_bus_message_get_path(Message)].push_back(
      {&Connection, TCBusMessage(sd_bus_message_ref(Message))});
}

void TCRouterCore::DeliverMail(TCNorvService& Owner, TSConnection& Connection,
                               sd_bus_message* Message, TCNorvMailClassID const& MailClass) {
  TSNorvReceivedMail Mail{Connection.Sender, 0, 0, {MailClass, 0, 0, nullptr}};
  char const* Identity = nullptr;
  MailWire::Require(sd_bus_message_read(Message, "stt", &Identity, &Mail.Number, &Mail.Seen),
                    "read an envelope");
  if (Mail.Sender.Identity != Identity) {
    throw TCException(kSource, __LINE__).Format("a mail in another's name");
  }
  try {
    Mail.Content = MailWire::ReadMail(Message, MailClass, MailWire::kMailLimit);
    Owner.OnMail(Mail);
  } catch (...) {
    SyslogError("Mail of %s refused: %s", Describe(Mail.Sender).c_str(),
                MailWire::CaughtText().c_str());
    Owner.OnRefused(Mail);
  }
}

void TCRouterCore::DeliverRequest(TCNorvService& Owner, TSConnection& Connection,
                                  sd_bus_message* Message, TCNorvMailClassID const& MailClass) {
  char const* Identity = nullptr;
  MailWire::Require(sd_bus_message_read(Message, "s", &Identity), "read an envelope");
  if (Connection.Sender.Identity != Identity) {
    throw TCException(kSource, __LINE__).Format("a mail in another's name");
  }
  TSNorvMailContent const Request = MailWire::ReadMail(Message, MailClass, MailWire::kMailLimit);
  TSNorvMailContent Answer{MailClass, 0, 0, TCNorvMailBody::Empty()};
  if (!Owner.OnRequest(Connection.Sender, Request, Answer)) {
    sd_bus_reply_method_errorf(Message, MailWire::kErrorRefused, "the service refuses");
    return;
  }
  sd_bus_message* Raw = nullptr;
  MailWire::Require(sd_bus_message_new_method_return(Message, &Raw), "make an answer");
  TCBusMessage const Reply(Raw);
  MailWire::Require(sd_bus_message_append(Raw, "tt", m_Position.Epoch, m_Position.Sequence),
                    "append an envelope");
  MailWire::AppendMail(Raw, Answer);
  MailWire::Require(sd_bus_send(Connection.Bus.get(), Raw, nullptr), "send an answer");
}

// ---- mailboxes ----

void TCRouterCore::OpenMailbox(std::string const& Mailbox, std::string const& Path,
                               TCNorvService& Owner) {
  if (!m_Mailboxes.emplace(Path, &Owner).second) {
    throw TCException(kSource, __LINE__).Format("mailbox %s has an owner", Mailbox.c_str());
  }
  std::deque<TSParked> Messages;
  Messages.swap(m_Parked[Path]);
  m_Parked.erase(Path);
  for (TSParked const& Parked : Messages) {
    OnMessage(Parked.Message.get(), Parked.Connection, nullptr);
  }
}

void TCRouterCore::CloseMailbox(std::string const& Path) {
  m_Mailboxes.erase(Path);
}

void TCRouterCore::Acknowledge(std::string const& Path, std::string const& Identity,
                               std::uint64_t Number) {
  for (TSConnection& Connection : m_Connections) {
    if (Connection.Sender.Identity == Identity) {
      sd_bus_emit_signal(Connection.Bus.get(), Path.c_str(), MailWire::kRouterInterface,
                         MailWire::kAcknowledged, "t", Number);
    }
  }
}

TCBusMessage TCRouterCore::NewPublished(sd_bus* Bus, TSPublished const& Published) const {
  sd_bus_message* Raw = nullptr;
  MailWire::Require(sd_bus_message_new_signal(Bus, &Raw, Published.Path.c_str(),
                                              Published.Interface.c_str(), MailWire::kPublished),
                    "make a published mail");
  TCBusMessage Message(Raw);
  MailWire::Require(sd_bus_message_append(Raw, "ttst", m_Position.Epoch, Published.Sequence,
                                          Published.Origin.c_str(), Published.Number),
                    "append an envelope");
  MailWire::AppendMail(Raw, Published.Content);
  return Message;
}

void TCRouterCore::Publish(std::string const& Path, TSNorvMailContent const& Content,
                           TSNorvReceivedMail const& Origin) {
  TSPublished Published{Path,
                        MailWire::ClassInterface(Content.MailClass),
                        m_Position.Sequence + 1,
                        Origin.Sender.Identity,
                        Origin.Number,
                        Content};
  ++m_Position.Sequence;
  TCBusMessage Message;
  for (TSConnection& Connection : m_Connections) {
    if (Connection.Classes.count(Published.Interface) == 0) {
      continue;
    }
    if (!Message) {
      Message = NewPublished(Connection.Bus.get(), Published);
    }
    sd_bus_send(Connection.Bus.get(), Message.get(), nullptr);
  }
  Keep(std::move(Published));
}

void TCRouterCore::Keep(TSPublished Published) {
  m_RecentBytes += Published.Content.Body->get_Size();
  m_Recent.push_back(std::move(Published));
  while (m_Recent.size() > kRecentLimit || m_RecentBytes > kRecentByteLimit) {
    m_RecentBytes -= m_Recent.front().Content.Body->get_Size();
    m_Recent.pop_front();
  }
}
