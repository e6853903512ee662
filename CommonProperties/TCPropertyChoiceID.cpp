// SPDX-License-Identifier: MIT
// The registry of choice references and their check against the schema.
#include "CommonProperties/TCPropertyChoiceID.h"

#include <utility>

#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCPropertyChoiceID";

TCPropertyChoice const& FindChoice(int Number) {
  auto const* const Choice = dynamic_cast<TCPropertyChoice*>(TCBasicPropertyID::Find(Number));
  if (Choice == nullptr) {
    throw TCException(kSource, __LINE__, "Choice!=__null");
  }
  return *Choice;
}

}  // namespace

std::map<int, TCPropertyChoiceID*>* TCPropertyChoiceID::m_List = nullptr;

TCPropertyChoiceID::TCPropertyChoiceID(std::string const&, int Number, std::string const& Name)
    : m_Number(Number), m_Name(Name) {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  if (m_List == nullptr) {
    m_List = new std::map<int, TCPropertyChoiceID*>;
  }
  m_List->emplace(Number, this);
}

TCPropertyChoiceID::TCPropertyChoiceID(int Number, char const* Unused, char const* Name)
    : TCPropertyChoiceID(std::string(Unused), Number, std::string(Name)) {}

TCPropertyChoiceID& TCPropertyChoiceID::operator=(TCPropertyChoiceID const& Right) {
  std::string Name = Right.m_Name;
  if (m_Number != Right.m_Number) {
    Unregister();
  }
  m_Number = Right.m_Number;
  m_OnePiece = Right.m_OnePiece;
  m_Name = std::move(Name);
  return *this;
}

TCPropertyChoiceID::~TCPropertyChoiceID() = default;

void TCPropertyChoiceID::Unregister() noexcept {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  if (Find(m_Number) == this) {
    m_List->erase(m_Number);
  }
}

TCPropertyChoiceID* TCPropertyChoiceID::Find(int Number) {
  if (m_List == nullptr) {
    return nullptr;
  }
  auto const Itr = m_List->find(Number);
  return Itr != m_List->end() ? Itr->second : nullptr;
}

void TCPropertyChoiceID::Initialize() {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  if (m_List == nullptr) {
    return;
  }
  for (auto Itr = m_List->begin(); Itr != m_List->end();) {
    TCPropertyChoiceID const& Reference = *Itr->second;
    TCBasicPropertyID const* const Property = TCBasicPropertyID::Find(Itr->first);
    if (Property == nullptr) {
      SyslogError("Property Choice %s doens't exist anymore", Reference.Viewname().c_str());
      Itr = m_List->erase(Itr);
      continue;
    }
    if (Property->get_Type() != eComboChoice) {
      throw TCException(kSource, __LINE__, "Property->get_Type() == eComboChoice")
          .Format("Property Choice reference %s refer to a none property choice",
                  Reference.Viewname().c_str());
    }
    ++Itr;
  }
}

std::string TCPropertyChoiceID::get_AsString() const {
  return ToString(m_Number);
}

std::string TCPropertyChoiceID::Viewname() const {
  std::string Result;
  return sprintf(Result, "%s(%d)", m_Name.c_str(), m_Number);
}

std::string TCPropertyChoiceID::get_DefaultStringValue() const {
  return FindChoice(m_Number).get_Value();
}

int TCPropertyChoiceID::get_DefaultIntegerValue() const {
  return ToInt(FindChoice(m_Number).get_Value());
}

}  // namespace Property
