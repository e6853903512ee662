// SPDX-License-Identifier: MIT
// The connections of a router.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>

#include "Platform/Events/TCNorvLoopWork.h"
#include "Platform/Messaging/Router/TCRouterPeer.h"

/// Owns the peers. One that is dropped is called no more, and freed when the loop turns again.
/// Belongs to the router's thread.
class TCRouterPeers {
 public:
  /// `OnDrop` hears of each peer that is dropped, and may neither throw nor drop another.
  TCRouterPeers(TCNorvEventLoop& Loop, std::function<void(TCRouterPeer&)> OnDrop);
  TCRouterPeers(TCRouterPeers const&) = delete;
  TCRouterPeers& operator=(TCRouterPeers const&) = delete;
  ~TCRouterPeers();

  TCRouterPeer& Add(TCFileDescriptor Socket, TSNorvMailSender Sender,
                    std::shared_ptr<TCRouterUser> User);
  /// Needs no memory: what can not be dropped would be called for ever.
  void Drop(TCRouterPeer& Peer) noexcept;
  /// Drops a peer of which a mail can not be taken. Its proxy comes back and sends again what has
  /// not been acknowledged.
  void DropForNow(TCRouterPeer& Peer, std::exception const& Reason);

  /// Calls `Function`, and drops the peer for what it throws.
  template <class TFunction>
  void DoOrDrop(TCRouterPeer& Peer, TFunction const& Function) {
    try {
      Function();
    } catch (std::exception const& Reason) {
      DropForNow(Peer, Reason);
    }
  }

  /// Calls `Function` for each peer, which it may drop.
  template <class TFunction>
  void ForEach(TFunction const& Function) {
    for (auto Place = m_Peers.begin(); Place != m_Peers.end();) {
      TCRouterPeer& Peer = *Place++;
      Function(Peer);
    }
  }
  std::list<TCRouterPeer> const& get_All() const { return m_Peers; }

 private:
  void FreeDropped();

  TCNorvEventLoop& m_Loop;
  std::function<void(TCRouterPeer&)> const m_OnDrop;
  TCNorvLoopWork m_Reaping;
  std::list<TCRouterPeer> m_Peers;
  std::list<TCRouterPeer> m_Dropped;
};
