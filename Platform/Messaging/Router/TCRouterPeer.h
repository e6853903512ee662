// SPDX-License-Identifier: MIT
// One process at the other end of a router's connection.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "Platform/Messaging/Router/TCRouterUser.h"
#include "Platform/Messaging/Router/TCUnreadFiles.h"
#include "Platform/Messaging/TCNorvService.h"
#include "Platform/Messaging/Wire/FrameSocket.h"

/// How far a peer has been sent the published mails of one class.
struct TSRouterSubscription {
  /// What the next published mail means for it.
  enum class TEState {
    eCurrent,   ///< it is sent at once
    eBehind,    ///< it is sent, with those before it, when the peer has read what waits for it
    eOutdated,  ///< then the services bring the peer up to date: it needs everything
  };
  /// Mails of the peer itself that were published one after the other, as far as it is concerned.
  struct TSOwnMails {
    std::shared_ptr<std::string const> Mailbox;
    std::uint64_t Sequence = 0;  // of the last
    std::uint64_t Number = 0;
  };

  TEState State = TEState::eCurrent;
  std::uint64_t Sent = 0;         ///< the last mail that went out, or need not
  std::optional<TSOwnMails> Own;  ///< after `Sent`; the peer has not been told of them

  bool IsBehind() const { return State != TEState::eCurrent; }
  void FallBehind() {
    State = IsBehind() ? State : TEState::eBehind;
    Own.reset();  // they are among what it has missed
  }
  void Outdate() {
    State = TEState::eOutdated;
    Own.reset();
  }
};

/// The socket, who is there, and what waits for the peer to read it: bounded. Belongs to the
/// router's thread.
class TCRouterPeer {
 public:
  using TCSubscriptions = std::deque<std::pair<TCNorvMailClassID, TSRouterSubscription>>;

  TCRouterPeer(TCNorvEventLoop& Loop, TCFileDescriptor Socket, TSNorvMailSender Sender,
               std::shared_ptr<TCRouterUser> User);
  TCRouterPeer(TCRouterPeer const&) = delete;
  TCRouterPeer& operator=(TCRouterPeer const&) = delete;

  TSNorvMailSender const& get_Sender() const { return *m_Sender; }
  std::shared_ptr<TSNorvMailSender const> get_SharedSender() const { return m_Sender; }
  TCRouterUser& get_User() const { return *m_User; }
  /// Whether its user may take a share of the router's time only.
  bool IsCharged() const { return m_IsCharged; }
  int get_File() const { return m_Socket.get(); }
  bool IsGreeted() const { return !m_Sender->Identity.empty(); }
  /// The peer has said who it is; it may send files from now on.
  void Greet(std::string Identity, TCMACAddress const& Device);
  /// "program (process 1, user 2)".
  std::string Describe() const;

  // What is read.

  /// Has `OnReadable` called when the peer has sent something or has gone, and sends what waits
  /// when it can be; `OnEnded` where that says that the peer has gone. Throws as TCNorvWatchedFile
  /// does.
  void Start(std::function<void()> OnReadable, std::function<void()> OnEnded);
  /// Calls `OnOver` when there was no greeting within `Time`.
  void LimitGreeting(TCNorvEventLoop::TCTime Time, std::function<void()> OnOver);
  /// Reads nothing for `Time`, or until the pause that is going on would end, if that is later, and
  /// calls `OnOver` then, which calls EndPause(). True when there was none. A peer that goes
  /// meanwhile, with nothing left to be read, has ended.
  bool Pause(TCNorvEventLoop::TCTime Time, std::function<void()> OnOver);
  void EndPause();
  /// Reads nothing until EndAwaiting(), but notices when the peer goes: a mailbox has no owner.
  void AwaitOwner();
  void EndAwaiting();
  bool IsAwaitingOwner() const { return m_AwaitsOwner; }
  /// Nothing is called any more.
  void Detach();

  /// Counts mails. When there were more than `Limit` in the present second, answers for how many
  /// microseconds the peer has to pause in order to keep to the limit, else 0.
  std::uint64_t CountMails(std::size_t Mails, unsigned Limit, std::uint64_t Now);

  // What is sent.

  /// Sends a frame, or keeps it until the peer reads. False when the connection has ended. Throws
  /// std::system_error or std::bad_alloc when memory or descriptors are lacking.
  bool Send(std::shared_ptr<Wire::TCFrame const> Frame);
  bool Send(Wire::TCFrame Frame) {
    return Send(std::make_shared<Wire::TCFrame const>(std::move(Frame)));
  }
  /// Whether so much waits for the peer to read it that nothing may be added.
  bool IsCongested() const;
  /// Whether nothing waits for the peer any more.
  bool IsDrained() const { return m_Queue.empty(); }

  /// Acknowledges now, or, while published mails that came earlier are held back, with
  /// SendAcknowledgements().
  void Acknowledge(std::string const& Mailbox, std::uint64_t Number);
  void SendAcknowledgements();
  /// Whether something is held back.
  bool IsBehind() const;

  /// Null when the peer has not subscribed to the class.
  TSRouterSubscription* FindSubscription(TCNorvMailClassID const& MailClass);
  TCSubscriptions m_Subscriptions;
  std::string m_NoRoom;      // why its greeting will be refused; then the connection ends
  bool m_IsDropped = false;  // freed when the loop turns again
  std::list<TCRouterPeer>::iterator m_Place;

 private:
  void OnReady(std::uint32_t Events);
  bool LeavesUnread();
  bool IsReading() const { return !m_Pause && !m_AwaitsOwner; }
  bool IsAnySubscriptionBehind() const;
  Wire::TETransfer SendNow(Wire::TCFrame const& Frame);
  bool Flush();
  bool SendWaiting();
  void OnReading();
  void LookForReading();
  void Watch();

  TCNorvEventLoop& m_Loop;
  TCFileDescriptor const m_Socket;
  std::shared_ptr<TSNorvMailSender> const m_Sender;  // complete, and unchanging, once greeted
  std::shared_ptr<TCRouterUser> const m_User;
  bool const m_IsCharged;

  std::function<void()> m_OnReadable;
  std::function<void()> m_OnEnded;
  std::optional<TCNorvWatchedFile> m_Ready;
  std::optional<TCNorvLoopTimer> m_Pause;  // while the peer sends or asks too much
  bool m_AwaitsOwner = false;
  bool m_LeavesUnread = false;  // it has gone, and what it has sent waits for the pause's end
  std::optional<TCNorvLoopTimer> m_GreetingLimit;

  std::deque<std::shared_ptr<Wire::TCFrame const>> m_Queue;
  std::size_t m_QueuedBytes = 0;
  TCUnreadFiles m_UnreadFiles;
  TCNorvLoopTimer m_Reading;  // while the first frame waits until those have been read
  TCNorvEventLoop::TCTime m_ReadingDelay;
  std::map<std::string, std::uint64_t> m_Acknowledgements;  // held back, by mailbox
  std::uint64_t m_SecondBegan = 0;                          // microseconds
  std::uint64_t m_MailsInSecond = 0;
};
