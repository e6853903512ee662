// SPDX-License-Identifier: MIT
// A schema with a field that has no type.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Level("Level", 4001, "A level", 4000, 0x04);

}  // namespace
