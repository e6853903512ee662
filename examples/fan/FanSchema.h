// SPDX-License-Identifier: MIT
// What the fan of a cabinet and the programs around it share.
#pragma once

#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyID.h"

namespace Fan {

// One value a device.
extern Property::TCPropertyID Prop_Temperature;  // degrees, written by a sensor's program
extern Property::TCPropertyID Prop_Running;      // written by the fan's program
extern Property::TCPropertyID Prop_Mode;
extern Property::TCPropertyID Prop_Limit;  // degrees from which on the fan runs

extern Property::TCPropertyChoiceID Choice_Automatic;
extern Property::TCPropertyChoiceID Choice_On;

// One value a device and sensor; the record is the sensor's number.
extern Property::TCPropertyID Prop_SensorName;

// One value for all devices.
extern Property::TCPropertyID Prop_SiteName;

/// Has reads correct what the fan cannot work with. To be called once, when the store is there.
void InstallValidators();

}  // namespace Fan
