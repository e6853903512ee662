// SPDX-License-Identifier: MIT
// Whether numbers still mean what they meant.
#pragma once

#include <string>
#include <vector>

#include "SchemaLibrary/TSSchemaFinding.h"

namespace Property {

/// What has another meaning in the completed schema than in `Export`, an earlier result of
/// ExportSchemaAsJSON(), by number: another kind or type, another name, a choice of another field
/// or with another value. Numbers that are gone or new are no finding. Throws TCException when
/// `Export` is none.
std::vector<TSSchemaFinding> CompareSchema(std::string const& Export);

}  // namespace Property
