// SPDX-License-Identifier: MIT
// Bytes over a socket, as they are or encrypted.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "Platform/Utility/TCFileDescriptor.h"

namespace Property {

/// A socket that never waits. Owns it. Used by one thread at a time.
class TCTransport {
 public:
  /// What has become of a try. `Wait` is what to wait for before the next one, POLLIN or POLLOUT;
  /// 0 when it is over: with `Count` bytes, at the end of the connection with none, or, with -1,
  /// broken.
  struct TSTry {
    ssize_t Count = 0;
    short Wait = 0;
  };

  explicit TCTransport(TCFileDescriptor Socket) : m_Socket(std::move(Socket)) {}
  TCTransport(TCTransport const&) = delete;
  TCTransport& operator=(TCTransport const&) = delete;
  virtual ~TCTransport() = default;

  virtual TSTry Receive(char* Data, std::size_t Size) = 0;
  virtual TSTry Send(char const* Data, std::size_t Size) = 0;
  /// Says that nothing more will be sent.
  virtual TSTry EndSending() = 0;

  int get_Socket() const { return m_Socket.get(); }

 private:
  TCFileDescriptor const m_Socket;
};

}  // namespace Property
