// SPDX-License-Identifier: MIT
// Looks at every node of the schema, one kind of mistake after the other.
#include "SchemaLibrary/SchemaCheck.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"
#include "SchemaLibrary/ASCIICase.h"
#include "SchemaLibrary/TCPropertyNames.h"
#include "SchemaLibrary/TCValuePattern.h"
#include "SchemaLibrary/TCValueRules.h"

namespace Property {

namespace {

/// Collects findings about a schema.
class TCSchemaCheck {
 public:
  std::vector<TSSchemaFinding> Run() {
    for (auto const& [Number, Node] : *TCBasicPropertyID::m_List) {
      if (Node == &UnassignedProperty()) {
        continue;
      }
      CheckName(*Node);
      CheckParent(*Node);
      CheckClass(*Node);
      auto const* const Field = dynamic_cast<TCPropertyID const*>(Node);
      if (Field != nullptr) {
        CheckPattern(*Field);
        CheckChoices(*Field);
        CheckDefault(*Field);
      }
    }
    CheckDependencies();
    std::stable_sort(m_Findings.begin(), m_Findings.end(), [](auto const& Left, auto const& Right) {
      return Left.Number < Right.Number;
    });
    return std::move(m_Findings);
  }

 private:
  void Find(TCBasicPropertyID const& Node, std::string Text) {
    std::string const& Path = m_Names.Path(Node);
    m_Findings.push_back({Node.get_Number(), PrintableText(Path.empty() ? Node.get_Name() : Path),
                          PrintableText(std::move(Text))});
  }

  void CheckName(TCBasicPropertyID const& Node);
  void CheckParent(TCBasicPropertyID const& Node);
  void CheckClass(TCBasicPropertyID const& Node);
  void CheckPattern(TCPropertyID const& Field);
  void CheckChoices(TCPropertyID const& Field);
  void CheckDefault(TCPropertyID const& Field);
  void CheckDependencies();

  using TPlace = std::pair<TCBasicPropertyID const*, std::string>;  // a parent and a name in it

  TCPropertyNames const m_Names;
  TCValueRules m_Rules;
  std::map<TPlace, int> m_Taken;
  std::vector<TSSchemaFinding> m_Findings;
};

void TCSchemaCheck::CheckName(TCBasicPropertyID const& Node) {
  std::string const& Name = Node.get_Name();
  auto const [Taken, Free] = m_Taken.emplace(TPlace(ParentOf(Node), Name), Node.get_Number());
  if (!Free) {
    Find(Node, "its name is that of " + ToString(Taken->second) + " in the same place");
  }
  bool IsNumber = false;
  StringToLong(Name, IsNumber);
  if (Name.empty()) {
    Find(Node, "it has no name");
  } else if (IsNumber) {
    Find(Node, "its name is a number, and would be taken for that of a property");
  } else if (Node.get_Type() != eComboChoice && Name.find_first_of("/[]") != std::string::npos) {
    Find(Node, "its name has one of the characters / [ ], which divide paths and name records");
  }
  if (PrintableText(Name) != Name) {
    Find(Node, "its name has characters that cannot be printed");
  }
}

void TCSchemaCheck::CheckParent(TCBasicPropertyID const& Node) {
  TCBasicPropertyID const* Parent = ParentOf(Node);
  if (Node.get_Parent().IsNull()) {
    if (Node.get_Type() == eGroup) {
      Find(Node, "the group lies in no container");
    }
    return;
  }
  if (Parent == nullptr) {
    Find(Node, "its parent " + ToString(Node.get_Parent().get_Value()) + " does not exist");
    return;
  }
  bool const Holds = Parent->get_Type() == eContainer || Parent->get_Type() == eGroup;
  if (!Holds && Node.get_Type() != eComboChoice) {
    Find(Node, "its parent " + ToString(Parent->get_Number()) + " is the " +
                   LowerCase(Parent->get_Typename()) + " " + Parent->get_Name() +
                   ", which holds no other property");
  }
  std::set<TCBasicPropertyID const*> Seen;
  while (Parent != nullptr && Parent != &Node && Seen.insert(Parent).second) {
    Parent = ParentOf(*Parent);
  }
  if (Parent == &Node) {
    Find(Node, "it lies in itself");
  }
}

void TCSchemaCheck::CheckClass(TCBasicPropertyID const& Node) {
  if (Node.get_Type() != eContainer || Node.get_ClassID().IsNull()) {
    return;
  }
  try {
    TCPropertyContainer::IsOrvaneLinked(Node.get_ClassID().get_Value());
  } catch (TCException const&) {
    Find(Node, "nothing is known about its class " + ToString(Node.get_ClassID()) +
                   ": values in it can be neither read nor written");
  }
}

void TCSchemaCheck::CheckPattern(TCPropertyID const& Field) {
  std::string const Error = TCValuePattern(Field.get_Regex()).get_Error();
  if (!Error.empty()) {
    Find(Field, "its pattern " + Field.get_Regex() + " is none, and forbids nothing: " + Error);
  }
}

void TCSchemaCheck::CheckChoices(TCPropertyID const& Field) {
  std::map<std::string, int> Values;
  TCPropertyChoice const* Default = nullptr;
  for (TCPropertyChoice const* Choice : Field.get_Choices()) {
    auto const [Taken, Free] = Values.emplace(Choice->get_Value(), Choice->get_Number());
    if (!Free) {
      Find(Field, "its choices " + ToString(Taken->second) + " and " +
                      ToString(Choice->get_Number()) + " have the same value '" +
                      Choice->get_Value() + "': a set of it gives the first");
    }
    if (Default != nullptr && Choice->get_Default()) {
      Find(Field, "its choices " + ToString(Default->get_Number()) + " and " +
                      ToString(Choice->get_Number()) +
                      " are both the default: the last one counts");
    }
    Default = Choice->get_Default() ? Choice : Default;
  }
}

void TCSchemaCheck::CheckDefault(TCPropertyID const& Field) {
  auto const& Default = Field.get_DefaultValue();
  if (Default.IsNull() || Default.get_Value().empty()) {
    return;
  }
  if (Field.get_Type() == eComboField) {
    if (Default.get_Value() != Field.GetDefaultValue().get_Value()) {
      Find(Field, "its default '" + Default.get_Value() + "' is ignored: the default choice is " +
                      Field.GetDefaultValue().get_Value());
    }
    return;
  }
  std::string const Reason = m_Rules.ReasonAgainst(Field, Default.get_Value());
  if (!Reason.empty()) {
    Find(Field, "its default does not fit: " + Reason);
  }
}

void TCSchemaCheck::CheckDependencies() {
  if (TCPropertyDependency::m_List == nullptr) {
    return;
  }
  for (auto const& [Source, Dependency] : *TCPropertyDependency::m_List) {
    for (auto const& Member : Dependency->get_Members()) {
      bool const HasValue = Member.get_Target()->get_Type() != eDBLookupField &&
                            (Member.get_Target()->IsPropertyField() ||
                             Member.get_Target()->get_Type() == eComboChoice);
      if (!HasValue) {
        Find(*Source, "it governs " + Member.get_Target()->Viewname(false) +
                          ", which a dependency cannot name");
      }
    }
  }
}

}  // namespace

std::vector<TSSchemaFinding> CheckSchema() {
  return TCSchemaCheck().Run();
}

}  // namespace Property
