// SPDX-License-Identifier: MIT
// Values and counters, and what every other part of the database does its work with.
#include "PropertyServer/TCPropertyDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "PropertyServer/SQLiteStatements.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabase";

bool IsInt(long long Value) {
  return Value >= std::numeric_limits<int>::min() && Value <= std::numeric_limits<int>::max();
}

}  // namespace

void TSSQLiteDeleter::operator()(sqlite3* Handle) const {
  sqlite3_close(Handle);
}

void TSSQLiteDeleter::operator()(sqlite3_stmt* Statement) const {
  sqlite3_finalize(Statement);
}

void TCPropertyDatabase::LoadAll(std::function<void(TSPropertyRecord)> const& Take) const {
  std::map<TCPropertyPlace, TSPropertyRecord> Newer;
  VisitValues(kLoadUnmoved, [&Newer](TSPropertyRecord Record, bool IsOvertaken) {
    if (IsOvertaken) {
      Newer.erase(PlaceOf(Record));
    } else {
      Newer.insert_or_assign(PlaceOf(Record), std::move(Record));
    }
  });
  auto Next = Newer.begin();
  VisitValues(kLoad, [&](TSPropertyRecord Record, bool /*IsOvertaken*/) {
    TCPropertyPlace const Place = PlaceOf(Record);
    for (; Next != Newer.end() && Next->first < Place; ++Next) {
      Take(std::move(Next->second));
    }
    bool const IsOld = Next != Newer.end() && Next->first == Place;
    Take(IsOld ? std::move((Next++)->second) : std::move(Record));
  });
  for (; Next != Newer.end(); ++Next) {
    Take(std::move(Next->second));
  }
}

void TCPropertyDatabase::VisitValues(
    char const* SQL,
    std::function<void(TSPropertyRecord Record, bool IsOvertaken)> const& Take) const {
  TCStatement const Statement = Prepare(SQL);
  TCExecution Execution(Statement.get());
  int Result = Execution.Step();
  while (Result == SQLITE_ROW) {
    Take(ReadRecord(Statement.get()), sqlite3_column_int(Statement.get(), 5) == 1);
    Result = Execution.Step();
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the values of");
  }
}

// A key that this program never writes is refused: two such rows could stand for one property.
TSPropertyRecord TCPropertyDatabase::ReadRecord(sqlite3_stmt* Row) const {
  long long const Number = sqlite3_column_int64(Row, 0);
  long long const HasLink = sqlite3_column_int64(Row, 1);
  long long const Link = sqlite3_column_int64(Row, 2);
  std::string const MAC(ColumnText(Row, 3));

  TSPropertyRecord Record;
  Record.Number = static_cast<int>(Number);
  if (HasLink == 1) {
    Record.Link = Accessories::TCRecordID(static_cast<int>(Link));
  }
  if (!MAC.empty()) {
    Record.MAC = TCMACAddress(MAC);
  }
  Record.Data = ColumnText(Row, 4);
  if (!IsInt(Number) || !IsInt(Link) || (HasLink != 1 && (HasLink != 0 || Link != 0)) ||
      Record.MAC.get_AsString(':') != MAC) {
    throw TCException(kSource, __LINE__, "Record.MAC.get_AsString(':')==MAC")
        .Format(
            "%s is damaged: property %lld has the impossible link %lld,%lld or MAC \"%s\"; "
            "restore a backup, nothing was changed",
            m_Path.c_str(), Number, HasLink, Link, MAC.c_str());
  }
  return Record;
}

std::uint64_t TCPropertyDatabase::LastMail(TSNorvSenderKey const& Sender) const {
  return FindLastMail(Sender).Number;
}

TSLastMail TCPropertyDatabase::FindLastMail(TSNorvSenderKey const& Sender) const {
  sqlite3_stmt* const Row = m_Statements.LastMail.get();
  TCExecution Execution(Row);
  BindSender(Execution, Sender);
  TSLastMail Last;
  switch (Execution.Step()) {
    case SQLITE_ROW:
      Last.Number = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 0));
      Last.Outcome.Transaction = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 1));
      if (sqlite3_column_type(Row, 2) != SQLITE_NULL) {
        Last.Outcome.Refusal = ColumnText(Row, 2);
      }
      return Last;
    case SQLITE_DONE:
      return Last;
    default:
      throw Failure("read the last mail of a sender of");
  }
}

std::optional<std::uint64_t> TCPropertyDatabase::Meta(std::string const& Name) const {
  TCExecution Execution(m_Statements.Meta.get());
  Execution.Bind(1, Name);
  switch (Execution.Step()) {
    case SQLITE_ROW:
      return static_cast<std::uint64_t>(sqlite3_column_int64(m_Statements.Meta.get(), 0));
    case SQLITE_DONE:
      return std::nullopt;
    default:
      throw Failure("read the counter " + Name + " of");
  }
}

TCPropertyDatabase::TCStatement TCPropertyDatabase::Prepare(char const* SQL) const {
  sqlite3_stmt* Statement = nullptr;
  if (sqlite3_prepare_v3(m_Handle.get(), SQL, -1, SQLITE_PREPARE_PERSISTENT, &Statement, nullptr) !=
      SQLITE_OK) {
    FailOpening();
  }
  return TCStatement(Statement);
}

// `Target` is a table and those of its columns that are given.
TSSQLiteInsertion TCPropertyDatabase::PrepareInsertion(std::string const& Target) const {
  TSSQLiteInsertion Insertion;
  Insertion.Columns = static_cast<int>(std::count(Target.begin(), Target.end(), ',')) + 1;
  std::string Row = "(?";
  for (int Column = 1; Column < Insertion.Columns; ++Column) {
    Row += ", ?";
  }
  Row += ")";
  // A row that fails ends the transaction: SQLite need not be able to take back those before it.
  std::string SQL = "INSERT OR FAIL INTO " + Target + " VALUES" + Row;
  Insertion.One = Prepare(SQL.c_str());
  for (int Count = 1; Count < kRowsTogether; ++Count) {
    SQL += ", " + Row;
  }
  Insertion.Several = Prepare(SQL.c_str());
  return Insertion;
}

void TCPropertyDatabase::Execute(char const* SQL) const {
  if (sqlite3_exec(m_Handle.get(), SQL, nullptr, nullptr, nullptr) != SQLITE_OK) {
    FailOpening();
  }
}

long long TCPropertyDatabase::QueryInteger(char const* SQL) const {
  TCStatement const Statement = Prepare(SQL);
  if (sqlite3_step(Statement.get()) != SQLITE_ROW) {
    FailOpening();
  }
  return sqlite3_column_int64(Statement.get(), 0);
}

std::string TCPropertyDatabase::QueryText(char const* SQL) const {
  TCStatement const Statement = Prepare(SQL);
  if (sqlite3_step(Statement.get()) != SQLITE_ROW) {
    FailOpening();
  }
  return std::string(ColumnText(Statement.get(), 0));
}

TCException TCPropertyDatabase::Failure(std::string const& Operation) const {
  TCException Error(kSource, __LINE__, "Result==SQLITE_DONE");
  Error.Format("cannot %s %s: %s (SQLite error %d)", Operation.c_str(), m_Path.c_str(),
               sqlite3_errmsg(m_Handle.get()), sqlite3_extended_errcode(m_Handle.get()));
  return Error;
}

// Not every lack of space is told as such: a quota or a limit on the size of files is not.
bool TCPropertyDatabase::IsFull() const {
  int const Reason = sqlite3_system_errno(m_Handle.get());
  switch (sqlite3_errcode(m_Handle.get()) & 0xff) {
    case SQLITE_FULL:
      return true;
    case SQLITE_IOERR:
      return Reason == ENOSPC || Reason == EDQUOT || Reason == EFBIG;
    default:
      return false;
  }
}

}  // namespace Property
