// SPDX-License-Identifier: MIT
// Prints which fields and choices a boiler's nodes govern, as a user interface would ask.
#include <iostream>

#include "BoilerSchema.h"
#include "CommonProperties/TCPropertyDependency.h"

using Property::TCPropertyDependency;
using Property::TCPropertyDependencyEntry;

namespace {

void Print(Property::TCBasicPropertyID const& Source) {
  auto const Found = TCPropertyDependency::m_List->find(&Source);
  if (Found == TCPropertyDependency::m_List->end()) {
    return;  // it governs nothing
  }
  TCPropertyDependencyEntry const Root = Found->second->GetDependency();
  for (TCPropertyDependencyEntry const& Entry : Root.get_Entries()) {
    auto const& Value = Entry.get_Value();
    std::cout << Source.get_Name() << ": " << Entry.get_ID().get_Value() << " "
              << (Value.IsNull() ? "any value" : Value.get_Value()) << std::endl;
  }
}

}  // namespace

int main() {
  Property::TCBasicPropertyID::Initialize();
  for (auto const& [Number, Node] : *Property::TCBasicPropertyID::m_List) {
    Print(*Node);
  }
  return 0;
}
