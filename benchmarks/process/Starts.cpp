// SPDX-License-Identifier: MIT
// How long a process and the server need to become ready, and how much memory their values take.
#include <stdexcept>
#include <string>
#include <vector>

#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "benchmarks/process/Clients.h"
#include "benchmarks/process/Measurements.h"
#include "benchmarks/process/Server.h"
#include "benchmarks/support/Measurement.h"

namespace Benchmark {

namespace {

struct TSSize {
  int m_Values;
  int m_Samples;
};

constexpr TSSize kSizes[] = {{10000, 9}, {100000, 5}, {1000000, 3}};
constexpr char const* kLoadMetrics[] = {"start_up", "client_memory", "server_memory"};
constexpr int kRestarts = 3;

// Sends the time of the load in milliseconds, and by how many KiB the process has grown. The schema
// is complete before: schema_benchmark measures that, and this one has more nodes than values.
void Load(int Size, TCPipe const& Results) {
  auto const& Schema = MakeSchema(Size);
  Property::TCBasicPropertyID::Initialize();
  long const Before = ResidentKiB();
  auto const Begin = TClock::now();
  Property::TCPropertyCollectionDriver::Create(false);
  double const Time = MicrosecondsSince(Begin) / 1000;
  long const After = ResidentKiB();
  if (GetProperty(*Schema.m_Integers.back()).get_AsInteger() != Size) {
    throw std::runtime_error("the values were not loaded");
  }
  Results.Send(Time);
  Results.Send(static_cast<double>(After - Before));
}

void MeasureLoads(TSPlan const& Plan, TCServer const& Server, TSSize const& Size) {
  std::vector<double> Times;
  std::vector<double> Clients;
  std::vector<double> Servers;
  for (int Sample = 0; Sample < Size.m_Samples; ++Sample) {
    auto const Results = SampleInProcess(2, [&](TCPipe const& Pipe) { Load(Size.m_Values, Pipe); });
    Times.push_back(Results[0]);
    Clients.push_back(Results[1]);
    Servers.push_back(static_cast<double>(ResidentKiB(Server.get_ID())));
  }
  auto const ReportWanted = [&](char const* Metric, char const* Unit,
                                std::vector<double> const& Samples) {
    if (Plan.Wants(Metric)) {
      Report({"product", Metric, "", Unit, Size.m_Values}, Samples);
    }
  };
  ReportWanted("start_up", "ms", Times);
  ReportWanted("client_memory", "KiB", Clients);
  ReportWanted("server_memory", "KiB", Servers);
}

void MeasureRestart(TCServer& Server, int Size) {
  std::vector<double> Times;
  for (int Restart = 0; Restart < kRestarts; ++Restart) {
    Server.Stop();
    auto const Begin = TClock::now();
    Server.Start();
    Server.WaitForAnswer();
    Times.push_back(MicrosecondsSince(Begin) / 1000);
  }
  Report({"product", "server_restart", "", "ms", Size}, Times);
}

bool WantsLoads(TSPlan const& Plan) {
  bool Wanted = false;
  for (auto const* const Metric : kLoadMetrics) {
    Wanted = Wanted || Plan.Wants(Metric);
  }
  return Wanted;
}

}  // namespace

void MeasureStarts(TSPlan const& Plan) {
  int const Largest = Plan.Choose(1000000, kUsualSize);
  for (TSSize const& Size : kSizes) {
    bool const Restarts = Size.m_Values == Largest && Plan.Wants("server_restart");
    if (Size.m_Values > Largest || (!Restarts && !WantsLoads(Plan))) {
      continue;
    }
    TCServer Server(Plan.m_ServerProgram, "full", Size.m_Values);
    if (WantsLoads(Plan)) {
      MeasureLoads(Plan, Server, Size);
    }
    if (Restarts) {
      MeasureRestart(Server, Size.m_Values);
    }
  }
}

}  // namespace Benchmark
