// SPDX-License-Identifier: MIT
// Counts what a test server does, for threads that wait for it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <optional>

#include "Platform/Utility/TCMutex.h"

namespace Property::Testing {

/// Until when is waited; without limit for -1 milliseconds. A plain value.
class TCTestDeadline {
 public:
  explicit TCTestDeadline(int Milliseconds);

  /// Milliseconds from now on, rounded up; -1 for without limit.
  int get_Remaining() const;
  bool IsOver() const { return get_Remaining() == 0; }

 private:
  std::optional<std::chrono::steady_clock::time_point> m_End;
};

/// The number of mails that the server has taken in, has dealt with, or made. Safe on every thread.
class TCTestArrivals {
 public:
  void Add();
  std::uint64_t get_Count();
  /// Waits until there are more than `Count`; false when the time has passed.
  bool WaitForMore(std::uint64_t Count, TCTestDeadline const& Deadline);

 private:
  TCMutex m_Lock;
  std::condition_variable m_Changed;
  std::uint64_t m_Count PROPERTY_GUARDED_BY(m_Lock) = 0;
};

}  // namespace Property::Testing
