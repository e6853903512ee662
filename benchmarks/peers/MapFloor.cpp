// SPDX-License-Identifier: MIT
// The floor of a start-up and of its memory: a map under a recursive mutex, filled from keys and
// values that are in memory already.
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"

namespace {

constexpr int kLargestBuilds = 3;  // each takes seconds

using TKey = std::tuple<std::uint16_t, std::uint32_t, std::uint16_t>;

class TCMap {
 public:
  void Set(TKey const& Key, std::string const& Value) {
    std::lock_guard<std::recursive_mutex> const Lock(m_Mutex);
    m_Values[Key] = Value;
  }

 private:
  std::recursive_mutex m_Mutex;
  std::map<TKey, std::string> m_Values;
};

struct TSValue {
  TKey m_Key;
  std::string m_Text;
};

// In a random order, as nobody promises a sorted one.
std::vector<TSValue> MakeValues(int Size) {
  std::vector<TSValue> Values;
  for (int const Index : Benchmark::ShuffledIndices(Size)) {
    Values.push_back({{Index >> 8, Index & 255, 0}, Benchmark::ValueText(Index)});
  }
  return Values;
}

void Build(TCMap& Map, std::vector<TSValue> const& Values) {
  for (TSValue const& Value : Values) {
    Map.Set(Value.m_Key, Value.m_Text);
  }
}

void MeasureSize(int Size, int Builds) {
  auto const Values = MakeValues(Size);
  std::vector<double> Times;
  std::vector<double> Memory;
  for (int Repeat = 0; Repeat < Builds; ++Repeat) {
    TCMap Map;
    auto const Before = Benchmark::AllocatedBytes();
    auto const Begin = Benchmark::TClock::now();
    Build(Map, Values);
    Times.push_back(Benchmark::MicrosecondsSince(Begin) / 1000);
    Memory.push_back(static_cast<double>(Benchmark::AllocatedBytes() - Before) / Size);
  }
  Benchmark::Report({"map", "build", "", "ms", Size}, std::move(Times));
  Benchmark::Report({"map", "memory_per_value", "", "B", Size}, std::move(Memory));
}

void Measure(Benchmark::TSEffort const& Effort) {
  auto Sizes = Effort.m_Sizes;
  Sizes.push_back(Sizes.back() * 10);
  for (int const Size : Sizes) {
    MeasureSize(Size, Size == Sizes.back() ? kLargestBuilds : Effort.m_Loads);
  }
}

}  // namespace

int main(int ArgumentCount, char** Arguments) {
  return Benchmark::RunPeer(ArgumentCount, Arguments, "map", Measure);
}
