// SPDX-License-Identifier: MIT
// The schema for the page.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "SchemaLibrary/TCPropertyNames.h"

namespace Property {

/// All containers, groups and fields in the order of the tree, each with the number of what it lies
/// in, and what governs what. See docs/console.md.
nlohmann::ordered_json SchemaAsJSON(TCPropertyNames const& Names);

}  // namespace Property
