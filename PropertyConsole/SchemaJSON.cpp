// SPDX-License-Identifier: MIT
// Writes schema nodes as JSON.
#include "PropertyConsole/SchemaJSON.h"

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyDependency.h"
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

// In the order of their numbers: the registry has them in that of their addresses, which is another
// one at each start.
TCJSON Dependencies() {
  std::multimap<std::pair<int, int>, TCJSON> Sorted;
  if (TCPropertyDependency::m_List != nullptr) {
    for (auto const& [Source, Dependency] : *TCPropertyDependency::m_List) {
      for (TCPropertyDependency::TCMember const& Member : Dependency->get_Members()) {
        if (Member.get_Target() == nullptr) {
          continue;
        }
        int const Target = Member.get_Target()->get_Number();
        TCJSON Entry = {
            {"source", Source->get_Number()}, {"target", Target}, {"mode", Dependency->get_Mode()}};
        SetText(Entry, "value",
                Member.get_Value().IsNull() ? std::nullopt
                                            : std::optional(Member.get_Value().get_Value()));
        Sorted.emplace(std::pair(Source->get_Number(), Target), std::move(Entry));
      }
    }
  }
  TCJSON List = TCJSON::array();
  for (auto& [Numbers, Entry] : Sorted) {
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
