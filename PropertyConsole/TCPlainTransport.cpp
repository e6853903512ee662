// SPDX-License-Identifier: MIT
// Sends and receives without waiting.
#include "PropertyConsole/TCPlainTransport.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace Property {
namespace {

TCTransport::TSTry ResultOf(ssize_t Count, short Wait) {
  bool const IsEarly = Count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
  return {Count, IsEarly ? Wait : short{0}};
}

}  // namespace

TCTransport::TSTry TCPlainTransport::Receive(char* Data, std::size_t Size) {
  return ResultOf(recv(get_Socket(), Data, Size, MSG_DONTWAIT), POLLIN);
}

TCTransport::TSTry TCPlainTransport::Send(char const* Data, std::size_t Size) {
  return ResultOf(send(get_Socket(), Data, Size, MSG_DONTWAIT | MSG_NOSIGNAL), POLLOUT);
}

TCTransport::TSTry TCPlainTransport::EndSending() {
  return ResultOf(shutdown(get_Socket(), SHUT_WR), POLLOUT);
}

}  // namespace Property
