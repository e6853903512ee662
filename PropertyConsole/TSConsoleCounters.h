// SPDX-License-Identifier: MIT
// What has happened since the console's start.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Property {

/// Counted by many threads, each number for itself.
struct TSConsoleCounters {
  using TCCount = std::atomic<std::uint64_t>;

  static constexpr std::size_t kClasses = 6;  ///< statuses from 0 to 599

  std::array<TCCount, kClasses> Answers{};  ///< by the first digit of their status
  TCCount SignIns{0};
  TCCount FailedSignIns{0};  ///< with no such user or another password
  TCCount SlowedSignIns{0};  ///< not looked at: there were too many attempts
  TCCount Changes{0};        ///< transactions made and taken back
  TCCount Conflicts{0};      ///< those that came too late
  TCCount Refusals{0};       ///< those that are not possible

  void CountAnswer(int Status) {
    auto const Class = static_cast<std::size_t>(Status / 100);
    ++Answers[Class < kClasses ? Class : 0];
  }
};

}  // namespace Property
