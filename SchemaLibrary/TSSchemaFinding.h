// SPDX-License-Identifier: MIT
// Something in a schema that somebody should look at.
#pragma once

#include <string>

namespace Property {

/// A plain value.
struct TSSchemaFinding {
  int Number = 0;    ///< of the node
  std::string Path;  ///< of the node, or what it is called; fit for a terminal
  std::string Text;  ///< what is wrong with it; fit for a terminal
};

}  // namespace Property
