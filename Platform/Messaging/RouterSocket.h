// SPDX-License-Identifier: MIT
// The socket that a router listens on.
#pragma once

#include <sys/stat.h>

#include <string>

#include "Platform/Messaging/BusHandles.h"

/// Owns the listening socket and its file.
class TCRouterSocket {
 public:
  /// Takes the socket handed over by the init system, or makes one at `Address`.
  /// Throws TCException when a living router serves it, or it can not be made.
  explicit TCRouterSocket(std::string const& Address);
  TCRouterSocket(TCRouterSocket const&) = delete;
  TCRouterSocket& operator=(TCRouterSocket const&) = delete;
  /// Removes the file of a socket made here, unless it is another's by now.
  ~TCRouterSocket();

  int get_File() const { return m_File.get(); }
  /// The next waiting connection, or an empty descriptor.
  TCFileDescriptor Accept() const;

 private:
  void Listen();

  TCFileDescriptor m_File;
  std::string m_Path;       // empty when the socket belongs to the init system
  struct stat m_Made = {};  // the file that was made here
};
