// SPDX-License-Identifier: MIT
// Times the store's operations inside one process, beside a map under a recursive mutex.
#include <benchmark/benchmark.h>

#include <map>
#include <mutex>
#include <string>
#include <tuple>

#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Utility/TCMACAddress.h"
#include "benchmarks/BenchmarkSchema.h"
#include "benchmarks/support/Measurement.h"

namespace {

constexpr int kCount = 10000;

// A store without a server behind it.
class TCLocalStore : public Property::TCPropertyCollection {
 public:
  std::list<Property::TCCommonPropertyObject> DoLoadPropertyList(
      Property::TCPropertyID const& /*ID*/) override {
    return {};
  }
};

std::vector<Property::TCPropertyID*> const& FilledStore() {
  static std::vector<Property::TCPropertyID*> const Fields = [] {
    TCMACAddress::SetOwn(TCMACAddress(std::string("02:00:00:00:00:01")));
    auto Made = MakeBenchmarkSchema(kCount);
    static TCLocalStore Store;
    for (Property::TCPropertyID* Field : Made) {
      SetProperty(*Field, Field->get_Number());
    }
    return Made;
  }();
  return Fields;
}

void ReadInteger(benchmark::State& State) {
  auto const& Fields = FilledStore();
  auto const Order = Benchmark::ShuffledIndices(kCount);
  std::size_t Next = 0;
  for (auto _ : State) {
    int const Index = Order[Next++ % Order.size()];
    benchmark::DoNotOptimize(GetProperty(*Fields[static_cast<std::size_t>(Index)]).get_AsInteger());
  }
}
BENCHMARK(ReadInteger);

void SetToTheSameValue(benchmark::State& State) {
  auto const& Fields = FilledStore();
  auto const Order = Benchmark::ShuffledIndices(kCount);
  std::size_t Next = 0;
  for (auto _ : State) {
    Property::TCPropertyID const& Field =
        *Fields[static_cast<std::size_t>(Order[Next++ % Order.size()])];
    SetProperty(Field, Field.get_Number());
  }
}
BENCHMARK(SetToTheSameValue);

void SetToAnotherValue(benchmark::State& State) {
  auto const& Fields = FilledStore();
  auto const Order = Benchmark::ShuffledIndices(kCount);
  std::size_t Next = 0;
  for (auto _ : State) {
    std::size_t const Step = Next++;
    SetProperty(*Fields[static_cast<std::size_t>(Order[Step % Order.size()])],
                static_cast<int>(1000000 + Step));
  }
}

// The floor: the same keys in a map, its text copied out under a recursive mutex.
void ReadFromMap(benchmark::State& State) {
  using TKey = std::tuple<int, int, std::string>;
  std::map<TKey, std::string> Values;
  std::recursive_mutex Mutex;
  std::string const Device = "02:00:00:00:00:01";
  for (int Index = 0; Index < kCount; ++Index) {
    Values.emplace(TKey(Index, 0, Device), std::to_string(Index));
  }
  auto const Order = Benchmark::ShuffledIndices(kCount);
  std::size_t Next = 0;
  for (auto _ : State) {
    TKey const Key(Order[Next++ % Order.size()], 0, Device);
    std::lock_guard<std::recursive_mutex> const Lock(Mutex);
    std::string Text = Values.find(Key)->second;
    benchmark::DoNotOptimize(Text);
  }
}
BENCHMARK(ReadFromMap);
BENCHMARK(SetToAnotherValue);  // last, because it changes what the others find

}  // namespace

BENCHMARK_MAIN();
