// SPDX-License-Identifier: MIT
// Counts the time of a pending change, also by a clock that is wrong.
#include "PropertyServer/TSPendingChange.h"

#include <algorithm>
#include <ctime>
#include <fstream>

#include "PropertyServer/TCCommitQueue.h"
#include "PropertyServer/TCHistoryClock.h"

namespace Property {

TSClockReading TSClockReading::Now() {
  TSClockReading Reading;
  std::ifstream File("/proc/sys/kernel/random/boot_id");
  File >> Reading.Boot;
  timespec Time = {};
  clock_gettime(CLOCK_BOOTTIME, &Time);
  Reading.Moment = std::int64_t{Time.tv_sec} * 1000000 + Time.tv_nsec / 1000;
  Reading.Time = CurrentTime();
  return Reading;
}

std::int64_t TSPendingChange::LeftAt(TSClockReading const& Now) const {
  if (!Now.Boot.empty() && Now.Boot == Noted.Boot) {
    return std::clamp<std::int64_t>(Left - (Now.Moment - Noted.Moment), 0, Left);
  }
  TCHistoryClock Clock(0, Noted.Time);
  std::int64_t const Passed = std::max(Clock.Read(Now.Time), Granted / 10);
  return std::max<std::int64_t>(Left - Passed, 0);
}

}  // namespace Property
