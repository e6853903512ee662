// SPDX-License-Identifier: MIT
// property diff: what differs between two dumps, or a dump and the device.
#pragma once

#include <string>

#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCDiffCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  std::string m_First;
  std::string m_Second;
};

}  // namespace Property
