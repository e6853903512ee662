// SPDX-License-Identifier: MIT
// What has become of a mail, for its sender.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Property {

struct TSMailOutcome {
  std::uint64_t Transaction = 0;       ///< that it has made; 0: it has changed nothing
  std::optional<std::string> Refusal;  ///< why it was refused, if it was
};

/// That of the last mail that is stored.
struct TSLastMail {
  std::uint64_t Number = 0;  ///< 0: there is none
  TSMailOutcome Outcome;
};

}  // namespace Property
