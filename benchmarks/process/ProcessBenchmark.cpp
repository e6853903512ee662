// SPDX-License-Identifier: MIT
// Times what crosses processes.
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/process/Measurements.h"
#include "benchmarks/support/Processes.h"

namespace {

using Benchmark::TSPlan;

struct TSMeasured {
  std::vector<std::string> m_Metrics;
  void (*m_Measure)(TSPlan const&);
};

std::vector<TSMeasured> const kMeasurements = {
    {{"notify"}, Benchmark::MeasureNotification},
    {{"fan_out_100"}, Benchmark::MeasureFanOut},
    {{"durable_change_1", "durable_change_8"}, Benchmark::MeasureDurableChanges},
    {{"durable_transaction_100"}, Benchmark::MeasureDurableTransactions},
    {{"set_sent", "set_with_receipt", "set_stored"}, Benchmark::MeasureReceipts},
    {{"start_up", "server_restart", "client_memory", "server_memory"}, Benchmark::MeasureStarts},
    {{"catch_up_100000"}, Benchmark::MeasureCatchUp},
};

std::string Usage() {
  std::string Text =
      "usage: process_benchmark [--quick] [--only METRIC]... PROPERTY-SERVER\nmetrics:";
  for (TSMeasured const& Member : kMeasurements) {
    for (std::string const& Metric : Member.m_Metrics) {
      Text += " " + Metric;
    }
  }
  return Text;
}

bool IsMetric(std::string const& Name) {
  return std::any_of(kMeasurements.begin(), kMeasurements.end(), [&](TSMeasured const& Member) {
    return std::count(Member.m_Metrics.begin(), Member.m_Metrics.end(), Name) != 0;
  });
}

TSPlan ReadPlan(std::vector<std::string> const& Arguments) {
  TSPlan Plan;
  for (std::size_t Index = 0; Index < Arguments.size(); ++Index) {
    std::string const& Argument = Arguments[Index];
    if (Argument == "--quick") {
      Plan.m_Quick = true;
    } else if (Argument == "--only" && Index + 1 < Arguments.size() &&
               IsMetric(Arguments[Index + 1])) {
      Plan.m_Only.insert(Arguments[++Index]);
    } else if (Plan.m_ServerProgram.empty() && Argument.rfind("--", 0) != 0) {
      Plan.m_ServerProgram = Argument;
    } else {
      throw std::invalid_argument(Usage());
    }
  }
  if (Plan.m_ServerProgram.empty()) {
    throw std::invalid_argument(Usage());
  }
  if (access(Plan.m_ServerProgram.c_str(), X_OK) != 0) {
    throw std::invalid_argument("cannot run " + Plan.m_ServerProgram);
  }
  return Plan;
}

void Measure(TSPlan const& Plan) {
  for (TSMeasured const& Member : kMeasurements) {
    if (std::any_of(Member.m_Metrics.begin(), Member.m_Metrics.end(),
                    [&](std::string const& Metric) { return Plan.Wants(Metric); })) {
      Member.m_Measure(Plan);
    }
  }
}

}  // namespace

int main(int Count, char** Arguments) {
  return Benchmark::RunMeasurements("process_benchmark", [&] {
    Measure(ReadPlan({Arguments + 1, Arguments + Count}));
  });
}
