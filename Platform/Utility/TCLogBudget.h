// SPDX-License-Identifier: MIT
// Keeps a peer from filling the log.
#pragma once

#include <algorithm>
#include <chrono>
#include <new>
#include <string>

#include "Platform/Utility/ThreadAnnotations.h"

/// Runs `Log`. Where memory is short a line may be missing, but nothing else that is to be done.
template <class TLog>
void LogIfPossible(TLog const& Log) PROPERTY_UNCHECKED_LOCKING {
  try {
    Log();
  } catch (std::bad_alloc const&) {  // no line
  }
}

/// Grants a burst of messages and then one a second, and counts those that it does not grant.
/// Used by one thread at a time.
class TCLogBudget {
 public:
  /// Whether a message may be logged now.
  bool Grant() {
    auto const Now = TCClock::now();
    m_Left = LeftAt(Now);
    m_Last = Now;
    if (m_Left < 1) {
      ++m_Withheld;
      return false;
    }
    m_Left -= 1;
    return true;
  }

  /// Whether it is like a new one.
  bool IsWhole() const { return m_Withheld == 0 && LeftAt(TCClock::now()) >= kBurst; }

  /// Says how many messages were withheld since it was last asked; empty for none.
  std::string TakeNote() {
    if (m_Withheld == 0) {
      return std::string();
    }
    std::string Note = " (" + std::to_string(m_Withheld) + " messages like this were withheld)";
    m_Withheld = 0;
    return Note;
  }

 private:
  using TCClock = std::chrono::steady_clock;
  static constexpr double kBurst = 20;

  double LeftAt(TCClock::time_point Now) const {
    return std::min(kBurst, m_Left + std::chrono::duration<double>(Now - m_Last).count());
  }

  double m_Left = kBurst;
  TCClock::time_point m_Last = TCClock::now();
  unsigned long m_Withheld = 0;
};

/// Runs `Log` where `Budget` grants it, with what there is to say of the messages that it did not.
template <class TLog>
void LogWithin(TCLogBudget& Budget, TLog const& Log) {
  if (Budget.Grant()) {
    LogIfPossible([&] { Log(Budget.TakeNote().c_str()); });
  }
}
