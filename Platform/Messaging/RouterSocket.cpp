// SPDX-License-Identifier: MIT
// Makes the router's socket without taking one over that is in use.
#include "Platform/Messaging/RouterSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>

#include <cerrno>
#include <cstring>

#include "Platform/Messaging/MailWire.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvMailRouter";
constexpr char kPathPrefix[] = "unix:path=";
constexpr int kBacklog = 1024;
constexpr mode_t kSocketMode = 0666;  // who may do what is decided peer by peer

std::string PathOf(std::string const& Address) {
  std::size_t const Prefix = std::strlen(kPathPrefix);
  // Clients read the address as a list of keys and escapes; a path with their marks means another.
  if (Address.compare(0, Prefix, kPathPrefix) != 0 || Address.size() == Prefix ||
      Address.find_first_of(",;%") != std::string::npos) {
    throw TCException(kSource, __LINE__)
        .Format("cannot listen at %s: the address must be unix:path=FILE", Address.c_str());
  }
  return Address.substr(Prefix);
}

sockaddr_un SocketAddress(std::string const& Path) {
  sockaddr_un Address = {};
  Address.sun_family = AF_UNIX;
  if (Path.size() >= sizeof(Address.sun_path)) {
    throw TCException(kSource, __LINE__)
        .Format("cannot listen at %s: the path is longer than the %zu bytes of a socket's name",
                Path.c_str(), sizeof(Address.sun_path) - 1);
  }
  std::memcpy(Address.sun_path, Path.data(), Path.size());
  return Address;
}

[[noreturn]] void ThrowCannotListen(std::string const& Path, int Error) {
  throw TCException(kSource, __LINE__)
      .Format(
          "cannot listen at %s: %s; the folder must exist and this user must be able to write "
          "it",
          Path.c_str(), MailWire::ErrorText(Error).c_str());
}

TCFileDescriptor NewSocket() {
  TCFileDescriptor File(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (File.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make a socket: %s", MailWire::ErrorText(errno).c_str());
  }
  return File;
}

// A socket file without a listener refuses; a full queue (EAGAIN) means somebody listens.
bool IsServed(sockaddr_un const& Address) {
  TCFileDescriptor const Probe = NewSocket();
  int const Result = connect(Probe.get(), reinterpret_cast<sockaddr const*>(&Address),
                             static_cast<socklen_t>(sizeof(Address)));
  return Result == 0 || (errno != ECONNREFUSED && errno != ENOENT);
}

}  // namespace

TCRouterSocket::TCRouterSocket(std::string const& Address) {
  if (sd_listen_fds(0) > 0) {
    if (sd_is_socket_unix(SD_LISTEN_FDS_START, SOCK_STREAM, 1, nullptr, 0) <= 0) {
      throw TCException(kSource, __LINE__)
          .Format("the socket handed over by the init system is no listening Unix stream socket");
    }
    m_File = TCFileDescriptor(SD_LISTEN_FDS_START);
    fcntl(m_File.get(), F_SETFL, fcntl(m_File.get(), F_GETFL) | O_NONBLOCK);
    return;
  }
  m_Path = PathOf(Address);
  try {
    Listen();
  } catch (...) {
    m_Path.clear();  // whatever is there is not ours
    throw;
  }
}

void TCRouterSocket::Listen() {
  sockaddr_un const Address = SocketAddress(m_Path);
  // Two routers that start together must not both find the other's socket unserved, so looking and
  // replacing happen under a lock on the folder.
  std::size_t const Slash = m_Path.rfind('/');
  std::string const Folder = Slash == std::string::npos ? "." : m_Path.substr(0, Slash + 1);
  TCFileDescriptor const Lock(open(Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (Lock.get() < 0 || flock(Lock.get(), LOCK_EX) != 0) {
    ThrowCannotListen(m_Path, errno);
  }
  struct stat Status = {};
  if (lstat(m_Path.c_str(), &Status) == 0) {
    if (!S_ISSOCK(Status.st_mode)) {
      throw TCException(kSource, __LINE__)
          .Format("cannot listen at %s: a file that is no socket is in the way", m_Path.c_str());
    }
    if (IsServed(Address)) {
      throw TCException(kSource, __LINE__)
          .Format(
              "cannot listen at %s: a running router serves it; stop that one first or choose "
              "another address",
              m_Path.c_str());
    }
    unlink(m_Path.c_str());
  }
  m_File = NewSocket();
  if (bind(m_File.get(), reinterpret_cast<sockaddr const*>(&Address),
           static_cast<socklen_t>(sizeof(Address))) != 0 ||
      chmod(m_Path.c_str(), kSocketMode) != 0 || listen(m_File.get(), kBacklog) != 0) {
    ThrowCannotListen(m_Path, errno);
  }
  if (lstat(m_Path.c_str(), &Status) == 0) {
    m_Device = Status.st_dev;
    m_Inode = Status.st_ino;
  }
}

bool TCRouterSocket::IsOwnFile() const {
  struct stat Status = {};
  return lstat(m_Path.c_str(), &Status) == 0 && Status.st_dev == m_Device &&
         Status.st_ino == m_Inode;
}

TCRouterSocket::~TCRouterSocket() {
  if (!m_Path.empty() && IsOwnFile()) {
    unlink(m_Path.c_str());
  }
}

TCFileDescriptor TCRouterSocket::Accept() const {
  return TCFileDescriptor(accept4(m_File.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}
