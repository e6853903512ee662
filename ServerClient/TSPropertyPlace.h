// SPDX-License-Identifier: MIT
// Where a value belongs, and the value that stands there.
#pragma once

#include <string>
#include <tuple>

namespace Property {

/// Plain texts, as they travel: a link in decimal digits, a MAC address with ":"; empty for none.
struct TSPropertyPlace {
  int Number = 0;
  std::string Link;
  std::string MAC;

  bool operator==(TSPropertyPlace const& Right) const {
    return Number == Right.Number && Link == Right.Link && MAC == Right.MAC;
  }
  bool operator!=(TSPropertyPlace const& Right) const { return !(*this == Right); }
  /// By number, then by record as a number, then by device.
  bool operator<(TSPropertyPlace const& Right) const {
    return std::forward_as_tuple(Number, Link.size(), Link, MAC) <
           std::forward_as_tuple(Right.Number, Right.Link.size(), Right.Link, Right.MAC);
  }
};

struct TSPropertyValue {
  TSPropertyPlace Place;
  std::string Data;  ///< the stored text
};

}  // namespace Property
