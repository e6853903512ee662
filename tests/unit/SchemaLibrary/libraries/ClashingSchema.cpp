// SPDX-License-Identifier: MIT
// Good by itself, but its number is taken by GoodSchema.cpp.
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyID Contrast("Contrast", 101, "Contrast in percent", {}, 0x10, 50);

}  // namespace
