// SPDX-License-Identifier: MIT
// Lets processes in, as many as there is room for, and greets those that may come.
#pragma once

#include <functional>
#include <string>

#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "Platform/Messaging/Router/RouterSocket.h"
#include "Platform/Messaging/Router/TCRouterPeers.h"
#include "Platform/Messaging/Router/TCRouterUser.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/Wire/Frame.h"
#include "Platform/Utility/TCLogBudget.h"

/// Accepts connections at a socket and puts them among the peers. Belongs to the router's thread.
class TCRouterAcceptor {
 public:
  /// `OnReadable` is called when a peer has sent something. All must outlive it.
  TCRouterAcceptor(TCNorvEventLoop& Loop, TCRouterSocket& Socket, TCRouterPeers& Peers,
                   TSNorvRouterLimits const& Limits, std::function<void(TCRouterPeer&)> OnReadable);

  void SetAdmission(TCNorvMailRouter::TCAdmission Admission) { m_Admission = std::move(Admission); }
  /// Answers a greeting. Throws TCException when it is refused.
  void Greet(TCRouterPeer& Peer, Wire::TCFrameView const& Frame);

 private:
  void OnConnect();
  void OnAcceptAgain();
  void AcceptLater(int Error);
  void Serve(TCFileDescriptor File);
  std::string ReasonAgainst(TSNorvMailSender const& Sender) const;
  bool IsAdmitted(TSNorvMailSender const& Sender) const { return ReasonAgainst(Sender).empty(); }
  std::string FindRoom(TSNorvMailSender const& Sender, TCRouterUser& User);
  bool MayHearOfNoRoom(TSNorvMailSender const& Sender) const;
  struct TSCount {
    std::size_t OfUser = 0;
    std::size_t InAll = 0;
  };
  TSCount CountPeers(uid_t User, bool WithRoom) const;
  void RequireFreeIdentity(TCRouterPeer const& Peer, std::string const& Identity) const;

  TCNorvEventLoop& m_Loop;
  TCRouterSocket& m_Socket;
  TCRouterPeers& m_Peers;
  TSNorvRouterLimits const& m_Limits;
  std::function<void(TCRouterPeer&)> const m_OnReadable;
  TCNorvMailRouter::TCAdmission m_Admission;
  TCRouterUsers m_Users;
  TCLogBudget m_LogBudget;
  TCNorvWatchedFile m_Connects;
  TCNorvLoopTimer m_AcceptAgain;
};
