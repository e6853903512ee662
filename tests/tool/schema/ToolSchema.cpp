// SPDX-License-Identifier: MIT
// A schema library for the tests of the command: one of each kind of property.
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"

using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyDependency;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;
using Property::TCValidRegexPropertySettings;

namespace {

constexpr int kHidden = 0x01;
constexpr int kAdvanced = 0x04;
constexpr int kBoolean = 0x08;
constexpr int kInteger = 0x10;
constexpr int kText = 0x20;
constexpr int kDeviceClass = 1;
constexpr int kPolicyClass = 2;
constexpr int kUserClass = 5;

TCPropertyContainer Device("Device", 100, "Device", kDeviceClass);
TCPropertyGroup Display("Display", 110, "Display of the device", false);
TCPropertyLink DisplayOfDevice(Display, Device);
TCPropertyID Brightness("Brightness", 111, "Brightness in percent", 110, kInteger, 80);
TCPropertyID Mode("Mode", 112, "When the display is on", 110, kInteger);
TCPropertyChoice Day("Day", "By day", 1121, true, &Mode, "day");
TCPropertyChoice Night("Night", "By night", 1122, false, &Mode, "night");
TCPropertyChoice Always("Always", "Day and night", 1123, false, &Mode, "always");
TCPropertyID Name("Name", 113, "Name on the display", 110, kText, "Unit");
TCPropertyID Enabled("Enabled", 114, "Display in use", 110, kBoolean, false);
TCPropertyID ServicePin("ServicePin", 115, "Code of the service", 110, kText | kHidden);
TCPropertyID Contrast("Contrast", 116, "Contrast in percent", 110, kInteger | kAdvanced, 50);
TCPropertyID Host("Host", 117, "Host that it shows", 110, kText);
TCValidRegexPropertySettings PatternOfHost(&Host, "^[a-z]+$");
TCPropertyDependency BrightnessOfEnabled(&Enabled, &Brightness, 1);

TCPropertyContainer Policy("Policy", 200, "Policy", kPolicyClass);
TCPropertyGroup Access("Access", 210, "Access", false);
TCPropertyLink AccessOfPolicy(Access, Policy);
TCPropertyID PinLength("PinLength", 211, "Least digits of a code", 210, kInteger, 6);
TCPropertyID Motto("Motto", 212, "Motto", 210, kText);
TCPropertyID Hostile("Hos\x1b[31mtile", 213, "A name with a control sequence", 210, kText);

TCPropertyContainer User("User", 300, "User", kUserClass);
TCPropertyGroup UserSettings("UserSettings", 310, "User", false);
TCPropertyLink SettingsOfUser(UserSettings, User);
TCPropertyID UserName("UserName", 311, "Name", 310, kText);

}  // namespace
