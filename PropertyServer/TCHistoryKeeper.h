// SPDX-License-Identifier: MIT
// Decides how much history is kept: what the configuration says, or less on a full disk.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

#include "PropertyServer/TCDatabaseFull.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

/// Stores changes with their history. Where the disk has no room for both, history is given up
/// before changes: the older half of what there is, again and again, and in the end the new
/// entries. For ten minutes the history then stays as short as that; the log of the system says so.
///
/// Used by one thread. Refers to the database, which must outlive it.
class TCHistoryKeeper {
 public:
  /// Stores everything in one transaction that notes it within these limits, or not at all.
  using TCWrite = std::function<void(std::optional<TSHistoryLimits> const& Limits)>;

  explicit TCHistoryKeeper(TCPropertyDatabase& Database) : m_Database(Database) {}

  void SetLimits(TSHistoryLimits const& Limits) { m_Limits = Limits; }
  /// Those that hold now.
  TSHistoryLimits get_Limits() const;
  /// Throws what `Write` throws, TCDatabaseFull only when giving up history does not help.
  void Store(TCWrite const& Write);

 private:
  bool Fits(TCWrite const& Write);
  bool MakeRoom();

  TCPropertyDatabase& m_Database;
  TSHistoryLimits m_Limits;
  TEShortage m_Shortage = TEShortage::eFile;  // of what did not fit last
  std::uint64_t m_ShortBytes = 0;             // until m_ShortUntil
  std::chrono::steady_clock::time_point m_ShortUntil{};
};

}  // namespace Property
