// SPDX-License-Identifier: MIT
// A process of a soak, with a log of its own.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"

/// What it writes to its standard error is appended to the file `Log`.
class TSoakProcess : public TChildProcess {
 public:
  TSoakProcess(std::vector<std::string> const& Command,
               std::map<std::string, std::string> const& Environment, std::string const& Log);

  /// Returns when it is dead. Throws std::runtime_error when it was before.
  void Kill();
};
