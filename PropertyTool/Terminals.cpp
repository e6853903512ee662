// SPDX-License-Identifier: MIT
// Looks at the environment.
#include "PropertyTool/Terminals.h"

#include <cstdlib>
#include <string_view>

namespace Property {

bool WantsControlSequences() {
  char const* const NoColour = std::getenv("NO_COLOR");
  char const* const Terminal = std::getenv("TERM");
  return (NoColour == nullptr || *NoColour == '\0') &&
         (Terminal == nullptr || std::string_view(Terminal) != "dumb");
}

}  // namespace Property
