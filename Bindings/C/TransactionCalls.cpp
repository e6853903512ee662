// SPDX-License-Identifier: MIT
// The calls about transactions.
#include <memory>
#include <string>

#include "Bindings/C/Border.h"
#include "Bindings/C/Handles.h"
#include "Bindings/C/PropertyReceipt.h"
#include "Bindings/C/TCStoreOpening.h"
#include "Bindings/C/TCThreadPart.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "CommonProperties/TCReadGuard.h"
#include "Platform/Utility/PrintableText.h"

/// One holder of the thread's transaction.
struct property_transaction {
  Property::C::TCThreadTransaction* Part;
};

using namespace Property;
using namespace Property::C;

namespace {

TCThreadTransaction& RequireOwn(property_transaction const* Transaction) {
  Require(Transaction, "transaction");
  if (!Transaction->Part->IsOfThisThread()) {
    throw TCBorderFailure(PROPERTY_WRONG_THREAD,
                          "the transaction belongs to the thread that has begun it");
  }
  return *Transaction->Part;
}

TCThreadTransaction& RequireOpen(property_transaction const* Transaction) {
  TCThreadTransaction& Part = RequireOwn(Transaction);
  if (Part.get() == nullptr) {
    throw TCBorderFailure(PROPERTY_ENDED, "the transaction has ended");
  }
  TCStoreOpening::Get().RequireOwnProcess();
  return Part;
}

/// Ends a transaction in any case.
struct TSEnd {
  TCThreadTransaction& Transaction;
  ~TSEnd() { TCThreadPart::End(Transaction); }
};

property_status StatusOfCommit(TEConditionalCommit Outcome) {
  switch (Outcome) {
    case eCommitDone:
      return PROPERTY_OK;
    case eCommitConflict:
      return PROPERTY_CONFLICT;
    case eCommitRefused:
      return PROPERTY_REFUSED;
    case eCommitUndecided:
      return PROPERTY_TIMED_OUT;
    case eCommitClosed:
      return PROPERTY_CLOSED;
    case eCommitUnknown:
      break;
  }
  return PROPERTY_UNKNOWN;
}

// What a wait for the receipt would say is known already, but for a commit that nobody has decided.
std::unique_ptr<property_receipt> ReceiptOf(TSConditionalCommit const& Commit) {
  auto Receipt = std::make_unique<property_receipt>(Commit.Receipt);
  property_receipt::TSKnown Known;
  Known.Status = StatusOfCommit(Commit.Outcome);
  if (Known.Status == PROPERTY_CONFLICT || Known.Status == PROPERTY_REFUSED) {
    Known.Refusals.push_back(Commit.Refusal);
    Known.Refusals.front().Reason = PrintableText(Commit.Refusal.Reason);
  }
  Known.Complete = Known.Status != PROPERTY_UNKNOWN;
  if (Known.Status != PROPERTY_TIMED_OUT && Known.Status != PROPERTY_CLOSED) {
    Receipt->Know(std::move(Known));
  }
  return Receipt;
}

TSConditionalCommit Decide(property_transaction const* Transaction, int Timeout) {
  TCThreadTransaction& Part = RequireOpen(Transaction);
  if (TCReadGuard::IsHeld()) {
    throw TCBorderFailure(PROPERTY_IN_GUARD,
                          "the server is not asked to decide while this thread has a read guard");
  }
  TSEnd const End{Part};
  return Part.get()->CommitIfUnchanged(Timeout);
}

}  // namespace

property_status property_begin(property_store const* store, property_transaction** transaction) {
  return Cross([&] {
    Require(store, "store");
    Require(transaction, "transaction");
    TCStoreOpening::Get().RequireOwnProcess();
    if (TCPropertyCollection::InTransaction() != nullptr) {
      throw TCBorderFailure(PROPERTY_IN_TRANSACTION,
                            "this thread has a transaction open: transactions do not nest");
    }
    auto Handle = std::make_unique<property_transaction>();
    Handle->Part = &TCThreadPart::Begin();
    *transaction = Handle.release();
  });
}

property_status property_expect(property_transaction* transaction, property_value const* value) {
  return Cross([&] {
    TCThreadTransaction& Part = RequireOpen(transaction);
    Require(value, "value");
    if (TCPropertyCollection::InTransaction()->Find(KeyOfValue(*value)) != nullptr) {
      throw TCBorderFailure(PROPERTY_BAD_ARGUMENT,
                            value->Path + " was set in this transaction: expect it before");
    }
    Part.get()->Expect(GetProperty(*value->Field, value->Record, value->Device));
  });
}

property_status property_commit(property_transaction* transaction, property_receipt** receipt) {
  return Cross([&] {
    TCThreadTransaction& Part = RequireOpen(transaction);
    TSEnd const End{Part};
    TCPropertyReceipt const Committed = Part.get()->Commit();
    if (receipt != nullptr) {
      *receipt = new property_receipt(Committed);
    }
  });
}

property_status property_commit_if_unchanged(property_transaction* transaction, int32_t timeout,
                                             property_receipt** receipt) {
  return Cross([&] {
    RequireTimeout(timeout);
    TSConditionalCommit const Commit = Decide(transaction, timeout);
    property_status const Status = StatusOfCommit(Commit.Outcome);
    if (receipt != nullptr) {
      *receipt = ReceiptOf(Commit).release();
    }
    if (Status != PROPERTY_OK) {
      throw TCBorderFailure(Status, Commit.Refusal.Reason.empty() ? property_status_text(Status)
                                                                  : Commit.Refusal.Reason);
    }
  });
}

property_status property_rollback(property_transaction* transaction) {
  return Cross([&] { TCThreadPart::End(RequireOwn(transaction)); });
}

void property_free_transaction(property_transaction* transaction) {
  if (transaction == nullptr) {
    return;
  }
  TCThreadTransaction& Part = *transaction->Part;
  if (Part.IsOfThisThread()) {
    TCThreadPart::End(Part);
  } else {
    Part.Abandon();
  }
  Part.Release();
  delete transaction;
}
