// SPDX-License-Identifier: MIT
// Watching processes that share a pipe for their reports.
#include "benchmarks/support/Watcher.h"

#include <algorithm>

#include "benchmarks/support/Measurement.h"

namespace Benchmark {

TCWatcher::TCWatcher(std::function<void(TSeen const&)> const& Body, int Count) : m_Count(Count) {
  auto const Seen = [this](long long Stamp) {
    long long const Age = Stamp == 0 ? 0 : NowNanoseconds() - Stamp;
    m_Reports.Send(static_cast<double>(Age) / 1000);
  };
  for (int Process = 0; Process < Count; ++Process) {
    m_Processes.emplace_back("the watching process " + std::to_string(Process + 1),
                             [&Body, &Seen] { Body(Seen); });
  }
}

void TCWatcher::WaitReady() const {
  OldestReport();
}

std::vector<double> TCWatcher::Measure(int Changes,
                                       std::function<void(long long)> const& Change) const {
  int const WarmUp = Changes / 10;
  std::vector<double> Ages;
  for (int Number = 0; Number < Changes + WarmUp; ++Number) {
    Change(NowNanoseconds());
    double const Age = OldestReport();
    if (Number >= WarmUp) {
      Ages.push_back(Age);
    }
  }
  return Ages;
}

double TCWatcher::OldestReport() const {
  double Oldest = 0;
  for (int Report = 0; Report < m_Count; ++Report) {
    Oldest = std::max(Oldest, m_Reports.Receive());
  }
  return Oldest;
}

}  // namespace Benchmark
