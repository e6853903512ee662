// SPDX-License-Identifier: MIT
// A transaction that ends with its scope.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <thread>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyKey.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TCRecordID.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "PropertyInterface/TSPropertyRefusal.h"

namespace Property {

/// How a conditional commit has ended.
enum TEConditionalCommit : int {
  eCommitDone,       ///< stored by the server, and in this process's store
  eCommitConflict,   ///< nothing has changed: values are not as expected
  eCommitRefused,    ///< nothing has changed, for another reason
  eCommitUndecided,  ///< the time has passed: it may still be done, `Receipt` will tell
  eCommitClosed,     ///< the store was closed before: it may still be done, nobody will tell
  eCommitUnknown,    ///< decided, but nobody knows any more how (see TCPropertyReceipt)
};

struct TSConditionalCommit {
  TEConditionalCommit Outcome = eCommitDone;
  TSPropertyRefusal Refusal;  ///< of a conflict, with the values that stand, or of a refusal
  TCPropertyReceipt Receipt;  ///< to wait on, when the time has passed
};

/// The transaction of the thread that makes it: what that thread sets while it lives is pending,
/// and is dropped at its end, an exception's flight included, unless it was committed. Where one
/// kind of end has come, another does nothing.
///
/// Belongs to that thread: another's use throws TCException, and another's destruction is logged
/// and leaves its changes to gather for good.
class PROPERTY_EXPORT TCScopedTransaction {
 public:
  /// Throws TCException when the calling thread has a transaction open: they do not nest.
  TCScopedTransaction();
  TCScopedTransaction(TCScopedTransaction const&) = delete;
  TCScopedTransaction& operator=(TCScopedTransaction const&) = delete;
  /// Rolls back.
  ~TCScopedTransaction();

  /// Hands the changes to the store, which sends them in one mail, and answers the receipt of that;
  /// of no change where there is none. Throws TCException when it has ended or there is no driver,
  /// and what TCPropertyTransaction::Commit throws.
  TCPropertyReceipt Commit();
  /// Drops the changes.
  void Rollback();
  /// Whether it takes changes.
  bool get_Open() const { return m_Open; }

  // ---- changes that depend on what was read ----
  //
  // The server decides whether values are as expected and makes the changes, in one step, so that
  // nobody comes in between. Until then this process keeps its values, too.

  /// The commit is to be done only if this value is still what was read. A value that the store
  /// does not hold, and that was read as its default, is expected to be missing. Throws TCException
  /// for a value that could not be read or that this transaction has set, and when it has ended.
  void Expect(TCCommonPropertyObject const& Read);
  /// As a conflict has told it.
  void Expect(TSStandingValue const& Standing);
  /// ... only if the server holds no such value. An empty `MAC` stands for that of the caller.
  void ExpectMissing(TCPropertyID const& ID,
                     Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
                     std::string const& MAC = std::string());
  /// Sets a value also where this process holds that value already, which SetProperty leaves out:
  /// the server may hold another. The first set of a value in a transaction is kept. The text is
  /// stored as it is.
  void Set(TCPropertyID const& ID, std::string const& Data,
           Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
           std::string const& MAC = std::string());

  /// Has the server decide, and waits for that up to `Timeout` milliseconds (-1: without limit).
  /// When it is done, this thread reads the changed values at once, and notifiers are told of each
  /// once. Ends the transaction in any case but that of an exception: TCException when it has
  /// ended, when there is no driver, within a TCReadGuard, in a forked child, and when too much
  /// waits to be acknowledged. What a notifier throws comes out with everything done.
  TSConditionalCommit CommitIfUnchanged(int Timeout = -1);

 private:
  using TCExpectations = std::map<TCPropertyKey, std::optional<std::string>>;

  void RequireOpen() const;
  TSConditionalCommit Decide(int Timeout);

  std::thread::id const m_Thread;
  bool m_Open = false;
  TCPropertyTransaction* m_Transaction;  // owned; left behind where another thread destroys this
  TCExpectations m_Expected;
};

}  // namespace Property
