// SPDX-License-Identifier: MIT
// The properties of a boiler that programs and other files of the schema name.
#pragma once

#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"

namespace Boiler {

extern Property::TCPropertyGroup Group_Water;

extern Property::TCPropertyID Prop_Enabled;
extern Property::TCPropertyID Prop_Season;
extern Property::TCPropertyID Prop_FlowLimit;
extern Property::TCPropertyID Prop_OutdoorOffset;
extern Property::TCPropertyID Prop_Label;
extern Property::TCPropertyDBLookup Prop_OutdoorSensor;
extern Property::TCPropertyID Prop_WaterTemperature;
extern Property::TCPropertyID Prop_ServiceCode;
extern Property::TCPropertyID Prop_CircuitName;
extern Property::TCPropertyID Prop_BuildingName;

extern Property::TCPropertyChoiceID Choice_Summer;

}  // namespace Boiler
