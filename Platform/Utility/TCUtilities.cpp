// SPDX-License-Identifier: MIT
// The calling thread's id, cached per thread.
#include "Platform/Utility/TCUtilities.h"

#include <unistd.h>

#include "Platform/Utility/ForkHandlers.h"

namespace {

// 0: not asked yet; the kernel gives no thread that id. A store asks on every read, hence the
// model that costs one load: four bytes fit into what the loader keeps for late libraries.
thread_local int ThreadID __attribute__((tls_model("initial-exec"))) = 0;

// A fork copies the calling thread's cache into the child, where the thread has a new id. That
// thread is the only one in the child, so dropping its copy is enough. Comparing process ids
// instead would cost the system call that the cache saves.
void ForgetThreadID() noexcept {
  ThreadID = 0;
}

}  // namespace

int TCUtilities::GetCurrentThreadID() noexcept {
  if (ThreadID != 0) {
    return ThreadID;
  }
  static bool const Watching =
      SetForkHandlers(TEForkPlace::eThread, {nullptr, nullptr, ForgetThreadID});
  int const ID = gettid();
  if (Watching) {
    ThreadID = ID;
  }
  return ID;
}
