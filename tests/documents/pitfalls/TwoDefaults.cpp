// SPDX-License-Identifier: MIT
// A schema with two default choices, one behind the other.
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Mode("Mode", 4001, "A mode", 4000, 0x10);
Property::TCPropertyChoice On("On", "Always", 40011, true, &Mode, "on");
Property::TCPropertyChoice Off("Off", "Never", 40012, true, &Mode, "off");

}  // namespace
