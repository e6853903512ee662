// SPDX-License-Identifier: MIT
// Sees to it that the values together stay within their limits.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "PropertyServer/TCServerConfiguration.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// How many values there are, or by how many a mail makes them more, and the bytes of their texts.
struct TSValueCount {
  std::int64_t Values = 0;
  std::int64_t Bytes = 0;

  TSValueCount& operator+=(TSValueCount const& Other) {
    Values += Other.Values;
    Bytes += Other.Bytes;
    return *this;
  }
  TSValueCount& operator-=(TSValueCount const& Other) {
    Values -= Other.Values;
    Bytes -= Other.Bytes;
    return *this;
  }
};

/// How many values these are. Those that are to be removed do not count.
TSValueCount CountOf(std::vector<TSPropertyRecord> const& Values);
/// By how much changes make the values more, each in the place of a former text; null where there
/// is none. A place that is named twice in `Changes` counts twice.
TSValueCount GrowthBy(std::vector<TSPropertyRecord> const& Changes,
                      std::vector<std::string const*> const& Former);

/// Counts what mails that were taken and are not in effect will make of the values, and decides on
/// the next one. What makes the values no more is never refused, even where they are too many.
class TCValueQuota {
 public:
  /// Why `Growth` is too much beside what there is and what comes; empty when it is not.
  std::string ReasonAgainst(TSValueCount const& Growth, TSValueCount Present,
                            TSServerLimits const& Limits) const;
  void Wait(TSValueCount const& Growth) { m_Coming += Growth; }
  void TakeEffect(TSValueCount const& Growth) { m_Coming -= Growth; }

 private:
  TSValueCount m_Coming;
};

}  // namespace Property
