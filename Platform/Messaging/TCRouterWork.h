// SPDX-License-Identifier: MIT
// Measures what a router does for a user.
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <memory>

#include "Platform/Messaging/TCRouterConnection.h"
#include "Platform/Messaging/TCRouterUser.h"

/// What is done while it lives is counted for the peer's user. Who may do everything is not held
/// up.
class TCRouterWork {
 public:
  explicit TCRouterWork(TCRouterConnection const& Connection)
      : m_User(Connection.m_User),
        m_IsFree(Connection.m_Sender.User == 0 || Connection.m_Sender.User == geteuid()),
        m_Begin(m_IsFree ? 0 : Now()) {}
  TCRouterWork(TCRouterWork const&) = delete;
  TCRouterWork& operator=(TCRouterWork const&) = delete;
  ~TCRouterWork() {
    if (!m_IsFree) {
      std::uint64_t const End = Now();
      m_User->Charge(End - m_Begin, End);
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
  std::shared_ptr<TCRouterUser> const m_User;
  bool const m_IsFree;
  std::uint64_t const m_Begin;
};
