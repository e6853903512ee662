// SPDX-License-Identifier: MIT
// A mail that the property server has decided on.
#pragma once

#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCValueQuota.h"
#include "PropertyServer/TSHistoryEntry.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// What a mail changes, or asked to change when it was refused.
struct TSTakenMail {
  TSNorvReceivedMail Mail;
  std::vector<TSPropertyRecord> Changes;
  bool Refused = false;
  bool InEffect = false;  ///< everybody has been told
  TSProvenance Origin;
  std::vector<TSHistoryEntry> History;
  TSValueCount Growth = {};
};

}  // namespace Property
