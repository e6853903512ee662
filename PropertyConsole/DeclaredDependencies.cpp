// SPDX-License-Identifier: MIT
// Reads the registry of dependencies.
#include "PropertyConsole/DeclaredDependencies.h"

#include <algorithm>
#include <utility>

#include "CommonProperties/TCPropertyDependency.h"

namespace Property {

std::vector<TSDeclaredDependency> DeclaredDependencies() {
  std::vector<TSDeclaredDependency> Declared;
  if (TCPropertyDependency::m_List == nullptr) {
    return Declared;
  }
  for (auto const& [Source, Dependency] : *TCPropertyDependency::m_List) {
    for (TCPropertyDependency::TCMember const& Member : Dependency->get_Members()) {
      if (Member.get_Target() != nullptr) {
        Declared.push_back({Source, Member.get_Target(), Dependency->get_Mode(),
                            Member.get_Value().IsNull()
                                ? std::nullopt
                                : std::optional(Member.get_Value().get_Value())});
      }
    }
  }
  auto const NumbersOf = [](TSDeclaredDependency const& One) {
    return std::pair(One.Source->get_Number(), One.Target->get_Number());
  };
  std::stable_sort(
      Declared.begin(), Declared.end(),
      [&NumbersOf](TSDeclaredDependency const& Left, TSDeclaredDependency const& Right) {
        return NumbersOf(Left) < NumbersOf(Right);
      });
  return Declared;
}

}  // namespace Property
