// SPDX-License-Identifier: MIT
// The options that all commands share.
#pragma once

#include <string>
#include <vector>

namespace Property {

/// How a command writes what it has found.
enum class TEForm {
  ePeople,  ///< tables and trees, as wide as it reads well
  ePlain,   ///< one line an entry, its parts separated by tabs
  eJSON,
};

struct TSToolOptions {
  std::string Address;
  std::vector<std::string> Schemas;  ///< files and folders; none: those of the environment
  TEForm Form = TEForm::ePeople;
  bool ShowSecrets = false;
};

}  // namespace Property
