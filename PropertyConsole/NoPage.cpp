// SPDX-License-Identifier: MIT
// Stands for the page in a console that is built without it.
#include "PropertyConsole/TSPageFile.h"

namespace Property {

std::vector<TSPageFile> const& PageFiles() {
  static std::vector<TSPageFile> const Files;
  return Files;
}

}  // namespace Property
