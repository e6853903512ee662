// SPDX-License-Identifier: MIT
// A subscriber to the store's changes, with a queue of its own.
#pragma once

#include <atomic>
#include <list>
#include <set>
#include <utility>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

/// What happened to a value.
enum TENotificationType : int {
  eNotifyChanged = 1,  ///< created or changed
  eNotifyDeleted = 2,  ///< about to be removed
};

/// Receives a copy of every changed or deleted value once it is enabled. Derive from it, override
/// OnPropQueued to wake a thread of your own, and let that thread take the entries from m_Queue
/// under m_Lock.
///
/// The store refers to enabled notifiers and does not own them; a notifier owns its queue.
/// Enable, Push and get_Enabled are safe on every thread.
///
/// A subclass calls `TCPropertyCollection::DelNotifier(this)` first in its own destructor. That
/// waits for a change under way on another thread; without it such a change could call a hook of
/// which the destructor has already run.
class PROPERTY_EXPORT TCCommonPropertyChangeNotifier {
 public:
  /// A class or group of which a record has changed: what Insert collects.
  class PROPERTY_EXPORT TCClassGroupLink {
   public:
    /// `ID` is a class id or the number of a container or group.
    TCClassGroupLink(int ID, Accessories::TCRecordID const& Link) : m_ID(ID), m_Link(Link) {}
    TCClassGroupLink(TCClassGroupLink const&) = default;
    TCClassGroupLink& operator=(TCClassGroupLink const&) = default;
    virtual ~TCClassGroupLink();

    int get_ID() const { return m_ID; }
    Accessories::TCRecordID const& get_Link() const { return m_Link; }

    /// By ID as a signed number, then by link.
    bool operator<(TCClassGroupLink const& Right) const {
      return m_ID != Right.m_ID ? m_ID < Right.m_ID : m_Link < Right.m_Link;
    }

   private:
    int m_ID;
    Accessories::TCRecordID m_Link;
  };

  /// Receives nothing until Enable.
  TCCommonPropertyChangeNotifier();
  TCCommonPropertyChangeNotifier(TCCommonPropertyChangeNotifier const&) = delete;
  TCCommonPropertyChangeNotifier& operator=(TCCommonPropertyChangeNotifier const&) = delete;
  /// Leaves the store, waiting for a change under way on another thread.
  virtual ~TCCommonPropertyChangeNotifier();

  /// Starts receiving; a second call does nothing, and only destruction ends it.
  /// Not to be called from OnPropQueued: it takes m_Lock before the store's lock.
  void Enable();

  /// Queues a copy of `Object`, then calls OnPropQueued with m_Lock free.
  /// Throws TCException when that answers false; the copy stays queued.
  void Push(TENotificationType Type, TCCommonPropertyObject const& Object);

  bool get_Enabled() const { return m_Enabled; }

  /// Adds the class id and the parent number of `Object`'s definition, each with its link. A
  /// definition without one of them counts as 0 there. Keys that `Links` holds already stay.
  static void Insert(TCCommonPropertyObject const& Object, std::set<TCClassGroupLink>& Links);

 protected:
  /// Called after each queued entry, on the thread that made the change, with the store's lock
  /// held: return quickly and do not wait for a thread that uses the store. Must return true; the
  /// base returns false.
  virtual bool OnPropQueued();

  TCCriticalSection m_Lock;
  // The oldest first.
  std::list<std::pair<TCCommonPropertyObject, TENotificationType>> m_Queue
      PROPERTY_GUARDED_BY(m_Lock);

 private:
  friend class TCStoreForks;  // takes m_Lock for a fork

  std::atomic<bool> m_Enabled;  // written under m_Lock, read under the store's lock
};

}  // namespace Property
