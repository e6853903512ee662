// SPDX-License-Identifier: MIT
// Reads an earlier export, which may come from anywhere, and compares node by node.
#include "SchemaLibrary/SchemaComparison.h"

#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"
#include "SchemaLibrary/SchemaExport.h"
#include "SchemaLibrary/TCPropertyNames.h"

namespace Property {

namespace {

using TJSON = nlohmann::json;

char const* const kSource = "../SchemaLibrary/SchemaComparison";
constexpr int kDeepest = 100;  // no schema has so many levels

/// What a number means.
struct TSMeaning {
  std::string Kind;  ///< "container", "choice of 1222", "integer" ...
  std::string Name;
  std::string Value;  ///< of a choice
};

using TMeanings = std::map<int, TSMeaning>;

[[noreturn]] void RefuseExport(char const* Why) {
  throw TCException(kSource, __LINE__).Format("this is no export of a schema: %s", Why);
}

std::string TextOf(TJSON const& Object, char const* Member) {
  auto const Itr = Object.find(Member);
  return Itr != Object.end() && Itr->is_string() ? Itr->get<std::string>() : std::string();
}

// Of what has no number, or none that fits, nothing can be told.
bool NumberOf(TJSON const& Object, int& Number) {
  auto const Itr = Object.find("number");
  if (Itr == Object.end() || !Itr->is_number_integer()) {
    return false;
  }
  auto const Value = Itr->get<long long>();
  Number = static_cast<int>(Value);
  return Number == Value;
}

void ReadChoices(TJSON const& Own, int Field, TMeanings& Meanings) {
  auto const Choices = Own.find("choices");
  if (Choices == Own.end() || !Choices->is_array()) {
    return;
  }
  for (TJSON const& Choice : *Choices) {
    int Number = 0;
    if (Choice.is_object() && NumberOf(Choice, Number)) {
      Meanings[Number] = {"choice of " + ToString(Field), TextOf(Choice, "name"),
                          TextOf(Choice, "value")};
    }
  }
}

// Members of one name are told apart by their number, which is no part of the name.
std::string NameOfKey(std::string const& Key, int Number) {
  std::string const Addition = "(" + ToString(Number) + ")";
  bool const HasIt = Key.size() > Addition.size() &&
                     Key.compare(Key.size() - Addition.size(), Addition.size(), Addition) == 0;
  return HasIt ? Key.substr(0, Key.size() - Addition.size()) : Key;
}

void ReadMembers(TJSON const& Object, int Depth, TMeanings& Meanings) {
  auto const Members = Object.find("properties");
  if (Members == Object.end() || !Members->is_object()) {
    return;
  }
  if (Depth > kDeepest) {
    RefuseExport("its objects lie too deep in each other");
  }
  for (auto const& [Key, Member] : Members->items()) {
    auto const Own = Member.is_object() ? Member.find("property") : Member.end();
    int Number = 0;
    if (!Member.is_object() || Own == Member.end() || !Own->is_object() ||
        !NumberOf(*Own, Number)) {
      RefuseExport("a property has no number");
    }
    Meanings[Number] = {TextOf(*Own, "type"), NameOfKey(Key, Number), std::string()};
    ReadChoices(*Own, Number, Meanings);
    ReadMembers(Member, Depth + 1, Meanings);
  }
}

TMeanings ReadExport(std::string const& Export) {
  TJSON const Root = TJSON::parse(Export, nullptr, false);
  if (Root.is_discarded() || !Root.is_object()) {
    RefuseExport("it is no JSON object");
  }
  if (!Root.contains("properties")) {
    RefuseExport("it has no properties");
  }
  TMeanings Meanings;
  ReadMembers(Root, 0, Meanings);
  return Meanings;
}

std::string Changes(TSMeaning const& Was, TSMeaning const& Is) {
  if (Was.Kind != Is.Kind) {
    return "it was the " + Was.Kind + " " + Was.Name + ", and is the " + Is.Kind + " " + Is.Name;
  }
  if (Was.Name != Is.Name) {
    return "it was called " + Was.Name + ", and is called " + Is.Name;
  }
  if (Was.Value != Is.Value) {
    return "its value was '" + Was.Value + "', and is '" + Is.Value + "'";
  }
  return std::string();
}

}  // namespace

// The present schema is read from an export, too: both have been through the same.
std::vector<TSSchemaFinding> CompareSchema(std::string const& Export) {
  TMeanings const Before = ReadExport(Export);
  TMeanings const Now = ReadExport(ExportSchemaAsJSON());
  TCPropertyNames const Names;
  std::vector<TSSchemaFinding> Findings;
  for (auto const& [Number, Was] : Before) {
    auto const Is = Now.find(Number);
    std::string const Text = Is != Now.end() ? Changes(Was, Is->second) : std::string();
    if (!Text.empty()) {
      std::string const& Path = Names.Path(*TCBasicPropertyID::Find(Number));
      Findings.push_back(
          {Number, PrintableText(Path.empty() ? Is->second.Name : Path), PrintableText(Text)});
    }
  }
  return Findings;
}

}  // namespace Property
