// SPDX-License-Identifier: MIT
// Times the store's operations inside one process at growing numbers of values, beside a map under
// a recursive mutex. Names are subject/metric/setting/values.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "CommonProperties/TCReadGuard.h"
#include "CommonProperties/Typed.h"
#include "benchmarks/BenchmarkStore.h"
#include "benchmarks/support/Measurement.h"

namespace {

using Benchmark::kOwnMAC;
using Benchmark::TCFilledStore;
using Benchmark::TSTarget;
using Property::TCPropertyCollection;

using TTargets = std::vector<TSTarget>;
using TValues = TTargets const& (TCFilledStore::*)() const;

// Calls `Operation` with one value after the other, and with the number of the call.
template <class TTarget, class TOperation>
void ForEach(benchmark::State& State, std::vector<TTarget> const& Targets, TOperation Operation) {
  std::size_t Call = 0;
  std::size_t Next = 0;
  for (auto _ : State) {
    Operation(Targets[Next], Call++);
    if (++Next == Targets.size()) {
      Next = 0;
    }
  }
}

// ---- reads ----

template <TValues Kind>
void ReadInteger(benchmark::State& State, int Values) {
  ForEach(State, (TCFilledStore::WithValues(Values).*Kind)(),
          [](TSTarget const& Value, std::size_t) {
            benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger());
          });
}

void ReadBoolean(benchmark::State& State, int Values) {
  ForEach(State, TCFilledStore::WithValues(Values).get_Booleans(),
          [](TSTarget const& Value, std::size_t) {
            benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link).get_AsBool());
          });
}

template <TValues Kind>
void ReadText(benchmark::State& State, int Values) {
  ForEach(State, (TCFilledStore::WithValues(Values).*Kind)(),
          [](TSTarget const& Value, std::size_t) {
            benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link).get_AsString());
          });
}

void ReadExplicitMAC(benchmark::State& State, int Values) {
  ForEach(
      State, TCFilledStore::WithValues(Values).get_Integers(),
      [](TSTarget const& Value, std::size_t) {
        benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link, kOwnMAC).get_AsInteger());
      });
}

void ReadInSession(benchmark::State& State, int Values) {
  auto const& Targets = TCFilledStore::WithValues(Values).get_Integers();
  TCPropertyCollection::SetSessionCallback([] { return 1UL; });
  TCPropertyCollection::SetCurrentSession(1, kOwnMAC);
  ForEach(State, Targets, [](TSTarget const& Value, std::size_t) {
    benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger());
  });
  TCPropertyCollection::SetSessionCallback(nullptr);
}

void ReadInTransaction(benchmark::State& State, int Values) {
  auto const& Targets = TCFilledStore::WithValues(Values).get_Integers();
  Property::TCPropertyTransaction Transaction;
  Transaction.Begin();
  SetProperty(*Targets.front().m_ID, -1, Targets.front().m_Link);
  ForEach(State, Targets, [](TSTarget const& Value, std::size_t) {
    benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger());
  });
}

void ReadValidated(benchmark::State& State, int Values) {
  auto& Store = TCFilledStore::WithValues(Values);
  static bool const Assigned = [&Store] {
    for (Property::TCPropertyID const* Field : Store.get_Schema().m_Validated) {
      SetPropertyValidation(*Field, [](Property::TCCommonPropertyObject&) {});
    }
    return true;
  }();
  benchmark::DoNotOptimize(Assigned);
  ForEach(State, Store.get_Validated(), [](TSTarget const& Value, std::size_t) {
    benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger());
  });
}

// Handles of the integers, which are made before.
std::vector<Property::Typed<int>> const& Handles(int Values) {
  static std::vector<Property::Typed<int>> Made;
  Made.clear();
  for (TSTarget const& Value : TCFilledStore::WithValues(Values).get_Integers()) {
    Made.emplace_back(*Value.m_ID, Value.m_Link);
  }
  return Made;
}

void ReadTyped(benchmark::State& State, int Values) {
  ForEach(State, Handles(Values), [](Property::Typed<int> const& Value, std::size_t) {
    benchmark::DoNotOptimize(Value.Get());
  });
}

// A guard around a read, which takes what the guard costs more than the read alone.
void ReadGuarded(benchmark::State& State, int Values) {
  ForEach(State, TCFilledStore::WithValues(Values).get_Integers(),
          [](TSTarget const& Value, std::size_t) {
            Property::TCReadGuard const Guard;
            benchmark::DoNotOptimize(GetProperty(*Value.m_ID, Value.m_Link).get_AsInteger());
          });
}

void Exist(benchmark::State& State, int Values) {
  auto const& Targets = TCFilledStore::WithValues(Values).get_Integers();
  TCPropertyCollection& Store = *TCPropertyCollection::get();
  ForEach(State, Targets, [&Store](TSTarget const& Value, std::size_t) {
    benchmark::DoNotOptimize(Store.ExistProperty(*Value.m_ID, Value.m_Link, std::string()));
  });
}

void ReadList(benchmark::State& State, int Values) {
  auto const& Targets = TCFilledStore::WithValues(Values).get_Integers();
  TCPropertyCollection& Store = *TCPropertyCollection::get();
  ForEach(State, Targets, [&Store](TSTarget const& Value, std::size_t) {
    benchmark::DoNotOptimize(Store.GetProperties(*Value.m_ID));
  });
}

// ---- writes ----

// Values that no earlier measurement has set.
int NewValue() {
  static int Last = 100000000;
  return ++Last;
}

void SetChanged(benchmark::State& State, int Values) {
  ForEach(State, TCFilledStore::WithValues(Values).get_Integers(),
          [](TSTarget const& Value, std::size_t) {
            SetProperty(*Value.m_ID, NewValue(), Value.m_Link);
          });
}

void SetEqual(benchmark::State& State, int Values) {
  auto const& Targets = TCFilledStore::WithValues(Values).get_Integers();
  for (TSTarget const& Value : Targets) {
    SetProperty(*Value.m_ID, Value.m_ID->get_Number(), Value.m_Link);
  }
  ForEach(State, Targets, [](TSTarget const& Value, std::size_t) {
    SetProperty(*Value.m_ID, Value.m_ID->get_Number(), Value.m_Link);
  });
}

void SetChoice(benchmark::State& State, int Values) {
  auto const& Targets = TCFilledStore::WithValues(Values).get_Choices();
  std::size_t Round = 0;
  ForEach(State, Targets, [&](TSTarget const& Value, std::size_t Call) {
    Round += Call % Targets.size() == 0 ? 1U : 0U;
    auto const& Choices = Value.m_ID->get_Choices();
    Property::TCPropertyChoice const* const Choice =
        Round % 2 == 0 ? Choices.front() : Choices.back();
    SetPropertyChoiceID(*Value.m_ID, Choice->get_Number());
  });
}

void SetTyped(benchmark::State& State, int Values) {
  ForEach(State, Handles(Values),
          [](Property::Typed<int> const& Value, std::size_t) { Value.Set(NewValue()); });
}

// One transaction an iteration.
void Transaction(benchmark::State& State, int Values, std::size_t Changes) {
  auto const& Targets = TCFilledStore::WithValues(Values).get_Integers();
  std::size_t Next = 0;
  for (auto _ : State) {
    Property::TCPropertyTransaction Open;
    Open.Begin();
    for (std::size_t Change = 0; Change < Changes; ++Change) {
      TSTarget const& Value = Targets[Next++ % Targets.size()];
      SetProperty(*Value.m_ID, NewValue(), Value.m_Link);
    }
    Open.Commit();
  }
}

class TCEmptyingNotifier : public Property::TCCommonPropertyChangeNotifier {
 public:
  ~TCEmptyingNotifier() override { TCPropertyCollection::DelNotifier(this); }

 protected:
  bool OnPropQueued() override {
    TCCriticalSectionLock const Lock(m_Lock);
    m_Queue.clear();
    return true;
  }
};

void SetNotifying(benchmark::State& State, int Values, int Count) {
  std::vector<std::unique_ptr<TCEmptyingNotifier>> Notifiers;
  for (int Notifier = 0; Notifier < Count; ++Notifier) {
    Notifiers.push_back(std::make_unique<TCEmptyingNotifier>());
    Notifiers.back()->Enable();
  }
  SetChanged(State, Values);
}

// ---- the floor ----

// The same number of keys in a map, under a recursive mutex, texts copied.
class TCMapFloor {
 public:
  explicit TCMapFloor(int Count) : m_Order(Benchmark::ShuffledIndices(Count)) {
    for (int Index = 0; Index < Count; ++Index) {
      Set(Index, std::to_string(100000000 + Index));
    }
  }

  std::vector<int> const& get_Order() const { return m_Order; }

  std::string Get(int Index) {
    std::lock_guard<std::recursive_mutex> const Lock(m_Mutex);
    auto const Entry = m_Values.find(KeyOf(Index));
    return Entry != m_Values.end() ? Entry->second : std::string();
  }

  void Set(int Index, std::string const& Text) {
    std::lock_guard<std::recursive_mutex> const Lock(m_Mutex);
    m_Values[KeyOf(Index)] = Text;
  }

 private:
  using TKey = std::tuple<std::uint16_t, std::uint32_t, std::uint16_t>;

  static TKey KeyOf(int Index) {
    return {static_cast<std::uint16_t>(Index >> 8), static_cast<std::uint32_t>(Index & 0xFF),
            std::uint16_t{0}};
  }

  std::recursive_mutex m_Mutex;
  std::map<TKey, std::string> m_Values;
  std::vector<int> m_Order;
};

TCMapFloor& MapOf(int Values) {
  static std::map<int, std::unique_ptr<TCMapFloor>> Maps;
  auto& Map = Maps[Values];
  if (Map == nullptr) {
    Map = std::make_unique<TCMapFloor>(Values);
  }
  return *Map;
}

void ReadMap(benchmark::State& State, int Values) {
  TCMapFloor& Map = MapOf(Values);
  std::size_t Next = 0;
  for (auto _ : State) {
    benchmark::DoNotOptimize(Map.Get(Map.get_Order()[Next]));
    Next = Next + 1 == Map.get_Order().size() ? 0 : Next + 1;
  }
}

void WriteMap(benchmark::State& State, int Values) {
  TCMapFloor& Map = MapOf(Values);
  std::string const Text = "value-999999";
  std::size_t Next = 0;
  for (auto _ : State) {
    Map.Set(Map.get_Order()[Next], Text);
    Next = Next + 1 == Map.get_Order().size() ? 0 : Next + 1;
  }
}

// ---- what is measured ----

template <class TFunction, class... TArguments>
benchmark::internal::Benchmark* Register(std::string const& Name, TFunction Function, int Values,
                                         TArguments... Arguments) {
  return benchmark::RegisterBenchmark((Name + "/" + std::to_string(Values)).c_str(), Function,
                                      Values, Arguments...);
}

void RegisterReads(int Values) {
  Register("map/read/-", ReadMap, Values);
  Register("product/read_integer/own_mac", ReadInteger<&TCFilledStore::get_Integers>, Values);
  Register("product/read_integer/explicit_mac", ReadExplicitMAC, Values);
  Register("product/read_integer/system_wide", ReadInteger<&TCFilledStore::get_SystemWide>, Values);
  Register("product/read_integer/session", ReadInSession, Values);
  Register("product/read_integer/transaction", ReadInTransaction, Values);
  Register("product/read_integer/guard", ReadGuarded, Values);
  Register("product/read_integer/typed", ReadTyped, Values);
  Register("product/read_boolean/own_mac", ReadBoolean, Values);
  Register("product/read_string/own_mac", ReadText<&TCFilledStore::get_Texts>, Values);
  Register("product/read_choice/own_mac", ReadText<&TCFilledStore::get_Choices>, Values);
  Register("product/exist/-", Exist, Values);
  Register("product/get_properties/-", ReadList, Values);
}

void RegisterThreads(int Values) {
  for (int const Threads : {1, 2}) {
    Register("product/read_by_" + std::to_string(Threads) + "_threads/-",
             ReadInteger<&TCFilledStore::get_Integers>, Values)
        ->Threads(Threads)
        ->UseRealTime();
  }
}

void RegisterWrites(int Values) {
  Register("map/write/-", WriteMap, Values);
  Register("product/set_equal/-", SetEqual, Values);
  Register("product/set_changed/-", SetChanged, Values);
  Register("product/set_changed/typed", SetTyped, Values);
  Register("product/set_choice/-", SetChoice, Values);
  for (std::size_t const Changes : {1U, 100U, 10000U}) {
    Register("product/transaction_" + std::to_string(Changes) + "/-", Transaction, Values, Changes);
  }
  for (int const Notifiers : {1, 100}) {
    Register("product/notify_" + std::to_string(Notifiers) + "/-", SetNotifying, Values, Notifiers);
  }
}

}  // namespace

int main(int Count, char** Arguments) {
  benchmark::Initialize(&Count, Arguments);
  if (benchmark::ReportUnrecognizedArguments(Count, Arguments)) {
    return 2;
  }
  constexpr int kSizes[] = {100, 10000, 100000, 1000000};
  for (int const Values : kSizes) {
    RegisterReads(Values);
    RegisterThreads(Values);
    RegisterWrites(Values);
  }
  // At the end: a validator stays for the life of the store.
  for (int const Values : kSizes) {
    Register("product/read_integer/validator", ReadValidated, Values);
  }
  benchmark::RunSpecifiedBenchmarks();
}
