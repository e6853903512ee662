// SPDX-License-Identifier: MIT
// property undo: what a transaction has changed, as it was before.
#pragma once

#include <string>

#include "PropertyTool/Changes.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCUndoCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  std::string m_Transaction;
  bool m_Force = false;
  TSChangeOptions m_Change;
};

}  // namespace Property
