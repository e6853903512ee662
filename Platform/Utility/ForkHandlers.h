// SPDX-License-Identifier: MIT
// What the libraries do when their process forks, in the order of their locks.
//
// Handlers that each library gave to the system itself would run in the order in which libraries
// come to be used, which is not that of the locks.
#pragma once

#include "Platform/PlatformExport.h"

/// Places in the order in which locks are taken.
enum class TEForkPlace { eStore, eConnections, eDevice, eLog, eThread };

/// Any of them may be null.
struct TSForkHandlers {
  void (*Prepare)() = nullptr;  ///< before the fork: takes locks, first place first
  void (*Parent)() = nullptr;   ///< after it: leaves them, last place first
  void (*Child)() = nullptr;    ///< the same in the child, where no other thread lives
};

/// From now on they run at each fork, on the forking thread; vfork and posix_spawn run none. May be
/// repeated. False when the system lacks the memory for it.
PROPERTY_PLATFORM_EXPORT bool SetForkHandlers(TEForkPlace Place,
                                              TSForkHandlers const& Handlers) noexcept;
