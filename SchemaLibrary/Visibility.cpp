// SPDX-License-Identifier: MIT
// Reads visibility from a node and its parents.
#include "SchemaLibrary/Visibility.h"

#include "Platform/Utility/PrintableText.h"

namespace Property {
namespace {

constexpr int kDeepest = 64;  // a schema that goes round is not followed for ever

}  // namespace

std::string ReasonOfHiding(TCPropertyID const& Field) {
  TCPropertyID* const Node = TCPropertyID::Find(Field.get_Number());
  if (Node != nullptr && Node->GetShow() == 0) {
    return "it is hidden itself";
  }
  auto Parent = Field.get_Parent();
  for (int Depth = 0; Depth < kDeepest && !Parent.IsNull(); ++Depth) {
    TCBasicPropertyID const* const Above = TCBasicPropertyID::Find(Parent.get_Value());
    if (Above == nullptr) {
      break;
    }
    if (!Above->GetShow()) {
      return PrintableText(Above->get_Name()) + " is hidden, in which it lies";
    }
    Parent = Above->get_Parent();
  }
  return std::string();
}

TEVisibility VisibilityOf(TCPropertyID const& Field) {
  if (!ReasonOfHiding(Field).empty()) {
    return TEVisibility::eHidden;
  }
  TCPropertyID* const Node = TCPropertyID::Find(Field.get_Number());
  return Node != nullptr && Node->GetShow() == 2 ? TEVisibility::eAdvanced : TEVisibility::eShown;
}

char const* NameOf(TEVisibility Visibility) {
  switch (Visibility) {
    case TEVisibility::eShown:
      return "shown";
    case TEVisibility::eAdvanced:
      return "advanced";
    case TEVisibility::eHidden:
      return "hidden";
  }
  return "";
}

}  // namespace Property
