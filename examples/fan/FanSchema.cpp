// SPDX-License-Identifier: MIT
// Declares the properties of the fan: one value a device.
#include "FanSchema.h"

#include "CommonProperties/TCPropertyContainer.h"

using Property::TCPropertyContainer;
using Property::TCPropertyID;

namespace Fan {

namespace {

constexpr int kBoolean = 0x08;
constexpr int kInteger = 0x10;
constexpr int kDeviceClass = 1;

TCPropertyContainer Climate("Climate", 1500, "Climate of the cabinet", kDeviceClass);

}  // namespace

TCPropertyID Prop_Temperature("Temperature", 1501, "Temperature in degrees", Climate.get_Number(),
                              kInteger, 20);
TCPropertyID Prop_Limit("Limit", 1502, "The fan runs from so many degrees on", Climate.get_Number(),
                        kInteger, 40);
TCPropertyID Prop_Running("Running", 1503, "The fan runs", Climate.get_Number(), kBoolean, false);

}  // namespace Fan
