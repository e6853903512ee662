// SPDX-License-Identifier: MIT
// What a proxy asks of its connection.
#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Messaging/Proxy/TCLiveConnections.h"
#include "Platform/Messaging/Wire/SocketName.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/RandomBytes.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCPerThread.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Proxy/TCNorvProxyConnection";
constexpr std::size_t kKeptLimit = std::size_t{64} << 20;
constexpr std::chrono::milliseconds kHookPatience{2000};  // of who closes while a hook runs

std::string NewIdentity() {
  constexpr char kDigits[] = "0123456789abcdef";
  unsigned char Bytes[16];
  DrawRandomBytes(Bytes, sizeof(Bytes));
  std::string Text;
  for (unsigned const Byte : Bytes) {
    Text.push_back(kDigits[Byte >> 4U]);
    Text.push_back(kDigits[Byte & 15U]);
  }
  return Text;
}

// Why the calling thread's last request was refused, and whose request it was.
struct TSThreadRefusal {
  std::weak_ptr<TCNorvProxyConnection const> Connection;
  std::string Text;
};

}  // namespace

TCNorvProxyConnection::TCNorvProxyConnection(TCNorvServiceProxy& Owner)
    : m_Owner(Owner),
      m_Process(getpid()),
      m_Link(Wire::RouterAddress(""), NewIdentity()),
      m_Wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (m_Wake.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make an event descriptor: %s", FailureText::OfError(errno).c_str());
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
  TCMutexLock Lock(m_Mutex);
  RequireOwnProcess();
  Start();
  return WaitUntil(
      Lock, [this]() PROPERTY_REQUIRES(m_Mutex) { return m_Link.IsReady(); },
      DeadlineAfter(Timeout));
}

std::string TCNorvProxyConnection::get_Refusal() {
  auto const& [Connection, Request] = TCPerThread<TSThreadRefusal>::Get();
  bool const IsOwn = Connection.lock().get() == this;
  TCMutexLock const Lock(m_Mutex);
  if (!m_Link.get_Wait().get_Refusal().empty()) {
    return m_Link.get_Wait().get_Refusal();
  }
  return IsOwn ? Request : std::string();
}

std::string TCNorvProxyConnection::get_Failure() {
  TCMutexLock const Lock(m_Mutex);
  return m_Link.get_Wait().get_Failure();
}

void TCNorvProxyConnection::Subscribe(TCNorvMailClassID const& MailClass) {
  Wire::RequireNames("any", MailClass);
  TCMutexLock const Lock(m_Mutex);
  RequireOwnProcess();
  Start();
  SubscriptionOf(MailClass).Want();
  if (!m_Inbox.IsEmpty()) {
    Signal(TEEvent::eMails);  // a hook may have left them until now
    Wake();                   // the proxy's thread may be polling
  }
  Transmit();
}

void TCNorvProxyConnection::SubscribeFirst(TCNorvMailClassID const& MailClass,
                                           TCNorvServiceProxy::TCWitness Witness) {
  TCMutexLock const Lock(m_Mutex);
  RequireOwnProcess();
  Start();
  m_Witness = {MailClass, std::move(Witness)};
  SubscriptionOf(MailClass).WantRemembered();
  Transmit();
}

// Made when it is first asked for.
TCSubscription& TCNorvProxyConnection::SubscriptionOf(TCNorvMailClassID const& MailClass) {
  auto const Known =
      std::find_if(m_Subscriptions.begin(), m_Subscriptions.end(),
                   [&MailClass](auto const& Entry) { return Entry.first == MailClass; });
  return Known != m_Subscriptions.end()
             ? Known->second
             : m_Subscriptions.emplace_back(MailClass, TCSubscription()).second;
}

TCOutbox& TCNorvProxyConnection::OutboxOf(std::string const& Mailbox) {
  return m_Outboxes.try_emplace(Mailbox, Mailbox).first->second;
}

TCNorvChange TCNorvProxyConnection::MarkChange(std::string const& Mailbox,
                                               TCNorvMailClassID const& MailClass,
                                               std::vector<std::string> Keys) {
  TCOwnChanges::TCStream const Stream = m_OwnChanges.StreamOf(Mailbox, MailClass);
  return TCNorvChange(m_OwnChanges, m_OwnChanges.Mark(Stream, std::move(Keys)));
}

// A mail of which nobody has marked anything is one of no keys, so that its copy is known, too.
std::uint64_t TCNorvProxyConnection::Post(std::string const& Mailbox,
                                          TSNorvMailContent const& Content, TCNorvChange Change) {
  if (Change.IsOfNothing()) {
    return Post(Mailbox, Content, MarkChange(Mailbox, Content.MailClass, {}));
  }
  TCOwnChanges::TCStream const Stream = m_OwnChanges.StreamOf(Mailbox, Content.MailClass);
  TCMutexLock const Lock(m_Mutex);
  if (m_Closing) {
    RequireOwnProcess();
    return 0;
  }
  std::size_t const Size = TCOutbox::KeptSize(Content);
  if (Size > kKeptLimit - m_KeptBytes || Content.Body->get_Size() > Wire::kMailLimit) {
    throw TCException(kSource, __LINE__)
        .Format(
            "cannot send a mail of %zu bytes: %zu bytes wait for acknowledgement, at most %zu "
            "are kept",
            Size, m_KeptBytes, kKeptLimit);
  }
  Start();
  TCOutbox& Outbox = OutboxOf(Mailbox);
  std::uint64_t const Number = Outbox.Add(Content, Stream);
  try {
    Change.Sent(Number);
  } catch (...) {
    Outbox.RemoveNewest();  // who is told that it was not sent may send it again
    throw;
  }
  m_KeptBytes += Size;
  if (!HoldBack(Outbox)) {
    Transmit();
  }
  return Number;
}

bool TCNorvProxyConnection::Exchange(std::string const& Mailbox, TSNorvMailContent& Content,
                                     int Timeout, TCNorvMailInHand* Held) {
  // Made now where it does not exist yet: nothing may fail between an answer and its use.
  TSThreadRefusal& Refusal = TCPerThread<TSThreadRefusal>::Get();
  Wire::RequireNames(Mailbox, Content.MailClass);
  TCMutexLock Lock(m_Mutex);
  RequireOwnProcess();
  Start();
  TSExchange Pending{&Mailbox, &Content, Held};
  Pending.After = OutboxOf(Mailbox).get_LastNumber();
  m_Exchanges.push_back(&Pending);
  auto const Place = std::prev(m_Exchanges.end());
  Transmit();
  bool const Ended = WaitUntil(
      Lock, [&Pending]() PROPERTY_REQUIRES(m_Mutex) { return Pending.Answered.has_value(); },
      DeadlineAfter(Timeout));
  m_Exchanges.erase(Place);
  Refusal = {weak_from_this(), std::move(Pending.Refusal)};
  return Ended && *Pending.Answered;
}

std::uint64_t TCNorvProxyConnection::get_LastSent(std::string const& Mailbox) {
  TCMutexLock const Lock(m_Mutex);
  RequireOwnProcess();
  return OutboxOf(Mailbox).get_LastNumber();
}

TENorvWait TCNorvProxyConnection::WaitForMail(std::string const& Mailbox, std::uint64_t Number,
                                              int Timeout) {
  TCMutexLock Lock(m_Mutex);
  RequireOwnProcess();
  Transmit();
  TCOutbox const& Outbox = OutboxOf(Mailbox);
  auto const IsKnown = [&]() PROPERTY_REQUIRES(m_Mutex) {
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
  TCOwnChanges::TCStream const Stream = m_OwnChanges.StreamOf(Mailbox, MailClass);
  TCMutexLock const Lock(m_Mutex);
  bool const InDelivery = m_Inbox.IsDelivering(Stream, Number);
  std::vector<std::string> Taken = m_OwnChanges.TakeDecided(Stream, Number, Keys, InDelivery);
  PutAwayAcknowledged(Stream, Number);
  return Taken;
}

bool TCNorvProxyConnection::WaitForAcknowledgements(int Timeout) {
  TCMutexLock Lock(m_Mutex);
  RequireOwnProcess();
  Transmit();
  return WaitUntil(
      Lock, [this]() PROPERTY_REQUIRES(m_Mutex) { return m_KeptBytes == 0; },
      DeadlineAfter(Timeout));
}

void TCNorvProxyConnection::CloseAfterAcknowledgements(std::chrono::milliseconds Linger) {
  if (IsClosed()) {
    return;
  }
  WaitForAcknowledgements(static_cast<int>(Linger.count()));
  Close();
}

void TCNorvProxyConnection::Close() {
  TCMutexLock Lock(m_Mutex);
  Transmit();
  m_Closing = true;
  Wake();
  m_Changed.notify_all();
  // A hook may be what closes or ends the process, or may wait for a lock that the closing thread
  // holds for good: the thread is then left to itself.
  bool const Own = m_Thread.get_id() == std::this_thread::get_id();
  if (!Own && m_Thread.joinable()) {
    auto const End = TCClock::now() + kHookPatience;
    while (!(m_ThreadEnded && !m_IsServed) && TCClock::now() < End) {
      Lock.WaitUntil(m_Changed, End);
    }
  }
  // Closed in a hook, the thread stays: who closes next must wait until the hook has returned.
  std::thread Thread = Own ? std::thread() : std::move(m_Thread);
  bool const Ended = m_ThreadEnded;
  if (!m_IsServed) {
    m_Link.Close();
  }
  Lock.Leave();
  if (Thread.joinable() && Ended) {
    Thread.join();
  } else if (Thread.joinable()) {
    Thread.detach();
  }
}

bool TCNorvProxyConnection::IsClosed() {
  TCMutexLock const Lock(m_Mutex);
  return m_Closing;
}
