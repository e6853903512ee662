// SPDX-License-Identifier: MIT
// What the receipt of a change costs, and what it takes to wait for each.
#include <stdexcept>
#include <utility>
#include <vector>

#include "CommonProperties/TCPropertyCollection.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "benchmarks/process/Clients.h"
#include "benchmarks/process/Measurements.h"
#include "benchmarks/process/Server.h"
#include "benchmarks/support/Measurement.h"

namespace Benchmark {

namespace {

constexpr int kNewValue = 1000000000;  // greater than all that the store is filled with

// Of one change: until the set has returned, until its receipt was taken, until it is stored.
struct TSTimes {
  double m_Set;
  double m_Taken;
  double m_Stored;
};

TSTimes TimeChange(Property::TCPropertyID const& Field, int Value) {
  TSTimes Times;
  auto const Begin = TClock::now();
  SetProperty(Field, Value);
  Times.m_Set = MicrosecondsSince(Begin);
  auto const Receipt = Property::TCPropertyReceipt::OfLast();
  Times.m_Taken = MicrosecondsSince(Begin);
  if (Receipt.Wait().Outcome != Property::eReceiptDurable) {
    throw std::runtime_error("a change was refused");
  }
  Times.m_Stored = MicrosecondsSince(Begin);
  return Times;
}

// The times of each change, one after the other: none is under way when the next is made.
void MakeChanges(int Changes, TCPipe const& Results) {
  auto const& Fields = Connect(kUsualSize).m_Integers;
  auto const Order = ShuffledIndices(kUsualSize);
  int const WarmUp = Changes / 10;
  for (int Change = 0; Change < Changes + WarmUp; ++Change) {
    auto const Place = static_cast<std::size_t>(Change) % Order.size();
    TSTimes const Times =
        TimeChange(*Fields[static_cast<std::size_t>(Order[Place])], kNewValue + Change);
    if (Change >= WarmUp) {
      Results.Send(Times.m_Set);
      Results.Send(Times.m_Taken);
      Results.Send(Times.m_Stored);
    }
  }
}

}  // namespace

void MeasureReceipts(TSPlan const& Plan) {
  char const* const Metrics[] = {"set_sent", "set_with_receipt", "set_stored"};
  constexpr int kMetrics = 3;
  int const Changes = Plan.Choose(500, 50);
  for (auto const* const Durability : kDurabilities) {
    TCServer const Server(Plan.m_ServerProgram, Durability, kUsualSize);
    auto const All = SampleInProcess(kMetrics * Changes,
                                     [&](TCPipe const& Results) { MakeChanges(Changes, Results); });
    for (std::size_t Metric = 0; Metric < kMetrics; ++Metric) {
      std::vector<double> Samples;
      for (std::size_t Sample = Metric; Sample < All.size(); Sample += kMetrics) {
        Samples.push_back(All[Sample]);
      }
      Report({"product", Metrics[Metric], Durability, "us", kUsualSize}, std::move(Samples));
    }
  }
}

}  // namespace Benchmark
