// SPDX-License-Identifier: MIT
// A file that is ready to be read when a test wants it to be.
#pragma once

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include "Platform/Utility/TCFileDescriptor.h"

class TReadyFile {
 public:
  explicit TReadyFile(bool Ready = true)
      : m_File(eventfd(Ready ? 1 : 0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    EXPECT_GE(m_File.get(), 0);
  }

  int get() const { return m_File.get(); }
  void MakeReady() { eventfd_write(m_File.get(), 1); }
  void Read() {
    eventfd_t Value = 0;
    eventfd_read(m_File.get(), &Value);
  }

 private:
  TCFileDescriptor m_File;
};
