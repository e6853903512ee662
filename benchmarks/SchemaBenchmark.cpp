// SPDX-License-Identifier: MIT
// How long a process needs to make and complete its schema, and how much memory a node takes.
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "CommonProperties/TCBasicPropertyID.h"
#include "benchmarks/BenchmarkSchema.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"

namespace {

using Benchmark::TClock;
using Property::TCBasicPropertyID;

constexpr int kSmallSize = 1000;
constexpr int kLargeSize = 20000;
constexpr int kSamples = 9;
constexpr int kQuickSamples = 3;

constexpr int kContainers = 2;
constexpr int kIntegersOfATenth = 10;
constexpr int kOthersOfATenth = 8;  // one field of each of five kinds, and three choices

std::size_t Nodes() {
  return TCBasicPropertyID::m_List == nullptr ? 0 : TCBasicPropertyID::m_List->size();
}

// How many integer fields the benchmarks' schema has when it has `Size` nodes of all kinds.
int IntegerFields(int Size) {
  int const Tenths = (Size - kContainers) / (kIntegersOfATenth + kOthersOfATenth);
  return Size - kContainers - Tenths * kOthersOfATenth;
}

// Sends milliseconds of construction, milliseconds of initialisation, and bytes of a node. The
// construction includes that of the references to the choices, and all names.
void MakeAndComplete(int Size, Benchmark::TCPipe const& Results) {
  std::size_t const NodesBefore = Nodes();
  std::size_t const BytesBefore = Benchmark::AllocatedBytes();
  auto const Begin = TClock::now();
  Benchmark::MakeSchema(IntegerFields(Size));
  double const Construction = Benchmark::MicrosecondsSince(Begin) / 1000;
  if (Nodes() - NodesBefore != static_cast<std::size_t>(Size)) {
    throw std::logic_error("the schema has another number of nodes than it is measured for");
  }
  auto const Constructed = TClock::now();
  TCBasicPropertyID::Initialize();
  double const Initialisation = Benchmark::MicrosecondsSince(Constructed) / 1000;
  if (!TCBasicPropertyID::m_Initialized) {
    throw std::logic_error("the schema was not completed");
  }
  std::size_t const Bytes = Benchmark::AllocatedBytes() - BytesBefore;
  Results.Send(Construction);
  Results.Send(Initialisation);
  Results.Send(static_cast<double>(Bytes) / Size);
}

// A schema can be completed once in a process: each sample has a process of its own.
void Measure(int Size, int Samples) {
  std::vector<double> Constructions;
  std::vector<double> Initialisations;
  std::vector<double> Memory;
  for (int Sample = 0; Sample < Samples; ++Sample) {
    auto const Results = Benchmark::SampleInProcess(
        3, [Size](Benchmark::TCPipe const& Pipe) { MakeAndComplete(Size, Pipe); });
    Constructions.push_back(Results[0]);
    Initialisations.push_back(Results[1]);
    Memory.push_back(Results[2]);
  }
  Benchmark::Report({"product", "schema_construction", "", "ms", Size}, Constructions);
  Benchmark::Report({"product", "schema_initialisation", "", "ms", Size}, Initialisations);
  if (Size == kLargeSize) {
    Benchmark::Report({"product", "memory_per_node", "", "B", Size}, Memory);
  }
}

}  // namespace

int main(int Count, char** Arguments) {
  bool const IsQuick = Count == 2 && std::string(Arguments[1]) == "--quick";
  return Benchmark::RunMeasurements("schema_benchmark", [&] {
    if (Count > 1 && !IsQuick) {
      throw std::invalid_argument("usage: schema_benchmark [--quick]");
    }
    for (int const Size : {kSmallSize, kLargeSize}) {
      Measure(Size, IsQuick ? kQuickSamples : kSamples);
    }
  });
}
