// SPDX-License-Identifier: MIT
// That the server has refused a change of this process, and why.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyKey.h"

namespace Property {

/// A value as the server holds it.
struct TSStandingValue {
  TCPropertyKey Key;
  std::optional<std::string> Data;  ///< its text; nothing where the server holds none
};

/// Of one mail, which is one set or one transaction: it has changed nothing.
struct TSPropertyRefusal {
  /// The values that the reason is about; empty where it is about the whole mail.
  std::vector<TCPropertyKey> Keys;
  /// For people; written by the server, so a log or a terminal wants it as PrintableText().
  std::string Reason;
  /// Of a conditional commit: those of `Keys` that this process may read, as they were when the
  /// server told of the refusal. Not empty only where values were not as expected.
  std::vector<TSStandingValue> Standing;
};

}  // namespace Property
