// SPDX-License-Identifier: MIT
// Changes of values for a program with an event loop: a descriptor to wait for, and a call that
// runs the program's functions.
#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

class TCPropertyID;
struct TSChangeHandler;

/// Queues the changes of the values that handlers are subscribed to, from its construction to its
/// destruction, and calls the handlers when the program says so: on that thread, with no lock held.
/// A handler may read and set values, wait for the server, subscribe others, end any subscription
/// and destroy this object.
///
/// What is queued is bounded by the number of values, however long the program does not ask: of
/// changes of one value that wait, the last is kept. A removal that waits is told in any case,
/// before a later change that brought the value back; several of them are told as one.
///
/// Any number may live at once, each with a queue of its own. Every operation is safe on every
/// thread; handlers of one object are meant to run on one thread, the one that calls Dispatch.
///
/// In a forked child nothing is told and the descriptor stays the parent's: do not wait for it
/// there.
class PROPERTY_EXPORT TCPropertyEvents {
 public:
  /// The value as it was stored by the change, or what it was before its removal (eNotifyDeleted).
  using THandler = std::function<void(TCCommonPropertyObject const&, TENotificationType)>;

  class TCQueue;  // of this library alone

  /// Keeps a handler subscribed while it lives, or until its object of events does not. Can be
  /// moved; one that has nothing, or nothing any more, does nothing.
  class PROPERTY_EXPORT TCSubscription {
   public:
    TCSubscription() noexcept = default;
    TCSubscription(TCSubscription&&) noexcept = default;
    TCSubscription& operator=(TCSubscription&& Right) noexcept;
    TCSubscription(TCSubscription const&) = delete;
    TCSubscription& operator=(TCSubscription const&) = delete;
    ~TCSubscription();

    /// The handler is not called any more. A call under way goes on: end it on the thread that
    /// dispatches, where none is.
    void End() noexcept;

   private:
    friend class TCPropertyEvents;

    std::weak_ptr<TCQueue> m_Queue;
    std::shared_ptr<TSChangeHandler> m_Handler;
  };

  /// Throws TCException when the system has no descriptor left.
  TCPropertyEvents();
  TCPropertyEvents(TCPropertyEvents const&) = delete;
  TCPropertyEvents& operator=(TCPropertyEvents const&) = delete;
  /// Waits for a change that is being told on another thread. What is queued is dropped.
  ~TCPropertyEvents();

  /// Readable while something is queued, for poll, epoll or a loop's own way of watching it.
  /// Belongs to this object: nobody else reads, writes or closes it.
  int get_Descriptor() const noexcept;

  // A change is told to the handlers of its value, then to those of its property, then to those of
  // all; within these in the order of subscription. Throws TCException for an empty function.

  /// Changes of one property, of every record and device.
  [[nodiscard]] TCSubscription On(TCPropertyID const& ID, THandler Handler);
  /// Changes of one value. An empty MAC stands for the one that a read on this thread would use
  /// now; throws TCException when there is no store that knows it.
  [[nodiscard]] TCSubscription On(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                  std::string const& MAC, THandler Handler);
  /// Changes of every property.
  [[nodiscard]] TCSubscription OnAny(THandler Handler);

  /// Tells what is queued by now, oldest first, but not more than `Most` changes, and returns the
  /// number of changes that were told. The others, and what comes meanwhile, are left to the next
  /// call. Does not wait. May be called by a handler.
  /// What a handler throws arrives here when the other handlers of that change have been called;
  /// later changes stay queued.
  std::size_t Dispatch(std::size_t Most = std::numeric_limits<std::size_t>::max());

 private:
  TCSubscription Subscribe(std::shared_ptr<TSChangeHandler> Handler);

  std::shared_ptr<TCQueue> m_Queue;
};

}  // namespace Property
