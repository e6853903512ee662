// SPDX-License-Identifier: MIT
// Measurements as lines of JSON, and what measuring programs need of the machine.
#include "benchmarks/support/Measurement.h"

#include <malloc.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <numeric>
#include <random>
#include <stdexcept>

namespace Benchmark {

namespace {

constexpr int kPlotQuantiles = 100;

int UsableCores() {
  cpu_set_t Cores;
  CPU_ZERO(&Cores);
  if (sched_getaffinity(0, sizeof(Cores), &Cores) != 0) {
    throw std::runtime_error("cannot ask for the usable processor cores");
  }
  return CPU_COUNT(&Cores);
}

}  // namespace

long long NowNanoseconds() {
  return std::chrono::nanoseconds(TClock::now().time_since_epoch()).count();
}

double MicrosecondsSince(TClock::time_point Begin) {
  return std::chrono::duration<double, std::micro>(TClock::now() - Begin).count();
}

double Quantile(std::vector<double> const& Samples, double Part) {
  auto const Index = static_cast<std::size_t>(Part * static_cast<double>(Samples.size()));
  return Samples[std::min(Index, Samples.size() - 1)];
}

// The texts are the programs' own and need no escaping.
void Report(TSMeasurement const& Measurement, std::vector<double> Samples) {
  if (Samples.empty()) {
    throw std::invalid_argument(Measurement.m_Metric + ": nothing was measured");
  }
  std::sort(Samples.begin(), Samples.end());
  std::printf(
      R"({"subject":"%s","metric":"%s","setting":"%s","unit":"%s","size":%lld,"cores":%d,)"
      R"("samples":%zu,"min":%.6g,"p50":%.6g,"p99":%.6g,"p999":%.6g,"max":%.6g,"quantiles":[)",
      Measurement.m_Subject.c_str(), Measurement.m_Metric.c_str(), Measurement.m_Setting.c_str(),
      Measurement.m_Unit.c_str(), Measurement.m_Size, UsableCores(), Samples.size(),
      Samples.front(), Quantile(Samples, 0.5), Quantile(Samples, 0.99), Quantile(Samples, 0.999),
      Samples.back());
  for (int Step = 0; Step <= kPlotQuantiles; ++Step) {
    std::printf("%s%.6g", Step == 0 ? "" : ",",
                Quantile(Samples, static_cast<double>(Step) / kPlotQuantiles));
  }
  std::printf("]}\n");
  std::fflush(stdout);
}

long ResidentKiB(int Process) {
  std::ifstream Status("/proc/" + (Process == 0 ? "self" : std::to_string(Process)) + "/statm");
  long Total = 0;
  long Resident = 0;
  if (!(Status >> Total >> Resident)) {
    throw std::runtime_error("cannot read the memory use of a process");
  }
  return Resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::size_t AllocatedBytes() {
  struct mallinfo2 const Info = mallinfo2();
  return Info.uordblks + Info.hblkhd;
}

std::vector<int> ShuffledIndices(int Count) {
  std::vector<int> Indices(static_cast<std::size_t>(Count));
  std::iota(Indices.begin(), Indices.end(), 0);
  std::shuffle(Indices.begin(), Indices.end(), std::mt19937(1));
  return Indices;
}

}  // namespace Benchmark
