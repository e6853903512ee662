// SPDX-License-Identifier: MIT
// Binds and connects sockets at paths.
#include "tests/support/UnixSocket.h"

#include <grp.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace {

using TOperation = int (*)(int, sockaddr const*, socklen_t);

bool IsDone(TOperation Operation, int Socket, std::string const& Path) {
  sockaddr_un Address = {};
  Address.sun_family = AF_UNIX;
  if (Path.size() >= sizeof(Address.sun_path)) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(Address.sun_path, Path.data(), Path.size());
  return Operation(Socket, reinterpret_cast<sockaddr const*>(&Address), sizeof(Address)) == 0;
}

TCFileDescriptor NewSocket(int Type) {
  return TCFileDescriptor(socket(AF_UNIX, Type | SOCK_CLOEXEC, 0));
}

bool Become(uid_t User) {
  return setgroups(0, nullptr) == 0 && setresgid(User, User, User) == 0 &&
         setresuid(User, User, User) == 0;
}

}  // namespace

TCFileDescriptor BindAt(std::string const& Path, int Type) {
  TCFileDescriptor Socket = NewSocket(Type);
  return IsDone(bind, Socket.get(), Path) ? std::move(Socket) : TCFileDescriptor();
}

TCFileDescriptor ListenAt(std::string const& Path, int Type) {
  TCFileDescriptor Socket = BindAt(Path, Type);
  return listen(Socket.get(), SOMAXCONN) == 0 ? std::move(Socket) : TCFileDescriptor();
}

bool ConnectTo(int Socket, std::string const& Path) {
  return IsDone(connect, Socket, Path);
}

TCFileDescriptor Connect(std::string const& Path) {
  TCFileDescriptor Socket = NewSocket(SOCK_SEQPACKET);
  if (!ConnectTo(Socket.get(), Path)) {
    throw std::system_error(errno, std::generic_category(), "cannot connect to " + Path);
  }
  return Socket;
}

TCFileDescriptor ConnectAs(std::string const& Path, uid_t User) {
  TCFileDescriptor Socket = NewSocket(SOCK_SEQPACKET);
  pid_t const Child = fork();
  if (Child == 0) {
    bool const Became = User == geteuid() || Become(User);
    _exit(Became && ConnectTo(Socket.get(), Path) ? 0 : errno);
  }
  int Status = 0;
  waitpid(Child, &Status, 0);
  errno = WIFEXITED(Status) ? WEXITSTATUS(Status) : ECHILD;
  return errno == 0 ? std::move(Socket) : TCFileDescriptor();
}
