// SPDX-License-Identifier: MIT
// What the stored text of a value reads as, by the type of its definition.
#pragma once

#include <string>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

/// A stored text and the definition that it belongs to, for the length of one read. Refers to both
/// and owns neither.
///
/// What reads as a text is answered without a copy where it exists already; `Buffer` comes in empty
/// and holds the text when it exists nowhere else. A choice is null only for a choice field without
/// choices.
class TCStoredText {
 public:
  TCStoredText(TCPropertyID const& ID, std::string const& Text) : m_ID(ID), m_Text(Text) {}

  bool IsChoice() const { return m_ID.get_Type() == eComboField; }
  /// The choice of the stored number, else the default choice. Of a choice field.
  TCPropertyChoice const* Choice() const {
    bool NotFound = false;
    return ChoiceOfNumber(NotFound);
  }

  /// See TCCommonPropertyObject::get_Data.
  std::string const& Read(std::string& Buffer) const {
    return IsChoice() ? ValueText(Choice(), Buffer) : m_Text;
  }
  /// The same with a default, for int, long long and std::string.
  template <class T>
  std::string const& Read(Accessories::TCNullTypes<T> const& Default, std::string& Buffer) const {
    if (IsChoice()) {
      return ReadChoice(Default, Buffer);
    }
    return !m_Text.empty() ? m_Text : ReadDefault(Default, Buffer);
  }
  std::string Read(Accessories::TCNullTypes<bool> const& Default) const;

  /// See TCCommonPropertyObject::get_AsBool.
  bool ReadBool(Accessories::TCNullTypes<bool> const& Default) const;

 private:
  template <class T>
  std::string const& ReadChoice(Accessories::TCNullTypes<T> const& Default,
                                std::string& Buffer) const;
  template <class T>
  std::string const& ReadDefault(Accessories::TCNullTypes<T> const& Default,
                                 std::string& Buffer) const;
  static std::string const& ValueText(TCPropertyChoice const* Choice, std::string const& None) {
    return Choice != nullptr ? Choice->get_Value() : None;
  }
  TCPropertyChoice const* ChoiceOfNumber(bool& NotFound) const;
  /// The choice with `Value` as value text; the default choice, with a warning that names `Shown`,
  /// when there is none.
  TCPropertyChoice const* ChoiceOfDefault(std::string const& Value, char const* Shown) const;
  template <class T>
  TCPropertyChoice const* ChoiceFor(Accessories::TCNullTypes<T> const& Default) const;
  TCPropertyChoice const* ChoiceFor(Accessories::TCNullTypes<bool> const& Default) const;
  /// The boolean read of a field that is no choice field.
  bool ReadPlainBool(Accessories::TCNullTypes<bool> const& Default) const;

  TCPropertyID const& m_ID;
  std::string const& m_Text;
};

/// How a boolean is stored.
inline char const* BoolText(bool Value) {
  return Value ? "1" : "0";
}

}  // namespace Property
