// SPDX-License-Identifier: MIT
// A schema with a show control that neither shows nor hides.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyShowControl.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Level("Level", 4001, "A level", 4000, 0x10);
Property::TCPropertyShowControl ShowLevel(&Level);

}  // namespace
