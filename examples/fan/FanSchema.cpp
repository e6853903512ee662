// SPDX-License-Identifier: MIT
// Declares the properties of the fan: static objects, which enter themselves into the schema.
#include "FanSchema.h"

#include <algorithm>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"

using Property::TCCommonPropertyObject;
using Property::TCPropertyChoice;
using Property::TCPropertyChoiceID;
using Property::TCPropertyContainer;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;
using Property::TCValidRegexPropertySettings;

namespace Fan {

namespace {

constexpr int kAdvanced = 0x04;
constexpr int kBoolean = 0x08;
constexpr int kInteger = 0x10;
constexpr int kText = 0x20;

constexpr int kDeviceClass = 1;    // one value a device
constexpr int kDeviceRecords = 3;  // one value a device and record
constexpr int kSystemClass = 2;    // one value for all devices

TCPropertyContainer Climate("Climate", 1500, "Climate of the cabinet", kDeviceClass);
TCPropertyGroup Control("Control", 1510, "Control of the fan", false);
TCPropertyLink ControlOfClimate(Control, Climate);

}  // namespace

TCPropertyID Prop_Temperature("Temperature", 1501, "Temperature in degrees", Climate.get_Number(),
                              kInteger, 20);
TCPropertyID Prop_Running("Running", 1503, "The fan runs", Climate.get_Number(), kBoolean, false);
TCPropertyID Prop_Mode("Mode", 1511, "When the fan runs", Control.get_Number(), kInteger);
TCPropertyID Prop_Limit("Limit", 1502, "The fan runs from so many degrees on", Control.get_Number(),
                        kInteger | kAdvanced, 40);

namespace {

TCPropertyChoice Automatic("Automatic", "As it is hot", 15111, true, &Prop_Mode, "automatic");
TCPropertyChoice On("On", "Always", 15112, false, &Prop_Mode, "on");

// Without a pattern of its own an integer field takes digits only: nothing below zero.
TCValidRegexPropertySettings PatternOfTemperature(&Prop_Temperature, "^-?[0-9]+$");

TCPropertyContainer Sensor("Sensor", 1600, "Temperature sensor", kDeviceRecords);
TCPropertyContainer Site("Site", 1700, "Site", kSystemClass);

}  // namespace

TCPropertyID Prop_SensorName("SensorName", 1601, "Where it is", Sensor.get_Number(), kText);
TCPropertyID Prop_SiteName("SiteName", 1701, "Name of the site", Site.get_Number(), kText, "home");

// How programs name choices. The number is looked up when the schema is completed.
TCPropertyChoiceID Choice_Automatic("Fan", 15111, "Mode automatic");
TCPropertyChoiceID Choice_On("Fan", 15112, "Mode on");

namespace {

void CorrectLimit(TCCommonPropertyObject& Value) {
  Value = std::clamp(Value.get_AsInteger(), 10, 80);
}

}  // namespace

void InstallValidators() {
  SetPropertyValidation(Prop_Limit, CorrectLimit);
}

}  // namespace Fan
