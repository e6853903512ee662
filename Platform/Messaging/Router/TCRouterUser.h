// SPDX-License-Identifier: MIT
// What a router or service grants a user, however many connections the user has.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>

#include "Platform/PlatformExport.h"
#include "Platform/Utility/TCLogBudget.h"

/// Lines of the log, and the router's time. What takes long, such as the selection of all values
/// that a user may read, counts; of the time that it takes a user gets half, so that everybody else
/// is served meanwhile. All times are microseconds of one clock. Used by one thread at a time.
class TCRouterUser {
 public:
  TCLogBudget m_LogBudget;

  /// Counts one piece of work for the user, which has taken `Time` and ended at `Now`. Returns
  /// false when it has taken next to nothing, which nobody pays for.
  bool Charge(std::uint64_t Time, std::uint64_t Now);
  /// Whether anything was ever counted. Without it the user need not wait.
  bool IsCharged() const { return m_Owed > 0; }
  /// How long from `Now` on nothing is to be done for the user; 0 for not at all.
  std::uint64_t get_Pause(std::uint64_t Now) const;
  /// Whether a user that nothing is known of would be granted as much.
  bool IsRested(std::uint64_t Now) const;

 private:
  std::uint64_t OwedAt(std::uint64_t Now) const;

  std::uint64_t m_Owed = 0;  // of the router's time, at m_Then
  std::uint64_t m_Then = 0;
};

/// The users of a router, or of a service. Those that have gone are remembered as long as it makes
/// a difference.
class PROPERTY_PLATFORM_EXPORT TCRouterUsers {
 public:
  std::shared_ptr<TCRouterUser> Find(uid_t User, std::uint64_t Now);

 private:
  void ForgetRested(std::uint64_t Now);

  std::map<uid_t, std::shared_ptr<TCRouterUser>> m_Users;
  std::size_t m_Tidied = 0;  // how many were left when some were last forgotten
};
