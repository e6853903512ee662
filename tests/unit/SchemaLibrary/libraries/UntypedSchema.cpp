// SPDX-License-Identifier: MIT
// Loads, but its schema cannot be completed: the field has no type.
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyID Untyped("Untyped", 300, "Untyped", {}, 0);

}  // namespace
