// SPDX-License-Identifier: MIT
// property set: new values, stored together.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/Changes.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCSetCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  std::vector<std::string> m_Words;
  TSPlaceOptions m_Places;
  TSChangeOptions m_Change;
  bool m_Stored = false;
};

}  // namespace Property
