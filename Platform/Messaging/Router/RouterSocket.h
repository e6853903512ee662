// SPDX-License-Identifier: MIT
// The socket that a router listens on.
#pragma once

#include <sys/stat.h>

#include <string>

#include "Platform/Utility/TCFileDescriptor.h"

/// Owns the listening socket and its file.
class TCRouterSocket {
 public:
  /// Makes a socket at `Address`. Throws TCException when a living router serves it, or it can not
  /// be made.
  explicit TCRouterSocket(std::string const& Address);
  /// Takes over one that listens. Throws TCException when it does not, or is of another kind.
  explicit TCRouterSocket(TCFileDescriptor Listening);
  TCRouterSocket(TCRouterSocket&& Other) noexcept;
  TCRouterSocket& operator=(TCRouterSocket&& Other) = delete;
  /// Removes the file of a socket made here, unless it is another's by now.
  ~TCRouterSocket();

  int get_File() const { return m_File.get(); }
  /// The next waiting connection, or an empty descriptor.
  TCFileDescriptor Accept() const;

 private:
  void Listen();

  TCFileDescriptor m_File;
  std::string m_Path;       // empty when it was not made here
  struct stat m_Made = {};  // the file that was made here
};
