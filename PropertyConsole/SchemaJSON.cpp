// SPDX-License-Identifier: MIT
// Writes schema nodes as JSON.
#include "PropertyConsole/SchemaJSON.h"

#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "PropertyConsole/DeclaredDependencies.h"
#include "PropertyConsole/JSONAnswers.h"
#include "SchemaLibrary/SchemaExport.h"
#include "SchemaLibrary/TSCurrentValue.h"
#include "SchemaLibrary/Visibility.h"

namespace Property {
namespace {

using TCJSON = nlohmann::ordered_json;

char const* KindOf(TCBasicPropertyID const& Node) {
  if (Node.IsPropertyField()) {
    return "field";
  }
  return Node.get_Type() == eContainer ? "container" : "group";
}

TCJSON ChoicesOf(TCPropertyID const& Field) {
  TCJSON List = TCJSON::array();
  for (TCPropertyChoice const* const Choice : Field.get_Choices()) {
    TCJSON Entry = {{"number", Choice->get_Number()}};
    SetText(Entry, "name", Choice->get_Name());
    SetText(Entry, "value", Choice->get_Value());
    SetText(Entry, "description", Choice->get_Description());
    Entry["hidden"] = !Choice->GetShow();
    List.push_back(std::move(Entry));
  }
  return List;
}

void DescribeField(TCPropertyID const& Field, TCJSON& Object) {
  bool const IsChoice = Field.get_Type() == eComboField;
  Object["type"] = FieldTypeWord(Field);
  Object["scope"] = IsOfDevices(Field) ? "device" : "system";
  Object["visibility"] = NameOf(VisibilityOf(Field));
  SetText(Object, "pattern", IsChoice ? std::string() : Field.get_Regex());
  SetText(Object, "default", DefaultOf(Field));
  Object["choices"] = ChoicesOf(Field);
  if (auto const* const Lookup = dynamic_cast<TCPropertyDBLookup const*>(&Field)) {
    Object["lookup"] = {{"number", Lookup->get_LookupNumber()}};
    SetText(Object["lookup"], "text", Lookup->get_LookupText());
    Object["lookup"]["flag"] = Lookup->get_LookupFlag();
  }
}

TCJSON Describe(TCPropertyNames const& Names, TCBasicPropertyID const& Node) {
  TCJSON Object = {{"number", Node.get_Number()}, {"parent", nullptr}, {"kind", KindOf(Node)}};
  if (TCBasicPropertyID const* const Parent = ParentOf(Node)) {
    Object["parent"] = Parent->get_Number();
  }
  SetText(Object, "name", Node.get_Name());
  SetText(Object, "path", Names.Path(Node));
  SetText(Object, "description", Node.get_Description());
  if (auto const* const Field = dynamic_cast<TCPropertyID const*>(&Node)) {
    DescribeField(*Field, Object);
  } else {
    Object["visibility"] = Node.GetShow() ? "shown" : "hidden";
  }
  return Object;
}

TCJSON Dependencies() {
  TCJSON List = TCJSON::array();
  for (TSDeclaredDependency const& Dependency : DeclaredDependencies()) {
    TCJSON Entry = {{"source", Dependency.Source->get_Number()},
                    {"target", Dependency.Target->get_Number()},
                    {"mode", Dependency.Mode}};
    SetText(Entry, "value", Dependency.Value);
    List.push_back(std::move(Entry));
  }
  return List;
}

}  // namespace

nlohmann::ordered_json SchemaAsJSON(TCPropertyNames const& Names) {
  TCJSON Nodes = TCJSON::array();
  for (TSPropertyNode const& Place : Names.get_Nodes()) {
    Nodes.push_back(Describe(Names, *Place.Node));
  }
  return {{"nodes", std::move(Nodes)}, {"dependencies", Dependencies()}};
}

}  // namespace Property
