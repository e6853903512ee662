// SPDX-License-Identifier: MIT
// The value that a property has now, wherever it comes from.
#pragma once

#include <optional>
#include <string>

#include "PropertyTool/TCToolContext.h"

namespace Property {

/// What a property reads as: the stored text, else its default.
struct TSCurrentValue {
  std::optional<std::string> Data;  ///< null where there is neither
  bool IsDefault = false;           ///< the server holds none, or an empty one
};

/// Asks the server. Where nobody has said whose value is meant, it is this device's own, else that
/// of no device, and `Target` says so from then on. Throws TCToolFailure when the server holds
/// both.
TSCurrentValue AskForCurrent(TCToolContext& Context, TSTarget& Target);

/// What `Stored` makes of the property.
TSCurrentValue CurrentOf(TCPropertyID const* Field, std::optional<std::string> const& Stored);

}  // namespace Property
