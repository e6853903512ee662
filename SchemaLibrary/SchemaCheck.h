// SPDX-License-Identifier: MIT
// Finds mistakes in a schema that its initialisation lets pass.
#pragma once

#include <vector>

#include "SchemaLibrary/TSSchemaFinding.h"

namespace Property {

/// What is wrong with the completed schema, by number: names that are used twice or cannot be
/// written in a path, parents that are missing or hold nothing, classes that nothing is known
/// about, two default choices, two choices with one value, defaults that do not fit or count for
/// nothing, patterns that are none, dependencies on what has no value.
std::vector<TSSchemaFinding> CheckSchema();

}  // namespace Property
