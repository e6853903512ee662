// SPDX-License-Identifier: MIT
// A question about the past, and a page of its answer.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "PropertyServer/TSHistoryEntry.h"

namespace Property {

/// Which changes are asked for: what is not given does not matter.
struct TSHistoryQuestion {
  static constexpr std::size_t kMostExamined = 10000;                // entries, for one page
  static constexpr std::size_t kMostTexts = std::size_t{256} << 10;  // bytes, after which it ends

  std::optional<int> Number;
  std::optional<Accessories::TCRecordID> Link;
  std::optional<TCMACAddress> MAC;
  std::optional<uid_t> User;
  std::optional<std::string> Program;
  std::optional<std::int64_t> Since;  ///< microseconds since 1970, UTC
  std::optional<std::uint64_t> Transaction;
  long long Before = std::numeric_limits<long long>::max();  ///< a place
  std::size_t Limit = 0;
  std::function<bool(int Number)> MayRead;  ///< of others nothing is told
};

/// Entries with their places, the newest first.
struct TSHistoryPage {
  std::vector<std::pair<long long, TSHistoryEntry>> Entries;
  std::optional<long long> Next;  ///< before which there may be more
};

}  // namespace Property
