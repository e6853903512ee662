// SPDX-License-Identifier: MIT
// What a request asks to have changed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PropertyConsole/TSRequest.h"

namespace Property {

/// A number that need not be a property's yet.
struct TSWantedChange {
  int Number = 0;
  std::optional<int> Record;
  std::optional<std::string> Data;  ///< null: to be reset
};

struct TSTransaction {
  std::string Device;    ///< as the store writes it; empty for this one
  std::string Revision;  ///< that the user has seen
  std::vector<TSWantedChange> Changes;
  std::optional<int> ConfirmWithin;  ///< seconds
};

/// The transaction that a request brings, each place once and within limits; none, and `Wrong` is
/// set, when it brings something else.
std::optional<TSTransaction> ReadTransaction(TSRequest const& Request, TSAnswer& Wrong);

}  // namespace Property
