// SPDX-License-Identifier: MIT
// Who changed what, and when.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// Who made a change, as the system says it, and when the server took it.
struct TSProvenance {
  std::int64_t Time = 0;  ///< microseconds since 1970, UTC
  uid_t User = 0;
  pid_t Process = 0;
  std::string ProcessName;
};

/// One changed value.
struct TSHistoryEntry {
  std::uint64_t Transaction = 0;  ///< of all values that changed together; counts up
  TSProvenance Origin;
  int Number = 0;
  Accessories::TCRecordID Link;
  TCMACAddress MAC;
  bool Secret = false;              ///< then neither value is kept
  std::optional<std::string> From;  ///< nothing: the server held no value
  std::string To;
  bool Removed = false;      ///< then it has no value any more
  std::uint64_t Undoes = 0;  ///< the transaction that is taken back; 0 for none
  std::size_t Parts = 0;     ///< values of the whole transaction
};

}  // namespace Property
