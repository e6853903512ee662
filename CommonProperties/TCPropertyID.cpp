// SPDX-License-Identifier: MIT
// Field types, default values and the searches among a field's choices.
#include "CommonProperties/TCPropertyID.h"

#include <utility>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCPropertyID";
char const* const kDigits = "^([0-9]\\d*)$";

enum TEFlags : int {
  eHidden = 0x01,
  eLevel1 = 0x02,
  eLevel2 = 0x04,
  eBoolean = 0x08,
  eInteger = 0x10,
  eString = 0x20
};

}  // namespace

// The default is complete before the base registers the node.
TCPropertyID::TCPropertyID(int Flags, TCNullTypes<std::string>&& Default, std::string const& Name,
                           int Number, std::string const& Description,
                           TCNullTypes<int> const& Parent)
    : TCBasicPropertyID(Name, Number, Description, Parent),
      m_DefaultValue(std::move(Default)),
      m_Flags(Flags) {
  SetFieldType();
  TakeEarlyDeclarations();
}

TCPropertyID::TCPropertyID(std::string const& Name, int Number, std::string const& Description,
                           TCNullTypes<int> const& Parent, int Flags)
    : TCPropertyID(Flags, TCNullTypes<std::string>(), Name, Number, Description, Parent) {}

TCPropertyID::TCPropertyID(std::string const& Name, int Number, std::string const& Description,
                           TCNullTypes<int> const& Parent, int Flags, bool Default)
    : TCPropertyID(Name, Number, Description, Parent, Flags, Default ? "1" : "0") {}

TCPropertyID::TCPropertyID(std::string const& Name, int Number, std::string const& Description,
                           TCNullTypes<int> const& Parent, int Flags, int Default)
    : TCPropertyID(Name, Number, Description, Parent, Flags, ToString(Default)) {}

TCPropertyID::TCPropertyID(std::string const& Name, int Number, std::string const& Description,
                           TCNullTypes<int> const& Parent, int Flags, char const* Default)
    : TCPropertyID(Flags, TCNullTypes<std::string>(Default), Name, Number, Description, Parent) {}

TCPropertyID::TCPropertyID(std::string const& Name, int Number, std::string const& Description,
                           TCNullTypes<int> const& Parent, int Flags, std::string const& Default)
    : TCPropertyID(Flags, TCNullTypes<std::string>(Default), Name, Number, Description, Parent) {}

TCPropertyID::TCPropertyID(int Number, char const* Name, char const* Description,
                           TCParentNumber Parent, int Flags)
    : TCPropertyID(Flags, TCNullTypes<std::string>(), Name, Number, Description,
                   Parent.get_Nullable()) {}

TCPropertyID::TCPropertyID(int Number, char const* Name, char const* Description,
                           TCParentNumber Parent, int Flags, int Default)
    : TCPropertyID(Flags, ToString(Default), Name, Number, Description, Parent.get_Nullable()) {}

TCPropertyID::TCPropertyID(int Number, char const* Name, char const* Description,
                           TCParentNumber Parent, int Flags, char const* Default)
    : TCPropertyID(Flags, TCNullTypes<std::string>(Default), Name, Number, Description,
                   Parent.get_Nullable()) {}

TCPropertyID::TCPropertyID(int Number, char const* Name, char const* Description,
                           TCParentNumber Parent, int Flags, std::string const& Default)
    : TCPropertyID(Flags, TCNullTypes<std::string>(Default), Name, Number, Description,
                   Parent.get_Nullable()) {}

TCPropertyID::~TCPropertyID() = default;

void TCPropertyID::TakeEarlyDeclarations() {
  try {
    TCValidRegexPropertySettings::Apply(*this);
    TCPropertyChoice::Join(*this);
  } catch (...) {
    Unregister();
    throw;
  }
}

TCPropertyID* TCPropertyID::Find(int Number) {
  TCBasicPropertyID* const Node = TCBasicPropertyID::Find(Number);
  if (Node == nullptr) {
    return nullptr;
  }
  // A plain node can be given the type of a field, too.
  TCPropertyID* const Field = Node->IsPropertyField() ? dynamic_cast<TCPropertyID*>(Node) : nullptr;
  if (Field == nullptr) {
    throw TCException(kSource, __LINE__)
        .Format("Changing none property field %s is not allowed", Node->Viewname(false).c_str());
  }
  return Field;
}

int TCPropertyID::AddChoice(TCPropertyChoice const* Choice) {
  std::list<TCPropertyChoice const*> Choices(1, Choice);
  TCCriticalSectionLock Lock(m_CSection);
  int const Place = static_cast<int>(m_Choices.size());
  TakeChoices(std::move(Choices));
  return Place;
}

void TCPropertyID::TakeChoices(std::list<TCPropertyChoice const*>&& Choices) noexcept {
  m_Choices.splice(m_Choices.end(), Choices);
  m_Flags |= eInteger;
  set_Type(eComboField);
}

bool TCPropertyID::HaveChoice(int Number) const {
  bool NotFound = false;
  FindChoiceByID(Number, NotFound);
  return !NotFound;
}

TCPropertyChoice const* TCPropertyID::GetDefaultChoice(bool) const {
  bool NotFound = false;
  return FindChoice([](TCPropertyChoice const&) { return false; }, NotFound);
}

TCPropertyChoice const* TCPropertyID::FindChoiceByValue(std::string const& Value,
                                                        bool& NotFound) const {
  return FindChoice([&](TCPropertyChoice const& Choice) { return Choice.get_Value() == Value; },
                    NotFound);
}

TCPropertyChoice const* TCPropertyID::FindChoiceByID(int Number, bool& NotFound) const {
  return FindChoice([=](TCPropertyChoice const& Choice) { return Choice.get_Number() == Number; },
                    NotFound);
}

template <class TMatch>
TCPropertyChoice const* TCPropertyID::FindChoice(TMatch const& Match, bool& NotFound) const {
  TCCriticalSectionLock Lock(m_CSection);
  NotFound = false;
  TCPropertyChoice const* Default = nullptr;
  for (TCPropertyChoice const* Choice : m_Choices) {
    if (Match(*Choice)) {
      return Choice;
    }
    if (Default == nullptr || Choice->get_Default()) {
      Default = Choice;
    }
  }
  NotFound = true;
  return Default;
}

TCNullTypes<std::string> TCPropertyID::GetDefaultValue() const {
  if (get_Type() != eComboField) {
    return m_DefaultValue;
  }
  TCPropertyChoice const* const Choice = GetDefaultChoice(false);
  return Choice != nullptr ? ToString(Choice->get_Number()) : TCNullTypes<std::string>();
}

void TCPropertyID::SetDefaultValue(TCCommonPropertyObject& Object) const {
  switch (get_Type()) {
    case eComboField:
      Object.SetDefaultChoice();
      break;
    case eIntegerField:
    case eStringField:
    case eBooleanField:
      if (!m_DefaultValue.IsNull()) {
        Object.SetRealValue(m_DefaultValue.get_Value());
      }
      break;
    default:
      break;
  }
}

TCNullTypes<std::string> TCPropertyID::BoostCast(boost::any const& Value) const {
  if (Value.empty()) {
    return TCNullTypes<std::string>();
  }
  switch (get_Type()) {
    case eComboField:
    case eIntegerField:
    case eBooleanField:
      return ToString(boost::any_cast<int>(Value));
    case eStringField:
    case eDBLookupField:
      return boost::any_cast<std::string const&>(Value);
    default:
      return TCNullTypes<std::string>();
  }
}

void TCPropertyID::SetShow(bool Show) {
  if (Show) {
    m_Flags &= ~eHidden;
  } else {
    m_Flags |= eHidden;
  }
}

int TCPropertyID::GetShow() {
  if ((m_Flags & eHidden) != 0) {
    return 0;
  }
  return (m_Flags & (eLevel1 | eLevel2)) == eLevel2 ? 2 : 1;
}

void TCPropertyID::SetFieldType() {
  if ((m_Flags & eInteger) != 0) {
    set_Type(eIntegerField);
    m_Regex = kDigits;
  } else if ((m_Flags & eString) != 0) {
    set_Type(eStringField);
  } else if ((m_Flags & eBoolean) != 0) {
    set_Type(eBooleanField);
  }
}

void TCPropertyID::DoInitialize() {
  TCCriticalSectionLock Lock(m_CSection);
  if ((m_Flags & (eBoolean | eInteger | eString)) == 0) {
    throw TCException(kSource, __LINE__, "(m_Flags & (0x08|0x10|0x20)) != 0")
        .Format("Property %s does not specify Field Type", Viewname(true).c_str());
  }
  TCBasicPropertyID::DoInitialize();
  // Neighbours only: of two defaults further apart the later one is the default.
  bool Default = false;
  for (TCPropertyChoice const* Choice : m_Choices) {
    if (Default && Choice->get_Default()) {
      throw TCException(kSource, __LINE__, "Default == false || (*Itr)->get_Default() == false")
          .Format("Property %s have multiple default choices", Viewname(true).c_str());
    }
    Default = Choice->get_Default();
  }
}

TCPropertyID& UnassignedProperty() {
  static TCPropertyID& Result =
      *new TCPropertyID("unassigned", 0, "unassigned", TCNullTypes<int>(), eInteger | eLevel1, "");
  return Result;
}

TCPropertyID& Prop_Unassigned = UnassignedProperty();

}  // namespace Property
