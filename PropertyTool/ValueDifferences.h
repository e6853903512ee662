// SPDX-License-Identifier: MIT
// What differs between two states of the values.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "PropertyTool/TCToolContext.h"
#include "ServerClient/TSPropertyPlace.h"

namespace Property {

/// Null where there is a secret whose text is not known.
using TCValueState = std::map<TSPropertyPlace, std::optional<std::string>>;

/// Null texts: there is no value.
struct TSValueDifference {
  TSPropertyPlace Place;
  std::optional<std::string> Former;
  std::optional<std::string> Data;
};

/// In the order of the places. What is secret, and not known, in either state is left out, and so
/// is what only `Former` has unless `WithMissing`.
std::vector<TSValueDifference> Compare(TCValueState const& Former, TCValueState const& State,
                                       bool WithMissing);

/// The server's values.
TCValueState AskForState(TCToolContext& Context);

/// One line each: "+" what appears, "-" what vanishes, "~" what becomes another.
void Show(TCToolContext& Context, std::vector<TSValueDifference> const& Differences);
/// An array of objects: place, secret, former and value.
nlohmann::ordered_json AsJSON(TCToolContext& Context,
                              std::vector<TSValueDifference> const& Differences);

}  // namespace Property
