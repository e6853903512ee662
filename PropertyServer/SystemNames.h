// SPDX-License-Identifier: MIT
// Finds users and groups by their names or numbers.
#pragma once

#include <optional>
#include <string>

namespace Property {

/// Nothing when the system has no user of the name. A number is taken as it is, whether the system
/// knows it or not. Throws std::system_error when the system can not tell.
std::optional<unsigned> FindUser(std::string const& Name);
/// The same for a group.
std::optional<unsigned> FindGroup(std::string const& Name);

}  // namespace Property
