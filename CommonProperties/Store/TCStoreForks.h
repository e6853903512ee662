// SPDX-License-Identifier: MIT
// What a fork does to the store.
#pragma once

#include "Platform/Utility/ThreadAnnotations.h"

namespace Property {

/// A fork takes all locks of store, schema and notifiers, so that the child finds everything whole.
/// It does not wait for who waits without limit with the store's lock held: the child has no store
/// then.
class TCStoreForks {
 public:
  /// From now on; may be repeated.
  static void Watch() noexcept;

 private:
  // Enter here and leave there, the locks of all notifiers too.
  static bool Enter() PROPERTY_UNCHECKED_LOCKING;
  static void Lock() PROPERTY_UNCHECKED_LOCKING;
  static void UnlockInParent() PROPERTY_UNCHECKED_LOCKING;
  static void UnlockInChild() PROPERTY_UNCHECKED_LOCKING;
  static void DropInChild() PROPERTY_UNCHECKED_LOCKING;
};

}  // namespace Property
