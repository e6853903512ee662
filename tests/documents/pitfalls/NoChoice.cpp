// SPDX-License-Identifier: MIT
// A schema that names a field as if it were a choice.
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"

namespace {

Property::TCPropertyContainer Device("Device", 4000, "This device", 1);
Property::TCPropertyID Level("Level", 4001, "A level", 4000, 0x10);
Property::TCPropertyChoiceID Choice_Level("Device", 4001, "Level");

}  // namespace
