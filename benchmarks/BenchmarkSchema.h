// SPDX-License-Identifier: MIT
// The schema that all benchmarks use: fields of each type in containers of one device and of all.
#pragma once

#include <string>
#include <vector>

#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyID.h"

namespace Benchmark {

/// The device on whose behalf everything is measured.
extern std::string const kOwnMAC;

/// The fields of a benchmark's schema, by number within their kind. Never freed: the schema refers
/// to them until the process ends.
struct TSSchema {
  std::vector<Property::TCPropertyID*> m_Integers;  ///< belong to the device, as the next four
  std::vector<Property::TCPropertyID*> m_Texts;
  std::vector<Property::TCPropertyID*> m_Booleans;
  std::vector<Property::TCPropertyID*> m_Choices;     ///< each with three choices
  std::vector<Property::TCPropertyID*> m_Validated;   ///< integers, for a validator
  std::vector<Property::TCPropertyID*> m_SystemWide;  ///< integers without a device
  std::vector<Property::TCPropertyChoiceID*> m_ChoiceIDs;
};

/// Makes `Count` integer fields of the device, and of each other kind a tenth, but at least one.
/// Once a process.
TSSchema const& MakeSchema(int Count);

}  // namespace Benchmark
