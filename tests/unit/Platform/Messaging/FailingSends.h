// SPDX-License-Identifier: MIT
// Makes the system refuse what it refuses when memory or descriptors are short.
#pragma once

#include "Platform/Messaging/Wire/Frame.h"

/// While it lives, each frame of the kind is refused with the error number `Error`, on every
/// thread. One at a time.
class TFailingSends {
 public:
  TFailingSends(Wire::TEFrame Kind, int Error);
  ~TFailingSends();
  TFailingSends(TFailingSends const&) = delete;
  TFailingSends& operator=(TFailingSends const&) = delete;
};

/// While it lives, no memory file can be made, on any thread: there are no descriptors for them.
/// Not by a limit of the process, which the sanitizers' own checks would meet too. One at a time.
class TFailingMemoryFiles {
 public:
  TFailingMemoryFiles();
  ~TFailingMemoryFiles();
  TFailingMemoryFiles(TFailingMemoryFiles const&) = delete;
  TFailingMemoryFiles& operator=(TFailingMemoryFiles const&) = delete;
};
