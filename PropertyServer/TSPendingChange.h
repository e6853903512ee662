// SPDX-License-Identifier: MIT
// A change that is taken back unless it is confirmed in time.
#pragma once

#include <cstdint>
#include <string>

#include "PropertyServer/TSHistoryEntry.h"

namespace Property {

/// What the clocks of the device say at one moment, in microseconds.
struct TSClockReading {
  std::string Boot;         ///< tells this run of the system from all others; empty: unknown
  std::int64_t Moment = 0;  ///< since that run has begun, sleep included
  std::int64_t Time = 0;    ///< since 1970, as far as the clock is right

  static TSClockReading Now();
};

struct TSPendingChange {
  std::uint64_t Transaction = 0;
  TSProvenance Origin;
  std::int64_t Granted = 0;  ///< microseconds
  std::int64_t Left = 0;     ///< of them, at the reading
  TSClockReading Noted;

  /// How much is left at `Now`; 0: its time is over. In one run of the system that is exact. Over a
  /// restart of the system its clock counts, unless it goes back or ahead by more than a year; so
  /// that a clock that is never right does not keep the change for ever, each restart takes a tenth
  /// of what was granted at least.
  std::int64_t LeftAt(TSClockReading const& Now) const;
};

}  // namespace Property
