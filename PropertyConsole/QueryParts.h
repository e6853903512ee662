// SPDX-License-Identifier: MIT
// Parts of a request's query, checked.
#pragma once

#include <optional>
#include <set>
#include <string>

#include "PropertyConsole/TSRequest.h"

namespace Property {

/// A whole number in decimal digits, with a sign where it is negative; none for another text.
std::optional<long long> ReadNumber(std::string const& Text);

/// Reads what follows the "?" of an address. The first thing that is wrong with it is kept: look at
/// IsWrong() before using what was read. Refers to the request.
class TCQueryParts {
 public:
  /// A name that is not among `Known` is wrong.
  TCQueryParts(TSRequest const& Request, std::set<std::string> const& Known);

  /// A number within bounds; none where the part is missing.
  std::optional<long long> Number(std::string const& Name, long long Least, long long Most);
  /// The address of a device, as the store writes it; "" where the part is missing.
  std::string Device(std::string const& Name);

  bool IsWrong() const { return m_Problem.has_value(); }
  TSAnswer const& get_Problem() const { return *m_Problem; }

 private:
  void Refuse(std::string const& Message);

  TSRequest const& m_Request;
  std::optional<TSAnswer> m_Problem;
};

}  // namespace Property
