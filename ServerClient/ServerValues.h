// SPDX-License-Identifier: MIT
// Values in the records of the property protocol.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvMessage.h"
#include "ServerClient/TCServerConnection.h"
#include "ServerClient/TSPropertyPlace.h"

namespace Property {

/// A record of values: null data for a value that is gone. `IsWhole`: the first record of a mail
/// that names all there is; then nothing else counts.
struct TSValueRecord {
  bool IsWhole = false;
  TSPropertyPlace Place;
  std::optional<std::string> Data;
};

/// Hands each record of a mail of values to `Take`, in order.
void ReadValues(TCNorvMessage const& Mail, std::function<void(TSValueRecord const&)> const& Take);

/// The request for all values that this process may read, of all devices.
void AskForAll(TCServerConnection& Server, std::function<void(TSValueRecord const&)> const& Take);
/// Null when the server holds none, or none that this process may read.
std::optional<std::string> AskForOne(TCServerConnection& Server, TSPropertyPlace const& Place);
/// The mail that changes all `Values` at once: it takes effect as a whole or not at all.
TSNorvMailContent ChangeMail(std::vector<TSPropertyValue> const& Values);

}  // namespace Property
