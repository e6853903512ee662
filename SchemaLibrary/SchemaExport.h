// SPDX-License-Identifier: MIT
// The schema for other programs and for people.
#pragma once

#include <string>

#include "CommonProperties/TCPropertyID.h"

namespace Property {

/// The completed schema as a JSON Schema (draft 2020-12) of the values of one record of one device:
/// objects in objects, as paths are made. What JSON Schema has no word for stands in a member
/// "property" of each node. docs/schema-libraries.md describes it; it is only ever extended. Bytes
/// that are no UTF-8 are replaced.
std::string ExportSchemaAsJSON();

/// The fields of the completed schema, one a line, in the order of the tree, in columns that spaces
/// make. Fit for a terminal.
std::string ExportSchemaAsTable();

/// "boolean", "integer", "string", "choice" or "lookup"; "none" for a field that is none of these.
char const* FieldTypeWord(TCPropertyID const& Field);

}  // namespace Property
