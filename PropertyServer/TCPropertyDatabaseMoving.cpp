// SPDX-License-Identifier: MIT
// Values that stand in the history alone, and their way to their places.
#include <sqlite3.h>

#include <string>
#include <vector>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

/// A row of property_value; its texts belong to somebody else.
struct TCPropertyDatabase::TCTransaction::TSPlacedValue {
  int Number;
  Accessories::TCRecordID Link;
  std::string const* MAC;
  std::string const* Data;
  long long Time;
  long long Writer;
};

/// What the history has of one.
struct TCPropertyDatabase::TCTransaction::TSUnmovedValue {
  int Number;
  Accessories::TCRecordID Link;
  std::string MAC;
  std::string Data;
  long long Time;
  long long Writer;
};

void TCPropertyDatabase::LoadUnmoved() {
  TCStatement const Statement = Prepare(kLoadUnmoved);
  TCExecution Execution(Statement.get());
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    TSPropertyRecord const Record = ReadRecord(Statement.get());
    if (sqlite3_column_int(Statement.get(), 5) == 1) {
      m_Unmoved.Overtake(PlaceOf(Record));
    } else {
      m_Unmoved.Add(sqlite3_column_int64(Statement.get(), 6), PlaceOf(Record), Record.Data.size());
    }
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the values of");
  }
  m_Unmoved.Commit(m_History.Moved);
}

// What the history has of a value must not come over what is stored in its place now.
void TCPropertyDatabase::TCTransaction::Put(std::vector<TSValueToStore> const& Values) {
  RequireOpen();
  for (TSValueToStore const& Value : Values) {
    TSPropertyRecord const& Record = *Value.Record;
    Overtake(Record);
    if (Record.Removed) {
      Remove(Record);
    } else {
      PutInPlace({Record.Number, Record.Link, &TextOf(Record.MAC), &Record.Data, Value.Origin->Time,
                  WriterOf(*Value.Origin)});
    }
  }
}

void TCPropertyDatabase::TCTransaction::Overtake(TSPropertyRecord const& Record) {
  long long const Entry = m_Database.m_Unmoved.Overtake(PlaceOf(Record));
  if (Entry <= m_History.Moved) {
    return;
  }
  TCExecution Execution(m_Database.m_Statements.Overtake.get());
  Execution.Bind(1, Entry);
  if (Execution.Step() != SQLITE_DONE) {
    Fail("overtake the history of " + DescribeRows(Record.Number, 1) + " in");
  }
}

void TCPropertyDatabase::TCTransaction::Remove(TSPropertyRecord const& Record) {
  TCExecution Execution(m_Database.m_Statements.Remove.get());
  BindKey(Execution, 1, Record.Number, Record.Link, TextOf(Record.MAC));
  if (Execution.Step() != SQLITE_DONE) {
    Fail("remove " + DescribeRows(Record.Number, 1) + " from");
  }
}

// Most values are there already, and updating a row costs less than replacing it.
void TCPropertyDatabase::TCTransaction::PutInPlace(TSPlacedValue const& Value) {
  for (TCStatement const* Statement :
       {&m_Database.m_Statements.Update, &m_Database.m_Statements.Insert}) {
    TCExecution Execution(Statement->get());
    BindKey(Execution, 1, Value.Number, Value.Link, *Value.MAC);
    Execution.Bind(5, *Value.Data);
    Execution.Bind(6, Value.Time);
    Execution.Bind(7, Value.Writer);
    if (Execution.Step() != SQLITE_DONE) {
      Fail("store " + DescribeRows(Value.Number, 1) + " in");
    }
    if (sqlite3_changes(m_Database.m_Handle.get()) > 0) {
      return;
    }
  }
}

// Those that are no history any more, and of all others the oldest, when they are too many.
void TCPropertyDatabase::TCTransaction::MoveIfMany() {
  TCUnmovedValues const& Unmoved = m_Database.m_Unmoved;
  TSUnmovedLimits const& Limits = m_Database.m_UnmovedLimits;
  if (Unmoved.Measure(m_History.Moved, m_History.Forgotten) > Limits.Forgotten) {
    MoveValues(m_History.Forgotten);
  }
  while (Unmoved.Measure(m_History.Moved, m_History.LastId) > Limits.All) {
    MoveValues(Unmoved.LastWithin(Limits.Forgotten, m_History.Moved, m_History.LastId));
  }
}

// Values that change together lie far apart among all others: a page of the file for nearly each of
// them. In the history they lie together; many that are moved at once share pages, and those that
// have changed again need not be moved at all.
void TCPropertyDatabase::TCTransaction::MoveValues(long long LastId) {
  if (LastId <= m_History.Moved) {
    return;
  }
  while (m_History.Moved < LastId) {
    MoveTogether(m_Database.m_Unmoved.LastWithin(m_Database.m_UnmovedLimits.Forgotten,
                                                 m_History.Moved, LastId));
  }
  SetMeta(kMovedMark, static_cast<std::uint64_t>(m_History.Moved));
}

// Entries go first, so that the values have their pages.
void TCPropertyDatabase::TCTransaction::MoveTogether(long long LastId) {
  std::vector<TSUnmovedValue> Values;
  for (long long const Entry : m_Database.m_Unmoved.Values(m_History.Moved, LastId)) {
    Values.push_back(ReadUnmoved(Entry));
  }
  m_History.Moved = LastId;
  DeleteForgotten();
  for (TSUnmovedValue const& Value : Values) {
    PutInPlace({Value.Number, Value.Link, &Value.MAC, &Value.Data, Value.Time, Value.Writer});
  }
}

TCPropertyDatabase::TCTransaction::TSUnmovedValue TCPropertyDatabase::TCTransaction::ReadUnmoved(
    long long Entry) {
  sqlite3_stmt* const Row = m_Database.m_Statements.ReadUnmoved.get();
  TCExecution Execution(Row);
  Execution.Bind(1, Entry);
  if (Execution.Step() != SQLITE_ROW) {
    Fail("move values to their places in");
  }
  bool const HasLink = sqlite3_column_int(Row, 1) == 1;
  return {sqlite3_column_int(Row, 0),
          HasLink ? Accessories::TCRecordID(sqlite3_column_int(Row, 2)) : Accessories::TCRecordID(),
          std::string(ColumnText(Row, 3)),
          std::string(ColumnText(Row, 4)),
          sqlite3_column_int64(Row, 5),
          sqlite3_column_int64(Row, 6)};
}

}  // namespace Property
