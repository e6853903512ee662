// SPDX-License-Identifier: MIT
// One stored property value, as the server hands it to and takes it from its database.
#pragma once

#include <string>
#include <tuple>

#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// The text `Data` of the property `Number` for a record (null: none) and a device (empty: none).
/// The data may hold any bytes, zero bytes included.
struct TSPropertyRecord {
  int Number = 0;
  Accessories::TCRecordID Link;
  TCMACAddress MAC;
  std::string Data;
  bool Removed = false;  ///< of a change: there is to be no value
};

/// What a value belongs to. Ordered by number, link (null first) and MAC (empty first).
using TCPropertyPlace = std::tuple<int, Accessories::TCRecordID, TCMACAddress>;

inline TCPropertyPlace PlaceOf(TSPropertyRecord const& Record) {
  return TCPropertyPlace(Record.Number, Record.Link, Record.MAC);
}

}  // namespace Property
