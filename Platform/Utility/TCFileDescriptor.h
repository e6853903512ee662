// SPDX-License-Identifier: MIT
// Closes a file when nobody needs it any more.
#pragma once

#include <unistd.h>

#include <utility>

/// Owns a file descriptor; -1 is none.
class TCFileDescriptor {
 public:
  TCFileDescriptor() = default;
  explicit TCFileDescriptor(int File) : m_File(File) {}
  TCFileDescriptor(TCFileDescriptor&& Other) noexcept : m_File(std::exchange(Other.m_File, -1)) {}
  TCFileDescriptor& operator=(TCFileDescriptor&& Other) noexcept {
    std::swap(m_File, Other.m_File);
    return *this;
  }
  ~TCFileDescriptor() {
    if (m_File >= 0) {
      close(m_File);
    }
  }

  int get() const { return m_File; }
  int Release() { return std::exchange(m_File, -1); }

 private:
  int m_File = -1;
};
