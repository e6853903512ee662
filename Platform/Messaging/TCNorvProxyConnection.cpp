// SPDX-License-Identifier: MIT
// Keeps a proxy connected, its mails in order and its waiting threads served.
#include "Platform/Messaging/TCNorvProxyConnection.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "Platform/Messaging/ProxyAddress.h"
#include "Platform/Messaging/TCLiveConnections.h"
#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCPerThread.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvProxyConnection";
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
constexpr std::chrono::milliseconds kHookPatience{2000};      // of who closes while a hook runs
constexpr std::chrono::milliseconds kSendingRetryDelay{100};  // after memory or files ran out

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

// Why the calling thread's last request was refused, and whose request it was.
struct TSThreadRefusal {
  std::weak_ptr<TCNorvProxyConnection const> Connection;
  std::string Text;
};

struct TSUnmark {
  TCOwnChanges::TCMark Mark = 0;
  void operator()(TCOwnChanges* Changes) const { Changes->Unmark(Mark); }
};

// The stream of the mail that the calling thread is being handed, by whom, and which records of it
// the process holds already.
struct TSThreadDelivery {
  TCNorvProxyConnection const* Connection = nullptr;
  std::string const* Stream = nullptr;
  std::set<std::string> const* Held = nullptr;
};

thread_local TSThreadDelivery ThreadDelivery;

// While it lives, the calling thread takes no signals, and a thread that it starts never does: the
// application's signals are the business of the application's threads.
class TCSignalsBlocked {
 public:
  TCSignalsBlocked() {
    sigset_t All;
    sigfillset(&All);
    pthread_sigmask(SIG_SETMASK, &All, &m_Former);
  }
  ~TCSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_Former, nullptr); }
  TCSignalsBlocked(TCSignalsBlocked const&) = delete;
  TCSignalsBlocked& operator=(TCSignalsBlocked const&) = delete;

 private:
  sigset_t m_Former;
};

// Nothing thrown may pass through the bus library.
template <class TFunction>
void Guarded(char const* Subject, TFunction const& Function) {
  try {
    Function();
  } catch (...) {
    LogIfPossible([&] { SyslogError("%s: %s", Subject, MailWire::CaughtText().c_str()); });
  }
}

}  // namespace

TCNorvProxyConnection::TCNorvProxyConnection(TCNorvServiceProxy& Owner)
    : m_Owner(Owner),
      m_Identity(NewIdentity()),
      m_Address(ProxyAddress()),
      m_OwnChanges(std::make_shared<TCOwnChanges>()),
      m_Process(getpid()),
      m_RouterWait(m_Address),
      m_Wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_NextAttempt(TCClock::now()),
      m_RetryDelay(kFirstRetryDelay) {
  if (m_Wake.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make an event descriptor: %s", MailWire::ErrorText(errno).c_str());
  }
  TCLiveConnections::Get().Insert(*this);
}

TCNorvProxyConnection::~TCNorvProxyConnection() {
  TCLiveConnections::Get().Erase(*this);
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
  if (IsTimeToTransmit()) {
    Transmit();
  }
  if (auto const Time = m_RouterWait.get_ReportTime(); Time && TCClock::now() >= *Time) {
    m_RouterWait.Report();
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
  if (m_RetryAt) {
    Deadline = Earlier(Deadline, *m_RetryAt);
  }
  if (auto const Time = m_RouterWait.get_ReportTime()) {
    Deadline = Earlier(Deadline, *Time);
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
  TCLiveConnections::CloseAtExit();
  try {
    TCSignalsBlocked const Blocked;
    m_Thread = std::thread([Self = shared_from_this()] { Self->Run(); });
  } catch (std::system_error const& Reason) {
    throw TCException(kSource, __LINE__)
        .Format("cannot start the proxy's thread: %s", Reason.what());
  }
  m_RouterWait.Begin();
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
  RequireOwnProcess();
  Start();
  return WaitUntil(
      Lock, [this] { return m_Ready; }, DeadlineAfter(Timeout));
}

std::string TCNorvProxyConnection::get_Refusal() {
  auto const& [Connection, Request] = TCPerThread<TSThreadRefusal>::Get();
  bool const IsOwn = Connection.lock().get() == this;
  TCLock const Lock(m_Mutex);
  if (!m_RouterWait.get_Refusal().empty()) {
    return m_RouterWait.get_Refusal();
  }
  return IsOwn ? Request : std::string();
}

std::string TCNorvProxyConnection::get_Failure() {
  TCLock const Lock(m_Mutex);
  return m_RouterWait.get_Failure();
}

void TCNorvProxyConnection::Subscribe(TCNorvMailClassID const& MailClass) {
  TCLock const Lock(m_Mutex);
  RequireOwnProcess();
  Start();
  m_Subscriptions[MailWire::ClassInterface(MailClass)].Subscribed = true;
  Transmit();
}

void TCNorvProxyConnection::MarkChange(std::string const& Mailbox,
                                       TCNorvMailClassID const& MailClass,
                                       std::vector<std::string> Keys) {
  TCPerThread<TCThreadMark>::Get().Set(m_OwnChanges, StreamOf(Mailbox, MailClass), std::move(Keys));
}

void TCNorvProxyConnection::ForgetMark() {
  TCPerThread<TCThreadMark>::Get().Clear();
}

std::string const& TCNorvProxyConnection::StreamOf(std::string const& Mailbox,
                                                   TCNorvMailClassID const& MailClass) {
  return StreamName(Mailbox, MailWire::ClassInterface(MailClass));
}

bool TCNorvProxyConnection::IsAnyOvertaken() const {
  return ThreadDelivery.Connection == this &&
         (!ThreadDelivery.Held->empty() || !m_OwnChanges->IsEmpty());
}

bool TCNorvProxyConnection::IsOvertaken(std::string const& Key) const {
  return ThreadDelivery.Connection == this && (ThreadDelivery.Held->count(Key) != 0 ||
                                               m_OwnChanges->IsOnWay(*ThreadDelivery.Stream, Key));
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
    RequireOwnProcess();
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
  try {
    m_OwnChanges->Sent(Mark, Outbox.LastNumber + 1);
  } catch (...) {
    Outbox.Mails.pop_back();  // who is told that it was not sent may send it again
    throw;
  }
  static_cast<void>(Unsent.release());
  ++Outbox.LastNumber;
  m_UnacknowledgedBytes += KeptSize(Content);
  if (!HoldBack(Outbox)) {
    Transmit();
  }
  return true;
}

bool TCNorvProxyConnection::Exchange(std::string const& Mailbox, TSNorvMailContent& Content,
                                     int Timeout, bool Held) {
  // Made now where it does not exist yet: nothing may fail between an answer and its use.
  TSThreadRefusal& Refusal = TCPerThread<TSThreadRefusal>::Get();
  TCLock Lock(m_Mutex);
  RequireOwnProcess();
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
  Refusal = {weak_from_this(), std::move(Pending.Refusal)};
  return Ended && *Pending.Answered;
}

void TCNorvProxyConnection::EndAnswer() {
  TCLock const Lock(m_Mutex);
  m_AnswersInHand.erase(
      std::find(m_AnswersInHand.begin(), m_AnswersInHand.end(), std::this_thread::get_id()));
  Wake();  // whoever waits to deliver may be polling
  m_Changed.notify_all();
}

bool TCNorvProxyConnection::WaitForAcknowledgements(int Timeout) {
  TCLock Lock(m_Mutex);
  RequireOwnProcess();
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
    std::set<std::string> Held;
    if (IsToBeHandedOver(Received, Held)) {
      m_Delivering = true;
      Lock.unlock();
      HandOver(Received, Held);
      return true;
    }
  }
}

// `Held` gets the keys that the hook is to leave alone.
bool TCNorvProxyConnection::IsToBeHandedOver(TSReceived const& Received,
                                             std::set<std::string>& Held) {
  switch (Received.Kind) {
    case TEKind::eOwn:
      return m_OwnChanges->EndOwn(Received.Stream, Received.Number, Held);
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

void TCNorvProxyConnection::HandOver(TSReceived const& Received,
                                     std::set<std::string> const& Held) {
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
  ThreadDelivery = {this, &Received.Stream, &Held};
  std::unique_ptr<TSThreadDelivery, decltype(End)> const Ending(&ThreadDelivery, End);
  m_Owner.OnServiceMail(TCNorvMessage(Received.Content));
}

void TCNorvProxyConnection::CloseAfterAcknowledgements(std::chrono::milliseconds Linger) {
  if (IsClosed()) {
    return;
  }
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
    m_Changed.wait_for(Lock, kHookPatience, [this] { return m_ThreadEnded && !m_Pumping; });
  }
  // Closed in a hook, the thread stays: who closes next must wait until the hook has returned.
  std::thread Thread = Own ? std::thread() : std::move(m_Thread);
  bool const Ended = m_ThreadEnded;
  if (!m_Pumping) {
    m_Bus.reset();
  }
  Lock.unlock();
  if (Thread.joinable() && Ended) {
    Thread.join();
  } else if (Thread.joinable()) {
    Thread.detach();
  }
}

bool TCNorvProxyConnection::IsClosed() {
  TCLock const Lock(m_Mutex);
  return m_Closing;
}

// ---- forks ----

void TCNorvProxyConnection::PrepareFork() {
  m_Mutex.lock();
  m_OwnChanges->Lock();
  m_BusFile = m_Bus ? sd_bus_get_fd(m_Bus.get()) : -1;
}

void TCNorvProxyConnection::EndForkInParent() {
  m_OwnChanges->Unlock();
  m_Mutex.unlock();
}

// The connection and the other threads are the parent's. What belongs to them is not touched: what
// lies on their stacks, what the bus library refuses to a child, what they wait in.
void TCNorvProxyConnection::EndForkInChild() {
  m_OwnChanges->Unlock();
  m_IsInherited = true;
  m_Closing = true;
  m_ThreadEnded = true;
  m_Pumping = false;
  m_Ready = false;
  m_HeldUntil.reset();
  m_RetryAt.reset();
  m_Exchanges.clear();
  m_Inbox.clear();
  m_Events.clear();
  m_ParentsBus = m_Bus.release();
  if (m_BusFile >= 0) {
    close(m_BusFile);  // or the router would take the parent for alive while the child is
  }
  m_Wake = TCFileDescriptor();
  new (&m_Changed) std::condition_variable;  // the old one counts on threads that do not exist
  new (&m_Thread) std::thread;
  m_Mutex.unlock();
}

void TCNorvProxyConnection::RequireOwnProcess() const {
  if (m_IsInherited) {
    throw TCException(kSource, __LINE__)
        .Format(
            "the proxy and its store belong to process %d, which this one was forked from: here "
            "values can be read, but nothing is sent, asked for or received",
            static_cast<int>(m_Process));
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
  bool IsGreeting = false;
  if (Result >= 0) {
    Guarded("mail router", [&] {
      Greet();
      IsGreeting = true;
    });
  }
  if (!IsGreeting) {
    Guarded("mail router", [&] { m_RouterWait.Fail(MailWire::ErrorText(Result)); });
    Disconnect();
  }
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
    if (!m_Ready && m_RouterWait.get_Refusal().empty()) {
      Guarded("mail router", [this] {
        m_RouterWait.Fail("it ends the connection without answering the greeting");
      });
    }
    Disconnect();
  }
}

void TCNorvProxyConnection::Disconnect() {
  m_Bus.reset();
  m_HeldUntil.reset();
  m_RetryAt.reset();
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
    m_RouterWait.Begin();
    Guarded("mail router", [this] { Signal(TEEvent::eLost); });
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

bool TCNorvProxyConnection::IsTimeToTransmit() const {
  return (m_HeldUntil && TCClock::now() >= *m_HeldUntil) ||
         (m_RetryAt && TCClock::now() >= *m_RetryAt);
}

void TCNorvProxyConnection::Transmit() {
  m_HeldUntil.reset();
  if (!m_Ready || !m_Bus) {
    return;
  }
  if (m_RetryAt && TCClock::now() >= *m_RetryAt) {
    m_RetryAt.reset();
  }
  // First, so that what this process has missed arrives before the acknowledgement of mails that
  // are sent again.
  if (TryToSend("a subscription", [this] { TransmitSubscriptions(); })) {
    bool AllSent = true;
    for (auto& [Mailbox, Outbox] : m_Outboxes) {
      AllSent = TransmitOutbox(Mailbox, Outbox) && AllSent;
    }
    AllSent = TransmitExchanges() && AllSent;
    if (AllSent && std::exchange(m_IsShort, false)) {
      LogIfPossible([this] {
        SyslogWarning("mail router at %s: what could not be sent is on its way", m_Address.c_str());
      });
    }
  }
  std::uint64_t Queued = 0;
  if (sd_bus_get_n_queued_write(m_Bus.get(), &Queued) < 0 || Queued > 0) {
    Wake();  // the rest goes out, or the loss is noticed, by polling
  }
}

// False when it did not go out for lack of memory, descriptors or the like. It is tried again, with
// whatever is to come after it.
template <class TFunction>
bool TCNorvProxyConnection::TryToSend(char const* Subject, TFunction const& Function) {
  try {
    Function();
    return true;
  } catch (...) {
    RetryLater(Subject);
    return false;
  }
}

// Called where the reason has been caught.
void TCNorvProxyConnection::RetryLater(char const* Subject) {
  if (!m_RetryAt) {
    m_RetryAt = TCClock::now() + kSendingRetryDelay;
    if (!m_PumpingUntil || *m_PumpingUntil > *m_RetryAt) {
      Wake();
    }
  }
  if (!std::exchange(m_IsShort, true)) {
    LogIfPossible([&] {
      SyslogWarning("mail router at %s: %s can not be sent now and is tried again: %s",
                    m_Address.c_str(), Subject, MailWire::CaughtText().c_str());
    });
  }
}

// False when the connection is lost; polling notices that too and everything is sent again. Throws
// what else hinders a message.
bool TCNorvProxyConnection::HasGoneOut(int Result) const {
  if (Result >= 0) {
    return true;
  }
  if (sd_bus_is_open(m_Bus.get()) <= 0) {
    return false;
  }
  throw std::system_error(-Result, std::generic_category());
}

bool TCNorvProxyConnection::SendToBus(sd_bus_message* Message) {
  return HasGoneOut(sd_bus_send(m_Bus.get(), Message, nullptr));
}

// Whether nothing was left behind that is to be tried again.
bool TCNorvProxyConnection::TransmitOutbox(std::string const& Mailbox, TSOutbox& Outbox) {
  if (!Outbox.Delayed || !m_RetryAt) {
    Outbox.Delayed = !TryToSend("a mail", [&] { TransmitMails(Mailbox, Outbox); });
  }
  return !Outbox.Delayed;
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

// Whether nothing was left behind that is to be tried again.
bool TCNorvProxyConnection::TransmitExchanges() {
  bool AllSent = true;
  for (TSExchange* Exchange : m_Exchanges) {
    TSOutbox const& Outbox = m_Outboxes[*Exchange->Mailbox];
    bool const MailsFirst = Outbox.Untransmitted < Outbox.Mails.size() &&
                            Outbox.Mails[Outbox.Untransmitted].Number <= Exchange->After;
    if (!Exchange->Reply && !Exchange->Answered && !MailsFirst) {
      AllSent = TryToSend("a request", [&] { TransmitExchange(*Exchange); }) && AllSent;
    }
  }
  return AllSent;
}

void TCNorvProxyConnection::TransmitExchange(TSExchange& Exchange) {
  TCBusMessage const Message = NewCall(*Exchange.Mailbox, Exchange.Interface, MailWire::kRequest);
  MailWire::Require(sd_bus_message_append_basic(Message.get(), 's', m_Identity.c_str()),
                    "append an envelope");
  MailWire::AppendMail(Message.get(), *Exchange.Content, m_Form);
  sd_bus_slot* Slot = nullptr;
  if (HasGoneOut(
          sd_bus_call_async(m_Bus.get(), &Slot, Message.get(), OnAnswer, &Exchange, UINT64_MAX))) {
    Exchange.Reply.reset(Slot);
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
    Guarded("mail router",
            [&] { Self.m_RouterWait.Refuse(sd_bus_message_get_error(Message)->message); });
    return 0;  // of no use until another router takes its place and ends the connection
  }
  std::uint32_t Version = MailWire::kTypedVersion;
  Guarded("mail router", [&] {
    MailWire::RequireSound(sd_bus_message_read_basic(Message, 'u', &Version), "read a greeting");
  });
  Self.m_Form = MailWire::FormOf(Version);
  Self.m_Ready = true;
  Self.m_RouterWait.End();
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
    Guarded("mail router", [&] { Pending.Refusal = sd_bus_message_get_error(Message)->message; });
  } else {
    Guarded("answer refused", [&] { Self.ReadAnswer(Pending, Message); });
  }
  Self.m_Changed.notify_all();
  return 0;
}

void TCNorvProxyConnection::ReadAnswer(TSExchange& Exchange, sd_bus_message* Message) {
  MailWire::TSPosition Position;
  std::uint64_t Number = 0;
  MailWire::RequireSound(
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
  }
  *Exchange.Content = std::move(Answer);
  Exchange.Answered = true;
}

void TCNorvProxyConnection::OnAcknowledged(sd_bus_message* Message) {
  std::uint64_t Number = 0;
  MailWire::RequireSound(sd_bus_message_read(Message, "t", &Number), "read an acknowledgement");
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

TCNorvProxyConnection::TEKind TCNorvProxyConnection::KindOf(MailWire::TEWhose Whose) {
  switch (Whose) {
    case MailWire::TEWhose::eAnothers:
      return TEKind::eForeign;
    case MailWire::TEWhose::eOwn:
      return TEKind::eOwn;
    case MailWire::TEWhose::eUpToDate:
      return TEKind::eCatchUp;
  }
  throw TCException(kSource, __LINE__)
      .Format("Malformed mail: whose it is, is said by no number %d", static_cast<int>(Whose));
}

void TCNorvProxyConnection::OnPublished(sd_bus_message* Message, TSSource const& Source) {
  MailWire::TSPosition Position;
  std::uint64_t Previous = 0;
  MailWire::TEWhose Whose = MailWire::TEWhose::eAnothers;
  std::uint64_t Number = 0;
  MailWire::ReadValues(Message, "tttyt",
                       {&Position.Epoch, &Previous, &Position.Sequence, &Whose, &Number},
                       "read an envelope");
  TEKind const Kind = KindOf(Whose);
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

// Whether a published mail is the next one. After a missing one all later mails are asked for. What
// brings the process up to date comes in its place like any other, unless it stands for all.
bool TCNorvProxyConnection::Admit(TSSubscription& Subscription, MailWire::TSPosition Position,
                                  std::uint64_t Previous, TEKind Kind) {
  bool const StandsForAll = Kind == TEKind::eCatchUp && Previous == 0;
  if (!StandsForAll && Position.Epoch == Subscription.Received.Epoch) {
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
