// SPDX-License-Identifier: MIT
// Builds the benchmarks' schema.
#include "benchmarks/BenchmarkSchema.h"

#include <memory>
#include <string>

#include "CommonProperties/TCPropertyContainer.h"

namespace {

constexpr int kContainer = 1;
constexpr int kFirstField = 1000;
constexpr int kDeviceLinkedClass = 1;
constexpr int kIntegerField = 0x12;

}  // namespace

std::vector<Property::TCPropertyID*> MakeBenchmarkSchema(int Count) {
  static Property::TCPropertyContainer const Container("bench", kContainer, "Benchmark",
                                                       kDeviceLinkedClass);
  static std::vector<std::unique_ptr<Property::TCPropertyID>> Fields;
  std::vector<Property::TCPropertyID*> Result;
  for (int Index = 0; Index < Count; ++Index) {
    Fields.push_back(std::make_unique<Property::TCPropertyID>(
        "field" + std::to_string(Index), kFirstField + Index, "", kContainer, kIntegerField, 0));
    Result.push_back(Fields.back().get());
  }
  return Result;
}
