// SPDX-License-Identifier: MIT
// What the schema declares to depend on what.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "CommonProperties/TCBasicPropertyID.h"

namespace Property {

/// That a node governs another one. Refers to both.
struct TSDeclaredDependency {
  TCBasicPropertyID const* Source = nullptr;
  TCBasicPropertyID const* Target = nullptr;
  int Mode = 0;
  std::optional<std::string> Value;
};

/// All of the schema, in the order of their numbers: the registry has them in that of their
/// addresses, which is another one at each start.
std::vector<TSDeclaredDependency> DeclaredDependencies();

}  // namespace Property
