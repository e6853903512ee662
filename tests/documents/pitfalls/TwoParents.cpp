// SPDX-License-Identifier: MIT
// A schema that links a node that has a parent.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Level("Level", 4001, "A level", 4000, 0x10);
Property::TCPropertyLink LevelOfDevice(Level, Device);

}  // namespace
