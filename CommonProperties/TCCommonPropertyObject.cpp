// SPDX-License-Identifier: MIT
// Conversions of a value between its stored text and the types that clients use.
#include "CommonProperties/TCCommonPropertyObject.h"

#include <ostream>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCStoredText.h"
#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCCommonPropertyObject";

// Reads one to nine digits, which fit into any number. False, with `Value` as it was, for any other
// text, be it a number or not.
bool ParseDigits(std::string const& Text, int& Value) noexcept {
  constexpr std::size_t kMost = 9;
  if (Text.size() - 1 >= kMost) {
    return false;
  }
  int Number = 0;
  for (char const Digit : Text) {
    auto const Units = static_cast<unsigned>(Digit) - unsigned{'0'};
    if (Units > 9) {
      return false;
    }
    Number = Number * 10 + static_cast<int>(Units);
  }
  Value = Number;
  return true;
}

std::string NumberText(TCPropertyChoice const& Choice) {
  return ToString(Choice.get_Number());
}

}  // namespace

bool TCCommonPropertyObject::m_CheckData = false;

TCCommonPropertyObject::TCCommonPropertyObject()
    : m_Defined(false), m_ID(&UnassignedProperty()), m_Loaded(false) {}

TCCommonPropertyObject::TCCommonPropertyObject(TCPropertyID const& ID, TCRecordID const& Link,
                                               std::string const& MAC)
    : m_Defined(true), m_ID(&ID), m_MAC(MAC), m_Link(Link), m_Loaded(false) {}

// ---- writing ----

void TCCommonPropertyObject::set_Data(std::string const& Text) {
  if (IsChoiceField()) {
    SelectByValue(Text);
    return;
  }
  TraceChange(Text, "");
  if (m_ID->get_Type() == eBooleanField) {
    m_Data = BoolText(ToIntDef(Text, 0) != 0);
  } else {
    m_Data = Text;
  }
}

void TCCommonPropertyObject::SelectByValue(std::string const& Text) {
  bool NotFound = false;
  TCPropertyChoice const* Choice = m_ID->FindChoiceByValue(Text, NotFound);
  if (NotFound) {
    SyslogWarning("Invalid Property Value [%s] assigned to %s", Text.c_str(),
                  m_ID->Viewname(false).c_str());
    if (IsDebugLevel(DEBUG_PROPERTY)) {
      SendDebugOutput(DEBUG_PROPERTY,
                      "%s link(%s) is set to default because of invalid choice [%s].",
                      m_ID->Viewname(false).c_str(), m_Link.get_AsString().c_str(), Text.c_str());
    }
  }
  if (Choice == nullptr) {
    return;
  }
  std::string Number = NumberText(*Choice);
  if (Number == m_Data) {
    return;
  }
  TraceChange(Number, "");
  m_Data = std::move(Number);
}

TCCommonPropertyObject& TCCommonPropertyObject::operator=(std::string const& Text) {
  set_Data(Text);
  return *this;
}

TCCommonPropertyObject& TCCommonPropertyObject::operator=(char const* Text) {
  return *this = std::string(Text);
}

TCCommonPropertyObject& TCCommonPropertyObject::operator=(int Value) {
  return *this = ToString(Value);
}

TCCommonPropertyObject& TCCommonPropertyObject::operator=(long long Value) {
  return *this = ToString(static_cast<unsigned long long>(Value));
}

TCCommonPropertyObject& TCCommonPropertyObject::operator=(bool Value) {
  return *this = BoolText(Value);
}

TCCommonPropertyObject& TCCommonPropertyObject::operator=(TCPropertyChoiceID const& right) {
  RequireChoiceField(__LINE__);
  if (!m_ID->HaveChoice(right.get_AsInteger())) {
    throw TCException(kSource, __LINE__, "m_ID->HaveChoice(right.get_AsInteger())==true")
        .Format("Property %s is assigned to choice which are not valid choice",
                m_ID->Viewname(true).c_str());
  }
  SetRealValue(right.get_AsString());
  return *this;
}

bool TCCommonPropertyObject::SetRealValue(std::string const& Text) {
  bool const Differs = Text != m_Data;
  if (!IsChoiceField()) {
    m_Data = Text;
  } else {
    bool NotFound = false;
    TCPropertyChoice const* Choice = m_ID->FindChoiceByID(ToIntDef(Text, 0), NotFound);
    if (NotFound) {
      // A copy: Text may be this object's own, which is about to be replaced.
      TakeDefaultChoice(std::string(Text), Choice);
    } else {
      TraceChange(Text, "*");
      m_Data = Text;
    }
  }
  m_Loaded = true;
  return Differs;
}

void TCCommonPropertyObject::TakeDefaultChoice(std::string const& Text,
                                               TCPropertyChoice const* Choice) {
  char const* Description = Choice != nullptr ? Choice->get_Description().c_str() : "";
  if (!Text.empty()) {
    SyslogWarning("Invalid Value [%s] assigned to %s. Default is chosen [%s]", Text.c_str(),
                  m_ID->Viewname(false).c_str(), Description);
  }
  if (Choice != nullptr) {
    m_Data = NumberText(*Choice);
  }
  if (m_CheckData) {
    throw TCException(kSource, __LINE__)
        .Format("Invalid Value [%s] assigned to %s. Default is chosen [%s]", Text.c_str(),
                m_ID->Viewname(false).c_str(), Description);
  }
}

void TCCommonPropertyObject::SetStringBit(int Bit, bool Value) {
  if (IsChoiceField()) {
    throw TCException(kSource, __LINE__, "m_ID->get_Type() != eComboField");
  }
  SetBitInStringVector(m_Data, Bit, Value);
}

void TCCommonPropertyObject::SetDefaultChoice() {
  if (!IsChoiceField()) {
    throw TCException(kSource, __LINE__, "m_ID->get_Type() == eComboField")
        .Format("Property %s is not a choice type", m_ID->Viewname(true).c_str());
  }
  if (TCPropertyChoice const* Choice = m_ID->GetDefaultChoice(false)) {
    m_Data = NumberText(*Choice);
  }
}

void TCCommonPropertyObject::Clear() {
  if (IsChoiceField()) {
    SetDefaultChoice();
  } else {
    SetRealValue("");
  }
}

TCCommonPropertyObject TCCommonPropertyObject::Validate(void (*Function)(TCCommonPropertyObject&)) {
  TCCommonPropertyObject Copy(*this);
  if (Function == nullptr) {
    throw TCException(kSource, __LINE__, "Function!=__null")
        .Format("Validation function is NULL for property %s", m_ID->Viewname(true).c_str());
  }
  Function(Copy);
  if (Copy.m_Data == m_Data) {
    if (IsDebugLevel(DEBUG_PROPERTY)) {
      SendDebugOutput(DEBUG_PROPERTY, "%s link(%s) validation with not change [%s]",
                      m_ID->Viewname(false).c_str(), m_Link.get_AsString().c_str(), m_Data.c_str());
    }
    return *this;
  }
  if (IsDebugLevel(DEBUG_PROPERTY)) {
    SendDebugOutput(DEBUG_PROPERTY, "%s link(%s) validation change from [%s] to [%s]",
                    m_ID->Viewname(false).c_str(), m_Link.get_AsString().c_str(), m_Data.c_str(),
                    Copy.m_Data.c_str());
  }
  m_Data = Copy.m_Data;
  TCPropertyCollection::get()->UpdateProperty(*m_ID, m_Link, m_Data, false,
                                              m_MAC.get_AsString(':'));
  return *this;
}

// ---- reading ----

bool TCCommonPropertyObject::IsChoiceField() const {
  return m_ID->get_Type() == eComboField;
}

void TCCommonPropertyObject::RequireChoiceField(int Line) const {
  if (!IsChoiceField()) {
    throw TCException(kSource, Line, "m_ID->get_Type() == eComboField")
        .Format("Property %s is not a choice field", m_ID->Viewname(true).c_str());
  }
}

TCPropertyChoice const* TCCommonPropertyObject::SelectedChoice(int Line) const {
  if (!IsChoiceField()) {
    throw TCException(kSource, Line, "get_ID().get_Type() == eComboField");
  }
  return Stored().Choice();
}

inline TCStoredText TCCommonPropertyObject::Stored() const {
  return TCStoredText(*m_ID, m_Data);
}

std::string TCCommonPropertyObject::get_Data() const {
  std::string Buffer;
  return Stored().Read(Buffer);
}

std::string TCCommonPropertyObject::get_Data(TCNullTypes<bool> const& Default) const {
  return Stored().Read(Default);
}

std::string TCCommonPropertyObject::get_Data(TCNullTypes<int> const& Default) const {
  std::string Buffer;
  return Stored().Read(Default, Buffer);
}

std::string TCCommonPropertyObject::get_Data(TCNullTypes<long long> const& Default) const {
  std::string Buffer;
  return Stored().Read(Default, Buffer);
}

std::string TCCommonPropertyObject::get_Data(TCNullTypes<std::string> const& Default) const {
  if (!IsChoiceField() && !m_Data.empty()) {
    return m_Data;
  }
  std::string Buffer;
  return Stored().Read(Default, Buffer);
}

std::string TCCommonPropertyObject::get_Data(char const* Default) const {
  if (Default != nullptr) {
    return get_Data(TCNullTypes<std::string>(Default));
  }
  return get_Data();
}

bool TCCommonPropertyObject::get_AsBool(TCNullTypes<bool> const& Default) const {
  return Stored().ReadBool(Default);
}

int TCCommonPropertyObject::get_AsInteger(TCNullTypes<int> const& Default) const {
  int Value = 0;
  if (!IsChoiceField() && ParseDigits(m_Data, Value)) {
    return Value;
  }
  return ReadInteger(Default);
}

int TCCommonPropertyObject::ReadInteger(TCNullTypes<int> const& Default) const {
  std::string Buffer;
  bool OK = false;
  long const Value = StringToLong(Stored().Read(Default, Buffer), OK);
  return OK ? static_cast<int>(Value) : Default.get_Value();
}

long long TCCommonPropertyObject::get_AsBigInt(TCNullTypes<long long> const& Default) const {
  std::string Buffer;
  bool OK = false;
  long long const Value = StringToBigInt(Stored().Read(Default, Buffer), OK);
  return OK ? static_cast<int>(Value) : Default.get_Value();
}

std::string TCCommonPropertyObject::get_AsString(TCNullTypes<std::string> const& Default) const {
  return get_Data(Default);
}

std::string TCCommonPropertyObject::get_AsString(char const* Default) const {
  return get_Data(Default);
}

boost::any TCCommonPropertyObject::get_AsBoostAny() const {
  switch (m_ID->get_Type()) {
    case eComboField:
    case eIntegerField:
    case eBooleanField:
      return get_AsInteger();
    case eStringField:
    case eDBLookupField:
      return get_AsString();
    default:
      return boost::any();
  }
}

int TCCommonPropertyObject::get_ChoiceID(TCNullTypes<int> const&) const {
  TCPropertyChoice const* Choice = SelectedChoice(__LINE__);
  return Choice != nullptr ? Choice->get_Number() : 0;
}

int TCCommonPropertyObject::get_ChoiceValue(TCNullTypes<int> const&) const {
  TCPropertyChoice const* Choice = SelectedChoice(__LINE__);
  return Choice != nullptr ? ToInt(Choice->get_Value()) : 0;
}

std::string TCCommonPropertyObject::get_ChoiceName(TCNullTypes<int> const&) const {
  TCPropertyChoice const* Choice = SelectedChoice(__LINE__);
  return Choice != nullptr ? Choice->get_Description() : std::string();
}

bool TCCommonPropertyObject::GetStringBit(int Bit) const {
  if (IsChoiceField()) {
    throw TCException(kSource, __LINE__, "m_ID->get_Type() != eComboField");
  }
  return IsBitSetInStringVector(m_Data, Bit);
}

TCCommonPropertyObject::operator bool() const {
  return get_AsBool();
}

TCCommonPropertyObject::operator int() const {
  return get_AsInteger();
}

TCCommonPropertyObject::operator long long() const {
  return get_AsBigInt();
}

TCCommonPropertyObject::operator double() const {
  std::string Buffer;
  bool OK = false;
  double const Value = StringToDouble(Stored().Read(TCNullTypes<std::string>(), Buffer), OK);
  return OK ? Value : 0;
}

TCCommonPropertyObject::operator std::string() const {
  return get_Data();
}

TCCommonPropertyObject::operator char const*() const {
  return m_TextBuffer.Keep(get_Data());
}

char const* TCCommonPropertyObject::TCTextBuffer::Keep(std::string&& Text) {
  if (m_Text == nullptr) {
    m_Text = std::make_unique<std::string>(std::move(Text));
  } else {
    *m_Text = std::move(Text);
  }
  return m_Text->c_str();
}

bool TCCommonPropertyObject::operator!=(TCCommonPropertyObject const& Right) const {
  return m_Defined != Right.m_Defined || m_Data != Right.m_Data;
}

bool TCCommonPropertyObject::operator==(bool Right) const {
  return get_AsBool() == Right;
}

bool TCCommonPropertyObject::operator==(int Right) const {
  return get_AsInteger() == Right;
}

bool TCCommonPropertyObject::IsNumber(long long Right) const {
  return get_AsBigInt() == Right;
}

bool TCCommonPropertyObject::IsNumber(unsigned long long Right) const {
  long long const Value = get_AsBigInt();
  return Value >= 0 && static_cast<unsigned long long>(Value) == Right;
}

bool TCCommonPropertyObject::IsNumber(double Right) const {
  double const Value = *this;
  return Value == Right;
}

bool TCCommonPropertyObject::operator==(std::string const& Right) const {
  if (!IsChoiceField()) {
    return m_Data == Right;
  }
  std::string Buffer;
  return Stored().Read(Buffer) == Right;
}

bool TCCommonPropertyObject::operator==(char const* Right) const {
  return *this == std::string(Right);
}

bool TCCommonPropertyObject::operator==(TCPropertyChoiceID const& ChoiceID) const {
  RequireChoiceField(__LINE__);
  if (!m_ID->HaveChoice(ChoiceID.get_AsInteger())) {
    throw TCException(kSource, __LINE__, "m_ID->HaveChoice(ChoiceID.get_AsInteger())==true")
        .Format("Property %s is comparing to choice which are not valid choice",
                m_ID->Viewname(true).c_str());
  }
  return m_Data == ChoiceID.get_AsString();
}

bool TCCommonPropertyObject::operator!=(TCPropertyChoiceID const& ChoiceID) const {
  RequireChoiceField(__LINE__);
  if (!m_ID->HaveChoice(ChoiceID.get_AsInteger())) {
    throw TCException(kSource, __LINE__, "m_ID->HaveChoice(ChoiceID.get_AsInteger())==true")
        .Format("%s is comparing to choice which are not valid choice",
                m_ID->Viewname(true).c_str());
  }
  return m_Data != ChoiceID.get_AsString();
}

std::ostream& operator<<(std::ostream& Stream, TCCommonPropertyObject const& Value) {
  return Stream << Value.get_Data();
}

void TCCommonPropertyObject::TraceChange(std::string const& Text, char const* Suffix) const {
  if (IsDebugLevel(DEBUG_PROPERTY)) {
    SendDebugOutput(DEBUG_PROPERTY, "%s link(%s) is changed from [%s] to [%s]%s",
                    m_ID->Viewname(false).c_str(), m_Link.get_AsString().c_str(), m_Data.c_str(),
                    Text.c_str(), Suffix);
  }
}

void TCCommonPropertyObject::Trace(std::string const& Text) const {
  if (IsDebugLevel(DEBUG_PROPERTY)) {
    SendDebugOutput(DEBUG_PROPERTY, "%s %s link(%s). Data [%s]", Text.c_str(),
                    m_ID->Viewname(false).c_str(), m_Link.get_AsString().c_str(), m_Data.c_str());
  }
}

}  // namespace Property
