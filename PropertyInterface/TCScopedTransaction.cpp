// SPDX-License-Identifier: MIT
// Ends transactions, and has conditional ones decided.
#include "PropertyInterface/TCScopedTransaction.h"

#include <memory>
#include <utility>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCReadGuard.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyInterface/TCScopedTransaction";

TCPropertyKey KeyOf(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                    std::string const& MAC) {
  return TCPropertyKey(ID, Link, MAC.empty() ? TCPropertyCollection::GetCurrentMAC(ID) : MAC);
}

bool IsDefault(TCCommonPropertyObject const& Read) {
  TCCommonPropertyObject Default(Read.get_ID(), Read.get_Link(), Read.get_MAC());
  Read.get_ID().SetDefaultValue(Default);
  return Read.GetRealValue() == Default.GetRealValue();
}

TEConditionalCommit OutcomeOf(TSPropertyReceipt const& Receipt) {
  switch (Receipt.Outcome) {
    case eReceiptDurable:
      return eCommitDone;
    case eReceiptRefused: {
      bool const Conflict = !Receipt.Refusals.empty() && !Receipt.Refusals.front().Standing.empty();
      return Conflict ? eCommitConflict : eCommitRefused;
    }
    case eReceiptTimedOut:
      return eCommitUndecided;
    case eReceiptClosed:
      return eCommitClosed;
    case eReceiptUnknown:
      break;
  }
  return eCommitUnknown;
}

}  // namespace

TCScopedTransaction::TCScopedTransaction() : m_Thread(std::this_thread::get_id()) {
  if (TCPropertyCollection::InTransaction() != nullptr) {
    throw TCException(kSource, __LINE__, "InTransaction()==nullptr")
        .Format("this thread has a transaction open: transactions do not nest");
  }
  auto Transaction = std::make_unique<TCPropertyTransaction>();
  Transaction->Begin();
  m_Transaction = Transaction.release();
  m_Open = true;
}

TCScopedTransaction::~TCScopedTransaction() {
  if (std::this_thread::get_id() == m_Thread) {
    delete m_Transaction;
  } else {
    SyslogError("a transaction is destroyed by another thread than began it: it stays open there");
  }
}

void TCScopedTransaction::RequireOpen() const {
  if (std::this_thread::get_id() != m_Thread) {
    throw TCException(kSource, __LINE__, "get_id()==m_Thread")
        .Format("a transaction is used by another thread than began it");
  }
  if (!m_Open) {
    throw TCException(kSource, __LINE__, "m_Open").Format("the transaction has ended");
  }
}

TCPropertyReceipt TCScopedTransaction::Commit() {
  RequireOpen();
  TCPropertyCollectionDriver& Store = TCPropertyCollectionDriver::Require();
  m_Open = false;
  TCPropertyReceipt Receipt;
  Store.Commit(m_Transaction, &Receipt);
  m_Transaction->Reset();
  return Receipt;
}

void TCScopedTransaction::Rollback() {
  if (m_Open) {
    RequireOpen();
    m_Open = false;
    m_Transaction->Rollback();
  }
}

// ---- changes that depend on what was read ----

void TCScopedTransaction::Expect(TCCommonPropertyObject const& Read) {
  RequireOpen();
  TCPropertyKey const Key(Read.get_ID(), Read.get_Link(), Read.get_MAC());
  if (!Read.get_Defined()) {
    throw TCException(kSource, __LINE__, "Read.get_Defined()")
        .Format("%s could not be read, so nothing is expected of it",
                Read.get_ID().get_Name().c_str());
  }
  if (m_Transaction->Find(Key) != nullptr) {
    throw TCException(kSource, __LINE__, "m_Transaction->Find(Key)==nullptr")
        .Format("%s was set in this transaction: read what is expected before it is set",
                Read.get_ID().get_Name().c_str());
  }
  bool const Held = TCPropertyCollection::get()->ExistProperty(Read.get_ID(), Read.get_Link(),
                                                               Read.get_MAC().get_AsString(':'));
  bool const Missing = !Held && (IsDefault(Read) || Read.GetRealValue().empty());
  m_Expected[Key] = Missing ? std::nullopt : std::optional<std::string>(Read.GetRealValue());
}

void TCScopedTransaction::Expect(TSStandingValue const& Standing) {
  RequireOpen();
  m_Expected[Standing.Key] = Standing.Data;
}

void TCScopedTransaction::ExpectMissing(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                        std::string const& MAC) {
  RequireOpen();
  m_Expected[KeyOf(ID, Link, MAC)] = std::nullopt;
}

void TCScopedTransaction::Set(TCPropertyID const& ID, std::string const& Data,
                              Accessories::TCRecordID const& Link, std::string const& MAC) {
  RequireOpen();
  m_Transaction->Changed(KeyOf(ID, Link, MAC), Data);
}

TSConditionalCommit TCScopedTransaction::CommitIfUnchanged(int Timeout) {
  RequireOpen();
  if (TCReadGuard::IsHeld()) {
    throw TCException(kSource, __LINE__, "TCReadGuard::IsHeld()==false")
        .Format("the server can not be asked to decide within a read guard");
  }
  TCPropertyCollectionDriver::Require();
  if (m_Transaction->get_Changes().empty() && m_Expected.empty()) {
    Rollback();
    return TSConditionalCommit();
  }
  return Decide(Timeout);
}

TSConditionalCommit TCScopedTransaction::Decide(int Timeout) {
  TSConditionalCommit Result;
  auto const Sent =
      TCPropertyCollectionDriver::Require().SendConditional(*m_Transaction, m_Expected);
  m_Open = false;
  TCPropertyCollection::RemoveTransaction(m_Transaction);
  if (!Sent) {
    m_Transaction->Reset();
    Result.Outcome = eCommitClosed;
    return Result;
  }
  Result.Receipt = *Sent;
  TSPropertyReceipt Receipt = Sent->Wait(Timeout);
  Result.Outcome = OutcomeOf(Receipt);
  if (Receipt.Outcome == eReceiptRefused && !Receipt.Refusals.empty()) {
    Result.Refusal = std::move(Receipt.Refusals.front());
  }
  if (Result.Outcome == eCommitDone) {
    TCPropertyCollectionDriver::Require().ApplyDecided(*m_Transaction, *Sent);
  }
  m_Transaction->Reset();
  return Result;
}

}  // namespace Property
