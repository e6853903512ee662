// SPDX-License-Identifier: MIT
// The inside of a router: connections, mailboxes and subscriptions.
#pragma once

#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Messaging/RouterSocket.h"
#include "Platform/Messaging/TCLogBudget.h"
#include "Platform/Messaging/TCNorvLoopTimer.h"
#include "Platform/Messaging/TCNorvLoopWork.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/TCNorvWatchedFile.h"
#include "Platform/Messaging/TCRecentMails.h"
#include "Platform/Messaging/TCRouterConnection.h"
#include "Platform/Messaging/TCRouterLoop.h"
#include "Platform/Messaging/TCRouterUser.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"

class TCRouterWork;

/// Everything but Stop() and Execute() belongs to the thread that has the turn (TCRouterLoop). Its
/// rooms: TCRouterCore.cpp has the connections, TCRouterCoreMailboxes.cpp the way of a mail to its
/// mailbox, TCRouterCoreSubscriptions.cpp the way of a published one to the subscribers.
class TCRouterCore {
 public:
  explicit TCRouterCore(std::string const& Address);
  TCRouterCore(TCFileDescriptor Listening, std::string const& Address);
  TCRouterCore(TCRouterCore const&) = delete;
  TCRouterCore& operator=(TCRouterCore const&) = delete;
  ~TCRouterCore();

  void Run() { m_Loop.Run(); }
  void Stop() { m_Loop.Stop(); }
  void Execute(std::function<void()> const& Function) { m_Loop.Execute(Function); }
  TCNorvEventLoop& get_Loop() { return m_Loop.get_Loop(); }
  std::string const& get_Address() const { return m_Address; }

  void OpenMailbox(std::string const& Mailbox, std::string const& Path, TCNorvService& Owner);
  void CloseMailbox(std::string const& Path);
  void Acknowledge(std::string const& Path, TSNorvSenderKey const& Sender, std::uint64_t Number);
  /// Throws, with nothing published, only for lack of memory.
  void Publish(TSPublishedMail Mail);
  void BringUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned);
  void BringUpToDate(TSNorvSenderKey const& Sender);
  void SetLimits(TSNorvRouterLimits const& Limits) { m_Limits = Limits; }
  void SetAdmission(TCNorvMailRouter::TCAdmission Admission);
  /// Has the connections whose peers have gone dropped, once nobody is using them.
  void DropEnded();
  MailWire::TSPosition const& get_Position() const { return m_Position; }
  std::size_t get_ConnectionCount() const { return m_Connections.size(); }
  bool IsBehind(pid_t Process) const;
  std::vector<TSNorvSenderKey> get_Senders() const;

 private:
  friend class TCRouterWork;  // knows which work is under way

  TCRouterCore(std::string const& Address, TCRouterSocket Socket);

  // A message for a mailbox that has no owner yet.
  struct TSParked {
    TCRouterConnection* Connection;
    TCBusMessage Message;
  };

  // A message that was made for one subscriber and serves the next one too, if nothing differs. It
  // owns the records that it was made of: others may come to lie where they were.
  struct TSForwarded {
    TCBusMessage Message;
    std::shared_ptr<TCNorvMailBody const> Body;
    std::uint64_t Previous = 0;
    MailWire::TEForm Form = MailWire::TEForm::eTyped;
    MailWire::TEWhose Whose = MailWire::TEWhose::eAnothers;
  };

  void OnConnect();
  void OnAcceptAgain();
  void OnReady(TCRouterConnection& Connection);
  void OnReap();
  void OnProgress();
  void OnPauseOver(TCRouterConnection& Connection);
  static int OnMessage(sd_bus_message* Message, void* Connection, sd_bus_error* Error);

  static bool IsCall(sd_bus_message* Message, char const* Member) {
    return sd_bus_message_is_method_call(Message, nullptr, Member) > 0;
  }

  static bool IsMail(sd_bus_message* Message);

  void Accept();
  void Serve(TCFileDescriptor File);
  std::string ReasonAgainst(TSNorvMailSender const& Sender) const;
  bool IsAdmitted(TSNorvMailSender const& Sender) const { return ReasonAgainst(Sender).empty(); }
  void Start(TCRouterConnection& Connection);
  std::string FindRoom(TSNorvMailSender const& Sender, TCRouterUser& User);
  bool MayHearOfNoRoom(TSNorvMailSender const& Sender) const;
  void AcceptLater();
  void Attach(TCRouterConnection& Connection);
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
  bool HasToHaveAll(TSNorvSenderKey const& Subscriber, std::uint64_t Since) const;
  void HaveBroughtUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned);
  void KeepForReturning(TSNorvSenderKey const& Sender);
  void CatchUpByServices(TCRouterConnection& Connection, std::string const& Interface);
  void Forward(TCRouterConnection& Connection, TCRouterConnection::TSSubscription& Subscription,
               TSPublishedMail const& Mail, TSForwarded& Last);
  void KeepOwn(TCRouterConnection& Connection, TCRouterConnection::TSSubscription& Subscription,
               TSPublishedMail const& Mail);
  void TellOfOwn(TCRouterConnection& Connection, std::string const& Interface,
                 TCRouterConnection::TSSubscription& Subscription);
  void FallBehind(TCRouterConnection& Connection, TCRouterConnection::TSSubscription& Subscription);
  void ServeLater(TCRouterConnection& Connection, TCRouterConnection::TSSubscription& Subscription);
  void ResumeInTurn(TCRouterConnection& Connection, std::uint64_t End);
  void Resume(TCRouterConnection& Connection);
  TCBusMessage NewPublished(TCRouterConnection const& Connection, TSPublishedMail const& Mail,
                            MailWire::TEWhose Whose, std::uint64_t Previous,
                            std::shared_ptr<TCNorvMailBody const> const& Body) const;
  void Park(TCRouterConnection& Connection, sd_bus_message* Message);
  void WaitForOwner(TCRouterConnection& Connection);
  void ReadAgain(TCRouterConnection& Connection);
  void CountMails(TCRouterConnection& Connection, std::size_t Mails);
  static std::uint64_t PauseOf(TCRouterUser const& User);
  bool Postpone(TCRouterConnection& Connection);
  void WaitWhileBusy(TCNorvService const& Owner, TCRouterConnection& Connection);
  void SlowDown(TCRouterConnection& Connection, std::uint64_t Pause, std::string const& Reason);
  void CountRecords(TCRouterConnection& Connection, TSNorvReceivedMail const& Mail);
  MailWire::TSMailLimit get_MailLimit() const {
    return {MailWire::kMailLimit, m_Limits.RecordsPerMail};
  }
  template <class TFunction>
  void TakeOrDrop(TCRouterConnection& Connection, TFunction const& Take) {
    try {
      Take();
    } catch (std::exception const& Reason) {
      DropForNow(Connection, Reason);
    }
  }
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
  std::uint64_t Now() const { return m_Loop.Now(); }

  std::string const m_Address;
  TCRouterSocket m_Socket;
  TCRouterLoop m_Loop;
  TCNorvWatchedFile m_Connects;
  TCNorvLoopTimer m_AcceptAgain;
  TCNorvLoopWork m_Reaping;
  TCNorvLoopWork m_Progress;        // while a connection is behind
  TCNorvLoopWork m_NextTurn;        // for those that the present turn had no time for
  TCNorvLoopTimer m_ProgressTimer;  // while one is behind whose reading nothing waits for

  TSNorvRouterLimits m_Limits;
  TCNorvMailRouter::TCAdmission m_Admission;
  TCRouterUsers m_Users;
  TCRouterWork* m_Work = nullptr;  // the innermost that is under way
  std::list<TCRouterConnection> m_Connections;
  std::list<TCRouterConnection> m_Dropped;  // freed outside their own callbacks
  std::map<std::string, TCNorvService*> m_Mailboxes;
  std::map<std::string, std::deque<TSParked>> m_Parked;  // by mailbox path
  MailWire::TSPosition m_Position;
  TCRecentMails m_Recent;
  TCLogBudget m_LogBudget;
};
