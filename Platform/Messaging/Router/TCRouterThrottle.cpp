// SPDX-License-Identifier: MIT
// Decides how long a peer has to wait.
#include "Platform/Messaging/Router/TCRouterThrottle.h"

#include "Platform/Messaging/Router/TCRouterWork.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace {

constexpr std::uint64_t kBusyPause = 10000;  // microseconds

}  // namespace

void TCRouterThrottle::CountMails(TCRouterPeer& Peer, std::size_t Mails, std::uint64_t Now) {
  std::uint64_t const Pause = Peer.CountMails(Mails, m_Limits.MailsPerSecond, Now);
  if (Pause != 0) {
    SlowDown(Peer, Pause,
             "sends more than " + std::to_string(m_Limits.MailsPerSecond) + " mails a second");
  }
}

std::uint64_t TCRouterThrottle::PauseOf(TCRouterUser const& User) {
  return User.IsCharged() ? User.get_Pause(TCRouterWork::Now()) : 0;
}

bool TCRouterThrottle::Postpone(TCRouterPeer& Peer) {
  std::uint64_t const Pause = PauseOf(Peer.get_User());
  if (Pause == 0) {
    return false;
  }
  m_Peers.DoOrDrop(Peer, [&] {
    SlowDown(Peer, Pause, "makes more work than its user's share of the router's time");
  });
  return true;
}

void TCRouterThrottle::WaitABit(TCRouterPeer& Peer) {
  SlowDown(Peer, kBusyPause, "sends more than can be stored at once");
}

// Of several reasons the one that takes longest counts.
void TCRouterThrottle::SlowDown(TCRouterPeer& Peer, std::uint64_t Pause,
                                std::string const& Reason) {
  bool const Begins =
      Peer.Pause(TCNorvEventLoop::TCTime(static_cast<std::int64_t>(Pause)),
                 [this, &Peer] { m_Peers.DoOrDrop(Peer, [&Peer] { Peer.EndPause(); }); });
  if (Begins) {
    LogWithin(Peer.get_User().m_LogBudget, [&](char const* Note) {
      SyslogWarning("mail router: %s %s and is slowed down%s", Peer.Describe().c_str(),
                    Reason.c_str(), Note);
    });
  }
}
