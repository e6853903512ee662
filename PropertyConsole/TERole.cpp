// SPDX-License-Identifier: MIT
// Names of roles.
#include "PropertyConsole/TERole.h"

#include <array>
#include <utility>

namespace Property {
namespace {

constexpr std::array<std::pair<TERole, std::string_view>, 3> kRoles = {
    {{TERole::eViewer, "viewer"},
     {TERole::eOperator, "operator"},
     {TERole::eAdministrator, "administrator"}}};

}  // namespace

std::string RoleName(TERole Role) {
  for (auto const& [Known, Name] : kRoles) {
    if (Known == Role) {
      return std::string(Name);
    }
  }
  return std::string();
}

std::optional<TERole> FindRole(std::string_view Name) {
  for (auto const& [Role, Known] : kRoles) {
    if (Known == Name) {
      return Role;
    }
  }
  return std::nullopt;
}

}  // namespace Property
