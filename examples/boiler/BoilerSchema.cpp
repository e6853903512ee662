// SPDX-License-Identifier: MIT
// Declares the properties of a boiler, with every kind of node that there is.
#include "BoilerSchema.h"

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"

using Property::TCPropertyChoice;
using Property::TCPropertyChoiceID;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyDependency;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;
using Property::TCValidRegexPropertySettings;

namespace Boiler {

namespace {

constexpr int kHidden = 0x01;
constexpr int kAdvanced = 0x04;
constexpr int kBoolean = 0x08;
constexpr int kInteger = 0x10;
constexpr int kText = 0x20;

constexpr int kDeviceClass = 1;    // one value a device
constexpr int kCircuitClass = 3;   // one value a device and record
constexpr int kBuildingClass = 2;  // one value for all devices

constexpr int kSensorTable = 4;

constexpr int kOthers = 0;  // the modes of dependencies
constexpr int kSame = 1;

TCPropertyContainer Heating("Heating", 3000, "The boiler", kDeviceClass);
TCPropertyContainer Circuit("Circuit", 3500, "A heating circuit", kCircuitClass);
TCPropertyContainer Building("Building", 3600, "The building", kBuildingClass);

}  // namespace

TCPropertyGroup Group_Water("Water", 3100, "Hot water", false);

namespace {

TCPropertyGroup Service("Service", 3200, "For the service technician", true);

TCPropertyLink WaterOfHeating(Group_Water, Heating);
TCPropertyLink ServiceOfHeating(Service, Heating);

}  // namespace

TCPropertyID Prop_Enabled("Enabled", 3001, "The boiler heats", Heating.get_Number(), kBoolean,
                          true);
TCPropertyID Prop_Season("Season", 3002, "What it heats for", Heating.get_Number(), kInteger);
TCPropertyID Prop_FlowLimit("FlowLimit", 3003, "Highest temperature of the flow",
                            Heating.get_Number(), kInteger | kAdvanced, 75);
TCPropertyID Prop_OutdoorOffset("OutdoorOffset", 3004, "Correction of the outdoor sensor",
                                Heating.get_Number(), kInteger, -2);
TCPropertyID Prop_Label("Label", 3005, "Text on the display", Heating.get_Number(), kText,
                        "Boiler");
TCPropertyDBLookup Prop_OutdoorSensor("OutdoorSensor", 3006, "Outdoor sensor", Heating.get_Number(),
                                      kText, kSensorTable, "name", true);
TCPropertyID Prop_WaterTemperature("WaterTemperature", 3101, "Temperature of the hot water",
                                   Group_Water.get_Number(), kInteger, 55);
TCPropertyID Prop_ServiceCode("ServiceCode", 3201, "Code of the technician", Service.get_Number(),
                              kText | kHidden);
TCPropertyID Prop_CircuitName("CircuitName", 3501, "What it heats", Circuit.get_Number(), kText);
TCPropertyID Prop_BuildingName("BuildingName", 3601, "Name of the building", Building.get_Number(),
                               kText);

namespace {

TCPropertyChoice Winter("Winter", "Rooms and water", 30021, true, &Prop_Season, "winter");
TCPropertyChoice Summer("Summer", "Water only", 30022, false, &Prop_Season, "summer");
TCPropertyChoice Away("Away", "Nothing but frost protection", 30023, false, &Prop_Season, 0);

}  // namespace

TCPropertyChoiceID Choice_Summer("Boiler", 30022, "Season summer");

namespace {

TCValidRegexPropertySettings PatternOfOffset(&Prop_OutdoorOffset, "^-?[0-9]$");
TCValidRegexPropertySettings PatternOfLabel(&Prop_Label, "^.{1,20}$");

// The limit counts in winter, the water's temperature while the boiler heats, and whoever has an
// outdoor sensor may choose any season but Away.
TCPropertyDependency LimitOfWinter(&Winter, &Prop_FlowLimit, kSame);
TCPropertyDependency WaterOfEnabled(&Prop_Enabled, &Prop_WaterTemperature, true, kSame);
TCPropertyDependency SeasonsOfSensor(&Prop_OutdoorSensor, &Away, kOthers);

}  // namespace

}  // namespace Boiler
