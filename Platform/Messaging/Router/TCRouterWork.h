// SPDX-License-Identifier: MIT
// Measures what a router does for a user.
#pragma once

#include <chrono>
#include <cstdint>

#include "Platform/Messaging/Router/TCRouterPeer.h"
#include "Platform/Messaging/Router/TCRouterUser.h"

/// What is done while it lives is counted for the peer's user. Who may do everything is not held
/// up. Work for one user may be part of work for another, as the publishing of a mail is of its
/// taking: what the one pays for the other does not.
class TCRouterWork {
 public:
  /// `Innermost` is the router's work that is under way, or null.
  TCRouterWork(TCRouterWork*& Innermost, TCRouterPeer const& Peer)
      : m_Innermost(Innermost),
        m_User(Peer.get_User()),
        m_Outer(Innermost),
        m_Counts(Peer.IsCharged() && (m_Outer == nullptr || &m_Outer->m_User != &m_User)),
        m_Begin(m_Counts ? Now() : 0) {
    m_Innermost = this;
  }
  TCRouterWork(TCRouterWork const&) = delete;
  TCRouterWork& operator=(TCRouterWork const&) = delete;
  ~TCRouterWork() {
    m_Innermost = m_Outer;
    if (m_Counts) {
      std::uint64_t const End = Now();
      std::uint64_t const Time = End - m_Begin - m_PaidByOthers;
      m_PaidByOthers += m_User.Charge(Time, End) ? Time : 0;
    }
    if (m_Outer != nullptr) {
      m_Outer->m_PaidByOthers += m_PaidByOthers;
    }
  }

  /// Microseconds, also within a turn of the loop.
  static std::uint64_t Now() {
    using std::chrono::duration_cast;
    using std::chrono::microseconds;
    return static_cast<std::uint64_t>(
        duration_cast<microseconds>(std::chrono::steady_clock::now().time_since_epoch()).count());
  }

 private:
  TCRouterWork*& m_Innermost;
  TCRouterUser& m_User;         // a peer that is dropped is freed with the next turn
  TCRouterWork* const m_Outer;  // that this one is part of
  bool const m_Counts;
  std::uint64_t const m_Begin;
  std::uint64_t m_PaidByOthers = 0;
};
