// SPDX-License-Identifier: MIT
// The engine of a proxy: its connection to the router, what waits to be sent and what has arrived.
// Each of its jobs has a source of its own: connecting, sending, receiving, delivering, waiting and
// forking; TCNorvProxyConnection.cpp has the operations.
//
// Concurrency. m_Mutex guards everything below it. It is never held while a hook of the proxy runs
// or while a thread sleeps in poll. The bus object is used by any thread under m_Mutex; only one
// thread at a time, the one that set m_Pumping, polls it and reads from it. That is the proxy's own
// thread, unless it is inside a hook: then a thread that waits for an answer pumps for itself, so
// no waiting thread depends on a hook's return. Whoever changes what a waiting thread waits for
// signals m_Changed. A mail that is held back, to go out with others, has a deadline that who polls
// keeps: nothing is held back while nobody polls, and who stops polling sends what is.
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
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Messaging/TCOwnChanges.h"
#include "Platform/Messaging/TCRouterWait.h"
#include "Platform/Utility/TCFileDescriptor.h"

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
  /// A change of `Keys` is being made that the calling thread's next mail of the class will tell
  /// of.
  void MarkChange(std::string const& Mailbox, TCNorvMailClassID const& MailClass,
                  std::vector<std::string> Keys);
  void ForgetMark();
  /// Whether the mail that the calling thread is being handed is to leave `Key` alone.
  bool IsOvertaken(std::string const& Key) const;
  bool IsAnyOvertaken() const;
  /// What changes of a class are on their way.
  TCOwnChanges& get_OwnChanges() const { return *m_OwnChanges; }
  static std::string const& StreamOf(std::string const& Mailbox,
                                     TCNorvMailClassID const& MailClass);
  bool Post(std::string const& Mailbox, TSNorvMailContent const& Content);
  /// With `Held`, no mail is delivered after it has returned true until EndAnswer().
  bool Exchange(std::string const& Mailbox, TSNorvMailContent& Content, int Timeout, bool Held);
  void EndAnswer();
  bool WaitForAcknowledgements(int Timeout);
  bool WaitForDelivery(int Timeout);
  /// See TCNorvServiceProxy.
  std::uint64_t get_LastSent(std::string const& Mailbox);
  std::uint64_t get_LastSentHere(std::string const& Mailbox);
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
  void PrepareFork();
  void EndForkInParent();
  void EndForkInChild();

 private:
  using TCClock = std::chrono::steady_clock;
  using TCDeadline = std::optional<TCClock::time_point>;
  using TCLock = std::unique_lock<std::mutex>;

  // Mails to one mailbox, oldest first; those before `Untransmitted` are on their way. Of the
  // others some may be held back for a moment, so that they go out together.
  struct TSOutbox {
    struct TSMail {
      std::uint64_t Number;
      TSNorvMailContent Content;
    };
    std::deque<TSMail> Mails;
    // By name of the streams that mails have gone to: the last one that was published, as far as
    // has been heard.
    std::map<std::string, std::uint64_t> Streams;
    std::size_t Untransmitted = 0;
    std::size_t HeldBytes = 0;
    bool Delayed = false;  // the first of them could not be sent and is tried again
    std::uint64_t LastNumber = 0;
    std::uint64_t const Serial = NewSerial();  // among all outboxes of the process

    static std::uint64_t NewSerial();
    std::uint64_t get_LastAcknowledged() const {
      return Mails.empty() ? LastNumber : Mails.front().Number - 1;
    }
  };

  // A request that a thread waits for; lives on that thread's stack.
  struct TSExchange {
    TCNorvProxyConnection* Connection;
    std::string const* Mailbox;
    TSNorvMailContent* Content;
    bool Held;  // the answer is put to use before anything later
    std::string Interface = MailWire::ClassInterface(Content->MailClass);
    std::thread::id Waiter = std::this_thread::get_id();
    std::uint64_t After = 0;    // mails up to this number go first
    TCBusSlot Reply = nullptr;  // set while the request is on its way
    std::optional<bool> Answered = std::nullopt;
    std::string Refusal = std::string();  // why there is no answer
  };

  // The published mails of one class.
  struct TSSubscription {
    bool Subscribed = false;
    bool Requested = false;         // on the present connection
    bool Missing = false;           // a mail was missed and has been asked for
    MailWire::TSPosition Received;  // the last mail, or the first answer's place
  };

  // Where a published mail comes from.
  struct TSSource {
    std::string Path;
    std::string Interface;
    std::string Stream;
    TCNorvMailClassID MailClass;
  };

  enum class TEKind { eOwn, eForeign, eCatchUp, eAcknowledged };

  // What waits to be delivered: a published mail, or that a mail has been acknowledged.
  struct TSReceived {
    TEKind Kind;
    std::string Stream;
    std::uint64_t Number;  // of the own mail that it is or includes
    TSNorvMailContent Content;
    bool Whole = false;  // it stands for all before it
  };

  enum class TEEvent { eReachable, eLost, eMails };

  static constexpr std::chrono::milliseconds kFirstRetryDelay{5};

  // Hears of the published mails of a class when they arrive.
  struct TSWitness {
    TCNorvMailClassID MailClass;
    std::string Interface;
    TCNorvServiceProxy::TCWitness Hear;
    bool Missing = false;  // a mail was missed: what is acknowledged may be news to it
  };

  static std::size_t KeptSize(TSNorvMailContent const& Content);
  bool IsClosed();

  // Waiting.
  static TCDeadline DeadlineAfter(int Milliseconds);
  static TCDeadline Earlier(TCDeadline Deadline, TCClock::time_point Other);
  bool WaitUntil(TCLock& Lock, std::function<bool()> const& Condition, TCDeadline Deadline);
  bool PumpUntil(TCLock& Lock, std::function<bool()> const& Condition, TCDeadline Deadline);
  void Pump(TCLock& Lock, TCDeadline Deadline);
  void Poll(TCLock& Lock, TCDeadline Deadline);
  void Wake();

  // Delivering: the proxy's thread, and who else hands mails over.
  void Start();
  void Run();
  void Deliver(TEEvent Event);
  void TellOfDelivery();
  void Signal(TEEvent Event);
  bool IsAnswerHeldHere() const;
  bool IsToBeHandedOver(TSReceived const& Received, std::set<std::string>& Held);
  void HandOver(TSReceived const& Received, std::set<std::string> const& Held);

  // Forking.
  void RequireOwnProcess() const;

  // Connecting; m_Mutex held.
  void Connect();
  void Greet();
  static int OnGreeted(sd_bus_message* Message, void* Connection, sd_bus_error* Error);
  void ProcessBus();
  void Disconnect();
  TCBusMessage NewCall(std::string const& Path, std::string const& Interface, char const* Member);

  // Sending; m_Mutex held.
  bool HoldBack(TSOutbox& Outbox);
  bool IsRouterBehind() const;
  bool IsTimeToTransmit() const;
  void Transmit();
  template <class TFunction>
  bool TryToSend(char const* Subject, TFunction const& Function);
  void RetryLater(char const* Subject);
  bool TransmitOutbox(std::string const& Mailbox, TSOutbox& Outbox);
  void TransmitMails(std::string const& Mailbox, TSOutbox& Outbox);
  std::size_t CountCompany(TSOutbox const& Outbox) const;
  TCBusMessage NewMail(std::string const& Mailbox, TSOutbox::TSMail const& Mail);
  TCBusMessage NewMails(std::string const& Mailbox, TSOutbox const& Outbox, std::size_t Count);
  bool TransmitExchanges();
  void TransmitExchange(TSExchange& Exchange);
  void TransmitSubscriptions();
  bool HasGoneOut(int Result) const;
  bool SendToBus(sd_bus_message* Message);

  // Receiving; m_Mutex held.
  static int OnFilter(sd_bus_message* Message, void* Connection, sd_bus_error* Error);
  static int OnAnswer(sd_bus_message* Message, void* Exchange, sd_bus_error* Error);
  void OnAcknowledged(sd_bus_message* Message);
  TSSource const* SourceOf(sd_bus_message* Message);
  static TEKind KindOf(MailWire::TEWhose Whose);
  void OnPublished(sd_bus_message* Message, TSSource const& Source);
  void OnPublishedOwn(sd_bus_message* Message, TSSource const& Source);
  bool Admit(TSSubscription& Subscription, MailWire::TSPosition Position, std::uint64_t Previous,
             TEKind Kind);
  bool IsWitnessed(TSSource const& Source) const;
  void NoteMissing(TSSource const& Source, bool Missing);
  void Receive(TSReceived Received);
  void ReadAnswer(TSExchange& Exchange, sd_bus_message* Message);

  TCNorvServiceProxy& m_Owner;
  std::string const m_Identity;
  std::string const m_Address;
  std::shared_ptr<TCOwnChanges> const m_OwnChanges;
  pid_t const m_Process;  // that made it

  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  // guarded by m_Mutex
  std::thread m_Thread;
  bool m_Closing = false;
  bool m_ThreadEnded = false;
  bool m_IsInherited = false;      // by a child of the process that made it
  int m_BusFile = -1;              // for the child of a fork under way
  sd_bus* m_ParentsBus = nullptr;  // in the child; the bus library frees it nowhere else
  bool m_Pumping = false;
  bool m_ReadOn = false;      // without polling: there may be more
  TCDeadline m_PumpingUntil;  // when who polls looks up, if nothing happens before
  TCDeadline m_HeldUntil;     // when mails that are held back go out; none are while nobody polls
  TCDeadline m_RetryAt;       // when what could not be sent is tried again
  bool m_IsShort = false;     // of memory or descriptors for sending, and that has been logged
  bool m_Ready = false;       // greeted by the router
  MailWire::TEForm m_Form = MailWire::TEForm::eTyped;  // that the router understands
  TCRouterWait m_RouterWait;
  TCFileDescriptor m_Wake;
  TCBusHandle m_Bus;
  TCClock::time_point m_NextAttempt;
  std::chrono::milliseconds m_RetryDelay;
  std::map<std::string, TSOutbox> m_Outboxes;  // by mailbox path
  std::size_t m_UnacknowledgedBytes = 0;
  std::list<TSExchange*> m_Exchanges;
  std::map<std::string, TSSubscription> m_Subscriptions;  // by class interface
  std::optional<TSWitness> m_Witness;
  std::optional<TSSource> m_LastSource;  // the next published mail comes from there, too
  std::deque<TSReceived> m_Inbox;
  bool m_Delivering = false;
  // The mail that is being delivered, where it is what one own mail has led to.
  std::pair<std::string, std::uint64_t> m_InDelivery;
  bool m_TurnedAway = false;                     // a thread that wanted to deliver meanwhile
  unsigned m_DeliveryAwaited = 0;                // by so many threads
  std::vector<std::thread::id> m_AnswersInHand;  // threads that put an answer to use
  std::deque<TEEvent> m_Events;
};
