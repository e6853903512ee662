// SPDX-License-Identifier: MIT
// Keeps a proxy connected, its mails in order and its waiting threads served.
#include "Platform/Messaging/TCNorvProxyConnection.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <set>
#include <utility>

#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCPerThread.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvServiceProxy";
constexpr std::size_t kUnacknowledgedLimit = std::size_t{64} << 20;
constexpr std::size_t kMailOverhead = 64;  // counted for every kept mail beside its records
constexpr std::size_t kWindow = 4096;      // mails on their way to one mailbox
constexpr std::size_t kFileWindow = 64;    // the same while the next needs a memory file
constexpr std::size_t kBusy = 8;       // mails on their way to one mailbox before others may wait
constexpr std::size_t kTogether = 32;  // mails that go out in one message
constexpr std::size_t kTogetherBytes = std::size_t{16} << 10;
constexpr std::chrono::microseconds kHoldTime{200};
constexpr int kBatch = 256;  // messages from the router that are taken at a time
constexpr std::chrono::milliseconds kFirstRetryDelay{5};
constexpr std::chrono::milliseconds kLongestRetryDelay{200};
constexpr std::chrono::milliseconds kExitLinger{2000};

std::string NewIdentity() {
  sd_id128_t ID;
  MailWire::Require(sd_id128_randomize(&ID), "draw an identity");
  char Text[SD_ID128_STRING_MAX];
  return sd_id128_to_string(ID, Text);
}

std::size_t KeptSize(TSNorvMailContent const& Content) {
  return Content.Body->get_Size() + kMailOverhead;
}

struct TSThreadStream {
  std::string Mailbox;
  std::string Interface;
  std::string Name;
};

// Remembered, because a thread asks for the same one again and again; good until it asks for
// another.
std::string const& StreamName(std::string const& Mailbox, std::string const& Interface) {
  auto& [LastMailbox, LastInterface, Name] = TCPerThread<TSThreadStream>::Get();
  if (LastMailbox != Mailbox || LastInterface != Interface) {
    LastMailbox.clear();  // until all fits together again
    Name = Mailbox + " " + Interface;
    LastInterface = Interface;
    LastMailbox = Mailbox;
  }
  return Name;
}

// The calling thread's change that it has not sent yet. A thread that ends without sending it, or
// makes another first, gives the mark back.
class TCThreadMark {
 public:
  TCThreadMark() = default;
  TCThreadMark(TCThreadMark const&) = delete;
  TCThreadMark& operator=(TCThreadMark const&) = delete;
  ~TCThreadMark() { Clear(); }

  void Set(std::shared_ptr<TCOwnChanges> const& Changes, std::string const& Stream,
           std::vector<std::string> Keys) {
    Clear();
    m_Mark = Changes->Mark(Stream, std::move(Keys));
    m_Changes = Changes;
  }

  // The mark, which is the caller's then; 0 for none.
  TCOwnChanges::TCMark Take(std::shared_ptr<TCOwnChanges> const& Changes) {
    if (m_Changes.lock() != Changes) {
      return 0;
    }
    m_Changes.reset();
    return m_Mark;
  }

  void Clear() {
    if (auto const Changes = m_Changes.lock()) {
      Changes->Unmark(m_Mark);
    }
    m_Changes.reset();
  }

 private:
  std::weak_ptr<TCOwnChanges> m_Changes;
  TCOwnChanges::TCMark m_Mark = 0;
};

struct TSUnmark {
  TCOwnChanges::TCMark Mark = 0;
  void operator()(TCOwnChanges* Changes) const { Changes->Unmark(Mark); }
};

// The stream of the mail that the calling thread is being handed, and by whom.
struct TSThreadDelivery {
  TCNorvProxyConnection const* Connection = nullptr;
  std::string const* Stream = nullptr;
};

thread_local TSThreadDelivery ThreadDelivery;

// Nothing thrown may pass through the bus library.
template <class TFunction>
void Guarded(char const* Subject, TFunction const& Function) {
  try {
    Function();
  } catch (...) {
    LogIfPossible([&] { SyslogError("%s: %s", Subject, MailWire::CaughtText().c_str()); });
  }
}

// The connections to close when the process exits, before the objects that their hooks may use.
class TCLiveConnections {
 public:
  static TCLiveConnections& Get() {
    static TCLiveConnections* const Instance = new TCLiveConnections;  // outlives every exit hook
    return *Instance;
  }

  void Insert(std::weak_ptr<TCNorvProxyConnection> const& Connection) {
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    m_Connections.insert(Connection);
  }

  void Erase(std::weak_ptr<TCNorvProxyConnection> const& Connection) {
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    m_Connections.erase(Connection);
  }

 private:
  using TCConnections = std::set<std::weak_ptr<TCNorvProxyConnection>, std::owner_less<>>;

  TCLiveConnections() { std::atexit(CloseAll); }

  static void CloseAll() {
    TCConnections Connections;
    {
      std::lock_guard<std::mutex> const Lock(Get().m_Mutex);
      Connections = Get().m_Connections;
    }
    for (auto const& Weak : Connections) {
      if (auto const Connection = Weak.lock()) {
        Connection->CloseAfterAcknowledgements(kExitLinger);
      }
    }
  }

  std::mutex m_Mutex;
  TCConnections m_Connections;
};

}  // namespace

TCNorvProxyConnection::TCNorvProxyConnection(TCNorvServiceProxy& Owner)
    : m_Owner(Owner),
      m_Identity(NewIdentity()),
      m_Address(MailWire::RouterAddress("")),
      m_OwnChanges(std::make_shared<TCOwnChanges>()),
      m_Wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_NextAttempt(TCClock::now()),
      m_RetryDelay(kFirstRetryDelay) {
  if (m_Wake.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make an event descriptor: %s", MailWire::ErrorText(errno).c_str());
  }
}

TCNorvProxyConnection::~TCNorvProxyConnection() {
  if (m_Thread.joinable()) {
    m_Thread.detach();  // a hook on it was what closed the connection, and nobody did again
  }
}

// ---- waiting and pumping ----

TCNorvProxyConnection::TCDeadline TCNorvProxyConnection::DeadlineAfter(int Milliseconds) {
  if (Milliseconds < 0) {
    return std::nullopt;
  }
  return TCClock::now() + std::chrono::milliseconds(Milliseconds);
}

TCNorvProxyConnection::TCDeadline TCNorvProxyConnection::Earlier(TCDeadline Deadline,
                                                                 TCClock::time_point Other) {
  return Deadline ? std::min(*Deadline, Other) : Other;
}

bool TCNorvProxyConnection::WaitUntil(TCLock& Lock, std::function<bool()> const& Condition,
                                      TCDeadline Deadline) {
  bool const Met = PumpUntil(Lock, Condition, Deadline);
  if (m_HeldUntil && !m_Pumping) {
    Transmit();  // nobody may poll for some time
  }
  return Met;
}

bool TCNorvProxyConnection::PumpUntil(TCLock& Lock, std::function<bool()> const& Condition,
                                      TCDeadline Deadline) {
  while (!Condition()) {
    if (m_Closing || (Deadline && TCClock::now() >= *Deadline)) {
      return false;
    }
    if (!m_Pumping) {
      Pump(Lock, Deadline);
    } else if (Deadline) {
      m_Changed.wait_until(Lock, *Deadline);
    } else {
      m_Changed.wait(Lock);
    }
  }
  return true;
}

void TCNorvProxyConnection::Pump(TCLock& Lock, TCDeadline Deadline) {
  m_Pumping = true;
  if (!m_Bus && TCClock::now() >= m_NextAttempt) {
    Connect();
  }
  if (!std::exchange(m_ReadOn, false)) {
    Poll(Lock, Deadline);
  }
  if (m_Bus) {
    ProcessBus();
  }
  if (m_HeldUntil && TCClock::now() >= *m_HeldUntil) {
    Transmit();
  }
  m_Pumping = false;
  m_Changed.notify_all();
}

void TCNorvProxyConnection::Poll(TCLock& Lock, TCDeadline Deadline) {
  pollfd Files[2] = {{m_Wake.get(), POLLIN, 0}, {-1, 0, 0}};
  if (m_Bus) {
    Files[1] = {sd_bus_get_fd(m_Bus.get()), static_cast<short>(sd_bus_get_events(m_Bus.get())), 0};
    std::uint64_t Microseconds = UINT64_MAX;
    if (sd_bus_get_timeout(m_Bus.get(), &Microseconds) >= 0 && Microseconds != UINT64_MAX) {
      Deadline = Earlier(Deadline, TCClock::time_point(std::chrono::microseconds(Microseconds)));
    }
  } else {
    Deadline = Earlier(Deadline, m_NextAttempt);
  }
  if (m_HeldUntil) {
    Deadline = Earlier(Deadline, *m_HeldUntil);
  }
  m_PumpingUntil = Deadline;
  timespec Remaining = {};
  if (Deadline) {
    auto const Nanoseconds = std::max(std::chrono::nanoseconds::zero(),
                                      std::chrono::nanoseconds(*Deadline - TCClock::now()));
    Remaining.tv_sec = static_cast<time_t>(Nanoseconds.count() / 1000000000);
    Remaining.tv_nsec = static_cast<long>(Nanoseconds.count() % 1000000000);
  }
  Lock.unlock();
  ppoll(Files, 2, Deadline ? &Remaining : nullptr, nullptr);
  Lock.lock();
  if ((Files[0].revents & POLLIN) != 0) {
    eventfd_t Ignored = 0;
    eventfd_read(m_Wake.get(), &Ignored);
  }
}

void TCNorvProxyConnection::Wake() {
  eventfd_write(m_Wake.get(), 1);
}

// ---- the proxy's thread ----

void TCNorvProxyConnection::Start() {
  if (m_Thread.joinable() || m_Closing) {
    return;
  }
  TCLiveConnections::Get().Insert(weak_from_this());
  // The application's signals are the business of the application's threads.
  sigset_t All;
  sigset_t Former;
  sigfillset(&All);
  pthread_sigmask(SIG_SETMASK, &All, &Former);
  m_Thread = std::thread([Self = shared_from_this()] { Self->Run(); });
  pthread_sigmask(SIG_SETMASK, &Former, nullptr);
}

void TCNorvProxyConnection::Run() {
  TCLock Lock(m_Mutex);
  while (WaitUntil(
             Lock, [this] { return !m_Events.empty(); }, std::nullopt) &&
         !m_Closing) {
    TEEvent const Event = m_Events.front();
    m_Events.pop_front();
    Lock.unlock();
    Deliver(Event);
    Lock.lock();
  }
  m_ThreadEnded = true;
  m_Changed.notify_all();
}

void TCNorvProxyConnection::Deliver(TEEvent Event) {
  bool Completed = false;
  Guarded("mail handler", [&] {
    if (Event == TEEvent::eMails) {
      m_Owner.OnProxySignal();
    } else {
      m_Owner.OnMailRouterState(Event == TEEvent::eReachable);
    }
    Completed = true;
  });
  if (!Completed && Event == TEEvent::eMails) {
    TCLock const Lock(m_Mutex);
    if (!m_Inbox.empty()) {
      Signal(TEEvent::eMails);
    }
  }
}

void TCNorvProxyConnection::Signal(TEEvent Event) {
  // One pending signal stands for all mails behind it.
  if (Event != TEEvent::eMails ||
      std::find(m_Events.begin(), m_Events.end(), Event) == m_Events.end()) {
    m_Events.push_back(Event);
  }
  m_Changed.notify_all();
}

// ---- operations ----

bool TCNorvProxyConnection::WaitForRouter(int Timeout) {
  TCLock Lock(m_Mutex);
  Start();
  return WaitUntil(
      Lock, [this] { return m_Ready; }, DeadlineAfter(Timeout));
}

void TCNorvProxyConnection::Subscribe(TCNorvMailClassID const& MailClass) {
  TCLock const Lock(m_Mutex);
  Start();
  m_Subscriptions[MailWire::ClassInterface(MailClass)].Subscribed = true;
  Transmit();
}

void TCNorvProxyConnection::MarkChange(std::string const& Mailbox,
                                       TCNorvMailClassID const& MailClass,
                                       std::vector<std::string> Keys) {
  TCPerThread<TCThreadMark>::Get().Set(
      m_OwnChanges, StreamName(Mailbox, MailWire::ClassInterface(MailClass)), std::move(Keys));
}

void TCNorvProxyConnection::ForgetMark() {
  TCPerThread<TCThreadMark>::Get().Clear();
}

bool TCNorvProxyConnection::IsAnyOvertaken() const {
  return ThreadDelivery.Connection == this && !m_OwnChanges->IsEmpty();
}

bool TCNorvProxyConnection::IsOvertaken(std::string const& Key) const {
  return ThreadDelivery.Connection == this && m_OwnChanges->IsOnWay(*ThreadDelivery.Stream, Key);
}

bool TCNorvProxyConnection::Post(std::string const& Mailbox, TSNorvMailContent const& Content) {
  std::string const Stream = StreamName(Mailbox, MailWire::ClassInterface(Content.MailClass));
  TCOwnChanges::TCMark Mark = TCPerThread<TCThreadMark>::Get().Take(m_OwnChanges);
  if (Mark == 0) {
    Mark = m_OwnChanges->Mark(Stream, {});
  }
  std::unique_ptr<TCOwnChanges, TSUnmark> Unsent(m_OwnChanges.get(), TSUnmark{Mark});
  TCLock const Lock(m_Mutex);
  if (m_Closing) {
    return false;
  }
  if (KeptSize(Content) > kUnacknowledgedLimit - m_UnacknowledgedBytes) {
    throw TCException(kSource, __LINE__)
        .Format(
            "cannot send a mail of %zu bytes: %zu bytes wait for acknowledgement, at most %zu "
            "are kept",
            KeptSize(Content), m_UnacknowledgedBytes, kUnacknowledgedLimit);
  }
  Start();
  TSOutbox& Outbox = m_Outboxes[Mailbox];
  Outbox.Streams.try_emplace(Stream, 0);
  Outbox.Mails.push_back({Outbox.LastNumber + 1, Content});
  ++Outbox.LastNumber;
  m_UnacknowledgedBytes += KeptSize(Content);
  m_OwnChanges->Sent(Mark, Outbox.LastNumber);
  static_cast<void>(Unsent.release());
  if (!HoldBack(Outbox)) {
    Transmit();
  }
  return true;
}

bool TCNorvProxyConnection::Exchange(std::string const& Mailbox, TSNorvMailContent& Content,
                                     int Timeout, bool Held) {
  TCLock Lock(m_Mutex);
  Start();
  TSExchange Pending{this, &Mailbox, &Content, Held};
  Pending.After = m_Outboxes[Mailbox].LastNumber;
  m_Exchanges.push_back(&Pending);
  auto const Place = std::prev(m_Exchanges.end());
  Transmit();
  bool const Ended = WaitUntil(
      Lock, [&Pending] { return Pending.Answered.has_value(); }, DeadlineAfter(Timeout));
  m_Exchanges.erase(Place);
  Pending.Reply.reset();
  return Ended && *Pending.Answered;
}

void TCNorvProxyConnection::EndAnswer() {
  TCLock const Lock(m_Mutex);
  m_OwnChanges->EndAnswer();
  m_AnswersInHand.erase(
      std::find(m_AnswersInHand.begin(), m_AnswersInHand.end(), std::this_thread::get_id()));
  Wake();  // whoever waits to deliver may be polling
  m_Changed.notify_all();
}

bool TCNorvProxyConnection::WaitForAcknowledgements(int Timeout) {
  TCLock Lock(m_Mutex);
  Transmit();
  return WaitUntil(
      Lock, [this] { return m_UnacknowledgedBytes == 0; }, DeadlineAfter(Timeout));
}

// ---- delivering ----

bool TCNorvProxyConnection::IsAnswerHeldHere() const {
  return std::find(m_AnswersInHand.begin(), m_AnswersInHand.end(), std::this_thread::get_id()) !=
         m_AnswersInHand.end();
}

bool TCNorvProxyConnection::DeliverMail(bool Wait) {
  TCLock Lock(m_Mutex);
  for (;;) {
    // Mails are handed over one after the other: who comes while one is, leaves the rest to it.
    if (m_Delivering || IsAnswerHeldHere()) {
      m_TurnedAway = true;
      return false;
    }
    if (m_Inbox.empty() && !Wait) {
      return false;
    }
    auto const IsNext = [this, Wait] {
      return m_Delivering || (m_AnswersInHand.empty() && (!Wait || !m_Inbox.empty()));
    };
    if (!WaitUntil(Lock, IsNext, std::nullopt)) {
      return false;
    }
    if (m_Delivering || m_Inbox.empty()) {
      continue;
    }
    TSReceived const Received = std::move(m_Inbox.front());
    m_Inbox.pop_front();
    if (IsToBeHandedOver(Received)) {
      m_Delivering = true;
      Lock.unlock();
      HandOver(Received);
      return true;
    }
  }
}

bool TCNorvProxyConnection::IsToBeHandedOver(TSReceived const& Received) {
  switch (Received.Kind) {
    case TEKind::eOwn:
      return m_OwnChanges->EndOwn(Received.Stream, Received.Number);
    case TEKind::eCatchUp:
      m_OwnChanges->CatchUp(Received.Stream, Received.Number);
      return true;
    case TEKind::eAcknowledged:
      m_OwnChanges->Acknowledge(Received.Stream, Received.Number);
      return false;
    case TEKind::eForeign:
      break;
  }
  return true;
}

void TCNorvProxyConnection::HandOver(TSReceived const& Received) {
  auto const End = [this](TSThreadDelivery* Delivery) {
    *Delivery = TSThreadDelivery();
    TCLock const Lock(m_Mutex);
    m_Delivering = false;
    if (std::exchange(m_TurnedAway, false) && !m_Inbox.empty()) {
      Signal(TEEvent::eMails);
      Wake();  // the proxy's thread may be polling
    }
    m_Changed.notify_all();
  };
  ThreadDelivery = {this, &Received.Stream};
  std::unique_ptr<TSThreadDelivery, decltype(End)> const Ending(&ThreadDelivery, End);
  m_Owner.OnServiceMail(TCNorvMessage(Received.Content));
}

void TCNorvProxyConnection::CloseAfterAcknowledgements(std::chrono::milliseconds Linger) {
  WaitForAcknowledgements(static_cast<int>(Linger.count()));
  Close();
}

void TCNorvProxyConnection::Close() {
  TCLock Lock(m_Mutex);
  Transmit();
  m_Closing = true;
  Wake();
  m_Changed.notify_all();
  // A hook may be what closes or ends the process, or may wait for a lock that the closing thread
  // holds for good: the thread is then left to itself.
  bool const Own = m_Thread.get_id() == std::this_thread::get_id();
  if (!Own && m_Thread.joinable()) {
    m_Changed.wait_for(Lock, kExitLinger, [this] { return m_ThreadEnded && !m_Pumping; });
  }
  // Closed in a hook, the thread stays: who closes next must wait until the hook has returned.
  std::thread Thread = Own ? std::thread() : std::move(m_Thread);
  bool const Ended = m_ThreadEnded;
  if (!m_Pumping) {
    m_Bus.reset();
  }
  Lock.unlock();
  TCLiveConnections::Get().Erase(weak_from_this());
  if (Thread.joinable() && Ended) {
    Thread.join();
  } else if (Thread.joinable()) {
    Thread.detach();
  }
}

// ---- the connection ----

void TCNorvProxyConnection::Connect() {
  sd_bus* Bus = nullptr;
  int Result = sd_bus_new(&Bus);
  TCBusHandle Handle(Bus);
  if (Result >= 0) {
    Result = sd_bus_set_address(Bus, m_Address.c_str());
  }
  if (Result >= 0) {
    Result = sd_bus_negotiate_fds(Bus, 1);
  }
  if (Result >= 0) {
    Result = sd_bus_add_filter(Bus, nullptr, OnFilter, this);
  }
  if (Result >= 0) {
    Result = sd_bus_start(Bus);
  }
  m_Bus = std::move(Handle);
  if (Result < 0) {
    Disconnect();
    return;
  }
  Guarded("mail router", [this] { Greet(); });
}

void TCNorvProxyConnection::Greet() {
  TCBusMessage const Hello =
      NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, MailWire::kHello);
  MailWire::Require(
      sd_bus_message_append(Hello.get(), "sus", m_Identity.c_str(), MailWire::kProtocolVersion,
                            TCMACAddress::Own("").get_AsString(':').c_str()),
      "greet");
  MailWire::Require(
      sd_bus_call_async(m_Bus.get(), nullptr, Hello.get(), OnGreeted, this, UINT64_MAX), "greet");
}

void TCNorvProxyConnection::ProcessBus() {
  // What is to be delivered is delivered before it is asked for more; mostly there is none. And no
  // more than a batch, so that a stream of mails keeps nobody from the mutex.
  bool const Idle = m_Events.empty();
  int Result = 1;
  for (int Count = 0; Result > 0 && !m_ReadOn && Count < kBatch; ++Count) {
    Result = sd_bus_process(m_Bus.get(), nullptr);
    m_ReadOn = Result > 0 && Idle && !m_Events.empty();
  }
  if (Result < 0 || sd_bus_is_open(m_Bus.get()) <= 0) {
    Disconnect();
  }
}

void TCNorvProxyConnection::Disconnect() {
  m_Bus.reset();
  m_HeldUntil.reset();
  m_ReadOn = false;
  for (TSExchange* Exchange : m_Exchanges) {
    Exchange->Reply.reset();
  }
  for (auto& [Mailbox, Outbox] : m_Outboxes) {
    Outbox.Untransmitted = 0;
  }
  for (auto& [Interface, Subscription] : m_Subscriptions) {
    Subscription.Requested = false;
    Subscription.Missing = false;
  }
  m_NextAttempt = TCClock::now() + m_RetryDelay;
  m_RetryDelay = std::min(m_RetryDelay * 2, kLongestRetryDelay);
  if (m_Ready) {
    m_Ready = false;
    Signal(TEEvent::eLost);
  }
}

TCBusMessage TCNorvProxyConnection::NewCall(std::string const& Path, std::string const& Interface,
                                            char const* Member) {
  sd_bus_message* Message = nullptr;
  MailWire::Require(sd_bus_message_new_method_call(m_Bus.get(), &Message, nullptr, Path.c_str(),
                                                   Interface.c_str(), Member),
                    "make a call");
  return TCBusMessage(Message);
}

// Whether the newest mail waits for others, to go out with them. Only where it would wait for the
// router anyway, and only while somebody polls, who ends its waiting in time.
bool TCNorvProxyConnection::HoldBack(TSOutbox& Outbox) {
  if (!m_Ready || !m_Pumping || m_Form != MailWire::TEForm::ePacked ||
      Outbox.Untransmitted < kBusy || !(m_HeldUntil || IsRouterBehind())) {
    return false;
  }
  Outbox.HeldBytes += MailWire::PackedSize(Outbox.Mails.back().Content);
  if (Outbox.Mails.size() - Outbox.Untransmitted >= kTogether ||
      Outbox.HeldBytes >= kTogetherBytes) {
    return false;
  }
  if (!m_HeldUntil) {
    m_HeldUntil = TCClock::now() + kHoldTime;
    if (!m_PumpingUntil || *m_PumpingUntil > *m_HeldUntil) {
      Wake();
    }
  }
  return true;
}

// Whether the router has not read all that it was sent.
bool TCNorvProxyConnection::IsRouterBehind() const {
  int Unread = 0;
  return ioctl(sd_bus_get_fd(m_Bus.get()), SIOCOUTQ, &Unread) == 0 && Unread > 0;
}

void TCNorvProxyConnection::Transmit() {
  m_HeldUntil.reset();
  if (!m_Ready || !m_Bus) {
    return;
  }
  Guarded("mail router", [this] {
    // First, so that what this process has missed arrives before the acknowledgement of mails that
    // are sent again.
    TransmitSubscriptions();
    for (auto& [Mailbox, Outbox] : m_Outboxes) {
      TransmitMails(Mailbox, Outbox);
    }
    TransmitExchanges();
  });
  std::uint64_t Queued = 0;
  if (sd_bus_get_n_queued_write(m_Bus.get(), &Queued) < 0 || Queued > 0) {
    Wake();  // the rest goes out, or the loss is noticed, by polling
  }
}

// False when the connection is lost; polling notices that too and everything is sent again.
bool TCNorvProxyConnection::SendToBus(sd_bus_message* Message) {
  return sd_bus_send(m_Bus.get(), Message, nullptr) >= 0;
}

void TCNorvProxyConnection::TransmitMails(std::string const& Mailbox, TSOutbox& Outbox) {
  Outbox.HeldBytes = 0;
  while (Outbox.Untransmitted < std::min(Outbox.Mails.size(), kWindow)) {
    TSOutbox::TSMail const& Mail = Outbox.Mails[Outbox.Untransmitted];
    if (Outbox.Untransmitted >= kFileWindow && !MailWire::FitsInline(*Mail.Content.Body, m_Form)) {
      return;  // each memory file on its way is a descriptor of this process
    }
    std::size_t const Count = CountCompany(Outbox);
    TCBusMessage const Message =
        Count == 1 ? NewMail(Mailbox, Mail) : NewMails(Mailbox, Outbox, Count);
    sd_bus_message_set_expect_reply(Message.get(), 0);
    if (!SendToBus(Message.get())) {
      return;
    }
    Outbox.Untransmitted += Count;
  }
}

// How many mails, from the first that is not on its way, can go out in one message.
std::size_t TCNorvProxyConnection::CountCompany(TSOutbox const& Outbox) const {
  TSNorvMailContent const& First = Outbox.Mails[Outbox.Untransmitted].Content;
  std::size_t const End =
      std::min({Outbox.Mails.size(), kWindow, Outbox.Untransmitted + kTogether});
  std::size_t Bytes = MailWire::PackedSize(First);
  std::size_t Next = Outbox.Untransmitted + 1;
  for (; m_Form == MailWire::TEForm::ePacked && Next < End; ++Next) {
    TSNorvMailContent const& Content = Outbox.Mails[Next].Content;
    Bytes += MailWire::PackedSize(Content);
    if (Bytes > kTogetherBytes || !(Content.MailClass == First.MailClass) ||
        Content.Body->get_Signature() != First.Body->get_Signature()) {
      break;
    }
  }
  return Next - Outbox.Untransmitted;
}

TCBusMessage TCNorvProxyConnection::NewMail(std::string const& Mailbox,
                                            TSOutbox::TSMail const& Mail) {
  TCBusMessage Message =
      NewCall(Mailbox, MailWire::ClassInterface(Mail.Content.MailClass), MailWire::kSend);
  MailWire::AppendValues(Message.get(), "st", {m_Identity.c_str(), &Mail.Number},
                         "append an envelope");
  MailWire::AppendMail(Message.get(), Mail.Content, m_Form);
  return Message;
}

TCBusMessage TCNorvProxyConnection::NewMails(std::string const& Mailbox, TSOutbox const& Outbox,
                                             std::size_t Count) {
  TSOutbox::TSMail const& First = Outbox.Mails[Outbox.Untransmitted];
  MailWire::TSMailGroup Group{First.Content.Body->get_Signature().c_str(), {}};
  Group.Mails.reserve(Count);
  for (std::size_t Place = 0; Place < Count; ++Place) {
    TSNorvMailContent const& Content = Outbox.Mails[Outbox.Untransmitted + Place].Content;
    Group.Mails.push_back({Content.SignalType, Content.SignalName, Content.Body->get_Bytes()});
  }
  TCBusMessage Message =
      NewCall(Mailbox, MailWire::ClassInterface(First.Content.MailClass), MailWire::kSendMany);
  MailWire::Require(sd_bus_message_append(Message.get(), "stu", m_Identity.c_str(), First.Number,
                                          static_cast<std::uint32_t>(Count)),
                    "append an envelope");
  MailWire::AppendMails(Message.get(), Group);
  return Message;
}

void TCNorvProxyConnection::TransmitExchanges() {
  for (TSExchange* Exchange : m_Exchanges) {
    TSOutbox const& Outbox = m_Outboxes[*Exchange->Mailbox];
    bool const MailsFirst = Outbox.Untransmitted < Outbox.Mails.size() &&
                            Outbox.Mails[Outbox.Untransmitted].Number <= Exchange->After;
    if (Exchange->Reply || Exchange->Answered || MailsFirst) {
      continue;
    }
    TCBusMessage const Message =
        NewCall(*Exchange->Mailbox, Exchange->Interface, MailWire::kRequest);
    MailWire::Require(sd_bus_message_append_basic(Message.get(), 's', m_Identity.c_str()),
                      "append an envelope");
    MailWire::AppendMail(Message.get(), *Exchange->Content, m_Form);
    sd_bus_slot* Slot = nullptr;
    if (sd_bus_call_async(m_Bus.get(), &Slot, Message.get(), OnAnswer, Exchange, UINT64_MAX) < 0) {
      return;  // lost, as in SendToBus
    }
    Exchange->Reply.reset(Slot);
  }
}

void TCNorvProxyConnection::TransmitSubscriptions() {
  for (auto& [Interface, Subscription] : m_Subscriptions) {
    if (!Subscription.Subscribed || Subscription.Requested) {
      continue;
    }
    TCBusMessage const Message =
        NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, MailWire::kSubscribe);
    MailWire::Require(
        sd_bus_message_append(Message.get(), "stt", Interface.c_str(), Subscription.Received.Epoch,
                              Subscription.Received.Sequence),
        "append a subscription");
    sd_bus_message_set_expect_reply(Message.get(), 0);
    Subscription.Requested = SendToBus(Message.get());
  }
}

// ---- what the router sends ----

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

int TCNorvProxyConnection::OnGreeted(sd_bus_message* Message, void* Connection,
                                     sd_bus_error* /*Error*/) {
  auto& Self = *static_cast<TCNorvProxyConnection*>(Connection);
  if (sd_bus_message_is_method_error(Message, SD_BUS_ERROR_NO_REPLY) > 0) {
    return 0;  // the connection is gone; the next one greets again
  }
  if (sd_bus_message_is_method_error(Message, nullptr) > 0) {
    if (!std::exchange(Self.m_Refused, true)) {
      SyslogError("mail router at %s: %s", Self.m_Address.c_str(),
                  sd_bus_message_get_error(Message)->message);
    }
    return 0;  // of no use until another router takes its place and ends the connection
  }
  std::uint32_t Version = MailWire::kTypedVersion;
  Guarded("mail router", [&] {
    MailWire::Require(sd_bus_message_read_basic(Message, 'u', &Version), "read a greeting");
  });
  Self.m_Form = MailWire::FormOf(Version);
  Self.m_Ready = true;
  Self.m_Refused = false;
  Self.m_RetryDelay = kFirstRetryDelay;
  Guarded("mail router", [&] { Self.Signal(TEEvent::eReachable); });
  Self.Transmit();
  return 0;
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
    SyslogWarning("Request refused: %s", sd_bus_message_get_error(Message)->message);
  } else {
    Guarded("answer refused", [&] { Self.ReadAnswer(Pending, Message); });
  }
  Self.m_Changed.notify_all();
  return 0;
}

void TCNorvProxyConnection::ReadAnswer(TSExchange& Exchange, sd_bus_message* Message) {
  MailWire::TSPosition Position;
  std::uint64_t Number = 0;
  MailWire::Require(
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
    m_OwnChanges->BeginAnswer();
  }
  *Exchange.Content = std::move(Answer);
  Exchange.Answered = true;
}

void TCNorvProxyConnection::OnAcknowledged(sd_bus_message* Message) {
  std::uint64_t Number = 0;
  MailWire::Require(sd_bus_message_read(Message, "t", &Number), "read an acknowledgement");
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

void TCNorvProxyConnection::OnPublished(sd_bus_message* Message, TSSource const& Source) {
  MailWire::TSPosition Position;
  std::uint64_t Previous = 0;
  char const* Origin = MailWire::kNoOrigin;
  std::uint64_t Number = 0;
  TEKind Kind = TEKind::eForeign;
  MailWire::ReadValues(Message, "tttst",
                       {&Position.Epoch, &Previous, &Position.Sequence, &Origin, &Number},
                       "read an envelope");
  if (std::strcmp(Origin, MailWire::kNoOrigin) == 0) {
    Kind = TEKind::eCatchUp;
  } else if (m_Identity == Origin) {
    Kind = TEKind::eOwn;
  }
  TSSubscription& Subscription = m_Subscriptions[Source.Interface];
  MailWire::TSPosition const Former = Subscription.Received;
  if (!Admit(Subscription, Position, Previous, Kind)) {
    return;
  }
  try {
    TSNorvMailContent Content = MailWire::ReadMail(Message, Source.MailClass);
    if (Kind != TEKind::eForeign) {
      m_Outboxes[Source.Path].Streams[Source.Stream] = Number;
    }
    Receive({Kind, Source.Stream, Number, std::move(Content)});
  } catch (std::bad_alloc const&) {
    Subscription.Received = Former;  // it is missing, and will be asked for
    throw;
  }
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

// Whether a published mail is the next one. After a missing one all later mails are asked for.
bool TCNorvProxyConnection::Admit(TSSubscription& Subscription, MailWire::TSPosition Position,
                                  std::uint64_t Previous, TEKind Kind) {
  if (Kind != TEKind::eCatchUp && Position.Epoch == Subscription.Received.Epoch) {
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
