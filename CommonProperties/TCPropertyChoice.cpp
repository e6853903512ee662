// SPDX-License-Identifier: MIT
// A choice registers twice: as a node and in its field's list.
#include "CommonProperties/TCPropertyChoice.h"

#include <utility>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TextConversions.h"

namespace Property {

TCPropertyChoice::TCPropertyChoice(std::string const& Name, std::string const& Description,
                                   int Number, bool Default, TCPropertyID* Owner,
                                   std::string const& Value)
    : TCPropertyChoice(Owner, std::string(Value), Name, Description, Number, Default) {}

TCPropertyChoice::TCPropertyChoice(std::string const& Name, std::string const& Description,
                                   int Number, bool Default, TCPropertyID* Owner, int Value)
    : TCPropertyChoice(Owner, ToString(Value), Name, Description, Number, Default) {}

TCPropertyChoice::TCPropertyChoice(TCPropertyID* Owner, std::string&& Value,
                                   std::string const& Name, std::string const& Description,
                                   int Number, bool Default)
    : TCBasicPropertyID(Name, Number, eComboChoice, Description, Owner->get_Number()),
      m_Default(Default),
      m_Value(std::move(Value)) {
  try {
    m_ChoiceOrder = Owner->AddChoice(this);
  } catch (...) {
    Unregister();
    throw;
  }
}

TCPropertyChoice::~TCPropertyChoice() = default;

std::string TCPropertyChoice::Viewname(bool) const {
  std::string Result;
  return sprintf(Result, "%s(%s) %s", get_Name().c_str(), get_Description().c_str(),
                 get_Typename().c_str());
}

void TCPropertyChoice::DoInitialize() {
  TCBasicPropertyID::DoInitialize();
}

}  // namespace Property
