// SPDX-License-Identifier: MIT
// Keeps a peer from filling the log.
#pragma once

#include <algorithm>
#include <chrono>
#include <new>
#include <string>

/// Runs `Log`. Where memory is short a line may be missing, but nothing else that is to be done.
template <class TLog>
void LogIfPossible(TLog const& Log) {
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
    auto const Now = std::chrono::steady_clock::now();
    double const Seconds = std::chrono::duration<double>(Now - m_Last).count();
    m_Left = std::min(kBurst, m_Left + Seconds);
    m_Last = Now;
    if (m_Left < 1) {
      ++m_Withheld;
      return false;
    }
    m_Left -= 1;
    return true;
  }

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
  static constexpr double kBurst = 20;

  double m_Left = kBurst;
  std::chrono::steady_clock::time_point m_Last = std::chrono::steady_clock::now();
  unsigned long m_Withheld = 0;
};
