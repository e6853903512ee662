// SPDX-License-Identifier: MIT
// Values for the page.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>

#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TERole.h"

namespace Property {

/// Whose eyes a text is for: what is secret, and whether they may see it.
struct TSViewer {
  std::set<int> Secrets;  ///< numbers
  bool SeesSecrets = false;

  bool Hides(int Number) const { return !SeesSecrets && Secrets.count(Number) != 0; }
};

/// Administrators see secrets.
TSViewer ViewerOf(TERole Role, std::set<int> Secrets);

/// Sets the member to the number, or to null.
void SetNumber(nlohmann::ordered_json& Object, char const* Name,
               std::optional<long long> const& Number);

/// number, record, secret, value and source.
nlohmann::ordered_json ValueAsJSON(TSStoreValue const& Value, TSViewer const& Viewer);

/// A list of them.
nlohmann::ordered_json ValuesAsJSON(std::vector<TSStoreValue> const& Values,
                                    TSViewer const& Viewer);

}  // namespace Property
