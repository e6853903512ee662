// SPDX-License-Identifier: MIT
// The inside of a router: connections, mailboxes, subscriptions, and the loop that serves them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/RouterSocket.h"
#include "Platform/Messaging/TCNorvService.h"

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
  void Publish(std::string const& Path, TSNorvMailContent const& Content,
               TSNorvReceivedMail const& Origin);
  std::uint64_t get_Sequence() const { return m_Position.Sequence; }

 private:
  // One process at the other end.
  struct TSConnection {
    TCRouterCore* Core = nullptr;
    TCBusHandle Bus;
    TSNorvMailSender Sender;  // complete once greeted
    std::set<std::string> Classes;
    std::list<TSConnection>::iterator Place;
  };

  // A message for a mailbox that has no owner yet.
  struct TSParked {
    TSConnection* Connection;
    TCBusMessage Message;
  };

  // A published mail, kept for late and reconnecting subscribers.
  struct TSPublished {
    std::string Path;
    std::string Interface;
    std::uint64_t Sequence;
    std::string Origin;
    std::uint64_t Number;
    TSNorvMailContent Content;
  };

  static int OnConnect(sd_event_source* Source, int File, std::uint32_t Events, void* Core);
  static int OnWake(sd_event_source* Source, int File, std::uint32_t Events, void* Core);
  static int OnReap(sd_event_source* Source, void* Core);
  static int OnMessage(sd_bus_message* Message, void* Connection, sd_bus_error* Error);

  void BeginTurn();
  void EndTurn();
  void RunTasks();
  void Accept();
  void Drop(TSConnection& Connection);
  int Route(TSConnection& Connection, sd_bus_message* Message);
  void RouteToRouter(TSConnection& Connection, sd_bus_message* Message);
  void RouteToMailbox(TSConnection& Connection, sd_bus_message* Message);
  void Greet(TSConnection& Connection, sd_bus_message* Message);
  void RequireFreeIdentity(TSConnection const& Connection, std::string const& Identity) const;
  void Subscribe(TSConnection& Connection, sd_bus_message* Message);
  void CatchUp(TSConnection& Connection, std::string const& Interface, MailWire::TSPosition Known);
  void CatchUpByServices(TSConnection& Connection, std::string const& Interface);
  TCBusMessage NewPublished(sd_bus* Bus, TSPublished const& Published) const;
  void Keep(TSPublished Published);
  void Park(TSConnection& Connection, sd_bus_message* Message);
  void DeliverMail(TCNorvService& Owner, TSConnection& Connection, sd_bus_message* Message,
                   TCNorvMailClassID const& MailClass);
  void DeliverRequest(TCNorvService& Owner, TSConnection& Connection, sd_bus_message* Message,
                      TCNorvMailClassID const& MailClass);

  std::string const m_Address;
  TCRouterSocket m_Socket;
  TCEventHandle m_Event;
  TCFileDescriptor m_Wake;
  TCEventSource m_ConnectSource;
  TCEventSource m_WakeSource;
  TCEventSource m_ReapSource;

  std::list<TSConnection> m_Connections;
  std::list<TSConnection> m_Dropped;  // freed outside their own callbacks
  std::map<std::string, TCNorvService*> m_Mailboxes;
  std::map<std::string, std::deque<TSParked>> m_Parked;  // by mailbox path
  MailWire::TSPosition m_Position;
  std::deque<TSPublished> m_Recent;
  std::size_t m_RecentBytes = 0;

  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  // guarded by m_Mutex
  std::thread::id m_Runner;  // whose turn it is: the thread in Run(), or in Execute() without it
  bool m_Stopping = false;
  std::deque<std::function<void()>> m_Tasks;
};
