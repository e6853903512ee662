// SPDX-License-Identifier: MIT
// Runs the hottest operations under callgrind.
#include <stdexcept>
#include <string>
#include <vector>

#include "CommonProperties/TCReadGuard.h"
#include "CommonProperties/Typed.h"
#include "benchmarks/BenchmarkStore.h"
#include "benchmarks/instructions/Counting.h"
#include "benchmarks/instructions/ServerRoads.h"
#include "benchmarks/support/Processes.h"

namespace {

using Benchmark::Count;
using Benchmark::TCFilledStore;
using Benchmark::TSTarget;

constexpr int kValues = 10000;

// The same values through handles, which are made before.
void CountTyped(TCFilledStore const& Store) {
  std::vector<Property::Typed<int>> Handles;
  for (TSTarget const& Value : Store.get_Integers()) {
    Handles.emplace_back(*Value.m_ID, Value.m_Link);
  }
  int Sum = 0;
  Count("read_typed", Handles, [&Sum](Property::Typed<int> const& Value) { Sum += Value.Get(); });
  Count("set_typed_changed", Handles,
        [](Property::Typed<int> const& Value) { Value.Set(Value.get_ID().get_Number() + 2); });
  Count("set_typed_equal", Handles,
        [](Property::Typed<int> const& Value) { Value.Set(Value.get_ID().get_Number() + 2); });
}

void CountAll() {
  TCFilledStore const& Store = TCFilledStore::WithValues(kValues);
  int Sum = 0;
  Count("read_integer", Store.get_Integers(), [&Sum](TSTarget const& Value) {
    Sum += GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger();
  });
  Count("read_string", Store.get_Integers(), [&Sum](TSTarget const& Value) {
    Sum += static_cast<int>(GetProperty(*Value.m_ID, Value.m_Link).get_AsString().size());
  });
  Count("read_choice", Store.get_Choices(), [&Sum](TSTarget const& Value) {
    Sum += GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger();
  });
  Count("read_guarded", Store.get_Integers(), [&Sum](TSTarget const& Value) {
    Property::TCReadGuard const Guard;
    Sum += GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger();
  });
  Count("set_equal", Store.get_Integers(), [](TSTarget const& Value) {
    SetProperty(*Value.m_ID, Value.m_ID->get_Number(), Value.m_Link);
  });
  Count("set_changed", Store.get_Integers(), [](TSTarget const& Value) {
    SetProperty(*Value.m_ID, Value.m_ID->get_Number() + 1, Value.m_Link);
  });
  CountTyped(Store);
  Benchmark::CountServerRoads();
  if (Sum == 0) {
    throw std::runtime_error("nothing was read");
  }
}

}  // namespace

int main() {
  return Benchmark::RunMeasurements("instruction_workload", CountAll);
}
