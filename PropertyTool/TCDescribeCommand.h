// SPDX-License-Identifier: MIT
// property describe: what the schema says about a property.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "PropertyTool/TCNaming.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCDescribeCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  using TCLines = std::vector<std::pair<std::string, std::string>>;

  static TCLines Describe(TCToolContext& Context, TCPropertyID const& Field);
  static nlohmann::ordered_json AsJSON(TCToolContext& Context, TCPropertyID const& Field);

  std::vector<std::string> m_Names;
};

}  // namespace Property
