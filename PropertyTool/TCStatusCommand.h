// SPDX-License-Identifier: MIT
// property status: the figures of the running server.
#pragma once

#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCStatusCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;
};

}  // namespace Property
