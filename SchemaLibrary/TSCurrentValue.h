// SPDX-License-Identifier: MIT
// What a property reads as, wherever that comes from.
#pragma once

#include <optional>
#include <string>

#include "CommonProperties/TCPropertyID.h"

namespace Property {

/// The stored text, else the default. A plain value.
struct TSCurrentValue {
  std::optional<std::string> Data;  ///< null where there is neither
  bool IsDefault = false;           ///< none is stored, or an empty one
};

/// What `Stored` makes of the property. Null for a field that no schema knows, and for no text.
TSCurrentValue CurrentOf(TCPropertyID const* Field, std::optional<std::string> const& Stored);

/// The text of a value that is not stored; null without a default.
std::optional<std::string> DefaultOf(TCPropertyID const& Field);

/// Whether each device has a value of its own. A field without a class, which would say so, belongs
/// to no device.
bool IsOfDevices(TCPropertyID const& Field);

}  // namespace Property
