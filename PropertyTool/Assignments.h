// SPDX-License-Identifier: MIT
// What people want properties to be, as they type it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "PropertyTool/TCToolContext.h"

namespace Property {

/// A name and a value.
using TCAssignment = std::pair<std::string, std::string>;

/// "NAME=VALUE" each; or two words, a name and its value. A value "-" is the standard input without
/// its last line feed, for one of them at most. Throws TCToolFailure for anything else.
std::vector<TCAssignment> ReadAssignments(std::vector<std::string> const& Words);

/// A place and what a user wants to be there.
struct TSWanted {
  TSTarget Target;
  std::string Data;
};

/// Finds the property and reads the value by its rules: choices by name, text or number. With
/// `Stored` the text is taken as it is. Throws TCToolFailure, which names path and rule, for what
/// the schema does not allow.
TSWanted ReadWanted(TCToolContext& Context, TCAssignment const& Assignment,
                    TSPlaceOptions const& Places, bool Stored);

}  // namespace Property
