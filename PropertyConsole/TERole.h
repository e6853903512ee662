// SPDX-License-Identifier: MIT
// What a user of the console may do.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Property {

/// Each role may do what those before it may.
enum class TERole {
  eViewer,         ///< looks at values, secrets aside
  eOperator,       ///< changes them
  eAdministrator,  ///< sees what only administrators may
};

/// "viewer", "operator", "administrator".
std::string RoleName(TERole Role);
/// None for another text.
std::optional<TERole> FindRole(std::string_view Name);

}  // namespace Property
