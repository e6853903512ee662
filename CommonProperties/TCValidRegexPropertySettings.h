// SPDX-License-Identifier: MIT
// Attaches a validation pattern to a field that is declared elsewhere.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"

namespace Property {

class TCPropertyID;

/// The declaration of a field's validation pattern. A static object, complete when it is
/// constructed; it keeps nothing.
class PROPERTY_EXPORT TCValidRegexPropertySettings {
 public:
  /// Replaces the pattern of `Field`.
  TCValidRegexPropertySettings(TCPropertyID* Field, std::string const& Regex);
  TCValidRegexPropertySettings(TCValidRegexPropertySettings const&) = delete;
  TCValidRegexPropertySettings& operator=(TCValidRegexPropertySettings const&) = delete;
  virtual ~TCValidRegexPropertySettings();
};

}  // namespace Property
