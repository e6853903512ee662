// SPDX-License-Identifier: MIT
// A schema library as it should be.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyContainer Device("Device", 100, "Device", 1);
Property::TCPropertyID Brightness("Brightness", 101, "Brightness in percent", 100, 0x10, 80);

}  // namespace
