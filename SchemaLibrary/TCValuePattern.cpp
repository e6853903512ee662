// SPDX-License-Identifier: MIT
// The standard library's expressions, matched breadth first.
#include "SchemaLibrary/TCValuePattern.h"

#include <locale>

namespace Property {

// Depth first, the library's other way, takes a stack as deep as the text is long and a time that
// doubles with each byte for patterns like "^(a+)+$".
TCValuePattern::TCValuePattern(std::string const& Pattern) {
  try {
    std::regex Regex;
    Regex.imbue(std::locale::classic());
    Regex.assign(Pattern, std::regex::ECMAScript | std::regex_constants::__polynomial);
    m_Regex = std::move(Regex);
  } catch (std::regex_error const& Error) {
    m_Error = Error.code() == std::regex_constants::error_complexity
                  ? "back-references are not supported"
                  : Error.what();
  }
}

bool TCValuePattern::Matches(std::string const& Text) const {
  return !m_Regex || std::regex_match(Text, *m_Regex);
}

}  // namespace Property
