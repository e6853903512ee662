// SPDX-License-Identifier: MIT
// Property numbers as the configuration names them.
#pragma once

#include <algorithm>
#include <vector>

namespace Property {

/// Property numbers, both ends included.
struct TSPropertyRange {
  int First = 0;
  int Last = 0;
};

inline bool operator==(TSPropertyRange const& Left, TSPropertyRange const& Right) {
  return Left.First == Right.First && Left.Last == Right.Last;
}

/// Whether one of `Ranges`, which are sorted and disjoint, has the number.
inline bool Contains(std::vector<TSPropertyRange> const& Ranges, int Number) {
  auto const Range =
      std::lower_bound(Ranges.begin(), Ranges.end(), Number,
                       [](TSPropertyRange const& Left, int Right) { return Left.Last < Right; });
  return Range != Ranges.end() && Range->First <= Number;
}

/// All numbers that either has, in as few ranges as can be, sorted and disjoint.
inline std::vector<TSPropertyRange> Unite(std::vector<TSPropertyRange> Ranges,
                                          std::vector<TSPropertyRange> const& Others) {
  Ranges.insert(Ranges.end(), Others.begin(), Others.end());
  std::sort(Ranges.begin(), Ranges.end(),
            [](auto const& Left, auto const& Right) { return Left.First < Right.First; });
  std::vector<TSPropertyRange> United;
  for (TSPropertyRange const& Range : Ranges) {
    if (!United.empty() && static_cast<long long>(Range.First) <= United.back().Last + 1LL) {
      United.back().Last = std::max(United.back().Last, Range.Last);
    } else {
      United.push_back(Range);
    }
  }
  return United;
}

}  // namespace Property
