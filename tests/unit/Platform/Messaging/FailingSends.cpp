// SPDX-License-Identifier: MIT
// Stands between the libraries and the system's sendmsg and memfd_create.
#include "FailingSends.h"

#include <dlfcn.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace {

std::atomic<char const*> FailingWord{nullptr};
std::atomic<int> FailingError{0};
std::atomic<bool> MemoryFilesFail{false};

bool Holds(msghdr const& Message, char const* Word) {
  for (std::size_t Place = 0; Place < Message.msg_iovlen; ++Place) {
    iovec const& Part = Message.msg_iov[Place];
    if (Part.iov_base != nullptr &&
        memmem(Part.iov_base, Part.iov_len, Word, std::strlen(Word)) != nullptr) {
      return true;
    }
  }
  return false;
}

}  // namespace

TFailingSends::TFailingSends(char const* Word, int Error) {
  FailingError = Error;
  FailingWord = Word;
}

TFailingSends::~TFailingSends() {
  FailingWord = nullptr;
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
  char const* const Word = FailingWord;
  if (Word != nullptr && Holds(*Message, Word)) {
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
