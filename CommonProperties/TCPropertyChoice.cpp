// SPDX-License-Identifier: MIT
// A choice registers twice: as a node and in its field's list, once there is the field.
#include "CommonProperties/TCPropertyChoice.h"

#include <list>
#include <utility>

#include "CommonProperties/TCEarlyDeclarations.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

namespace Property {

namespace {

using TEarlyChoices = TCEarlyDeclarations<TCPropertyChoice*>;

TEarlyChoices& EarlyChoices() {
  static TEarlyChoices& Result = *new TEarlyChoices;
  return Result;
}

}  // namespace

TCPropertyChoice::TCPropertyChoice(std::string const& Name, std::string const& Description,
                                   int Number, bool Default, TCPropertyID* Owner,
                                   std::string const& Value)
    : TCPropertyChoice(Owner, std::string(Value), Name, Description, Number, Default) {}

TCPropertyChoice::TCPropertyChoice(std::string const& Name, std::string const& Description,
                                   int Number, bool Default, TCPropertyID* Owner, int Value)
    : TCPropertyChoice(Owner, ToString(Value), Name, Description, Number, Default) {}

TCPropertyChoice::TCPropertyChoice(TCPropertyID* Owner, char const* Name, char const* Description,
                                   int Number, bool Default, std::string const& Value)
    : TCPropertyChoice(Owner, std::string(Value), Name, Description, Number, Default) {}

TCPropertyChoice::TCPropertyChoice(TCPropertyID* Owner, char const* Name, char const* Description,
                                   int Number, bool Default, char const* Value)
    : TCPropertyChoice(Owner, std::string(Value), Name, Description, Number, Default) {}

TCPropertyChoice::TCPropertyChoice(TCPropertyID* Owner, char const* Name, char const* Description,
                                   int Number, bool Default, int Value)
    : TCPropertyChoice(Owner, ToString(Value), Name, Description, Number, Default) {}

TCPropertyChoice::TCPropertyChoice(TCPropertyID* Owner, std::string&& Value,
                                   std::string const& Name, std::string const& Description,
                                   int Number, bool Default)
    : TCBasicPropertyID(Name, Number, eComboChoice, Description, NumberOf(Owner)),
      m_Default(Default),
      m_Value(std::move(Value)) {
  try {
    JoinOwner(Owner);
  } catch (...) {
    Unregister();
    throw;
  }
}

TCPropertyChoice::~TCPropertyChoice() = default;

Accessories::TCNullTypes<int> TCPropertyChoice::NumberOf(TCPropertyID const* Owner) {
  if (!IsConstructed(*Owner)) {
    return Accessories::TCNullTypes<int>();
  }
  return Owner->get_Number();
}

void TCPropertyChoice::JoinOwner(TCPropertyID* Owner) {
  TCCriticalSectionLock Lock(m_CSection);
  if (IsConstructed(*Owner)) {
    m_ChoiceOrder = Owner->AddChoice(this);
  } else {
    EarlyChoices().Add(Owner, this);
  }
}

void TCPropertyChoice::Join(TCPropertyID& Field) {
  TCCriticalSectionLock Lock(m_CSection);
  TEarlyChoices::TDeclared const* const Choices = EarlyChoices().Find(&Field);
  if (Choices == nullptr) {
    return;
  }
  std::list<TCPropertyChoice const*> Joining(Choices->begin(), Choices->end());
  int Place = 0;
  for (TCPropertyChoice* const Choice : *Choices) {
    Choice->set_Parent(Field.get_Number());
    Choice->m_ChoiceOrder = Place++;
  }
  Field.TakeChoices(std::move(Joining));
  EarlyChoices().Drop(&Field);
}

void TCPropertyChoice::RequireConstructed() {
  TCCriticalSectionLock Lock(m_CSection);
  if (TCPropertyChoice* const* Choice = EarlyChoices().First()) {
    throw TCException("../CommonProperties/TCPropertyChoice", __LINE__)
        .Format("Property %s belongs to a field that is not constructed",
                (*Choice)->Viewname(false).c_str());
  }
}

std::string TCPropertyChoice::Viewname(bool) const {
  std::string Result;
  return sprintf(Result, "%s(%s) %s", get_Name().c_str(), get_Description().c_str(),
                 get_Typename().c_str());
}

void TCPropertyChoice::DoInitialize() {
  TCBasicPropertyID::DoInitialize();
}

}  // namespace Property
