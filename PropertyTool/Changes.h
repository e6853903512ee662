// SPDX-License-Identifier: MIT
// Changes, from here to the server's disk.
#pragma once

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvMessage.h"
#include "PropertyTool/TCToolContext.h"

namespace CLI {
class App;
}

namespace Property {

/// How a command waits for its change.
struct TSChangeOptions {
  bool NoWait = false;
  std::string Timeout = "60s";
  std::string ConfirmWithin;  ///< empty: the change stays by itself
  std::string Advice;         ///< for who reads that the server refuses; empty: none

  void Declare(CLI::App& Command);
  /// For changes that are always waited for.
  void DeclareTimeout(CLI::App& Command);
  /// Also --confirm-within, for what the server can take back.
  void DeclareWithConfirmation(CLI::App& Command);
  std::chrono::milliseconds get_Timeout() const;
};

/// For options: what is wrong with the number of a transaction; empty for nothing.
std::string CheckTransaction(std::string const& Text);

/// Where nobody has said whose value a target is: the place of the one that the server holds.
/// Throws TCToolFailure when it holds none.
void SettleDevice(TCToolContext& Context, TSTarget& Target);

/// Sends `Values` as one transaction and returns when it is stored, or at once where the options
/// say so. Throws TCToolFailure, with the server's reason, when it is refused. Answers the number
/// of the transaction; empty where that is not known or nothing was changed.
std::string Change(TCToolContext& Context, std::vector<TSPropertyValue> const& Values,
                   TSChangeOptions const& Options);

/// The same for any mail that changes something.
std::string SendChange(TCToolContext& Context, TSNorvMailContent const& Mail,
                       TSChangeOptions const& Options);

/// Tells the number of a transaction: in JSON always, people when they need it to confirm it.
void TellTransaction(TCToolContext& Context, std::string const& Transaction,
                     TSChangeOptions const& Options);

/// The number for a member of JSON; null when it is empty.
nlohmann::ordered_json NumberOf(std::string const& Transaction);

}  // namespace Property
