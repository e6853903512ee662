// SPDX-License-Identifier: MIT
// Answers the requests for values.
#pragma once

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCPropertyValues.h"
#include "PropertyServer/TCValueRecords.h"

namespace Property {

/// Answers requests of the property mail class from the values in memory. Used by the thread of
/// the values, to which it refers.
class TCPropertyRequests {
 public:
  explicit TCPropertyRequests(TCPropertyValues& Values) : m_Values(Values) {}

  static bool IsKnown(TSNorvMailContent const& Request);
  /// Answers a known request. Throws TCException when it is malformed.
  TSNorvMailContent Answer(TSNorvMailSender const& Sender, TSNorvMailContent const& Request);

 private:
  TCPropertyValues& m_Values;
  TCValueRecords m_Records;
};

}  // namespace Property
