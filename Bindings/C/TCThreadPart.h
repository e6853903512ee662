// SPDX-License-Identifier: MIT
// What belongs to one thread: its open transaction and its read guard.
#pragma once

#include <atomic>
#include <optional>
#include <thread>

#include "PropertyInterface/TCScopedTransaction.h"

namespace Property::C {

/// A transaction between the thread that it belongs to and the program's handle, which any thread
/// may give back. Destroyed when both have let go of it.
class TCThreadTransaction {
 public:
  TCThreadTransaction() : m_Transaction(std::in_place) {}
  TCThreadTransaction(TCThreadTransaction const&) = delete;
  TCThreadTransaction& operator=(TCThreadTransaction const&) = delete;

  bool IsOfThisThread() const { return m_Thread == std::this_thread::get_id(); }
  /// Null when it has ended. For its own thread.
  TCScopedTransaction* get() { return m_Transaction ? &*m_Transaction : nullptr; }
  /// Rolls back what is open. For its own thread.
  void End() { m_Transaction.reset(); }

  /// The program has given its handle back: its thread ends it.
  void Abandon() { m_Abandoned = true; }
  bool IsAbandoned() const { return m_Abandoned; }
  /// One of the two lets go of it.
  void Release() {
    if (--m_Holders == 0) {
      delete this;
    }
  }

 private:
  ~TCThreadTransaction() = default;

  std::thread::id const m_Thread = std::this_thread::get_id();
  std::optional<TCScopedTransaction> m_Transaction;
  std::atomic<bool> m_Abandoned{false};
  std::atomic<int> m_Holders{2};
};

/// Of the calling thread; ended when the thread ends.
class TCThreadPart {
 public:
  /// Begins a transaction, of which the caller is one holder. Throws TCException when the thread
  /// has one open.
  static TCThreadTransaction& Begin();
  /// Ends this thread's `Transaction`, if it is still open.
  static void End(TCThreadTransaction& Transaction);
  /// Ends it if the program has given it back on another thread.
  static void EndAbandoned();

  static void EnterGuard();
  /// False when there is none.
  static bool LeaveGuard();
};

}  // namespace Property::C
