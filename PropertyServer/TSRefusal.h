// SPDX-License-Identifier: MIT
// That a mail was refused, for its sender.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// What is told of a refused mail.
struct TSRefusal {
  std::uint64_t Mail = 0;               ///< its number
  std::string Reason;                   ///< for people
  std::vector<TCPropertyPlace> Places;  ///< that the reason is about; empty for the whole mail
  bool Compared = false;                ///< they are not what the mail has expected
};

/// Those of a sender that are remembered, in the order of its mails.
struct TSRefusals {
  std::uint64_t Forgotten = 0;  ///< of the mails up to this one the others are forgotten; 0: none
  std::vector<TSRefusal> Known;
};

}  // namespace Property
