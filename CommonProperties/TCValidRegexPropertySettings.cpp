// SPDX-License-Identifier: MIT
// A pattern is a setting of its field; the declaration only carries it there.
#include "CommonProperties/TCValidRegexPropertySettings.h"

#include "CommonProperties/TCPropertyID.h"

namespace Property {

TCValidRegexPropertySettings::TCValidRegexPropertySettings(TCPropertyID* Field,
                                                           std::string const& Regex) {
  Field->set_Regex(Regex);
}

TCValidRegexPropertySettings::~TCValidRegexPropertySettings() = default;

}  // namespace Property
