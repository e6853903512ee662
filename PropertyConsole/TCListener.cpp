// SPDX-License-Identifier: MIT
// Listens and accepts.
#include "PropertyConsole/TCListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/TCListener";
constexpr int kBacklog = 2048;

// A socket address as the system's calls take it; the family is 0 where the text is none.
struct TSSocketAddress {
  sockaddr_storage Storage{};
  socklen_t Size = 0;

  sockaddr* get() { return reinterpret_cast<sockaddr*>(&Storage); }
  sockaddr_in& IPv4() { return reinterpret_cast<sockaddr_in&>(Storage); }
  sockaddr_in6& IPv6() { return reinterpret_cast<sockaddr_in6&>(Storage); }
};

TSSocketAddress ReadAddress(std::string const& Text, unsigned Port) {
  TSSocketAddress Address;
  auto const Number = htons(static_cast<std::uint16_t>(Port));
  if (inet_pton(AF_INET, Text.c_str(), &Address.IPv4().sin_addr) == 1) {
    Address.IPv4().sin_family = AF_INET;
    Address.IPv4().sin_port = Number;
    Address.Size = sizeof(sockaddr_in);
    return Address;
  }
  Address.Storage = {};
  if (inet_pton(AF_INET6, Text.c_str(), &Address.IPv6().sin6_addr) == 1) {
    Address.IPv6().sin6_family = AF_INET6;
    Address.IPv6().sin6_port = Number;
    Address.Size = sizeof(sockaddr_in6);
  }
  return Address;
}

std::string AddressText(TSSocketAddress& Address) {
  std::array<char, INET6_ADDRSTRLEN> Text{};
  bool const IsIPv4 = Address.Storage.ss_family == AF_INET;
  void const* const Bytes = IsIPv4 ? static_cast<void const*>(&Address.IPv4().sin_addr)
                                   : static_cast<void const*>(&Address.IPv6().sin6_addr);
  return inet_ntop(Address.Storage.ss_family, Bytes, Text.data(), Text.size()) != nullptr
             ? Text.data()
             : "";
}

[[noreturn]] void FailToListen(int Line, std::string const& Address, unsigned Port) {
  throw TCException(kSource, Line)
      .Format("cannot listen at %s, port %u: %s", Address.c_str(), Port, std::strerror(errno));
}

TCFileDescriptor NewListeningSocket(std::string const& Text, unsigned Port) {
  TSSocketAddress Address = ReadAddress(Text, Port);
  if (Address.Size == 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot listen at %s: it is no address of numbers, as 127.0.0.1 or ::1",
                PrintableText(Text).c_str());
  }
  TCFileDescriptor Socket(
      socket(Address.Storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  int const On = 1;
  if (Socket.get() < 0 ||
      setsockopt(Socket.get(), SOL_SOCKET, SO_REUSEADDR, &On, sizeof(On)) != 0 ||
      bind(Socket.get(), Address.get(), Address.Size) != 0 || listen(Socket.get(), kBacklog) != 0) {
    FailToListen(__LINE__, Text, Port);
  }
  return Socket;
}

}  // namespace

TCListener::TCListener(std::string const& Address, unsigned Port)
    : m_Socket(NewListeningSocket(Address, Port)) {
  TSSocketAddress Own;
  Own.Size = sizeof(Own.Storage);
  if (getsockname(m_Socket.get(), Own.get(), &Own.Size) != 0) {
    FailToListen(__LINE__, Address, Port);
  }
  // Both kinds of addresses have it in the same place.
  m_Port = ntohs(Own.IPv4().sin_port);
}

std::optional<TCListener::TSConnection> TCListener::Accept(bool& IsFull) const {
  IsFull = false;
  TSSocketAddress Peer;
  Peer.Size = sizeof(Peer.Storage);
  TCFileDescriptor Socket(
      accept4(m_Socket.get(), Peer.get(), &Peer.Size, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (Socket.get() < 0) {
    IsFull = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
    return std::nullopt;
  }
  int const On = 1;
  setsockopt(Socket.get(), IPPROTO_TCP, TCP_NODELAY, &On, sizeof(On));
  return TSConnection{std::move(Socket), AddressText(Peer)};
}

bool TCListener::IsLoopback(std::string const& Address) {
  TSSocketAddress Read = ReadAddress(Address, 0);
  constexpr unsigned kLoopbackNetwork = 127;
  if (Read.Storage.ss_family == AF_INET) {
    return ntohl(Read.IPv4().sin_addr.s_addr) >> 24U == kLoopbackNetwork;
  }
  return Read.Storage.ss_family == AF_INET6 && IN6_IS_ADDR_LOOPBACK(&Read.IPv6().sin6_addr);
}

std::string TCListener::NetworkOf(std::string const& Address) {
  TSSocketAddress Network = ReadAddress(Address, 0);
  if (Network.Storage.ss_family != AF_INET6) {
    return Address;
  }
  in6_addr& Bytes = Network.IPv6().sin6_addr;
  if (IN6_IS_ADDR_V4MAPPED(&Bytes)) {
    return Address;
  }
  constexpr std::size_t kNetworkBytes = 8;
  std::memset(Bytes.s6_addr + kNetworkBytes, 0, sizeof(Bytes.s6_addr) - kNetworkBytes);
  return AddressText(Network) + "/64";
}

bool TCListener::IsAddress(std::string const& Text) {
  return ReadAddress(Text, 0).Size != 0;
}

}  // namespace Property
