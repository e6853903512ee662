// SPDX-License-Identifier: MIT
// Puts defaults in the place of values that are not stored.
#include "SchemaLibrary/TSCurrentValue.h"

#include <exception>

#include "CommonProperties/TCPropertyCollection.h"

namespace Property {

std::optional<std::string> DefaultOf(TCPropertyID const& Field) {
  auto const Default = Field.GetDefaultValue();
  if (Default.IsNull()) {
    return std::nullopt;
  }
  return Default.get_Value();
}

TSCurrentValue CurrentOf(TCPropertyID const* Field, std::optional<std::string> const& Stored) {
  if (Field != nullptr && (!Stored || Stored->empty())) {
    if (auto const Default = DefaultOf(*Field)) {
      return {Default, true};
    }
  }
  return {Stored, false};
}

bool IsOfDevices(TCPropertyID const& Field) {
  try {
    return !TCPropertyCollection::IsSystemWideProperty(Field);
  } catch (std::exception const&) {
    return false;
  }
}

}  // namespace Property
