// SPDX-License-Identifier: MIT
// What has become of a mail, for its sender.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

struct TSMailOutcome {
  std::uint64_t Transaction = 0;        ///< that it has made; 0: it has changed nothing
  std::optional<std::string> Refusal;   ///< why it was refused, if it was
  std::vector<TCPropertyPlace> Places;  ///< that the refusal is about; empty for the whole mail
  bool Compared = false;                ///< they are not what the mail has expected
};

/// That of the last mail that is stored.
struct TSLastMail {
  std::uint64_t Number = 0;  ///< 0: there is none
  TSMailOutcome Outcome;     ///< without places
};

}  // namespace Property
