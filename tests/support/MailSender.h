// SPDX-License-Identifier: MIT
// Who sends the mails that a test hands to a service itself.
#pragma once

#include <sys/types.h>

#include <string>

#include "Platform/Messaging/TCNorvService.h"

/// A sender of that identity, a process of a user that is in its own group only.
inline TSNorvMailSender NewSender(std::string const& Identity, uid_t User = 0) {
  TSNorvMailSender Sender;
  Sender.Identity = Identity;
  Sender.User = User;
  Sender.Group = User;
  return Sender;
}
