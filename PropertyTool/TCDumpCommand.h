// SPDX-License-Identifier: MIT
// property dump: all stored values as JSON, for property load and diff.
#pragma once

#include <string>

#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCDumpCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  std::string m_MAC = "all";
};

}  // namespace Property
