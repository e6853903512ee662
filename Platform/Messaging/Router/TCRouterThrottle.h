// SPDX-License-Identifier: MIT
// Slows peers down that send too much or make too much work.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Platform/Messaging/Router/TCRouterPeers.h"
#include "Platform/Messaging/TCNorvMailRouter.h"

/// A peer that is slowed down is not read from for a time, so it waits and nobody else does.
/// Belongs to the router's thread.
class TCRouterThrottle {
 public:
  /// Both must outlive it.
  TCRouterThrottle(TCRouterPeers& Peers, TSNorvRouterLimits const& Limits)
      : m_Peers(Peers), m_Limits(Limits) {}

  /// So many mails have come.
  void CountMails(TCRouterPeer& Peer, std::size_t Mails, std::uint64_t Now);
  /// Whether the peer has to wait, because its user has had its share of the router's time.
  bool Postpone(TCRouterPeer& Peer);
  /// How long a user has to wait that has had its share, in microseconds; 0 for one that has not.
  static std::uint64_t PauseOf(TCRouterUser const& User);
  /// What was taken from the peer has not been dealt with.
  void WaitABit(TCRouterPeer& Peer);

 private:
  void SlowDown(TCRouterPeer& Peer, std::uint64_t Pause, std::string const& Reason);

  TCRouterPeers& m_Peers;
  TSNorvRouterLimits const& m_Limits;
};
