// SPDX-License-Identifier: MIT
// property confirm: changes that wait for it stay.
#pragma once

#include <string>

#include "PropertyTool/Changes.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCConfirmCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  static void List(TCToolContext& Context);

  std::string m_Transaction;
  TSChangeOptions m_Change;
};

}  // namespace Property
