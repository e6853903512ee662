// SPDX-License-Identifier: MIT
// Stands between the libraries and the system's sendmsg and memfd_create.
#include "FailingSends.h"

#include <dlfcn.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<char> FailingKind{0};
std::atomic<int> FailingError{0};
std::atomic<bool> MemoryFilesFail{false};

// A frame is sent in one piece, and begins with its kind.
bool IsOfKind(msghdr const& Message, char Kind) {
  iovec const& Part = Message.msg_iov[0];
  return Part.iov_len >= Wire::kHeadSize && *static_cast<char const*>(Part.iov_base) == Kind;
}

}  // namespace

TFailingSends::TFailingSends(Wire::TEFrame Kind, int Error) {
  FailingError = Error;
  FailingKind = static_cast<char>(Kind);
}

TFailingSends::~TFailingSends() {
  FailingKind = 0;
}

TFailingMemoryFiles::TFailingMemoryFiles() {
  MemoryFilesFail = true;
}

TFailingMemoryFiles::~TFailingMemoryFiles() {
  MemoryFilesFail = false;
}

// In place of the C library's, for the libraries too.
extern "C" __attribute__((visibility("default"))) ssize_t sendmsg(int Socket, msghdr const* Message,
                                                                  int Flags) {
  using TSend = ssize_t (*)(int, msghdr const*, int);
  static TSend const Send = reinterpret_cast<TSend>(dlsym(RTLD_NEXT, "sendmsg"));
  char const Kind = FailingKind;
  if (Kind != 0 && IsOfKind(*Message, Kind)) {
    errno = FailingError;
    return -1;
  }
  return Send(Socket, Message, Flags);
}

extern "C" __attribute__((visibility("default"))) int memfd_create(char const* Name,
                                                                   unsigned Flags) {
  using TCreate = int (*)(char const*, unsigned);
  static TCreate const Create = reinterpret_cast<TCreate>(dlsym(RTLD_NEXT, "memfd_create"));
  if (MemoryFilesFail) {
    errno = EMFILE;
    return -1;
  }
  return Create(Name, Flags);
}
