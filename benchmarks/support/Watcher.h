// SPDX-License-Identifier: MIT
// Processes that wait for changes, and how old each change is when they hold it.
#pragma once

#include <functional>
#include <list>
#include <vector>

#include "benchmarks/support/Processes.h"

namespace Benchmark {

/// One process or many that wait for the changes that this process makes. Make it before this
/// process uses a library that has threads: the watching processes are forks.
class TCWatcher {
 public:
  /// What a watching process calls for each change, with the time that the change carries; and
  /// once with 0 when it is ready for the first.
  using TSeen = std::function<void(long long Stamp)>;

  /// Runs `Body` in `Count` processes; it gets the function to call for each change.
  explicit TCWatcher(std::function<void(TSeen const&)> const& Body, int Count = 1);
  TCWatcher(TCWatcher const&) = delete;
  TCWatcher& operator=(TCWatcher const&) = delete;

  /// Waits until all are ready.
  void WaitReady() const;

  /// How old `Changes` changes were when the last process held them, in microseconds, after a tenth
  /// as many unmeasured ones. `Change` gets the time to carry; it is called again only when all
  /// processes have reported the change before.
  std::vector<double> Measure(int Changes,
                              std::function<void(long long Stamp)> const& Change) const;

 private:
  double OldestReport() const;

  TCPipe m_Reports;
  int m_Count;
  std::list<TCProcess> m_Processes;
};

}  // namespace Benchmark
