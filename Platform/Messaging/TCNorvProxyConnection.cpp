// SPDX-License-Identifier: MIT
// What a proxy asks of its connection.
#include "Platform/Messaging/TCNorvProxyConnection.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <utility>

#include "Platform/Messaging/ProxyAddress.h"
#include "Platform/Messaging/TCLiveConnections.h"
#include "Platform/Messaging/TCThreadMark.h"
#include "Platform/Messaging/ThreadStream.h"
#include "Platform/Utility/RandomBytes.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCPerThread.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvProxyConnection";
constexpr std::size_t kUnacknowledgedLimit = std::size_t{64} << 20;
constexpr std::size_t kMailOverhead = 64;  // counted for every kept mail beside its records
constexpr std::chrono::milliseconds kHookPatience{2000};  // of who closes while a hook runs

std::string NewIdentity() {
  std::array<unsigned char, 16> Bytes = {};
  DrawRandomBytes(Bytes.data(), Bytes.size());
  std::string Text;
  for (unsigned const Byte : Bytes) {
    Text += "0123456789abcdef"[Byte >> 4U];
    Text += "0123456789abcdef"[Byte & 0xfU];
  }
  return Text;
}

// Why the calling thread's last request was refused, and whose request it was.
struct TSThreadRefusal {
  std::weak_ptr<TCNorvProxyConnection const> Connection;
  std::string Text;
};

struct TSUnmark {
  TCOwnChanges::TCMark Mark = 0;
  void operator()(TCOwnChanges* Changes) const { Changes->Unmark(Mark); }
};

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
  if (!m_Inbox.empty()) {
    Signal(TEEvent::eMails);  // a hook may have left them until now
    Wake();                   // the proxy's thread may be polling
  }
  Transmit();
}

// Epoch 1 is none: what the service remembers comes first.
void TCNorvProxyConnection::SubscribeFirst(TCNorvMailClassID const& MailClass,
                                           TCNorvServiceProxy::TCWitness Witness) {
  TCLock const Lock(m_Mutex);
  RequireOwnProcess();
  Start();
  m_Witness = {MailClass, MailWire::ClassInterface(MailClass), std::move(Witness)};
  TSSubscription& Subscription = m_Subscriptions[m_Witness->Interface];
  Subscription.Subscribed = true;
  Subscription.Received.Epoch = 1;
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

std::size_t TCNorvProxyConnection::KeptSize(TSNorvMailContent const& Content) {
  return Content.Body->get_Size() + kMailOverhead;
}

bool TCNorvProxyConnection::Post(std::string const& Mailbox, TSNorvMailContent const& Content) {
  std::string const Stream = StreamName(Mailbox, MailWire::ClassInterface(Content.MailClass));
  TCThreadMark& Here = TCPerThread<TCThreadMark>::Get();
  TCOwnChanges::TCMark Mark = Here.Take(m_OwnChanges);
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
  Here.NoteSent(Outbox.Serial, Outbox.LastNumber);
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

std::uint64_t TCNorvProxyConnection::TSOutbox::NewSerial() {
  static std::atomic<std::uint64_t> Last{0};
  return ++Last;
}

std::uint64_t TCNorvProxyConnection::get_LastSent(std::string const& Mailbox) {
  TCLock const Lock(m_Mutex);
  RequireOwnProcess();
  return m_Outboxes[Mailbox].LastNumber;
}

std::uint64_t TCNorvProxyConnection::get_LastSentHere(std::string const& Mailbox) {
  TCLock const Lock(m_Mutex);
  RequireOwnProcess();
  return TCPerThread<TCThreadMark>::Get().get_LastSent(m_Outboxes[Mailbox].Serial);
}

TENorvWait TCNorvProxyConnection::WaitForMail(std::string const& Mailbox, std::uint64_t Number,
                                              int Timeout) {
  TCLock Lock(m_Mutex);
  RequireOwnProcess();
  Transmit();
  TSOutbox const& Outbox = m_Outboxes[Mailbox];
  auto const IsKnown = [&] {
    return Outbox.get_LastAcknowledged() >= Number && !(m_Witness && m_Witness->Missing);
  };
  if (WaitUntil(Lock, IsKnown, DeadlineAfter(Timeout))) {
    return eNorvAcknowledged;
  }
  return m_Closing ? eNorvClosed : eNorvTimePassed;
}

// What has been decided is on its way until its copy is delivered, which is among what waits, or
// was. Where nobody has it any more, the acknowledgement ends its way.
std::vector<std::string> TCNorvProxyConnection::TakeDecided(std::string const& Mailbox,
                                                            TCNorvMailClassID const& MailClass,
                                                            std::uint64_t Number,
                                                            std::vector<std::string> const& Keys) {
  std::string const& Stream = StreamOf(Mailbox, MailClass);
  TCLock const Lock(m_Mutex);
  bool const InDelivery = m_Delivering && m_InDelivery == std::make_pair(Stream, Number);
  std::vector<std::string> Taken = m_OwnChanges->TakeDecided(Stream, Number, Keys, InDelivery);
  if (m_OwnChanges->HasUpTo(Stream, Number)) {
    Receive({TEKind::eAcknowledged, Stream, Number, {TCNorvMailClassID("", 0), 0, 0, nullptr}});
  }
  return Taken;
}

bool TCNorvProxyConnection::WaitForAcknowledgements(int Timeout) {
  TCLock Lock(m_Mutex);
  RequireOwnProcess();
  Transmit();
  return WaitUntil(
      Lock, [this] { return m_UnacknowledgedBytes == 0; }, DeadlineAfter(Timeout));
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
