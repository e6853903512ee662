// SPDX-License-Identifier: MIT
// Properties as people call them, with what they read as.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PropertyTool/CurrentValue.h"

namespace Property {

/// A property that was named, and its value.
struct TSFoundValue {
  TSPropertyPlace Place;
  std::optional<std::string> Path;  ///< null where no schema knows the number
  bool IsSecret = false;            ///< and nobody has asked for secrets: the value is null
  TSCurrentValue Value;
  std::string Text;  ///< the value as people read it

  /// For people, as TCNaming::NameOf().
  std::string get_Name() const { return TCNaming::NameOf(Place, Path); }
};

/// Finds all `Names` in the server, which knows the schema, so that none has to be loaded here.
/// Where it does not, or the user has named schema libraries, the names and rules are those that
/// are loaded here, and only the values are the server's. Throws TCToolFailure for the first that
/// no property is called, that this process may not read, or of which the server holds a value of
/// this device and one of none without anything that says which is meant.
std::vector<TSFoundValue> FindValues(TCToolContext& Context, std::vector<std::string> const& Names,
                                     TSPlaceOptions const& Options);

}  // namespace Property
