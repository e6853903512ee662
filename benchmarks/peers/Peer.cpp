// SPDX-License-Identifier: MIT
// Keys, values and the command line of the peers' programs.
#include "benchmarks/peers/Peer.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"

namespace Benchmark {

namespace {

TSEffort QuickEffort() {
  TSEffort Effort;
  Effort.m_Batches = 20;
  Effort.m_Calls = 200;
  Effort.m_Changes = 200;
  Effort.m_Durable = 30;
  Effort.m_Loads = 3;
  Effort.m_Quick = true;
  Effort.m_Sizes = {10000};
  return Effort;
}

TSEffort ReadEffort(int ArgumentCount, char** Arguments) {
  if (ArgumentCount == 1) {
    return TSEffort{};
  }
  if (ArgumentCount == 2 && std::string(Arguments[1]) == "--quick") {
    return QuickEffort();
  }
  throw std::invalid_argument("usage: PROGRAM [--quick]");
}

}  // namespace

std::string KeyName(int Index) {
  char Name[16];
  std::snprintf(Name, sizeof(Name), "k%06d", Index);
  return Name;
}

std::string ValueText(int Number) {
  char Text[24];
  std::snprintf(Text, sizeof(Text), "value-%06d", Number % 1000000);
  return Text;
}

void ReportLoads(std::string const& Subject, int Size, int Loads,
                 std::function<double()> const& LoadMilliseconds) {
  std::vector<double> Times(static_cast<std::size_t>(Loads));
  std::generate(Times.begin(), Times.end(), LoadMilliseconds);
  Report({Subject, "load", "", "ms", Size}, std::move(Times));
}

int RunPeer(int ArgumentCount, char** Arguments, std::string const& Subject,
            std::function<void(TSEffort const&)> const& Main) {
  return RunMeasurements(Subject.c_str(), [&] { Main(ReadEffort(ArgumentCount, Arguments)); });
}

}  // namespace Benchmark
