// SPDX-License-Identifier: MIT
// What tells one sender of mails from every other.
#pragma once

#include <sys/types.h>

#include <string>

/// Names a sender to the router and to the services: what a proxy says of itself counts within its
/// user only, so that nobody is taken for a process of another user.
struct TSNorvSenderKey {
  uid_t User = 0;        ///< as the system names it
  std::string Identity;  ///< drawn by the proxy, its secret: not to be shown, logged or passed on
};

inline bool operator==(TSNorvSenderKey const& Left, TSNorvSenderKey const& Right) {
  return Left.User == Right.User && Left.Identity == Right.Identity;
}

inline bool operator!=(TSNorvSenderKey const& Left, TSNorvSenderKey const& Right) {
  return !(Left == Right);
}

inline bool operator<(TSNorvSenderKey const& Left, TSNorvSenderKey const& Right) {
  return Left.User != Right.User ? Left.User < Right.User : Left.Identity < Right.Identity;
}
