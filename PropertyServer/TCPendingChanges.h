// SPDX-License-Identifier: MIT
// The changes that wait for their confirmation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "Platform/Events/TCNorvLoopTimer.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCValueQuota.h"
#include "PropertyServer/TSPendingChange.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// Knows which changes are taken back unless they are confirmed, and wakes when the time of one is
/// over. A value belongs to one of them at most: so what each would restore is what stood before
/// it.
///
/// Lives on the loop's thread. Refers to the database, which keeps them over a restart.
class TCPendingChanges {
 public:
  static constexpr std::size_t kMostOfUser = 16;
  static constexpr std::size_t kMost = 64;
  static constexpr int kMostSeconds = 7 * 24 * 3600;

  /// The time of a change is over. Returns false to be asked again a second later.
  using TCOnDue = std::function<bool(TSPendingChange const& Change)>;

  /// Throws TCException when the system has no descriptors left or the database can not be read
  /// or written.
  TCPendingChanges(TCPropertyDatabase& Database, TCNorvEventLoop& Loop, TCOnDue OnDue);
  TCPendingChanges(TCPendingChanges const&) = delete;
  TCPendingChanges& operator=(TCPendingChanges const&) = delete;

  /// Why no change of the user to these places may wait for so many seconds; empty when it may.
  std::string ReasonAgainst(uid_t User, int Seconds,
                            std::vector<TSPropertyRecord> const& Changes) const;
  /// What stood in these places was changed and waits now.
  void Add(TSPendingChange const& Change, std::vector<TSPropertyRecord> const& Former);
  /// It waits no longer; nothing happens when it did not.
  void Settle(std::uint64_t Transaction);

  /// Null when no such change waits.
  TSPendingChange const* Find(std::uint64_t Transaction) const;
  /// The one that the value belongs to; null for none.
  TSPendingChange const* FindOf(TCPropertyPlace const& Place) const;
  std::map<std::uint64_t, TSPendingChange> const& get_All() const { return m_Changes; }
  /// The values that all of them would restore.
  TSValueCount const& get_Kept() const { return m_Kept; }

 private:
  void Load();
  void TakeBackDue();
  void Wake();

  TCPropertyDatabase& m_Database;
  TCOnDue const m_OnDue;
  TCNorvLoopTimer m_Timer;
  std::map<std::uint64_t, TSPendingChange> m_Changes;
  std::map<TCPropertyPlace, std::uint64_t> m_Places;
  std::map<std::uint64_t, TSValueCount> m_KeptOf;
  TSValueCount m_Kept;
  bool m_TryLater = false;
};

}  // namespace Property
