// SPDX-License-Identifier: MIT
// Who has changed what, in JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "ServerClient/ControlRecords.h"

namespace Property {

/// Sets transaction, time, user, user_name, process and program; null for what is not known.
void SetWriter(nlohmann::ordered_json& Object, TSWriter const& Writer);

/// Sets the member to the text, or to null where there is none.
void SetTextOrNull(nlohmann::ordered_json& Object, std::string const& Name,
                   std::optional<std::string> const& Text);

}  // namespace Property
