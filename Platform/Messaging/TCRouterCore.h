// SPDX-License-Identifier: MIT
// The inside of a router: connections, mailboxes, subscriptions, and the loop that serves them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/RouterSocket.h"
#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/TCRecentMails.h"
#include "Platform/Messaging/TCRouterConnection.h"
#include "Platform/Utility/TCException.h"

/// Everything but Stop() and Execute() belongs to the thread in Run(). While that does not run, the
/// thread in Execute() takes its turn.
class TCRouterCore {
 public:
  explicit TCRouterCore(std::string const& Address);
  TCRouterCore(TCRouterCore const&) = delete;
  TCRouterCore& operator=(TCRouterCore const&) = delete;
  ~TCRouterCore();

  void Run();
  void Stop();
  void Execute(std::function<void()> const& Function);
  sd_event* get_Event() const { return m_Event.get(); }
  std::string const& get_Address() const { return m_Address; }

  void OpenMailbox(std::string const& Mailbox, std::string const& Path, TCNorvService& Owner);
  void CloseMailbox(std::string const& Path);
  void Acknowledge(std::string const& Path, std::string const& Identity, std::uint64_t Number);
  /// Published to all, or to `Audience` only when it is not empty. Throws, with nothing published,
  /// only for lack of memory.
  void Publish(TSPublishedMail Mail);
  void BringUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned);
  void SetLimits(TSNorvRouterLimits const& Limits) { m_Limits = Limits; }
  void SetAdmission(std::function<bool(TSNorvMailSender const&)> Admission);
  /// Has the connections whose peers have gone dropped, once nobody is using them.
  void DropEnded();
  MailWire::TSPosition const& get_Position() const { return m_Position; }
  std::size_t get_ConnectionCount() const { return m_Connections.size(); }

 private:
  // A message for a mailbox that has no owner yet.
  struct TSParked {
    TCRouterConnection* Connection;
    TCBusMessage Message;
  };

  // A message that was made for one subscriber and serves the next one too, if nothing differs.
  struct TSForwarded {
    TCBusMessage Message;
    TCNorvMailBody const* Body = nullptr;
    std::uint64_t Previous = 0;
    MailWire::TEForm Form = MailWire::TEForm::eTyped;
  };

  static int OnConnect(sd_event_source* Source, int File, std::uint32_t Events, void* Core);
  static int OnAcceptAgain(sd_event_source* Source, std::uint64_t Time, void* Core);
  static int OnWake(sd_event_source* Source, int File, std::uint32_t Events, void* Core);
  static int OnReady(sd_event_source* Source, int File, std::uint32_t Events, void* Connection);
  static int OnReap(sd_event_source* Source, void* Core);
  static int OnProgress(sd_event_source* Source, void* Core);
  static int OnProgressTime(sd_event_source* Source, std::uint64_t Time, void* Core);
  static int OnGreetingLimit(sd_event_source* Source, std::uint64_t Time, void* Connection);
  static int OnHangUp(sd_event_source* Source, int File, std::uint32_t Events, void* Connection);
  static int OnPauseOver(sd_event_source* Source, std::uint64_t Time, void* Connection);
  static int OnMessage(sd_bus_message* Message, void* Connection, sd_bus_error* Error);

  void BeginTurn();
  void EndTurn();
  void RunTasks();
  void Accept();
  void Serve(TCFileDescriptor File);
  bool IsAdmitted(TSNorvMailSender const& Sender) const;
  void RequireRoomFor(TSNorvMailSender const& Sender) const;
  void AcceptLater();
  TCEventSource NewTimer(sd_event_time_handler_t OnTime);
  void WakeAfter(sd_event_source* Timer) const;
  void Drop(TCRouterConnection& Connection);
  int Route(TCRouterConnection& Connection, sd_bus_message* Message);
  static void RefuseMessage(TCRouterConnection& From, sd_bus_message* Message,
                            std::string const& Reason);
  void RouteToRouter(TCRouterConnection& Connection, sd_bus_message* Message);
  void RouteToMailbox(TCRouterConnection& Connection, sd_bus_message* Message);
  void Greet(TCRouterConnection& Connection, sd_bus_message* Message);
  void RequireFreeIdentity(TCRouterConnection const& Connection, std::string const& Identity) const;
  void Subscribe(TCRouterConnection& Connection, sd_bus_message* Message);
  void CatchUp(TCRouterConnection& Connection, std::string const& Interface,
               MailWire::TSPosition Known);
  void CatchUpByServices(TCRouterConnection& Connection, std::string const& Interface);
  void Forward(TCRouterConnection& Connection, TCRouterConnection::TSSubscription& Subscription,
               TSPublishedMail const& Mail, TSForwarded& Last);
  void KeepOwn(TCRouterConnection& Connection, TCRouterConnection::TSSubscription& Subscription,
               TSPublishedMail const& Mail);
  void TellOfOwn(TCRouterConnection& Connection, std::string const& Interface,
                 TCRouterConnection::TSSubscription& Subscription);
  void FallBehind(TCRouterConnection& Connection, TCRouterConnection::TSSubscription& Subscription);
  void Resume(TCRouterConnection& Connection);
  TCBusMessage NewPublished(TCRouterConnection const& Connection, TSPublishedMail const& Mail,
                            std::uint64_t Previous,
                            std::shared_ptr<TCNorvMailBody const> const& Body) const;
  void Park(TCRouterConnection& Connection, sd_bus_message* Message);
  void WaitForOwner(TCRouterConnection& Connection);
  void ReadAgain(TCRouterConnection& Connection);
  void CountMails(TCRouterConnection& Connection, std::size_t Mails);
  void SlowDown(TCRouterConnection& Connection, std::uint64_t Pause);
  template <class TFunction>
  void TakeOrDrop(TCRouterConnection& Connection, TFunction const& Take);
  void DropForNow(TCRouterConnection& Connection, std::exception const& Reason);
  template <class TRead>
  void Take(TCNorvService& Owner, TCRouterConnection& Connection, TSNorvReceivedMail& Mail,
            TRead const& Read);
  void Refuse(TCNorvService& Owner, TCRouterConnection& Connection, TSNorvReceivedMail const& Mail,
              TCException const& Reason);
  void DeliverMail(TCNorvService& Owner, TCRouterConnection& Connection, sd_bus_message* Message,
                   TCNorvMailClassID const& MailClass);
  void DeliverMails(TCNorvService& Owner, TCRouterConnection& Connection, sd_bus_message* Message,
                    TCNorvMailClassID const& MailClass);
  void DeliverRequest(TCNorvService& Owner, TCRouterConnection& Connection, sd_bus_message* Message,
                      TCNorvMailClassID const& MailClass);
  std::uint64_t Now() const;

  std::string const m_Address;
  TCRouterSocket m_Socket;
  TCEventHandle m_Event;
  TCFileDescriptor m_Wake;
  TCEventSource m_ConnectSource;
  TCEventSource m_AcceptAgainSource;
  TCEventSource m_WakeSource;
  TCEventSource m_ReapSource;
  TCEventSource m_ProgressSource;  // enabled while a connection is behind
  TCEventSource m_ProgressTimer;   // while one is behind whose reading nothing waits for

  TSNorvRouterLimits m_Limits;
  std::function<bool(TSNorvMailSender const&)> m_Admission;
  std::list<TCRouterConnection> m_Connections;
  std::list<TCRouterConnection> m_Dropped;  // freed outside their own callbacks
  std::map<std::string, TCNorvService*> m_Mailboxes;
  std::map<std::string, std::deque<TSParked>> m_Parked;  // by mailbox path
  MailWire::TSPosition m_Position;
  TCRecentMails m_Recent;
  TCLogBudget m_LogBudget;

  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  // guarded by m_Mutex
  std::thread::id m_Runner;  // whose turn it is: the thread in Run(), or in Execute() without it
  bool m_Stopping = false;
  std::deque<std::function<void()>> m_Tasks;
};
