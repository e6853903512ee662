// SPDX-License-Identifier: MIT
// The registry of dependencies by source and the tree of entries that they answer.
#include "CommonProperties/TCPropertyDependency.h"

#include <utility>

#include "CommonProperties/TCBasicPropertyID.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;

namespace Property {

TCPropertyDependencyEntry::TCPropertyDependencyEntry() = default;

TCPropertyDependencyEntry::TCPropertyDependencyEntry(TCNullTypes<int> const& ID,
                                                     TCNullTypes<std::string> const& Value,
                                                     bool Flag)
    : m_ID(ID), m_Value(Value), m_Flag(Flag) {}

TCPropertyDependencyEntry::~TCPropertyDependencyEntry() = default;

TCPropertyDependencyEntry& TCPropertyDependencyEntry::operator=(
    TCPropertyDependencyEntry const& Right) {
  TCPropertyDependencyEntry Copy(Right);  // Right may be one of the entries that are given up
  m_ID = std::move(Copy.m_ID);
  m_Value = std::move(Copy.m_Value);
  m_Flag = Copy.m_Flag;
  m_Entries.swap(Copy.m_Entries);
  return *this;
}

void TCPropertyDependencyEntry::Add(TCPropertyDependencyEntry const& Entry) {
  m_Entries.push_back(Entry);
}

TCPropertyDependency::TCMember::TCMember(TCBasicPropertyID const* Target,
                                         TCNullTypes<std::string> const& Value, int Flag)
    : m_Target(Target), m_Value(Value), m_Flag(Flag) {}

TCPropertyDependency::TCMember::~TCMember() = default;

// Each member can be assigned to itself. NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
TCPropertyDependency::TCMember& TCPropertyDependency::TCMember::operator=(TCMember const& Right) {
  m_Value = Right.m_Value;  // the one that can fail
  m_Target = Right.m_Target;
  m_Flag = Right.m_Flag;
  return *this;
}

std::map<TCBasicPropertyID const*, TCPropertyDependency*>* TCPropertyDependency::m_List = nullptr;

TCPropertyDependency::TCPropertyDependency(TCBasicPropertyID const* Source,
                                           TCBasicPropertyID const* Target, int Mode)
    : TCPropertyDependency(Source, Target, TCNullTypes<std::string>(), Mode) {}

TCPropertyDependency::TCPropertyDependency(TCBasicPropertyID const* Source,
                                           TCBasicPropertyID const* Target,
                                           TCNullTypes<std::string> const& Value, int Mode)
    : m_Source(Source), m_Mode(Mode) {
  // Built first, so that a failure leaves nothing registered.
  std::list<TCMember> Member(1, TCMember(Target, Value, 0));
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  std::list<TCMember>& Members = Insert(Source)->m_Members;
  Members.splice(Members.end(), Member);
}

TCPropertyDependency::TCPropertyDependency(TCBasicPropertyID const* Source,
                                           TCBasicPropertyID const* Target, bool Value, int Mode)
    : TCPropertyDependency(Source, Target, Value ? "true" : "false", Mode) {}

TCPropertyDependency::TCPropertyDependency(int Mode, TCBasicPropertyID const* Source,
                                           TCBasicPropertyID const* Target, char const* Value)
    : TCPropertyDependency(Source, Target, TCNullTypes<std::string>(Value), Mode) {}

TCPropertyDependency::~TCPropertyDependency() = default;

TCPropertyDependency* TCPropertyDependency::Insert(TCBasicPropertyID const* Source) {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  if (m_List == nullptr) {
    m_List = new std::map<TCBasicPropertyID const*, TCPropertyDependency*>;
  }
  return m_List->emplace(Source, this).first->second;
}

TCPropertyDependencyEntry TCPropertyDependency::GetDependency() const {
  TCPropertyDependencyEntry Root;
  for (TCMember const& Member : m_Members) {
    TCBasicPropertyID const& Target = *Member.get_Target();
    switch (Target.get_Type()) {
      case eComboField:
      case eIntegerField:
      case eStringField:
      case eBooleanField:
        Root.Add(TCPropertyDependencyEntry(Target.get_Number(), Member.get_Value(), m_Mode == 1));
        break;
      case eComboChoice:
        FillChoices(Member, Root);
        break;
      default:
        throw TCException("../CommonProperties/TCPropertyDependency", 147).Format("NYI");
    }
  }
  return Root;
}

void TCPropertyDependency::FillChoices(TCMember const& Member,
                                       TCPropertyDependencyEntry& Entry) const {
  TCBasicPropertyID const& Target = *Member.get_Target();
  bool const Others = m_Mode == 0;
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  for (auto const& [Number, Node] : *TCBasicPropertyID::m_List) {
    if (Node->get_Type() != eComboChoice || Node->get_Parent() != Target.get_Parent()) {
      continue;
    }
    if ((Number != Target.get_Number()) == Others) {
      Entry.Add(TCPropertyDependencyEntry(Target.get_Parent(), ToString(Number), true));
    }
  }
}

}  // namespace Property
