// SPDX-License-Identifier: MIT
// A schema that uses a number twice.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Alpha("Alpha", 4001, "The first", 4000, 0x10);
Property::TCPropertyID Beta("Beta", 4001, "The second", 4000, 0x20);

}  // namespace
