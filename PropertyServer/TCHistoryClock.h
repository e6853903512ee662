// SPDX-License-Identifier: MIT
// Counts the time by which history grows old, whatever happens to the system's clock.
#pragma once

#include <cstdint>

namespace Property {

/// Counts microseconds from one reading of the system's clock to the next. A step back counts
/// nothing, nor does one of more than a year: so no entry is forgotten because the clock was wrong
/// for a while, and one whose own time is wrong goes with its neighbours. A clock that has not been
/// set, because the device keeps no time while it is off, is not looked at: what counts is the step
/// from the last reading before to the first one after it was set.
class TCHistoryClock {
 public:
  TCHistoryClock() = default;
  /// Goes on from a former count. `Reading` is the last one of the clock; 0 for none.
  TCHistoryClock(std::int64_t Count, std::int64_t Reading) : m_Count(Count), m_Reading(Reading) {}

  /// The earliest time of a clock that was set, in microseconds since 1970: the year 2020.
  static constexpr std::int64_t kEarliestSet = std::int64_t{1577836800} * 1000000;

  /// Takes a reading, in microseconds since 1970. Returns what is counted by now.
  std::int64_t Read(std::int64_t Now) {
    if (Now >= kEarliestSet) {
      std::int64_t const Step = Now - m_Reading;
      m_Count += m_Reading >= kEarliestSet && Step > 0 && Step <= kLongestStep ? Step : 0;
      m_Reading = Now;
    }
    return m_Count;
  }

 private:
  static constexpr std::int64_t kLongestStep = std::int64_t{366} * 24 * 3600 * 1000000;

  std::int64_t m_Count = 0;
  std::int64_t m_Reading = 0;
};

}  // namespace Property
