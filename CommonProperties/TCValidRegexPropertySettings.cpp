// SPDX-License-Identifier: MIT
// A pattern is a setting of its field; the declaration only carries it there.
#include "CommonProperties/TCValidRegexPropertySettings.h"

#include "CommonProperties/TCEarlyDeclarations.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"

namespace Property {

namespace {

using TEarlyPatterns = TCEarlyDeclarations<std::string>;

TEarlyPatterns& EarlyPatterns() {
  static TEarlyPatterns& Result = *new TEarlyPatterns;
  return Result;
}

}  // namespace

TCValidRegexPropertySettings::TCValidRegexPropertySettings(TCPropertyID* Field,
                                                           std::string const& Regex) {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  if (TCBasicPropertyID::IsConstructed(*Field)) {
    Field->set_Regex(Regex);
  } else {
    EarlyPatterns().Add(Field, Regex);
  }
}

TCValidRegexPropertySettings::TCValidRegexPropertySettings(char const* Regex, TCPropertyID* Field)
    : TCValidRegexPropertySettings(Field, std::string(Regex)) {}

TCValidRegexPropertySettings::~TCValidRegexPropertySettings() = default;

void TCValidRegexPropertySettings::Apply(TCPropertyID& Field) {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  TEarlyPatterns::TDeclared const* const Patterns = EarlyPatterns().Find(&Field);
  if (Patterns == nullptr) {
    return;
  }
  Field.set_Regex(Patterns->back());
  EarlyPatterns().Drop(&Field);
}

void TCValidRegexPropertySettings::RequireConstructed() {
  if (std::string const* Pattern = EarlyPatterns().First()) {
    throw TCException("../CommonProperties/TCValidRegexPropertySettings", __LINE__)
        .Format("The pattern [%s] is for a property that is not constructed", Pattern->c_str());
  }
}

}  // namespace Property
