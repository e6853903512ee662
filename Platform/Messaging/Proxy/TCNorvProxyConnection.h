// SPDX-License-Identifier: MIT
// The engine of a proxy: what it sends, asks and receives over its link to the router.
//
// Concurrency. m_Mutex guards everything below it. It is never held while a hook of the proxy runs
// or while a thread sleeps in poll. One thread at a time serves the link: it polls the socket and
// reads from it. That is the proxy's own thread, unless it is inside a hook: then a thread that
// waits for something serves for itself, so no waiting thread depends on a hook's return. Who
// serves only puts away what comes; hooks are called by the proxy's thread, and by who delivers.
// Every thread sends for itself. Whoever changes what a waiting thread waits for signals m_Changed.
// A mail that is held back, to go out with others, has a deadline that who serves keeps: nothing is
// held back while nobody serves, and who stops serving sends what is.
// m_OwnChanges has a lock of its own, taken last, because changes are marked under the
// application's locks.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Messaging/Proxy/TCInbox.h"
#include "Platform/Messaging/Proxy/TCOutbox.h"
#include "Platform/Messaging/Proxy/TCOwnChanges.h"
#include "Platform/Messaging/Proxy/TCProxyLink.h"
#include "Platform/Messaging/Proxy/TCSubscription.h"
#include "Platform/Messaging/TCNorvChange.h"
#include "Platform/Messaging/TCNorvMailInHand.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"

class TCNorvProxyConnection : public std::enable_shared_from_this<TCNorvProxyConnection> {
 public:
  explicit TCNorvProxyConnection(TCNorvServiceProxy& Owner);
  TCNorvProxyConnection(TCNorvProxyConnection const&) = delete;
  TCNorvProxyConnection& operator=(TCNorvProxyConnection const&) = delete;
  ~TCNorvProxyConnection();

  bool WaitForRouter(int Timeout);
  /// See TCNorvServiceProxy.
  std::string get_Refusal();
  std::string get_Failure();
  void Subscribe(TCNorvMailClassID const& MailClass);
  /// See TCNorvServiceProxy.
  TCNorvChange MarkChange(std::string const& Mailbox, TCNorvMailClassID const& MailClass,
                          std::vector<std::string> Keys);
  /// What changes are on their way.
  TCOwnChanges& get_OwnChanges() { return m_OwnChanges; }
  /// The mail's number; 0 when the proxy is closed.
  std::uint64_t Post(std::string const& Mailbox, TSNorvMailContent const& Content,
                     TCNorvChange Change);
  /// With `Held`, which then says what of the answer is overtaken, no mail is delivered after it
  /// has returned true until EndAnswer().
  bool Exchange(std::string const& Mailbox, TSNorvMailContent& Content, int Timeout,
                TCNorvMailInHand* Held);
  void EndAnswer();
  bool WaitForAcknowledgements(int Timeout);
  bool WaitForDelivery(int Timeout);
  /// See TCNorvServiceProxy.
  std::uint64_t get_LastSent(std::string const& Mailbox);
  TENorvWait WaitForMail(std::string const& Mailbox, std::uint64_t Number, int Timeout);
  void SubscribeFirst(TCNorvMailClassID const& MailClass, TCNorvServiceProxy::TCWitness Witness);
  std::vector<std::string> TakeDecided(std::string const& Mailbox,
                                       TCNorvMailClassID const& MailClass, std::uint64_t Number,
                                       std::vector<std::string> const& Keys);
  /// Hands the oldest waiting mail to the owner; false when none waits.
  bool DeliverMail(bool Wait);
  void Close();
  /// Close() after the last acknowledgements have come, or `Linger` has passed.
  void CloseAfterAcknowledgements(std::chrono::milliseconds Linger);

  /// A fork under way keeps everybody else out between these. The child's connection is closed: its
  /// operations throw TCException.
  void PrepareFork() PROPERTY_UNCHECKED_LOCKING;
  void EndForkInParent() PROPERTY_UNCHECKED_LOCKING;
  void EndForkInChild() PROPERTY_UNCHECKED_LOCKING;

 private:
  using TCClock = std::chrono::steady_clock;
  using TCDeadline = std::optional<TCClock::time_point>;

  // A request that a thread waits for; lives on that thread's stack.
  struct TSExchange {
    std::string const* Mailbox;
    TSNorvMailContent* Content;
    TCNorvMailInHand* Held;  // not null: what comes later waits for its end
    std::thread::id Waiter = std::this_thread::get_id();
    std::uint64_t After = 0;    // mails up to this number go first
    std::uint64_t Request = 0;  // its number while it is on its way
    std::optional<bool> Answered = std::nullopt;
    std::string Refusal = std::string();  // why there is no answer
  };

  // Where a published mail comes from.
  struct TSSource {
    std::string Mailbox;
    TCNorvMailClassID MailClass;
    TCOwnChanges::TCStream Stream;
  };

  enum class TEEvent { eReachable, eLost, eMails };

  // Hears of the published mails of a class when they arrive.
  struct TSWitness {
    TCNorvMailClassID MailClass;
    TCNorvServiceProxy::TCWitness Hear;
    bool Missing = false;  // a mail was missed: what is acknowledged may be news to it
  };

  // What could not be sent for lack of memory or descriptors.
  struct TSShortage {
    TCDeadline RetryAt;      // when it is tried again
    bool HasLogged = false;  // that there is one
  };

  bool IsClosed();

  // Serving: who waits.
  static TCDeadline DeadlineAfter(int Milliseconds);
  static TCDeadline Earlier(TCDeadline Deadline, TCDeadline Other);
  bool WaitUntil(TCMutexLock& Lock, std::function<bool()> const& Condition, TCDeadline Deadline)
      PROPERTY_REQUIRES(m_Mutex);
  bool ServeUntil(TCMutexLock& Lock, std::function<bool()> const& Condition, TCDeadline Deadline)
      PROPERTY_REQUIRES(m_Mutex);
  void Serve(TCMutexLock& Lock, TCDeadline Deadline) PROPERTY_REQUIRES(m_Mutex);
  // Leaves `Lock` while it waits, which the analysis does not follow into it.
  bool Poll(TCMutexLock& Lock, TCDeadline Deadline)
      PROPERTY_REQUIRES(m_Mutex) PROPERTY_UNCHECKED_LOCKING;
  void Wake() PROPERTY_REQUIRES(m_Mutex);
  /// Who serves has to look up by then.
  void LookUpBy(TCClock::time_point Time) PROPERTY_REQUIRES(m_Mutex);

  // Delivering: the proxy's thread, and who else hands mails over.
  void Start() PROPERTY_REQUIRES(m_Mutex);
  void Run();
  void Deliver(TEEvent Event);
  void TellOfDelivery() PROPERTY_REQUIRES(m_Mutex);
  void Signal(TEEvent Event) PROPERTY_REQUIRES(m_Mutex);
  bool IsToBeHandedOver(TCInbox::TSReceived const& Received, std::set<std::string>& Held)
      PROPERTY_REQUIRES(m_Mutex);
  void HandOver(TCInbox::TSReceived const& Received, std::set<std::string> Held);

  // Forking.
  void RequireOwnProcess() const PROPERTY_REQUIRES(m_Mutex);

  // Sending.
  TCOutbox& OutboxOf(std::string const& Mailbox) PROPERTY_REQUIRES(m_Mutex);
  bool HoldBack(TCOutbox const& Outbox) PROPERTY_REQUIRES(m_Mutex);
  bool IsRouterBehind() PROPERTY_REQUIRES(m_Mutex);
  bool IsTimeToTransmit() const PROPERTY_REQUIRES(m_Mutex);
  void Transmit() PROPERTY_REQUIRES(m_Mutex);
  template <class TFunction>
  bool TryToSend(char const* Subject, TFunction const& Function) PROPERTY_REQUIRES(m_Mutex);
  void TransmitOutbox(TCOutbox& Outbox) PROPERTY_REQUIRES(m_Mutex);
  void TransmitExchange(TSExchange& Exchange) PROPERTY_REQUIRES(m_Mutex);
  void TransmitSubscriptions() PROPERTY_REQUIRES(m_Mutex);

  // Receiving.
  void Receive(int Most) PROPERTY_REQUIRES(m_Mutex);
  void OnFrame() PROPERTY_REQUIRES(m_Mutex);
  void OnWelcome() PROPERTY_REQUIRES(m_Mutex);
  void OnRefused(Wire::TCFrameView const& Frame) PROPERTY_REQUIRES(m_Mutex);
  void OnAnswer(Wire::TCFrameView const& Frame) PROPERTY_REQUIRES(m_Mutex);
  void OnAcknowledged(Wire::TSFrameHead const& Head) PROPERTY_REQUIRES(m_Mutex);
  void OnPublished(Wire::TCFrameView Frame) PROPERTY_REQUIRES(m_Mutex);
  void OnPublishedOwn(Wire::TSFrameHead const& Head, TSSource const& Source)
      PROPERTY_REQUIRES(m_Mutex);
  void TakePublished(Wire::TCFrameView const& Frame, Wire::TSFrameMail const& Mail,
                     Wire::TSPosition const& Position, std::uint64_t Previous,
                     TSSource const& Source) PROPERTY_REQUIRES(m_Mutex);
  bool Admit(TSSource const& Source, Wire::TSPosition const& Position, std::uint64_t Previous,
             bool StandsForAll) PROPERTY_REQUIRES(m_Mutex);
  TSSource const& SourceOf(Wire::TCFrameView const& Frame) PROPERTY_REQUIRES(m_Mutex);
  TSExchange* FindExchange(std::uint64_t Request) PROPERTY_REQUIRES(m_Mutex);
  void ReadAnswer(TSExchange& Exchange, Wire::TCFrameView const& Frame) PROPERTY_REQUIRES(m_Mutex);
  TCSubscription& SubscriptionOf(TCNorvMailClassID const& MailClass) PROPERTY_REQUIRES(m_Mutex);
  bool IsWitnessed(TSSource const& Source) const PROPERTY_REQUIRES(m_Mutex);
  void NoteMissing(TSSource const& Source, bool Missing) PROPERTY_REQUIRES(m_Mutex);
  void PutAway(TCInbox::TSReceived Received) PROPERTY_REQUIRES(m_Mutex);
  void PutAwayAcknowledged(TCOwnChanges::TCStream Stream, std::uint64_t Number)
      PROPERTY_REQUIRES(m_Mutex);
  void OnLost() PROPERTY_REQUIRES(m_Mutex);

  TCNorvServiceProxy& m_Owner;
  TCOwnChanges m_OwnChanges;
  pid_t const m_Process;  // that made it

  TCMutex m_Mutex;
  std::condition_variable m_Changed;
  TCProxyLink m_Link PROPERTY_GUARDED_BY(m_Mutex);
  std::thread m_Thread PROPERTY_GUARDED_BY(m_Mutex);
  bool m_Closing PROPERTY_GUARDED_BY(m_Mutex) = false;
  bool m_ThreadEnded PROPERTY_GUARDED_BY(m_Mutex) = false;
  // By a child of the process that made it.
  bool m_IsInherited PROPERTY_GUARDED_BY(m_Mutex) = false;
  TCFileDescriptor m_Wake PROPERTY_GUARDED_BY(m_Mutex);
  // A thread polls the link, or reads from it.
  bool m_IsServed PROPERTY_GUARDED_BY(m_Mutex) = false;
  // When that thread looks up, if nothing happens before.
  TCDeadline m_ServedUntil PROPERTY_GUARDED_BY(m_Mutex);
  // When mails that are held back go out; none are while nobody serves.
  TCDeadline m_HeldUntil PROPERTY_GUARDED_BY(m_Mutex);
  // Mails that go out before it is asked again who is behind.
  unsigned m_SentUnlooked PROPERTY_GUARDED_BY(m_Mutex) = 0;
  TSShortage m_Shortage PROPERTY_GUARDED_BY(m_Mutex);
  // By mailbox.
  std::map<std::string, TCOutbox> m_Outboxes PROPERTY_GUARDED_BY(m_Mutex);
  // Of the mails in them.
  std::size_t m_KeptBytes PROPERTY_GUARDED_BY(m_Mutex) = 0;
  std::list<TSExchange*> m_Exchanges PROPERTY_GUARDED_BY(m_Mutex);
  std::uint64_t m_LastRequest PROPERTY_GUARDED_BY(m_Mutex) = 0;
  // A handful at most.
  std::deque<std::pair<TCNorvMailClassID, TCSubscription>> m_Subscriptions
      PROPERTY_GUARDED_BY(m_Mutex);
  std::optional<TSWitness> m_Witness PROPERTY_GUARDED_BY(m_Mutex);
  // The next published mail comes from there, too.
  std::optional<TSSource> m_LastSource PROPERTY_GUARDED_BY(m_Mutex);
  TCInbox m_Inbox PROPERTY_GUARDED_BY(m_Mutex);
  // By so many threads.
  unsigned m_DeliveryAwaited PROPERTY_GUARDED_BY(m_Mutex) = 0;
  std::deque<TEEvent> m_Events PROPERTY_GUARDED_BY(m_Mutex);
};
