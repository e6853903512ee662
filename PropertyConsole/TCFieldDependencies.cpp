// SPDX-License-Identifier: MIT
// Tells dependencies that show fields from others, and follows them.
#include "PropertyConsole/TCFieldDependencies.h"

#include <algorithm>

#include "CommonProperties/TCPropertyChoice.h"
#include "SchemaLibrary/TCPropertyNames.h"

namespace Property {
namespace {

constexpr std::size_t kDeepestRound = 8;  // fields that govern one another in a row

TCPropertyID const* AsField(TCBasicPropertyID const* Node) {
  return Node != nullptr && Node->IsPropertyField() ? dynamic_cast<TCPropertyID const*>(Node)
                                                    : nullptr;
}

// Truth values stand for the governing field's where the governed one has none.
bool IsValueOfSource(TCPropertyID const& Source, TCPropertyID const& Target,
                     std::string const& Value) {
  return Source.get_Type() == eBooleanField && Target.get_Type() != eBooleanField &&
         (Value == "true" || Value == "false");
}

bool IsOn(TCPropertyID const& Field, std::string const& Text) {
  bool const IsNumber = Field.get_Type() == eBooleanField || Field.get_Type() == eIntegerField;
  return !Text.empty() && !(IsNumber && Text == "0");
}

}  // namespace

TCFieldDependencies::TCFieldDependencies(std::vector<TSDeclaredDependency> const& Declared) {
  for (TSDeclaredDependency const& Dependency : Declared) {
    Add(Dependency);
  }
}

bool TCFieldDependencies::Applies(TCPropertyID const& Field, std::optional<int> Record,
                                  TCReading const& Read) const {
  TCRound Above;
  return Applies(Field, Record, Read, Above);
}

TCFieldDependencies::TCFields TCFieldDependencies::GovernedBy(TCFields const& Fields) const {
  return Reach(Fields, m_Governed);
}

TCFieldDependencies::TCFields TCFieldDependencies::Governing(TCFields const& Fields) const {
  return Reach(Fields, m_Governing);
}

TCFieldDependencies::TCFields TCFieldDependencies::Reach(TCFields const& Begin,
                                                         TCWays const& Ways) {
  TCFields Found;
  TCRound Left(Begin.begin(), Begin.end());
  while (!Left.empty()) {
    auto const Next = Ways.find(Left.back());
    Left.pop_back();
    if (Next == Ways.end()) {
      continue;
    }
    for (TCPropertyID const* const Field : Next->second) {
      if (Found.insert(Field).second) {
        Left.push_back(Field);
      }
    }
  }
  return Found;
}

// What is governed by a value other than its own is a proposal, and what governs a choice limits
// what is offered: neither shows or hides anything.
void TCFieldDependencies::Add(TSDeclaredDependency const& Dependency) {
  TCPropertyID const* const Target = AsField(Dependency.Target);
  auto const* const Choice = dynamic_cast<TCPropertyChoice const*>(Dependency.Source);
  TCPropertyID const* const Source =
      AsField(Choice != nullptr ? ParentOf(*Choice) : Dependency.Source);
  if (Target == nullptr || Source == nullptr) {
    return;
  }
  TSCondition Condition;
  Condition.IsWanted = Dependency.Mode != 0;
  if (Choice != nullptr) {
    Condition.Choice = Choice->get_Number();
  }
  if (Dependency.Value) {
    if (Choice != nullptr || !IsValueOfSource(*Source, *Target, *Dependency.Value)) {
      return;
    }
    Condition.IsWanted = (*Dependency.Value == "true") == Condition.IsWanted;
  }
  m_Conditions[Target][Source].push_back(Condition);
  m_Governing[Target].insert(Source);
  m_Governed[Source].insert(Target);
}

bool TCFieldDependencies::Applies(TCPropertyID const& Field, std::optional<int> Record,
                                  TCReading const& Read, TCRound& Above) const {
  auto const Found = m_Conditions.find(&Field);
  if (Found == m_Conditions.end() || Above.size() > kDeepestRound) {
    return true;
  }
  TCRound const Before = Above;
  Above.push_back(&Field);
  bool const Agree =
      std::all_of(Found->second.begin(), Found->second.end(), [&](auto const& Governor) {
        auto const& [Source, Conditions] = Governor;
        return std::find(Before.begin(), Before.end(), Source) != Before.end() ||
               (Applies(*Source, Record, Read, Above) &&
                AnyHolds(*Source, Conditions, Read(*Source, Record)));
      });
  Above.pop_back();
  return Agree;
}

// What is not told counts as there.
bool TCFieldDependencies::AnyHolds(TCPropertyID const& Source,
                                   std::vector<TSCondition> const& Conditions,
                                   std::optional<std::string> const& Text) {
  return !Text ||
         std::any_of(Conditions.begin(), Conditions.end(), [&](TSCondition const& Condition) {
           bool const IsSo =
               Condition.Choice ? *Text == std::to_string(*Condition.Choice) : IsOn(Source, *Text);
           return IsSo == Condition.IsWanted;
         });
}

}  // namespace Property
