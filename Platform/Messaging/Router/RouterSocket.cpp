// SPDX-License-Identifier: MIT
// Makes the router's socket without taking one over that is in use.
#include "Platform/Messaging/Router/RouterSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "Platform/Messaging/Wire/FrameSocket.h"
#include "Platform/Messaging/Wire/SocketName.h"
#include "Platform/Messaging/Wire/TCPromptClosing.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Router/RouterSocket";
constexpr int kBacklog = 1024;
constexpr mode_t kSocketMode = 0666;  // who may do what is decided peer by peer

int OptionOf(int File, int Option) {
  int Value = -1;
  socklen_t Size = sizeof(Value);
  return getsockopt(File, SOL_SOCKET, Option, &Value, &Size) == 0 ? Value : -1;
}

[[noreturn]] void ThrowCannotListen(std::string const& Path, int Error) {
  throw TCException(kSource, __LINE__)
      .Format(
          "cannot listen at %s: %s; the folder must exist and this user must be able to write "
          "it",
          Path.c_str(), FailureText::OfError(Error).c_str());
}

// A socket file without a listener refuses; a full queue (EAGAIN) means somebody listens.
bool IsServed(sockaddr_un const& Address) {
  TCFileDescriptor const Probe = Wire::NewFrameSocket();
  int const Result = connect(Probe.get(), reinterpret_cast<sockaddr const*>(&Address),
                             static_cast<socklen_t>(sizeof(Address)));
  return Result == 0 || (errno != ECONNREFUSED && errno != ENOENT);
}

bool IsAt(std::string const& Path, struct stat const& File) {
  struct stat Status = {};
  return lstat(Path.c_str(), &Status) == 0 && Status.st_dev == File.st_dev &&
         Status.st_ino == File.st_ino;
}

// Keeps two routers that start together from finding each other's socket unserved. Nobody else can
// take the lock: its file is this user's alone, while the folder could be locked by all who may
// read it. The file is there only as long as the lock is held.
class TCListenLock {
 public:
  explicit TCListenLock(std::string const& Path) : m_Name(Path + ".lock") {
    struct stat Status = {};
    do {  // whoever held it has removed the file
      m_File = TCFileDescriptor(open(m_Name.c_str(),
                                     O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                                     S_IRUSR | S_IWUSR));
      if (m_File.get() < 0 || fstat(m_File.get(), &Status) != 0) {
        ThrowCannotListen(Path, errno);
      }
      if (Status.st_uid != geteuid() || (Status.st_mode & ALLPERMS) != (S_IRUSR | S_IWUSR)) {
        throw TCException(kSource, __LINE__)
            .Format("cannot listen at %s: %s can be locked by others; remove it", Path.c_str(),
                    m_Name.c_str());
      }
      if (flock(m_File.get(), LOCK_EX) != 0) {
        ThrowCannotListen(Path, errno);
      }
    } while (!IsAt(m_Name, Status));
  }
  TCListenLock(TCListenLock const&) = delete;
  TCListenLock& operator=(TCListenLock const&) = delete;
  ~TCListenLock() { unlink(m_Name.c_str()); }

 private:
  std::string const m_Name;
  TCFileDescriptor m_File;
};

}  // namespace

TCRouterSocket::TCRouterSocket(TCFileDescriptor Listening) : m_File(std::move(Listening)) {
  if (OptionOf(m_File.get(), SO_DOMAIN) != AF_UNIX ||
      OptionOf(m_File.get(), SO_TYPE) != SOCK_SEQPACKET ||
      OptionOf(m_File.get(), SO_ACCEPTCONN) != 1) {
    throw TCException(kSource, __LINE__)
        .Format(
            "the socket that was handed over is no listening Unix socket for sequenced packets");
  }
  fcntl(m_File.get(), F_SETFD, FD_CLOEXEC);
  fcntl(m_File.get(), F_SETFL, fcntl(m_File.get(), F_GETFL) | O_NONBLOCK);
}

TCRouterSocket::TCRouterSocket(std::string const& Address)
    : m_Path(Wire::SocketName(Address, "cannot listen at").sun_path) {
  try {
    Listen();
  } catch (...) {
    m_Path.clear();  // whatever is there is not ours
    throw;
  }
}

void TCRouterSocket::Listen() {
  sockaddr_un const Address = Wire::SocketName("unix:path=" + m_Path, "cannot listen at");
  TCListenLock const Lock(m_Path);
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
  m_File = Wire::NewFrameSocket();
  if (bind(m_File.get(), reinterpret_cast<sockaddr const*>(&Address),
           static_cast<socklen_t>(sizeof(Address))) != 0 ||
      chmod(m_Path.c_str(), kSocketMode) != 0 || listen(m_File.get(), kBacklog) != 0) {
    ThrowCannotListen(m_Path, errno);
  }
  lstat(m_Path.c_str(), &m_Made);
}

TCRouterSocket::TCRouterSocket(TCRouterSocket&& Other) noexcept
    : m_File(std::move(Other.m_File)),
      m_Path(std::exchange(Other.m_Path, std::string())),
      m_Made(Other.m_Made) {}

TCRouterSocket::~TCRouterSocket() {
  if (!m_Path.empty() && IsAt(m_Path, m_Made)) {
    unlink(m_Path.c_str());
  }
  Wire::TCPromptClosing const Closing;  // what waits in connections that nobody has accepted goes
  m_File = TCFileDescriptor();
}

TCFileDescriptor TCRouterSocket::Accept() const {
  return Wire::AcceptFrameSocket(m_File.get());
}
