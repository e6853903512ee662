// SPDX-License-Identifier: MIT
// Says when changes of this process are stored by the server, and which of them were refused.
#pragma once

#include <cstdint>
#include <vector>

#include "CommonProperties/PropertyExport.h"
#include "PropertyInterface/TSPropertyRefusal.h"

namespace Property {

/// What has become of changes.
enum TEPropertyReceipt : int {
  eReceiptDurable,   ///< the server has stored all of them: they survive its end and a power cut
  eReceiptRefused,   ///< it has refused some and stored the others
  eReceiptTimedOut,  ///< the time has passed: nobody knows yet
  eReceiptClosed,    ///< the store was closed before: nobody will know
  eReceiptUnknown,   ///< all were decided on, but nobody knows any more whether some were refused
};

struct TSPropertyReceipt {
  TEPropertyReceipt Outcome = eReceiptDurable;
  /// Which were refused, as far as that is known: with every outcome, in the order of sending.
  std::vector<TSPropertyRefusal> Refusals;
  /// False when more may have been refused than `Refusals` has.
  bool Complete = true;
};

/// Stands for changes that this process has made through its TCPropertyCollectionDriver. To make
/// one costs a lock and no message; it may be copied, kept and waited for as often as wanted, by
/// every thread.
///
/// A set of the value that the store holds already sends nothing and is no change. What is set in
/// an open transaction is a change from its commit on.
///
/// The store remembers the last 1000 refusals, of 4 MiB at most. A receipt that includes older
/// changes says in `Complete` whether it may lack some. It says eReceiptUnknown when that leaves
/// open whether anything was refused; so it does when the server has forgotten, of a process that
/// was cut off from it, more refusals than it keeps.
class PROPERTY_EXPORT TCPropertyReceipt {
 public:
  /// Of no change.
  TCPropertyReceipt() = default;

  // Throw TCException when there is no driver, and in a forked child.

  /// Of all that this process has changed so far, by every thread.
  static TCPropertyReceipt OfAll();
  /// Of the calling thread's last set or commit; of no change when it has made none. What notifiers
  /// set on that thread in turn is its last.
  static TCPropertyReceipt OfLast();

  /// The part that was changed after `Earlier` was made.
  TCPropertyReceipt Since(TCPropertyReceipt const& Earlier) const;

  /// Waits up to `Timeout` milliseconds (-1: without limit, also for a server that is away). Works
  /// from every thread, also inside notifiers and other hooks, over lost connections and restarts
  /// of the server. The value that stands in place of a refused one is put into the store by the
  /// proxy's thread, at about the same time. Throws TCException in a forked child.
  TSPropertyReceipt Wait(int Timeout = -1) const;

 private:
  friend class TCPropertyCollectionDriver;

  TCPropertyReceipt(std::uint64_t First, std::uint64_t Last) : m_First(First), m_Last(Last) {}

  // Numbers of mails.
  std::uint64_t m_First = 1;
  std::uint64_t m_Last = 0;
};

}  // namespace Property
