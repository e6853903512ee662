// SPDX-License-Identifier: MIT
// Makes one allocation of the calling thread fail, to see what a constructor leaves behind.
#pragma once

#include <new>

/// While it lives, the allocation after `Successes` others of this thread throws std::bad_alloc,
/// once.
class TFailingAllocation {
 public:
  explicit TFailingAllocation(int Successes);
  ~TFailingAllocation();
  TFailingAllocation(TFailingAllocation const&) = delete;
  TFailingAllocation& operator=(TFailingAllocation const&) = delete;

  /// Whether it has failed by now.
  bool HasFailed() const;
};

/// Runs `Action` with its first allocation failing, then with its second, and so on until it
/// succeeds; calls `Check` after each failure. Returns how many failures there were.
template <class TAction, class TCheck>
int FailEachAllocation(TAction&& Action, TCheck&& Check) {
  for (int Failures = 0;; ++Failures) {
    try {
      TFailingAllocation const Failing(Failures);
      Action();
      return Failures;
    } catch (std::bad_alloc const&) {
      Check();
    }
  }
}
