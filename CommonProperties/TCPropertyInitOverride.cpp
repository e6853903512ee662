// SPDX-License-Identifier: MIT
// The adjustments that an override may make, each checked against its field's flags.
#include "CommonProperties/TCPropertyInitOverride.h"

#include <typeinfo>

#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCEarlyDeclarations.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCPropertyInitOverride";

using TEarlyOverrides = TCEarlyDeclarations<TCPropertyInitOverride*>;

TEarlyOverrides& EarlyOverrides() {
  static TEarlyOverrides& Result = *new TEarlyOverrides;
  return Result;
}

}  // namespace

TCPropertyInitOverride::TCPropertyInitOverride(TCBasicPropertyID* BasicProperty)
    : m_Property(BasicProperty) {
  if (BasicProperty == nullptr) {
    throw TCException(kSource, __LINE__, "BasicProperty != __null");
  }
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  if (TCBasicPropertyID::IsConstructed(*BasicProperty)) {
    BasicProperty->SetInitOverride(this);
  } else {
    EarlyOverrides().Add(BasicProperty, this);
  }
}

TCPropertyInitOverride::~TCPropertyInitOverride() = default;

void TCPropertyInitOverride::Attach(TCBasicPropertyID& Node) noexcept {
  TEarlyOverrides::TDeclared const* const Overrides = EarlyOverrides().Find(&Node);
  if (Overrides == nullptr) {
    return;
  }
  Node.SetInitOverride(Overrides->back());
  EarlyOverrides().Drop(&Node);
}

void TCPropertyInitOverride::RequireConstructed() {
  if (TCPropertyInitOverride* const* Override = EarlyOverrides().First()) {
    throw TCException(kSource, __LINE__)
        .Format("An override of the class %s is for a property that is not constructed",
                typeid(**Override).name());
  }
}

void TCPropertyInitOverride::Initialize(TCBasicPropertyID* BasicProperty) {
  if (m_Applied) {
    return;
  }
  if (BasicProperty != m_Property) {
    throw TCException(kSource, __LINE__, "BasicProperty == m_Property");
  }
  m_Applied = true;
  DoInitialize();
}

TCPropertyID* TCPropertyInitOverride::AsProperty() {
  if (m_Property == nullptr) {
    throw TCException(kSource, __LINE__, "m_Property != __null");
  }
  auto* const propertyID = dynamic_cast<TCPropertyID*>(m_Property);
  if (propertyID == nullptr) {
    throw TCException(kSource, __LINE__, "propertyID != __null");
  }
  return propertyID;
}

TCNullTypes<std::string>& TCPropertyInitOverride::GetDefaultValueRef() {
  return AsProperty()->m_DefaultValue;
}

TCNullTypes<std::string> TCPropertyInitOverride::GetDefaultValue() {
  return AsProperty()->m_DefaultValue;
}

int& TCPropertyInitOverride::GetFlagsRef() {
  return AsProperty()->m_Flags;
}

int TCPropertyInitOverride::GetFlags() {
  return AsProperty()->m_Flags;
}

void TCPropertyInitOverride::SetFlags(int const& Flags) {
  AsProperty()->m_Flags = Flags;
}

void TCPropertyInitOverride::SetShow(bool const& Show) {
  m_Property->SetShow(Show);
}

void TCPropertyInitOverride::SetDefaultValue(bool const& Value) {
  TCPropertyID* const property = AsProperty();
  if ((property->m_Flags & 0x08) != 0x08) {
    throw TCException(kSource, __LINE__, "(property->m_Flags & 0x08) == 0x08")
        .Format("Property %s is not boolean type", property->Viewname(false).c_str());
  }
  property->m_DefaultValue = Value ? "1" : "0";
}

void TCPropertyInitOverride::SetDefaultValue(int const& Value) {
  TCPropertyID* const property = AsProperty();
  if ((property->m_Flags & 0x10) != 0x10) {
    throw TCException(kSource, __LINE__, "(property->m_Flags & 0x10) == 0x10")
        .Format("Property %s is not integer type", property->Viewname(false).c_str());
  }
  property->m_DefaultValue = ToString(Value);
}

void TCPropertyInitOverride::SetDefaultValue(std::string const& Value) {
  TCPropertyID* const property = AsProperty();
  if ((property->m_Flags & 0x20) != 0x20) {
    throw TCException(kSource, __LINE__, "(property->m_Flags & 0x20) == 0x20")
        .Format("Property %s is not string type", property->Viewname(false).c_str());
  }
  property->m_DefaultValue = Value;
}

void TCPropertyInitOverride::SetDefaultValue(char const* Value) {
  SetDefaultValue(std::string(Value));
}

void TCPropertyInitOverride::SetDefaultChoice(int const& Number) {
  TCPropertyID* const property = AsProperty();
  bool defaultPropertyChoiceFound = false;
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  for (TCPropertyChoice const* Choice : property->m_Choices) {
    Choice->m_Default = Choice->get_Number() == Number;
    defaultPropertyChoiceFound = defaultPropertyChoiceFound || Choice->m_Default;
  }
  if (!defaultPropertyChoiceFound) {
    throw TCException(kSource, __LINE__, "defaultPropertyChoiceFound")
        .Format("Property %s, failed to set property choice default, property choice %d not found",
                property->Viewname(false).c_str(), Number);
  }
}

void TCPropertyInitOverride::SetDefaultChoice(TCPropertyChoice const* Choice) {
  SetDefaultChoice(Choice->get_Number());
}

}  // namespace Property
