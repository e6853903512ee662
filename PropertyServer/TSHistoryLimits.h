// SPDX-License-Identifier: MIT
// How much of the past the server remembers.
#pragma once

#include <chrono>
#include <cstdint>

namespace Property {

/// Whatever exceeds one of them is forgotten, the oldest first.
struct TSHistoryLimits {
  std::uint64_t Entries = 10000;                  ///< 0: nothing is kept
  std::uint64_t Bytes = std::uint64_t{16} << 20;  ///< 64 for each entry beside its texts
  std::chrono::hours Age{24 * 90};                ///< by TCHistoryClock
};

}  // namespace Property
