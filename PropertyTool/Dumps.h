// SPDX-License-Identifier: MIT
// Reads dumps of values.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "PropertyTool/TCToolContext.h"
#include "ServerClient/TSPropertyPlace.h"

namespace Property {

/// What is wrong with a part of a dump, and where.
struct TSDumpProblem {
  std::size_t Line = 0;
  std::string Text;  ///< not for a terminal as it is
};

/// A dump: values by their places; null where it has a secret without its text.
struct TSDump {
  std::string Name;  ///< of the file
  std::map<TSPropertyPlace, std::optional<std::string>> Values;
  std::vector<TSDumpProblem> Problems;
};

/// Reads the file `Name`, or the standard input for "-", and checks every entry by the schema where
/// there is one. All that is wrong with entries is in the problems; throws TCToolFailure when the
/// file cannot be read or is no dump at all.
TSDump ReadDump(TCToolContext& Context, std::string const& Name);

/// Throws TCToolFailure when there are problems, after it has told them on the standard error.
void RequireSound(TSDump const& Dump);

}  // namespace Property
