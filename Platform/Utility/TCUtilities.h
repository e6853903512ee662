// SPDX-License-Identifier: MIT
// Facts about the running thread.
#pragma once

#include "Platform/PlatformExport.h"

/// Static operations only, safe on every thread.
class PROPERTY_PLATFORM_EXPORT TCUtilities {
 public:
  TCUtilities() = delete;

  /// The kernel's id of the calling thread, unique in the system while the thread lives. Costs no
  /// system call after the thread's first; right in the child of a fork as well.
  static int GetCurrentThreadID() noexcept;
};
