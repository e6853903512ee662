// SPDX-License-Identifier: MIT
// What a fan and the programs around it share.
#pragma once

#include "CommonProperties/TCPropertyID.h"

namespace Fan {

extern Property::TCPropertyID Prop_Temperature;  // degrees, written by a sensor's program
extern Property::TCPropertyID Prop_Limit;        // degrees from which on the fan runs
extern Property::TCPropertyID Prop_Running;      // written by the fan's program

}  // namespace Fan
