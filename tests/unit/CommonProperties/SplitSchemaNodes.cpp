// SPDX-License-Identifier: MIT
// The nodes of the split schema, constructed before or after what is declared about them.
#include "CommonProperties/TCPropertyLink.h"
#include "SplitSchema.h"

using Accessories::TCNullTypes;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;

TCPropertyContainer SplitDevice("Device", 100, "", 3);
TCPropertyGroup SplitGroup("Group", 101, "", false);
TCPropertyID SplitMode("Mode", 110, "", 101, 0x20);
TCPropertyID SplitCount("Count", 120, "", 101, 0x10, 5);
TCPropertyID SplitName("Name", 121, "", TCNullTypes<int>(), 0x20);
TCPropertyDBLookup SplitLookup("Lookup", 122, "", 101, 0x20, 1, "users", true);
namespace {
// Its group stands in the other file.
TCPropertyLink NameLink(SplitName, SplitLateGroup);
}  // namespace
