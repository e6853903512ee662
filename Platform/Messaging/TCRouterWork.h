// SPDX-License-Identifier: MIT
// Measures what a router does for a user.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <memory>

#include "Platform/Messaging/TCRouterCore.h"
#include "Platform/Messaging/TCRouterUser.h"

/// What is done while it lives is counted for the peer's user. Who may do everything is not held
/// up. Work for one user may be part of work for another, as the publishing of a mail is of its
/// taking: what the one pays for the other does not.
class TCRouterWork {
 public:
  explicit TCRouterWork(TCRouterConnection const& Connection)
      : m_Core(Connection.m_Core),
        m_User(Connection.m_User),
        m_Outer(m_Core.m_Work),
        m_Counts(Connection.m_Sender.User != 0 && Connection.m_Sender.User != geteuid() &&
                 (m_Outer == nullptr || m_Outer->m_User != m_User)),
        m_Begin(m_Counts ? Now() : 0) {
    m_Core.m_Work = this;
  }
  TCRouterWork(TCRouterWork const&) = delete;
  TCRouterWork& operator=(TCRouterWork const&) = delete;
  ~TCRouterWork() {
    m_Core.m_Work = m_Outer;
    if (m_Counts) {
      std::uint64_t const End = Now();
      std::uint64_t const Time = End - m_Begin - m_PaidByOthers;
      m_PaidByOthers += m_User->Charge(Time, End) ? Time : 0;
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
  TCRouterCore& m_Core;
  std::shared_ptr<TCRouterUser> const m_User;
  TCRouterWork* const m_Outer;  // that this one is part of
  bool const m_Counts;
  std::uint64_t const m_Begin;
  std::uint64_t m_PaidByOthers = 0;
};
