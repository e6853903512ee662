// SPDX-License-Identifier: MIT
// Writes to the log whose changes were refused, and why.
#pragma once

#include <string>

#include "Platform/Messaging/Router/TCRouterUser.h"
#include "Platform/Messaging/TCNorvService.h"

namespace Property {

/// Keeps each user's lines within what one user may have logged. Used by one thread.
class TCRefusalLog {
 public:
  void Write(TSNorvMailSender const& Sender, std::string const& Reason);

 private:
  TCRouterUsers m_Users;
};

}  // namespace Property
