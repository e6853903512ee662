// SPDX-License-Identifier: MIT
// How far a long command is, for who waits for it at a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>

namespace Property {

/// A line that is written over and over, where its file is a terminal that can do that and the work
/// takes longer than a moment. Gone when this ends. Refers to the file and does not own it.
class TCProgress {
 public:
  /// What somebody may have to wait before there is a line.
  static constexpr std::chrono::milliseconds kMoment{300};

  /// `Subject` says what is counted, up to `Total`; with 0 there is no end known. Nothing is ever
  /// written unless `Wanted`.
  TCProgress(std::FILE* File, bool Wanted, std::string Subject, std::size_t Total,
             std::chrono::milliseconds Moment = kMoment);
  TCProgress(TCProgress const&) = delete;
  TCProgress& operator=(TCProgress const&) = delete;
  ~TCProgress();

  /// One more is done.
  void Advance() { Reach(m_Count + 1); }
  /// So many are done.
  void Reach(std::size_t Count);

 private:
  using TCClock = std::chrono::steady_clock;

  void Show();
  std::string Line() const;

  std::FILE* const m_File;
  bool const m_IsWanted;
  std::string const m_Subject;
  std::size_t const m_Total;
  std::size_t m_Count = 0;
  std::size_t m_Steps = 0;
  TCClock::time_point m_Next;
  bool m_IsShown = false;
};

}  // namespace Property
