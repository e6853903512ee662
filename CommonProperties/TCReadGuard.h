// SPDX-License-Identifier: MIT
// Keeps the store as it is while a thread reads values that belong together.
#pragma once

#include "CommonProperties/PropertyExport.h"

namespace Property {

/// While it lives, no other thread changes a stored value: what the calling thread reads meanwhile
/// is of one state, in which each mail of the server and each committed transaction is whole.
///
/// A guard holds the store's lock, so that other threads wait with their reads and changes, and
/// received changes wait to be applied. Keep it for the reads alone: computing, waiting and output
/// come after it, and what waits for a thread that uses the store waits for ever.
///
/// The holding thread may take further guards, set values and commit. Its changes are sent and told
/// as always, but with the lock held throughout. The server is not asked for anything meanwhile: a
/// read of another device's value that this process does not hold, Fetch and Create throw
/// TCException. Such a value is read once before.
///
/// Belongs to the thread that makes it. A fork takes it into the child, which ends it there.
class PROPERTY_EXPORT TCReadGuard {
 public:
  /// Waits for the other threads' guards and changes.
  TCReadGuard() noexcept;
  TCReadGuard(TCReadGuard const&) = delete;
  TCReadGuard& operator=(TCReadGuard const&) = delete;
  ~TCReadGuard();

  /// Whether the calling thread has one.
  static bool IsHeld() noexcept;
};

}  // namespace Property
