// SPDX-License-Identifier: MIT
// The inside of a router: puts its rooms together and sends each frame to one of them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "Platform/Messaging/Router/RouterSocket.h"
#include "Platform/Messaging/Router/TCRouterAcceptor.h"
#include "Platform/Messaging/Router/TCRouterLoop.h"
#include "Platform/Messaging/Router/TCRouterMailboxes.h"
#include "Platform/Messaging/Router/TCRouterPeers.h"
#include "Platform/Messaging/Router/TCRouterPublisher.h"
#include "Platform/Messaging/Router/TCRouterThrottle.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/Wire/FrameSocket.h"

/// Everything but Stop() and Execute() belongs to the thread that has the turn (TCRouterLoop).
class TCRouterCore {
 public:
  explicit TCRouterCore(std::string const& Address);
  TCRouterCore(TCFileDescriptor Listening, std::string const& Address);
  TCRouterCore(TCRouterCore const&) = delete;
  TCRouterCore& operator=(TCRouterCore const&) = delete;

  void Run() { m_Loop.Run(); }
  void Stop() { m_Loop.Stop(); }
  void Execute(std::function<void()> const& Function);
  TCNorvEventLoop& get_Loop() { return m_Loop.get_Loop(); }
  std::string const& get_Address() const { return m_Address; }

  /// Throws TCException when the mailbox has an owner.
  void OpenMailbox(std::string const& Mailbox, TCNorvService& Owner);
  void CloseMailbox(std::string const& Mailbox) { m_Owners.erase(Mailbox); }
  TCRouterPublisher& get_Publisher() { return m_Publisher; }
  TCRouterAcceptor& get_Acceptor() { return m_Acceptor; }
  void SetLimits(TSNorvRouterLimits const& Limits) { m_Limits = Limits; }

  std::size_t get_ConnectionCount() const { return m_Peers.get_All().size(); }
  bool IsBehind(pid_t Process);
  std::vector<TSNorvSenderKey> get_Senders() const;

 private:
  TCRouterCore(std::string const& Address, TCRouterSocket Socket);

  void OnReadable(TCRouterPeer& Peer);
  void Take(TCRouterPeer& Peer, std::string_view Bytes, int File);
  void RouteOrRefuse(TCRouterPeer& Peer, Wire::TCFrameView const& Frame, std::string_view Bytes,
                     int File);
  void Route(TCRouterPeer& Peer, Wire::TCFrameView const& Frame, std::string_view Bytes, int File);
  void Refuse(TCRouterPeer& Peer, Wire::TSFrameHead const& Head, std::string const& Reason);
  void DropBroken(TCRouterPeer& Peer, char const* Reason);
  void DropCongested(TCRouterPeer& Peer);

  std::string const m_Address;
  TCRouterSocket m_Socket;
  TCRouterLoop m_Loop;
  TSNorvRouterLimits m_Limits;
  TCMailboxOwners m_Owners;
  TCRouterWork* m_Work = nullptr;  // the innermost that is under way
  Wire::TCFrameReceiver m_Receiver;
  TCRouterPeers m_Peers;
  TCRouterThrottle m_Throttle;
  TCRouterPublisher m_Publisher;
  TCRouterMailboxes m_Mailboxes;
  TCRouterAcceptor m_Acceptor;
};
