// SPDX-License-Identifier: MIT
// Stored values that no schema knows any more.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "ServerClient/TCServerConnection.h"
#include "ServerClient/TSPropertyPlace.h"

namespace Property {

/// A value that the server keeps aside, because its schema has no field for it.
struct TSOrphan {
  TSPropertyPlace Place;
  bool IsSecret = false;
  std::optional<std::string> Data;  ///< null where the server does not tell it
  std::string Reason;               ///< what the schema has there
};

/// Hands the values that are kept aside to `Take`, from the number `First` on and in their order,
/// until it returns false. Asks for a page at a time. Throws TCToolFailure for who may not know.
void AskForOrphans(TCServerConnection& Server, int First,
                   std::function<bool(TSOrphan const&)> const& Take);

}  // namespace Property
