// SPDX-License-Identifier: MIT
// Drops peers outside their own callbacks.
#include "Platform/Messaging/Router/TCRouterPeers.h"

#include <iterator>
#include <utility>

#include "Platform/Messaging/Wire/TCPromptClosing.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

TCRouterPeers::TCRouterPeers(TCNorvEventLoop& Loop, std::function<void(TCRouterPeer&)> OnDrop)
    : m_Loop(Loop),
      m_OnDrop(std::move(OnDrop)),
      m_Reaping(Loop, TCNorvLoopWork::TEWhen::eNextTurn, [this] { FreeDropped(); }) {}

TCRouterPeers::~TCRouterPeers() {
  m_Dropped.splice(m_Dropped.end(), m_Peers);
  FreeDropped();
}

// What they have sent and nobody has read goes with them.
void TCRouterPeers::FreeDropped() {
  Wire::TCPromptClosing const Closing;
  m_Dropped.clear();
}

TCRouterPeer& TCRouterPeers::Add(TCFileDescriptor Socket, TSNorvMailSender Sender,
                                 std::shared_ptr<TCRouterUser> User) {
  TCRouterPeer& Peer =
      m_Peers.emplace_back(m_Loop, std::move(Socket), std::move(Sender), std::move(User));
  Peer.m_Place = std::prev(m_Peers.end());
  return Peer;
}

void TCRouterPeers::Drop(TCRouterPeer& Peer) noexcept {
  if (Peer.m_IsDropped) {
    return;
  }
  Peer.m_IsDropped = true;
  m_OnDrop(Peer);
  Peer.Detach();
  m_Dropped.splice(m_Dropped.end(), m_Peers, Peer.m_Place);
  m_Reaping.Schedule();
  if (!Peer.IsGreeted() && Peer.m_NoRoom.empty()) {
    LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
      SyslogWarning("mail router: a connection of %s ended before its greeting%s",
                    Peer.Describe().c_str(), Note);
    });
  }
}

void TCRouterPeers::DropForNow(TCRouterPeer& Peer, std::exception const& Reason) {
  Drop(Peer);
  LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
    SyslogError("A mail of %s cannot be taken now: %s; its connection is ended%s",
                Peer.Describe().c_str(), Reason.what(), Note);
  });
}
