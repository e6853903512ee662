// SPDX-License-Identifier: MIT
// Choices and defaults in the place of a stored text.
#include "CommonProperties/TCStoredText.h"

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;

namespace Property {

namespace {

std::string DefaultText(TCNullTypes<int> const& Default) {
  return ToString(Default);
}
std::string DefaultText(TCNullTypes<long long> const& Default) {
  return ToString(Default);
}
std::string const& DefaultText(TCNullTypes<std::string> const& Default) {
  return Default.get_Value();
}

}  // namespace

TCPropertyChoice const* TCStoredText::ChoiceOfNumber(bool& NotFound) const {
  return m_ID.FindChoiceByID(ToIntDef(m_Text, 0), NotFound);
}

TCPropertyChoice const* TCStoredText::ChoiceOfDefault(std::string const& Value,
                                                      char const* Shown) const {
  bool NotFound = false;
  TCPropertyChoice const* Choice = m_ID.FindChoiceByValue(Value, NotFound);
  if (NotFound) {
    SyslogWarning("Property %s tried to specifies an invalid choice value (%s)",
                  m_ID.Viewname(true).c_str(), Shown);
  }
  return Choice;
}

template <class T>
TCPropertyChoice const* TCStoredText::ChoiceFor(TCNullTypes<T> const& Default) const {
  bool NotFound = false;
  TCPropertyChoice const* Choice = ChoiceOfNumber(NotFound);
  if (!NotFound || Default.IsNull()) {
    return Choice;
  }
  std::string const Value = DefaultText(Default);
  return ChoiceOfDefault(Value, Value.c_str());
}

TCPropertyChoice const* TCStoredText::ChoiceFor(TCNullTypes<bool> const& Default) const {
  if (Default.IsNull()) {
    return Choice();
  }
  // The stored number is not asked: a choice read with a boolean default is that default.
  return ChoiceOfDefault(BoolText(Default.get_Value()), Default.get_Value() ? "true" : "false");
}

template <class T>
std::string const& TCStoredText::ReadChoice(TCNullTypes<T> const& Default,
                                            std::string& Buffer) const {
  return ValueText(ChoiceFor(Default), Buffer);
}

template <class T>
std::string const& TCStoredText::ReadDefault(TCNullTypes<T> const& Default,
                                             std::string& Buffer) const {
  Buffer = Default.IsNull() ? m_ID.GetDefaultValue().get_Value() : DefaultText(Default);
  return Buffer;
}

template std::string const& TCStoredText::ReadChoice(TCNullTypes<int> const&, std::string&) const;
template std::string const& TCStoredText::ReadDefault(TCNullTypes<int> const&, std::string&) const;
template std::string const& TCStoredText::ReadChoice(TCNullTypes<long long> const&,
                                                     std::string&) const;
template std::string const& TCStoredText::ReadDefault(TCNullTypes<long long> const&,
                                                      std::string&) const;
template std::string const& TCStoredText::ReadChoice(TCNullTypes<std::string> const&,
                                                     std::string&) const;
template std::string const& TCStoredText::ReadDefault(TCNullTypes<std::string> const&,
                                                      std::string&) const;

std::string TCStoredText::Read(TCNullTypes<bool> const& Default) const {
  if (!IsChoice()) {
    return BoolText(ReadPlainBool(Default));
  }
  return ValueText(ChoiceFor(Default), std::string());
}

bool TCStoredText::ReadBool(TCNullTypes<bool> const& Default) const {
  if (!IsChoice()) {
    return ReadPlainBool(Default);
  }
  std::string const Text = Read(Default);
  if (Text.empty() && !Default.IsNull()) {
    return Default.get_Value();
  }
  return ToIntDef(Text, 0) != 0;
}

bool TCStoredText::ReadPlainBool(TCNullTypes<bool> const& Default) const {
  if (!m_Text.empty()) {
    return ToIntDef(m_Text, 0) != 0;
  }
  if (!Default.IsNull()) {
    return Default.get_Value();
  }
  TCNullTypes<std::string> const Schema = m_ID.GetDefaultValue();
  return Schema.IsNull() || Schema.get_Value() != "0";
}

}  // namespace Property
