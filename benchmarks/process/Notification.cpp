// SPDX-License-Identifier: MIT
// How old a change is when the notifiers of other processes hold it.
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyCollection.h"
#include "benchmarks/process/Clients.h"
#include "benchmarks/process/Measurements.h"
#include "benchmarks/process/Server.h"
#include "benchmarks/support/Measurement.h"

namespace Benchmark {

namespace {

constexpr int kFanOut = 100;

// `Watchers` processes watch the changes that another one makes.
std::vector<double> AgesOfChanges(int Size, int Watchers, int Changes) {
  return SampleInProcess(Changes, [&](TCPipe const& Results) {
    TCWatcher const Watching([&](TCWatcher::TSeen const& Seen) { WatchStamps(Size, Seen); },
                             Watchers);
    Watching.WaitReady();
    auto const& Schema = Connect(Size);
    int Change = 0;
    for (double const Age : Watching.Measure(Changes, [&](long long Stamp) {
           SetProperty(StampField(Schema, Change++), std::to_string(Stamp));
         })) {
      Results.Send(Age);
    }
  });
}

}  // namespace

void MeasureNotification(TSPlan const& Plan) {
  for (int const Size : {100, 10000, 100000}) {
    if (Plan.m_Quick && Size > kUsualSize) {
      continue;
    }
    for (auto const* const Durability : kDurabilities) {
      TCServer const Server(Plan.m_ServerProgram, Durability, Size);
      Report({"product", "notify", Durability, "us", Size},
             AgesOfChanges(Size, 1, Plan.Choose(2000, 200)));
    }
  }
}

void MeasureFanOut(TSPlan const& Plan) {
  TCServer const Server(Plan.m_ServerProgram, "relaxed", kUsualSize);
  Report({"product", "fan_out_100", "relaxed", "us", kUsualSize},
         AgesOfChanges(kUsualSize, kFanOut, Plan.Choose(200, 30)));
}

}  // namespace Benchmark
