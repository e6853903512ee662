// SPDX-License-Identifier: MIT
// Finds the router's socket.
#include "Platform/Messaging/Wire/SocketName.h"

#include <cstdlib>
#include <cstring>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Utility/TCException.h"

namespace Wire {

namespace {

constexpr char kSource[] = "../Platform/Messaging/Wire/SocketName";
constexpr char kPathPrefix[] = "unix:path=";

}  // namespace

std::string RouterAddress(std::string const& Address) {
  if (!Address.empty()) {
    return Address;
  }
  char const* const Environment = secure_getenv(kRouterAddressVariable);
  return Environment != nullptr && *Environment != '\0' ? Environment : kDefaultRouterAddress;
}

// Elsewhere such an address may be a list of keys and escapes; a path with their marks is none.
sockaddr_un SocketName(std::string const& Address, char const* Purpose) {
  std::size_t const Prefix = std::strlen(kPathPrefix);
  if (Address.compare(0, Prefix, kPathPrefix) != 0 || Address.size() == Prefix ||
      Address.find_first_of(",;%") != std::string::npos) {
    throw TCException(kSource, __LINE__)
        .Format("%s %s: the address must be unix:path=FILE", Purpose, Address.c_str());
  }
  sockaddr_un Name = {};
  Name.sun_family = AF_UNIX;
  if (Address.size() - Prefix >= sizeof(Name.sun_path)) {
    throw TCException(kSource, __LINE__)
        .Format("%s %s: the path is longer than the %zu bytes of a socket's name", Purpose,
                Address.c_str(), sizeof(Name.sun_path) - 1);
  }
  Address.copy(Name.sun_path, Address.size() - Prefix, Prefix);
  return Name;
}

}  // namespace Wire
