// SPDX-License-Identifier: MIT
// What the handles of the C interface are.
#pragma once

#include <string>

#include "Bindings/C/property.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Utility/TCRecordID.h"

/// Of the one store; there is nothing in it.
struct property_store {};

/// Never changes.
struct property_value {
  Property::TCPropertyID const* Field;
  Accessories::TCRecordID Record;
  std::string Device;  // empty for the current one
  std::string Path;
};

namespace Property::C {

/// For the program, which gives it back by property_free_value.
property_value* NewValue(TCPropertyID const& Field, Accessories::TCRecordID const& Record,
                         std::string const& Device);
property_value* NewValue(TCPropertyKey const& Key);

/// Where it is now: an empty device becomes that of the caller.
TCPropertyKey KeyOfValue(property_value const& Value);

/// Throws TCBorderFailure when the field is of another type.
void RequireType(TCPropertyID const& Field, property_type Type);
property_type TypeOf(TCPropertyID const& Field);

// What a value of the field reads as. They throw TCBorderFailure for a field of another type.

int ReadInt(TCCommonPropertyObject const& Value);
int ReadBool(TCCommonPropertyObject const& Value);
int ReadChoice(TCCommonPropertyObject const& Value);

}  // namespace Property::C
