// SPDX-License-Identifier: MIT
// Attaches a validation pattern to a field that is declared elsewhere.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"

namespace Property {

class TCPropertyID;

/// The declaration of a field's validation pattern. A static object, complete when it is
/// constructed; it keeps nothing. A field that another file constructs later takes the pattern over
/// then.
class PROPERTY_EXPORT TCValidRegexPropertySettings {
 public:
  /// Replaces the pattern of `Field`.
  TCValidRegexPropertySettings(TCPropertyID* Field, std::string const& Regex);
  /// The same with a C string; a null pointer throws std::logic_error.
  template <class P, TIfText<P> = 0>
  TCValidRegexPropertySettings(TCPropertyID* Field, P* Regex)
      : TCValidRegexPropertySettings(Regex, Field) {}
  TCValidRegexPropertySettings(TCValidRegexPropertySettings const&) = delete;
  TCValidRegexPropertySettings& operator=(TCValidRegexPropertySettings const&) = delete;
  virtual ~TCValidRegexPropertySettings();

 private:
  friend class TCBasicPropertyID;
  friend class TCPropertyID;

  TCValidRegexPropertySettings(char const* Regex, TCPropertyID* Field);

  /// Gives `Field` the last pattern that was waiting for it.
  static void Apply(TCPropertyID& Field);
  /// Throws TCException when a pattern still waits for its field.
  static void RequireConstructed();
};

}  // namespace Property
