// SPDX-License-Identifier: MIT
// Tells an address at which a router may appear from one at which none can.
#include "Platform/Messaging/ProxyAddress.h"

#include <sys/un.h>

#include <cctype>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "Platform/Messaging/MailWire.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/ProxyAddress";
constexpr std::size_t kLongestName = sizeof(sockaddr_un::sun_path) - 1;

bool IsHexadecimal(char Byte) {
  return std::isxdigit(static_cast<unsigned char>(Byte)) != 0;
}

// How many bytes a value stands for, in which a byte may be written as % and two digits; none when
// one is written wrongly.
std::size_t NameLength(std::string_view Value) {
  std::size_t Length = 0;
  for (; !Value.empty(); ++Length) {
    bool const IsEscape = Value[0] == '%';
    if (IsEscape && (Value.size() < 3 || !IsHexadecimal(Value[1]) || !IsHexadecimal(Value[2]))) {
      return 0;
    }
    Value.remove_prefix(IsEscape ? 3 : 1);
  }
  return Length;
}

// The value of the socket's name in one address; empty when it has none.
std::string_view SocketName(std::string_view Address) {
  for (std::string_view const Prefix : {"unix:path=", "unix:abstract="}) {
    if (Address.substr(0, Prefix.size()) == Prefix) {
      Address.remove_prefix(Prefix.size());
      return Address.substr(0, Address.find(','));
    }
  }
  return std::string_view();
}

void RequireUsable(std::string const& Addresses) {
  std::string_view Rest = Addresses;
  for (bool HasMore = true; HasMore;) {
    std::size_t const End = Rest.find(';');
    std::size_t const Length = NameLength(SocketName(Rest.substr(0, End)));
    if (Length == 0) {
      throw TCException(kSource, __LINE__)
          .Format("no mail router can be at %s: its address is unix:path=FILE", Addresses.c_str());
    }
    if (Length > kLongestName) {
      throw TCException(kSource, __LINE__)
          .Format("no mail router can be at %s: its path has %zu bytes, a socket's at most %zu",
                  Addresses.c_str(), Length, kLongestName);
    }
    HasMore = End != std::string_view::npos;
    Rest.remove_prefix(HasMore ? End + 1 : Rest.size());
  }
}

}  // namespace

std::string ProxyAddress() {
  std::string Address = MailWire::RouterAddress("");
  RequireUsable(Address);
  return Address;
}
