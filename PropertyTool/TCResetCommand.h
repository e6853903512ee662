// SPDX-License-Identifier: MIT
// property reset: back to the defaults.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/Changes.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCResetCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  std::vector<std::string> m_Names;
  TSPlaceOptions m_Places;
  TSChangeOptions m_Change;
};

}  // namespace Property
