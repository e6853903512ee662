// SPDX-License-Identifier: MIT
// What every subcommand of the property command is to the program.
#pragma once

#include "PropertyTool/TEExit.h"

namespace CLI {
class App;
}

namespace Property {

class TCToolContext;

/// One subcommand: declares its arguments and does its work with them.
class TCToolCommand {
 public:
  TCToolCommand() = default;
  TCToolCommand(TCToolCommand const&) = delete;
  TCToolCommand& operator=(TCToolCommand const&) = delete;
  virtual ~TCToolCommand() = default;

  /// Adds itself to `Tool` and returns what it has added. Its arguments are read into its members.
  virtual CLI::App& Declare(CLI::App& Tool) = 0;
  /// Does the work after its arguments were read. Throws TCToolFailure, and others, when it fails.
  virtual TEExit Run(TCToolContext& Context) = 0;
};

}  // namespace Property
