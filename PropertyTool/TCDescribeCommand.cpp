// SPDX-License-Identifier: MIT
// Spells out a field's type, choices, default, visibility and relations.
#include "PropertyTool/TCDescribeCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "PropertyTool/TCTextTable.h"
#include "PropertyTool/TCToolContext.h"
#include "SchemaLibrary/SchemaExport.h"
#include "SchemaLibrary/TSCurrentValue.h"
#include "SchemaLibrary/Visibility.h"

namespace Property {
namespace {

using TCIntegers = Accessories::TCNullTypes<int>;

// A class about which nothing is known has no answer.
template <class TQuestion>
auto AnswerOr(TQuestion const& Question, decltype(Question()) Default) -> decltype(Question()) {
  try {
    return Question();
  } catch (std::exception const&) {
    return Default;
  }
}

TCIntegers TableOf(TCPropertyID const& Field) {
  return AnswerOr([&Field] { return TCPropertyContainer::GetTableIDForObject(Field); },
                  TCIntegers());
}

// A choice is its number, which no pattern is meant for.
std::string PatternOf(TCPropertyID const& Field) {
  return Field.get_Type() == eComboField ? std::string() : Field.get_Regex();
}

std::string ScopeOf(TCPropertyID const& Field) {
  return AnswerOr(
      [&Field]() -> std::string {
        return TCPropertyCollection::IsSystemWideProperty(Field) ? "system" : "device";
      },
      std::string());
}

// A node's path, and a choice's behind that of its field.
std::string NameOfNode(TCToolContext& Context, TCBasicPropertyID const& Node) {
  if (Node.get_Type() == eComboChoice && !Node.get_Parent().IsNull()) {
    if (auto const* const Field = TCBasicPropertyID::Find(Node.get_Parent().get_Value())) {
      return Context.get_Schema().Names().Path(*Field) + "=" + Node.get_Name();
    }
  }
  return Context.get_Schema().Names().Path(Node);
}

// Whether `Node` is the field or one of its choices.
bool IsOf(TCBasicPropertyID const* Node, TCPropertyID const& Field) {
  return Node == &Field ||
         (Node != nullptr && Node->get_Type() == eComboChoice && !Node->get_Parent().IsNull() &&
          Node->get_Parent().get_Value() == Field.get_Number());
}

struct TSRelation {
  std::string Source;
  std::string Target;
  std::optional<std::string> Value;
};

// The declarations that have the field, or a choice of it, as their source or as their target.
std::vector<TSRelation> RelationsOf(TCToolContext& Context, TCPropertyID const& Field,
                                    bool AsSource) {
  std::vector<TSRelation> Relations;
  if (TCPropertyDependency::m_List == nullptr) {
    return Relations;
  }
  for (auto const& [Source, Dependency] : *TCPropertyDependency::m_List) {
    for (TCPropertyDependency::TCMember const& Member : Dependency->get_Members()) {
      if (Member.get_Target() != nullptr && IsOf(AsSource ? Source : Member.get_Target(), Field)) {
        Relations.push_back(
            {NameOfNode(Context, *Source), NameOfNode(Context, *Member.get_Target()),
             Member.get_Value().IsNull() ? std::nullopt
                                         : std::optional(Member.get_Value().get_Value())});
      }
    }
  }
  return Relations;
}

std::string WithValue(std::string const& Name, TSRelation const& Relation) {
  return Relation.Value ? Name + " (" + *Relation.Value + ")" : Name;
}

}  // namespace

CLI::App& TCDescribeCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command =
      Tool.add_subcommand("describe", "Show what the schema says about properties");
  Command->add_option("PROPERTY", m_Names, "Number, name or path")->required()->type_name("");
  Command->footer(
      "Needs a schema library and no server.\n\n"
      "Examples:\n"
      "  property describe AddressMode\n"
      "  property describe Device/Network/HostName --json");
  return *Command;
}

TCDescribeCommand::TCLines TCDescribeCommand::Describe(TCToolContext& Context,
                                                       TCPropertyID const& Field) {
  TCLines Lines = {{"path", Context.get_Schema().Names().Path(Field)},
                   {"number", std::to_string(Field.get_Number())},
                   {"description", Field.get_Description()},
                   {"type", FieldTypeWord(Field)}};
  for (TCPropertyChoice const* const Choice : Field.get_Choices()) {
    Lines.emplace_back("choice", Choice->get_Name() + " (" + std::to_string(Choice->get_Number()) +
                                     "), value " + Choice->get_Value() + ": " +
                                     Choice->get_Description());
  }
  if (auto const Default = DefaultOf(Field)) {
    Lines.emplace_back("default", Context.get_Naming().TextOf(Field.get_Number(), *Default));
  }
  if (!PatternOf(Field).empty()) {
    Lines.emplace_back("pattern", PatternOf(Field));
  }
  std::string const Hiding = ReasonOfHiding(Field);
  Lines.emplace_back("visibility",
                     NameOf(VisibilityOf(Field)) + (Hiding.empty() ? "" : ": " + Hiding));
  if (!Field.get_classid().IsNull()) {
    Lines.emplace_back("class", std::to_string(Field.get_classid().get_Value()));
  }
  if (std::string const Scope = ScopeOf(Field); !Scope.empty()) {
    Lines.emplace_back("values", Scope == "system" ? "one for the system" : "one for each device");
  }
  if (TCIntegers const Table = TableOf(Field); !Table.IsNull()) {
    Lines.emplace_back("table", std::to_string(Table.get_Value()));
  }
  for (TSRelation const& Relation : RelationsOf(Context, Field, true)) {
    Lines.emplace_back("governs", WithValue(Relation.Target, Relation));
  }
  for (TSRelation const& Relation : RelationsOf(Context, Field, false)) {
    Lines.emplace_back("governed by", WithValue(Relation.Source, Relation));
  }
  return Lines;
}

nlohmann::ordered_json TCDescribeCommand::AsJSON(TCToolContext& Context,
                                                 TCPropertyID const& Field) {
  nlohmann::ordered_json Object;
  auto const SetNumber = [&Object](char const* Name, TCIntegers const& Number) {
    Object[Name] = nullptr;
    if (!Number.IsNull()) {
      Object[Name] = Number.get_Value();
    }
  };
  Object["number"] = Field.get_Number();
  SetText(Object, "path", Context.get_Schema().Names().Path(Field));
  SetText(Object, "description", Field.get_Description());
  Object["type"] = FieldTypeWord(Field);
  Object["choices"] = nlohmann::ordered_json::array();
  for (TCPropertyChoice const* const Choice : Field.get_Choices()) {
    nlohmann::ordered_json Entry = {{"number", Choice->get_Number()}};
    SetText(Entry, "name", Choice->get_Name());
    SetText(Entry, "value", Choice->get_Value());
    SetText(Entry, "description", Choice->get_Description());
    Object["choices"].push_back(std::move(Entry));
  }
  Object["default"] = nullptr;
  if (auto const Default = DefaultOf(Field)) {
    Object.erase("default");
    SetText(Object, "default", *Default);
  }
  SetText(Object, "pattern", PatternOf(Field));
  Object["visibility"] = NameOf(VisibilityOf(Field));
  SetNumber("class", Field.get_classid());
  SetNumber("table", TableOf(Field));
  Object["scope"] = ScopeOf(Field);
  for (bool const AsSource : {true, false}) {
    auto& List = Object[AsSource ? "governs" : "governed_by"] = nlohmann::ordered_json::array();
    for (TSRelation const& Relation : RelationsOf(Context, Field, AsSource)) {
      nlohmann::ordered_json Entry = nlohmann::ordered_json::object();
      SetText(Entry, "name", AsSource ? Relation.Target : Relation.Source);
      Entry["value"] = nullptr;
      if (Relation.Value) {
        Entry.erase("value");
        SetText(Entry, "value", *Relation.Value);
      }
      List.push_back(std::move(Entry));
    }
  }
  return Object;
}

TEExit TCDescribeCommand::Run(TCToolContext& Context) {
  Context.get_Schema().Require();
  TCOutput& Output = Context.get_Output();
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  bool IsFirst = true;
  for (std::string const& Name : m_Names) {
    TCPropertyID const& Field = *Context.get_Naming().Find(Name, {}).Field;
    if (Output.get_Form() == TEForm::eJSON) {
      Array.push_back(AsJSON(Context, Field));
      continue;
    }
    TCTextTable Table({"", ""});
    for (auto const& [Label, Text] : Describe(Context, Field)) {
      Output.get_Form() == TEForm::ePlain ? Output.Plain({Label, Text}) : Table.Add({Label, Text});
    }
    if (Output.get_Form() == TEForm::ePeople && !std::exchange(IsFirst, false)) {
      Output.Line("");
    }
    Table.Write(Output);
  }
  if (Output.get_Form() == TEForm::eJSON) {
    Output.JSON(Array);
  }
  return TEExit::eDone;
}

}  // namespace Property
