// SPDX-License-Identifier: MIT
// Changes that wait for their confirmation, and what stands again without it.
#include <sqlite3.h>

#include <utility>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

std::vector<TSPendingChange> TCPropertyDatabase::ReadPending() const {
  TCStatement const Statement = Prepare(
      "SELECT turn, time, user, process, name, granted, left, boot, moment, noted "
      "FROM pending JOIN writer ON writer.id = pending.writer ORDER BY turn");
  sqlite3_stmt* const Row = Statement.get();
  TCExecution Execution(Row);
  std::vector<TSPendingChange> Changes;
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    TSPendingChange& Change = Changes.emplace_back();
    Change.Transaction = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 0));
    Change.Origin.Time = sqlite3_column_int64(Row, 1);
    Change.Origin.User = static_cast<uid_t>(sqlite3_column_int64(Row, 2));
    Change.Origin.Process = static_cast<pid_t>(sqlite3_column_int64(Row, 3));
    Change.Origin.ProcessName = ColumnText(Row, 4);
    Change.Granted = sqlite3_column_int64(Row, 5);
    Change.Left = sqlite3_column_int64(Row, 6);
    Change.Noted = {std::string(ColumnText(Row, 7)), sqlite3_column_int64(Row, 8),
                    sqlite3_column_int64(Row, 9)};
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the changes to be confirmed of");
  }
  return Changes;
}

std::vector<TSPropertyRecord> TCPropertyDatabase::ReadFormer(std::uint64_t Transaction) const {
  TCStatement const Statement = Prepare(
      "SELECT number, has_link, link, mac, coalesce(former, ''), former IS NULL "
      "FROM pending_value WHERE turn = ?1");
  TCExecution Execution(Statement.get());
  Execution.Bind(1, static_cast<long long>(Transaction));
  std::vector<TSPropertyRecord> Values;
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    Values.push_back(ReadRecord(Statement.get()));
    Values.back().Removed = sqlite3_column_int(Statement.get(), 5) == 1;
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read a change to be confirmed of");
  }
  return Values;
}

void TCPropertyDatabase::TCTransaction::AddPending(TSPendingChange const& Change) {
  RequireOpen();
  long long const Writer = WriterOf(Change.Origin);
  TCStatement const Statement =
      m_Database.Prepare("INSERT OR REPLACE INTO pending VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)");
  TCExecution Execution(Statement.get());
  Execution.Bind(1, static_cast<long long>(Change.Transaction));
  Execution.Bind(2, static_cast<long long>(Change.Origin.Time));
  Execution.Bind(3, Writer);
  Execution.Bind(4, static_cast<long long>(Change.Granted));
  Execution.Bind(5, static_cast<long long>(Change.Left));
  Execution.Bind(6, Change.Noted.Boot);
  Execution.Bind(7, static_cast<long long>(Change.Noted.Moment));
  Execution.Bind(8, static_cast<long long>(Change.Noted.Time));
  if (Execution.Step() != SQLITE_DONE) {
    Fail("note a change to be confirmed in");
  }
}

void TCPropertyDatabase::TCTransaction::AddFormer(std::uint64_t Transaction,
                                                  std::vector<TSPropertyRecord> const& Values) {
  RequireOpen();
  TCStatement const Statement =
      m_Database.Prepare("INSERT OR REPLACE INTO pending_value VALUES(?5, ?1, ?2, ?3, ?4, ?6)");
  for (TSPropertyRecord const& Value : Values) {
    TCExecution Execution(Statement.get());
    BindKey(Execution, 1, Value.Number, Value.Link, TextOf(Value.MAC));
    Execution.Bind(5, static_cast<long long>(Transaction));
    if (!Value.Removed) {
      Execution.Bind(6, Value.Data);
    }
    if (Execution.Step() != SQLITE_DONE) {
      Fail("note a change to be confirmed in");
    }
  }
}

void TCPropertyDatabase::TCTransaction::NotePending(TSPendingChange const& Change) {
  RequireOpen();
  TCStatement const Statement = m_Database.Prepare(
      "UPDATE pending SET left = ?2, boot = ?3, moment = ?4, noted = ?5 WHERE turn = ?1");
  TCExecution Execution(Statement.get());
  Execution.Bind(1, static_cast<long long>(Change.Transaction));
  Execution.Bind(2, static_cast<long long>(Change.Left));
  Execution.Bind(3, Change.Noted.Boot);
  Execution.Bind(4, static_cast<long long>(Change.Noted.Moment));
  Execution.Bind(5, static_cast<long long>(Change.Noted.Time));
  if (Execution.Step() != SQLITE_DONE) {
    Fail("note a change to be confirmed in");
  }
}

void TCPropertyDatabase::TCTransaction::SettlePending(std::uint64_t Transaction) {
  RequireOpen();
  for (char const* SQL :
       {"DELETE FROM pending WHERE turn = ?1", "DELETE FROM pending_value WHERE turn = ?1"}) {
    TCStatement const Statement = m_Database.Prepare(SQL);
    TCExecution Execution(Statement.get());
    Execution.Bind(1, static_cast<long long>(Transaction));
    if (Execution.Step() != SQLITE_DONE) {
      Fail("settle a change to be confirmed in");
    }
  }
}

}  // namespace Property
