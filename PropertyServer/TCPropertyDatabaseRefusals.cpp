// SPDX-License-Identifier: MIT
// Remembers which mails were refused, until their senders have heard of it for certain.
#include <sqlite3.h>

#include <algorithm>
#include <string>

#include "Platform/Utility/UTF8.h"
#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

namespace {

constexpr long long kOfSender = 100;  // rows that are kept
constexpr long long kOfUser = 2000;
constexpr std::size_t kMostReason = 512;  // bytes

}  // namespace

TSRefusals TCPropertyDatabase::ReadRefusals(TSNorvSenderKey const& Sender) const {
  sqlite3_stmt* const Row = m_Statements.Refusals.get();
  TCExecution Execution(Row);
  BindSender(Execution, Sender);
  TSRefusals Refusals;
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    Refusals.Forgotten = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 0));
    auto const Mail = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 1));
    if (Mail == 0) {
      continue;  // there is none, or none that is remembered
    }
    if (Refusals.Known.empty() || Refusals.Known.back().Mail != Mail) {
      TSRefusal& Refusal = Refusals.Known.emplace_back();
      Refusal.Mail = Mail;
      Refusal.Reason = ColumnText(Row, 2);
      Refusal.Compared = sqlite3_column_int64(Row, 3) != 0;
    }
    if (sqlite3_column_type(Row, 4) != SQLITE_NULL) {
      bool const HasLink = sqlite3_column_int64(Row, 5) != 0;
      Refusals.Known.back().Places.emplace_back(
          sqlite3_column_int(Row, 4),
          HasLink ? Accessories::TCRecordID(sqlite3_column_int(Row, 6)) : Accessories::TCRecordID(),
          TCMACAddress(std::string(ColumnText(Row, 7))));
    }
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the refused mails of a sender of");
  }
  return Refusals;
}

void TCPropertyDatabase::TCTransaction::NoteRefusal(TSNorvSenderKey const& Sender,
                                                    TSRefusal const& Refusal) {
  RequireOpen();
  std::size_t Index = 0;
  std::string const Reason = Refusal.Reason.substr(0, BeginningLength(Refusal.Reason, kMostReason));
  do {
    std::string const Device = Index < Refusal.Places.size()
                                   ? std::get<TCMACAddress>(Refusal.Places[Index]).get_AsString(':')
                                   : std::string();
    TCExecution Execution(m_Database.m_Statements.NoteRefusal.get());
    BindSender(Execution, Sender);
    Execution.Bind(3, static_cast<long long>(Refusal.Mail));
    Execution.Bind(4, Reason);
    Execution.Bind(5, Refusal.Compared ? 1LL : 0LL);
    if (Index < Refusal.Places.size()) {
      BindKey(Execution, 6, std::get<int>(Refusal.Places[Index]),
              std::get<Accessories::TCRecordID>(Refusal.Places[Index]), Device);
    }
    if (Execution.Step() != SQLITE_DONE) {
      Fail("note a refused mail in");
    }
  } while (++Index < Refusal.Places.size());
}

void TCPropertyDatabase::TCTransaction::ForgetOldRefusals(TSNorvSenderKey const& Sender) {
  RequireOpen();
  long long const OfSender = FindOldRefusal(m_Database.m_Statements.OldOfSender, Sender, kOfSender);
  if (OfSender != 0) {
    ForgetRefusals(m_Database.m_Statements.ForgetOfSender, Sender, OfSender);
  }
  long long const OfUser = FindOldRefusal(m_Database.m_Statements.OldOfUser, Sender, kOfUser);
  if (OfUser != 0) {
    ForgetRefusals(m_Database.m_Statements.ForgetOfUser, Sender, OfUser);
  }
}

// The newest row that goes beyond `Keep`; 0 for none.
long long TCPropertyDatabase::TCTransaction::FindOldRefusal(TCStatement const& Statement,
                                                            TSNorvSenderKey const& Sender,
                                                            long long Keep) {
  TCExecution Execution(Statement.get());
  BindSender(Execution, Sender);
  Execution.Bind(3, Keep);
  switch (Execution.Step()) {
    case SQLITE_ROW:
      return sqlite3_column_int64(Statement.get(), 0);
    case SQLITE_DONE:
      return 0;
    default:
      Fail("count the refused mails in");
  }
}

// First the senders learn that something of theirs goes.
void TCPropertyDatabase::TCTransaction::ForgetRefusals(TSForgetting const& Forgetting,
                                                       TSNorvSenderKey const& Sender,
                                                       long long Row) {
  for (TCStatement const* Statement : {&Forgetting.Note, &Forgetting.Forget}) {
    TCExecution Execution(Statement->get());
    BindSender(Execution, Sender);
    Execution.Bind(3, Row);
    if (Execution.Step() != SQLITE_DONE) {
      Fail("forget old refused mails in");
    }
  }
}

}  // namespace Property
