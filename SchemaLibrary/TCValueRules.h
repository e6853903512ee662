// SPDX-License-Identifier: MIT
// Which texts a property may have, and how people write and read them.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "CommonProperties/TCPropertyID.h"

namespace Property {

class TCValuePattern;

/// The rules of a field's values. The texts are those that are stored and sent: a choice is its
/// number, a boolean is 1 or 0. The empty text is allowed everywhere: it stands for the default.
///
/// Integers are decimal numbers of 32 bits, as readers read them. A pattern has to match the whole
/// text; an integer field has one for digits alone unless it is given another. A pattern that is
/// none (SchemaCheck finds it) forbids nothing.
///
/// Keeps the patterns that it has used. Not synchronised.
class TCValueRules {
 public:
  TCValueRules();
  ~TCValueRules();
  TCValueRules(TCValueRules const&) = delete;
  TCValueRules& operator=(TCValueRules const&) = delete;

  /// The field with that number; else null, and `Reason` says what is there instead.
  static TCPropertyID const* FindField(int Number, std::string& Reason);

  /// Empty when the field may have the text; else what is wrong, to stand behind the field's path
  /// ("300 is no number ..."). Fit for a terminal, and bounded. Does not show a secret's text.
  std::string ReasonAgainst(TCPropertyID const& Field, std::string const& Data,
                            bool Secret = false);

  /// What was read of a user's text.
  struct TSTyped {
    std::string Data;    ///< to be stored
    std::string Reason;  ///< why it is none; empty otherwise
  };
  /// What a user means: a choice by value text, number, name or description, also with other
  /// capitals; booleans by true, yes, on, 1 and their opposites; numbers without leading zeros.
  /// The result keeps the rules.
  TSTyped Read(TCPropertyID const& Field, std::string const& Typed, bool Secret = false);

  /// A stored text as people read it: a choice's description, true or false, else as it is. Not for
  /// a terminal as it is.
  static std::string TextForPeople(TCPropertyID const& Field, std::string const& Data);

 private:
  TCValuePattern const& PatternOf(TCPropertyID const& Field);

  std::map<std::string, std::unique_ptr<TCValuePattern>> m_Patterns;  // by their text
};

}  // namespace Property
