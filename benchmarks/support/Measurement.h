// SPDX-License-Identifier: MIT
// What every measuring program writes: one line of JSON for each measurement, which scripts/bench
// gathers over its rounds.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Benchmark {

using TClock = std::chrono::steady_clock;

/// The monotonic clock, the same for all processes.
long long NowNanoseconds();

/// Since `Begin`, in microseconds.
double MicrosecondsSince(TClock::time_point Begin);

/// What was measured, of whom, and under what circumstances.
struct TSMeasurement {
  std::string m_Subject;  ///< "product", a peer ("redis") or a floor ("map", "seqpacket", "disk")
  std::string m_Metric;   ///< "notify", "durable_transaction_100"
  std::string m_Setting;  ///< "relaxed", "full", "everysec"; empty where there is none
  std::string m_Unit;     ///< "us", "ms", "B", "KiB"
  long long m_Size = 0;   ///< properties in the store; 0 where it does not matter
};

/// Writes one line to the standard output: the measurement, the processor cores that this process
/// may use, and of `Samples`, which may come in any order, their number, the percentiles 0, 50, 99,
/// 99.9 and 100, and 101 quantiles for a plot of their distribution.
/// Throws std::invalid_argument when there are no samples.
void Report(TSMeasurement const& Measurement, std::vector<double> Samples);

/// The value below which the part `Part` (0 to 1) of the sorted `Samples` lies.
double Quantile(std::vector<double> const& Samples, double Part);

/// Resident memory of a process in KiB; of this one without an argument.
long ResidentKiB(int Process = 0);

/// Memory that this process has allocated at the moment, in bytes.
std::size_t AllocatedBytes();

/// The indices 0 to `Count` - 1 in an order that is random and the same in every run.
std::vector<int> ShuffledIndices(int Count);

/// Times of single calls of `Operation`, in microseconds, after a tenth as many unmeasured ones.
/// `Operation` gets the number of the call.
template <class TOperation>
std::vector<double> TimeCalls(int Calls, TOperation Operation) {
  int const WarmUp = Calls / 10;
  std::vector<double> Times;
  Times.reserve(static_cast<std::size_t>(Calls));
  for (int Call = 0; Call < Calls + WarmUp; ++Call) {
    auto const Begin = TClock::now();
    Operation(Call);
    double const Time = MicrosecondsSince(Begin);
    if (Call >= WarmUp) {
      Times.push_back(Time);
    }
  }
  return Times;
}

/// For calls that are too short to be timed alone: `Batches` times the mean of `Calls` of them, in
/// microseconds.
template <class TOperation>
std::vector<double> TimeBatches(int Batches, int Calls, TOperation Operation) {
  std::vector<double> Times;
  int Call = 0;
  for (int Batch = 0; Batch < Batches; ++Batch) {
    auto const Begin = TClock::now();
    for (int Repeat = 0; Repeat < Calls; ++Repeat) {
      Operation(Call++);
    }
    Times.push_back(MicrosecondsSince(Begin) / Calls);
  }
  return Times;
}

}  // namespace Benchmark
