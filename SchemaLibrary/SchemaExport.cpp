// SPDX-License-Identifier: MIT
// Writes the schema as JSON Schema.
#include "SchemaLibrary/SchemaExport.h"

#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "Platform/Utility/TextConversions.h"
#include "SchemaLibrary/TCPropertyNames.h"

namespace Property {

namespace {

using TJSON = nlohmann::json;  // members sorted by name

constexpr char kOnlyDigits[] = "^([0-9]\\d*)$";  // what an integer field has unless it is replaced

// Patterns here match whole texts, those of JSON Schema parts of them.
std::string WholePattern(std::string const& Pattern) {
  bool const Whole = Pattern.size() > 1 && Pattern.front() == '^' && Pattern.back() == '$' &&
                     Pattern[Pattern.size() - 2] != '\\' && Pattern.find('|') == std::string::npos;
  return Whole ? Pattern : "^(?:" + Pattern + ")$";
}

TJSON Choices(TCPropertyID const& Field) {
  TJSON List = TJSON::array();
  for (TCPropertyChoice const* Choice : Field.get_Choices()) {
    List.push_back({{"number", Choice->get_Number()},
                    {"name", Choice->get_Name()},
                    {"description", Choice->get_Description()},
                    {"value", Choice->get_Value()},
                    {"hidden", !Choice->GetShow()}});
  }
  return List;
}

void DescribeInteger(TCPropertyID const& Field, TJSON& Result) {
  bool const Digits = Field.get_Regex() == kOnlyDigits;
  Result["type"] = "integer";
  Result["minimum"] = Digits ? 0 : std::numeric_limits<int>::min();
  Result["maximum"] = std::numeric_limits<int>::max();
  bool OK = false;
  long const Default = StringToLong(Field.get_DefaultValue().get_Value(), OK);
  if (OK) {
    Result["default"] = Default;
  }
}

void DescribeChoice(TCPropertyID const& Field, TJSON& Result) {
  TJSON Values = TJSON::array();
  for (TCPropertyChoice const* Choice : Field.get_Choices()) {
    Values.push_back(Choice->get_Value());
  }
  Result["enum"] = Values;
  TCPropertyChoice const* const Default = Field.GetDefaultChoice(false);
  if (Default != nullptr) {
    Result["default"] = Default->get_Value();
  }
}

void DescribeText(TCPropertyID const& Field, TJSON& Result) {
  Result["type"] = "string";
  if (!Field.get_Regex().empty()) {
    Result["pattern"] = WholePattern(Field.get_Regex());
  }
  if (!Field.get_DefaultValue().IsNull()) {
    Result["default"] = Field.get_DefaultValue().get_Value();
  }
}

void DescribeValues(TCPropertyID const& Field, TJSON& Result) {
  switch (Field.get_Type()) {
    case eIntegerField:
      return DescribeInteger(Field, Result);
    case eComboField:
      return DescribeChoice(Field, Result);
    case eBooleanField:
      Result["type"] = "boolean";
      if (!Field.get_DefaultValue().IsNull()) {
        Result["default"] = Field.get_DefaultValue().get_Value() != "0";
      }
      return;
    default:
      return DescribeText(Field, Result);
  }
}

TJSON FieldMembers(TCPropertyID const& Field) {
  TJSON Own = {{"number", Field.get_Number()},
               {"type", FieldTypeWord(Field)},
               {"level", TCPropertyID::Find(Field.get_Number())->GetShow()}};
  if (Field.get_Type() == eComboField) {
    Own["choices"] = Choices(Field);
  }
  if (!Field.get_Regex().empty()) {
    Own["pattern"] = Field.get_Regex();
  }
  if (auto const* const Lookup = dynamic_cast<TCPropertyDBLookup const*>(&Field)) {
    Own["lookup"] = {{"number", Lookup->get_LookupNumber()},
                     {"text", Lookup->get_LookupText()},
                     {"flag", Lookup->get_LookupFlag()}};
  }
  return Own;
}

TJSON Describe(TCBasicPropertyID const& Node) {
  TJSON Result = {{"title", Node.get_Description()}};
  auto const* const Field = dynamic_cast<TCPropertyID const*>(&Node);
  if (Field != nullptr) {
    DescribeValues(*Field, Result);
    Result["property"] = FieldMembers(*Field);
  } else {
    Result["type"] = "object";
    Result["property"] = {{"number", Node.get_Number()},
                          {"type", Node.get_Type() == eContainer ? "container" : "group"},
                          {"hidden", !Node.GetShow()}};
  }
  Result["property"]["order"] = Node.GetOrder();
  if (!Node.get_ClassID().IsNull()) {
    Result["property"]["class"] = Node.get_ClassID().get_Value();
  }
  return Result;
}

}  // namespace

char const* FieldTypeWord(TCPropertyID const& Field) {
  switch (Field.get_Type()) {
    case eBooleanField:
      return "boolean";
    case eIntegerField:
      return "integer";
    case eStringField:
      return "string";
    case eComboField:
      return "choice";
    case eDBLookupField:
      return "lookup";
    default:
      return "none";
  }
}

std::string ExportSchemaAsJSON() {
  TCPropertyNames const Names;
  TJSON Root = {{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                {"title", "Properties"},
                {"type", "object"},
                {"properties", TJSON::object()}};
  std::vector<TJSON*> Parents = {&Root};  // by depth
  for (TSPropertyNode const& Place : Names.get_Nodes()) {
    Parents.resize(static_cast<std::size_t>(Place.Depth) + 1);
    TJSON& Members = (*Parents.back())["properties"];
    std::string Key = Place.Node->get_Name();
    if (Members.contains(Key)) {
      Key += "(" + ToString(Place.Node->get_Number()) + ")";
    }
    TJSON& Member = Members[Key];
    Member = Describe(*Place.Node);
    Parents.push_back(&Member);
  }
  constexpr int kIndent = 2;
  return Root.dump(kIndent, ' ', false, TJSON::error_handler_t::replace) + "\n";
}

}  // namespace Property
