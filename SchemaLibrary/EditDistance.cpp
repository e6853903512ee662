// SPDX-License-Identifier: MIT
// The table of distances between beginnings, of which only three rows are kept.
#include "SchemaLibrary/EditDistance.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace Property {

namespace {

using TRow = std::vector<std::size_t>;  // by the length of the beginning of the right text

std::size_t Difference(std::size_t Left, std::size_t Right) {
  return Left > Right ? Left - Right : Right - Left;
}

// Fills the row of the beginning of `Left` that ends with its character `Place`, and answers the
// least distance in it.
std::size_t FillRow(std::string_view Left, std::string_view Right, std::size_t Place,
                    TRow const& Before, TRow const& Last, TRow& Row) {
  Row[0] = Place + 1;
  std::size_t Least = Row[0];
  for (std::size_t Other = 0; Other < Right.size(); ++Other) {
    std::size_t const Replaced = Last[Other] + (Left[Place] == Right[Other] ? 0 : 1);
    std::size_t Best = std::min({Replaced, Last[Other + 1] + 1, Row[Other] + 1});
    bool const Exchanged = Place > 0 && Other > 0 && Left[Place] == Right[Other - 1] &&
                           Left[Place - 1] == Right[Other];
    if (Exchanged) {
      Best = std::min(Best, Before[Other - 1] + 1);
    }
    Row[Other + 1] = Best;
    Least = std::min(Least, Best);
  }
  return Least;
}

}  // namespace

std::size_t EditDistance(std::string_view Left, std::string_view Right, std::size_t Limit) {
  if (Difference(Left.size(), Right.size()) > Limit) {
    return Limit + 1;
  }
  TRow Before(Right.size() + 1);
  TRow Last(Right.size() + 1);
  TRow Row(Right.size() + 1);
  for (std::size_t Other = 0; Other <= Right.size(); ++Other) {
    Last[Other] = Other;
  }
  std::size_t LeastBefore = 0;
  for (std::size_t Place = 0; Place < Left.size(); ++Place) {
    std::size_t const Least = FillRow(Left, Right, Place, Before, Last, Row);
    // An exchange reaches back two rows, so both have to be beyond the limit.
    if (Least > Limit && LeastBefore > Limit) {
      return Limit + 1;
    }
    LeastBefore = Least;
    std::swap(Before, Last);
    std::swap(Last, Row);
  }
  return std::min(Last[Right.size()], Limit + 1);
}

}  // namespace Property
