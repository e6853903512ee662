// SPDX-License-Identifier: MIT
// Where a router listens.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <string>

namespace Wire {

/// The address in use: `Address`, else MAILROUTER_ADDRESS, else the system's socket.
std::string RouterAddress(std::string const& Address);

/// The name of the socket in an address, "unix:path=FILE". Throws TCException, which begins with
/// `Purpose`, when the address has another form or a name that no socket can have.
sockaddr_un SocketName(std::string const& Address, char const* Purpose);

}  // namespace Wire
