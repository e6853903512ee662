// SPDX-License-Identifier: MIT
// Builds the benchmarks' schema.
#include "benchmarks/BenchmarkSchema.h"

#include <algorithm>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"

namespace Benchmark {

namespace {

constexpr int kDeviceContainer = 1;
constexpr int kSharedContainer = 2;
constexpr int kDeviceLinkedClass = 1;
constexpr int kSystemWideClass = 2;

constexpr int kFirstInteger = 1000;
constexpr int kFirstText = 3000000;
constexpr int kFirstBoolean = 4000000;
constexpr int kFirstChoiceField = 5000000;
constexpr int kFirstValidated = 5500000;
constexpr int kFirstSystemWide = 6000000;
constexpr int kFirstChoice = 7000000;
constexpr int kChoicesEach = 3;

constexpr int kBooleanField = 0x0A;
constexpr int kIntegerField = 0x12;
constexpr int kTextField = 0x22;

std::vector<Property::TCPropertyID*> MakeFields(std::string const& Name, int First, int Count,
                                                int Container, int Flags) {
  std::vector<Property::TCPropertyID*> Fields;
  for (int Index = 0; Index < Count; ++Index) {
    Fields.push_back(new Property::TCPropertyID(Name + std::to_string(Index), First + Index, "",
                                                Container, Flags, 0));
  }
  return Fields;
}

void AddChoices(TSSchema& Schema) {
  int Number = kFirstChoice;
  for (Property::TCPropertyID* Field : Schema.m_Choices) {
    for (int Choice = 0; Choice < kChoicesEach; ++Choice, ++Number) {
      std::string const Name = Field->get_Name() + "_" + std::to_string(Choice);
      new Property::TCPropertyChoice(Name, "", Number, Choice == 0, Field, Choice);
      Schema.m_ChoiceIDs.push_back(new Property::TCPropertyChoiceID("", Number, Name));
    }
  }
}

}  // namespace

std::string const kOwnMAC = "02:00:00:00:00:01";

TSSchema const& MakeSchema(int Count) {
  new Property::TCPropertyContainer("device", kDeviceContainer, "Device", kDeviceLinkedClass);
  new Property::TCPropertyContainer("shared", kSharedContainer, "Shared", kSystemWideClass);
  int const Tenth = std::max(1, Count / 10);
  auto& Schema = *new TSSchema;
  Schema.m_Integers = MakeFields("field", kFirstInteger, Count, kDeviceContainer, kIntegerField);
  Schema.m_Texts = MakeFields("text", kFirstText, Tenth, kDeviceContainer, kTextField);
  Schema.m_Booleans = MakeFields("switch", kFirstBoolean, Tenth, kDeviceContainer, kBooleanField);
  Schema.m_Choices =
      MakeFields("choice", kFirstChoiceField, Tenth, kDeviceContainer, kIntegerField);
  Schema.m_Validated =
      MakeFields("checked", kFirstValidated, Tenth, kDeviceContainer, kIntegerField);
  Schema.m_SystemWide =
      MakeFields("policy", kFirstSystemWide, Tenth, kSharedContainer, kIntegerField);
  AddChoices(Schema);
  return Schema;
}

}  // namespace Benchmark
