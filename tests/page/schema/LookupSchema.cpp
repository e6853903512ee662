// SPDX-License-Identifier: MIT
// A schema library with a table of rooms, of which other fields have an entry.
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"

using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyLink;

namespace {

constexpr int kInteger = 0x10;
constexpr int kText = 0x20;
constexpr int kDeviceClass = 1;
constexpr int kRooms = 20;
constexpr int kNoTable = 99;

TCPropertyContainer Device("Device", 1, "Device", kDeviceClass);
TCPropertyGroup Heating("Heating", 10, "Heating", false);
TCPropertyLink HeatingOfDevice(Heating, Device);
TCPropertyGroup Rooms("Rooms", kRooms, "Rooms", false);
TCPropertyLink RoomsOfDevice(Rooms, Device);

TCPropertyDBLookup Guide("Guide", 11, "Room that decides", 10, kText, kRooms, "RoomName", true);
TCPropertyDBLookup Use("Use", 12, "Use that decides", 10, kText, kRooms, "RoomUse", false);
TCPropertyDBLookup Sensor("Sensor", 13, "Sensor", 10, kText, kNoTable, "name", true);
TCPropertyDBLookup Column("Column", 14, "Of no column", 10, kText, kRooms, "Nothing", true);
TCPropertyID RoomName("RoomName", 21, "Name of the room", kRooms, kText);
TCPropertyID RoomUse("RoomUse", 22, "Use of the room", kRooms, kInteger);
TCPropertyChoice UseOffice("Office", "Office", 221, true, &RoomUse, "office");
TCPropertyChoice UseStore("Store", "Store", 222, false, &RoomUse, "store");

}  // namespace
