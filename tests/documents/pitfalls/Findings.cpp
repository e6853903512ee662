// SPDX-License-Identifier: MIT
// A schema with mistakes that initialisation lets pass.
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"

namespace {

using namespace Property;

TCPropertyContainer Strange("Strange", 4000, "Of a class that nobody knows", 6);
TCPropertyContainer Device("Device", 4100, "This device", 1);
TCPropertyGroup Lost("Lost", 4110, "A group in no container", false);

extern TCPropertyContainer Later;
TCPropertyID Early("Early", 4200, "Above its container", Later.get_Number(), 0x10);
TCPropertyContainer Later("Later", 4300, "A container", 1);

TCPropertyID Inner("Inner", 4201, "A field in a field", 4202, 0x10);
TCPropertyID Outer("Outer", 4202, "A field", 4300, 0x10);

TCPropertyID Offset("Offset", 4101, "May be negative", 4100, 0x10, -5);
TCPropertyID Port("Port", 4102, "A port", 4100, 0x10);
TCValidRegexPropertySettings PatternOfPort(&Port, "^[0-9+$");

TCPropertyID Mode("Mode", 4103, "A mode", 4100, 0x10, 7);
TCPropertyChoice On("On", "Always", 41031, true, &Mode, "on");
TCPropertyChoice Off("Off", "Never", 41032, false, &Mode, "on");
TCPropertyChoice Auto("Auto", "As needed", 41033, true, &Mode, "auto");

TCPropertyID Again("Port", 4104, "Another one of this name", 4100, 0x10);
TCPropertyID Slash("In/Out", 4105, "A name with a slash", 4100, 0x10);
TCPropertyID Number("42", 4106, "A name that is a number", 4100, 0x10);

TCPropertyDependency LostOfMode(&Mode, &Lost, 1);

}  // namespace
