// SPDX-License-Identifier: MIT
// Compares what the values would be with what they may be.
#include "PropertyServer/TCValueQuota.h"

namespace Property {
namespace {

bool Exceeds(std::int64_t Growth, std::int64_t Present, std::size_t Most) {
  return Growth > 0 && Present + Growth > static_cast<std::int64_t>(Most);
}

}  // namespace

TSValueCount CountOf(std::vector<TSPropertyRecord> const& Values) {
  TSValueCount Count;
  for (TSPropertyRecord const& Value : Values) {
    Count.Values += Value.Removed ? 0 : 1;
    Count.Bytes += Value.Removed ? 0 : static_cast<std::int64_t>(Value.Data.size());
  }
  return Count;
}

TSValueCount GrowthBy(std::vector<TSPropertyRecord> const& Changes,
                      std::vector<std::string const*> const& Former) {
  TSValueCount Growth;
  for (std::size_t Index = 0; Index < Changes.size(); ++Index) {
    std::string const* const Before = Former[Index];
    Growth.Values += (Changes[Index].Removed ? 0 : 1) - (Before == nullptr ? 0 : 1);
    Growth.Bytes += static_cast<std::int64_t>(Changes[Index].Data.size());
    Growth.Bytes -= Before == nullptr ? 0 : static_cast<std::int64_t>(Before->size());
  }
  return Growth;
}

std::string TCValueQuota::ReasonAgainst(TSValueCount const& Growth, TSValueCount Present,
                                        TSServerLimits const& Limits) const {
  Present += m_Coming;
  if (Exceeds(Growth.Values, Present.Values, Limits.Values)) {
    return "there would be " + std::to_string(Present.Values + Growth.Values) +
           " values, at most " + std::to_string(Limits.Values) + " are allowed (values)";
  }
  if (Exceeds(Growth.Bytes, Present.Bytes, Limits.Bytes)) {
    return "all values would have " + std::to_string(Present.Bytes + Growth.Bytes) +
           " bytes, at most " + std::to_string(Limits.Bytes) + " are allowed (bytes)";
  }
  return std::string();
}

}  // namespace Property
