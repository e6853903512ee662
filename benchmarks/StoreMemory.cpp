// SPDX-License-Identifier: MIT
// Memory that a stored integer takes in a process, beyond the schema's.
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "benchmarks/BenchmarkStore.h"
#include "benchmarks/support/Measurement.h"

namespace {

constexpr int kSize = 10000;
constexpr int kLargeSize = 100000;

// Values of the fields without a record first, then of those with record 1, and so on.
void Fill(std::vector<Property::TCPropertyID*> const& Fields, int Begin, int End) {
  int const FieldCount = static_cast<int>(Fields.size());
  for (int Index = Begin; Index < End; ++Index) {
    Accessories::TCRecordID Link;
    if (Index >= FieldCount) {
      Link = Index / FieldCount;
    }
    SetProperty(*Fields[static_cast<std::size_t>(Index % FieldCount)], 100000000 + Index, Link);
  }
}

void Report(std::size_t Before, int Values) {
  double const Bytes = static_cast<double>(Benchmark::AllocatedBytes() - Before) / Values;
  Benchmark::Report({"product", "memory_per_value", "", "B", Values}, {Bytes});
}

void Measure(bool IsQuick) {
  auto const& Fields = Benchmark::TCFilledStore::WithValues(0).get_Schema().m_Integers;
  std::size_t const Before = Benchmark::AllocatedBytes();
  Fill(Fields, 0, kSize);
  Report(Before, kSize);
  if (!IsQuick) {
    Fill(Fields, kSize, kLargeSize);
    Report(Before, kLargeSize);
  }
}

}  // namespace

int main(int Count, char** Arguments) {
  bool const IsQuick = Count == 2 && std::string_view(Arguments[1]) == "--quick";
  if (Count > 1 && !IsQuick) {
    std::fprintf(stderr, "usage: store_memory [--quick]\n");
    return 2;
  }
  try {
    Measure(IsQuick);
    return 0;
  } catch (std::exception const& Error) {
    std::fprintf(stderr, "store_memory: %s\n", Error.what());
    return 1;
  }
}
