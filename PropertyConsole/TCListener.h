// SPDX-License-Identifier: MIT
// Where browsers connect.
#pragma once

#include <optional>
#include <string>

#include "Platform/Utility/TCFileDescriptor.h"

namespace Property {

/// A listening TCP socket at a numeric address. Used by one thread.
class TCListener {
 public:
  struct TSConnection {
    TCFileDescriptor Socket;
    std::string Peer;  ///< its address, without the port
  };

  /// Port 0 lets the system choose. Throws TCException when the address is none or is taken.
  TCListener(std::string const& Address, unsigned Port);

  /// The next connection that waits; none when there is none. Sets `IsFull` when the system has
  /// nothing left to take it with: it is to be asked again a little later.
  std::optional<TSConnection> Accept(bool& IsFull) const;

  int get_Socket() const { return m_Socket.get(); }
  unsigned get_Port() const { return m_Port; }

  /// Whether nobody but this machine reaches the address; false for what is no address.
  static bool IsLoopback(std::string const& Address);
  /// What counts as one peer: an address or, of IPv6, the network of so many that one peer may
  /// choose among them.
  static std::string NetworkOf(std::string const& Address);
  /// Whether the text is a numeric address.
  static bool IsAddress(std::string const& Text);

 private:
  TCFileDescriptor const m_Socket;
  unsigned m_Port = 0;
};

}  // namespace Property
