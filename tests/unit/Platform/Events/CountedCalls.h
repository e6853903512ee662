// SPDX-License-Identifier: MIT
// Counts what an event loop asks of the system, and makes it refuse.
#pragma once

/// While it lives, counts the calls of epoll_ctl and timerfd_settime. One at a time.
class TCountedCalls {
 public:
  TCountedCalls();
  ~TCountedCalls();
  TCountedCalls(TCountedCalls const&) = delete;
  TCountedCalls& operator=(TCountedCalls const&) = delete;

  int get_Count() const;
};

/// While it lives, the system refuses with the error number: further files to be watched, and
/// further event loops and timers. One at a time.
class TRefusingSystem {
 public:
  explicit TRefusingSystem(int Error);
  ~TRefusingSystem();
  TRefusingSystem(TRefusingSystem const&) = delete;
  TRefusingSystem& operator=(TRefusingSystem const&) = delete;
};

/// While it lives, the system knows no wait with a limit finer than milliseconds. One at a time.
class TCoarseWaits {
 public:
  TCoarseWaits();
  ~TCoarseWaits();
  TCoarseWaits(TCoarseWaits const&) = delete;
  TCoarseWaits& operator=(TCoarseWaits const&) = delete;
};
