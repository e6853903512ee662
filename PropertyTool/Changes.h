// SPDX-License-Identifier: MIT
// Changes, from here to the server's disk.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "PropertyTool/TCToolContext.h"

namespace CLI {
class App;
}

namespace Property {

/// How a command waits for its change.
struct TSChangeOptions {
  bool NoWait = false;
  std::string Timeout = "60s";

  void Declare(CLI::App& Command);
  std::chrono::milliseconds get_Timeout() const;
};

/// Where nobody has said whose value a target is: the place of the one that the server holds.
/// Throws TCToolFailure when it holds none.
void SettleDevice(TCToolContext& Context, TSTarget& Target);

/// Sends `Values` as one transaction and returns when it is stored, or at once where the options
/// say so. Throws TCToolFailure, with the server's reason, when it is refused.
void Change(TCToolContext& Context, std::vector<TSPropertyValue> const& Values,
            TSChangeOptions const& Options);

}  // namespace Property
