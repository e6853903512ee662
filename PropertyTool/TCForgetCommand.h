// SPDX-License-Identifier: MIT
// property forget: removes values that no schema knows any more.
#pragma once

#include <string>

#include "PropertyTool/Changes.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCForgetCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  static bool IsKeptAside(TCToolContext& Context, int Number);

  std::string m_Number;
  TSChangeOptions m_Change;
};

}  // namespace Property
