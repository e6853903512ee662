// SPDX-License-Identifier: MIT
// How far a long command is, for who waits for it at a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace Property {

/// A line on the standard error that is written over and over, where that is a terminal and the
/// work takes longer than a moment. Gone when this ends.
class TCProgress {
 public:
  /// `Subject` says what is counted; with `Total` 0 there is no end known.
  TCProgress(std::string Subject, std::size_t Total);
  TCProgress(TCProgress const&) = delete;
  TCProgress& operator=(TCProgress const&) = delete;
  ~TCProgress();

  void Advance();

 private:
  using TCClock = std::chrono::steady_clock;

  void Show();

  std::string const m_Subject;
  std::size_t const m_Total;
  bool const m_IsTerminal;
  std::size_t m_Count = 0;
  TCClock::time_point m_Next;
  bool m_IsShown = false;
};

}  // namespace Property
