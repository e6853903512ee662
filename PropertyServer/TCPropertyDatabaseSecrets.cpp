// SPDX-License-Identifier: MIT
// Takes the texts of secret properties out of the history, and out of the database's files.
#include <sqlite3.h>

#include <limits>
#include <utility>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCPropertyDatabaseSecrets";

// In the table of counters: a name ends with the first number of a range, the value is the last.
constexpr char kSecret[] = "secret ";
constexpr char kOnceSecret[] = "once secret ";
constexpr char kToErase[] = "texts to erase";

constexpr char kReadTexts[] =
    "SELECT id, number, coalesce(length(CAST(former AS BLOB)), 0) + "
    "coalesce(length(CAST(present AS BLOB)), 0) FROM history "
    "WHERE id < ?1 ORDER BY id DESC LIMIT 1000";

/// What an entry of the history has as texts.
struct TSEntryTexts {
  long long Id = 0;
  int Number = 0;
  long long Bytes = 0;
};

// The entries before that one, from the newest to the oldest; false when they can not be read.
bool ReadTexts(sqlite3_stmt* Read, long long Before, std::vector<TSEntryTexts>& Entries) {
  Entries.clear();
  TCExecution Execution(Read);
  Execution.Bind(1, Before);
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    Entries.push_back({sqlite3_column_int64(Read, 0), sqlite3_column_int(Read, 1),
                       sqlite3_column_int64(Read, 2)});
  }
  return Result == SQLITE_DONE;
}

}  // namespace

std::vector<TSPropertyRange> TCPropertyDatabase::OnceSecret() const {
  return ReadRanges(kOnceSecret);
}

std::vector<TSPropertyRange> TCPropertyDatabase::ReadRanges(std::string const& Name) const {
  TCStatement const Statement = Prepare(
      "SELECT CAST(substr(name, ?2) AS INTEGER), value FROM meta WHERE name GLOB ?1 || '*'");
  TCExecution Execution(Statement.get());
  Execution.Bind(1, Name);
  Execution.Bind(2, static_cast<long long>(Name.size()) + 1);
  std::vector<TSPropertyRange> Ranges;
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    Ranges.push_back(
        {sqlite3_column_int(Statement.get(), 0), sqlite3_column_int(Statement.get(), 1)});
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read which properties were secret in");
  }
  return Unite(std::move(Ranges), {});
}

void TCPropertyDatabase::VisitNewest(
    std::function<void(TCPropertyPlace const& Place, bool HasText)> const& Take) const {
  TCStatement const Statement = Prepare(
      "SELECT number, link IS NOT NULL, link, mac, present IS NOT NULL, max(id) FROM history "
      "WHERE id > (SELECT value FROM meta WHERE name = 'forgotten') "
      "GROUP BY number, link, mac");
  TCExecution Execution(Statement.get());
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    sqlite3_stmt* const Row = Statement.get();
    Accessories::TCRecordID const Link = sqlite3_column_int(Row, 1) == 1
                                             ? Accessories::TCRecordID(sqlite3_column_int(Row, 2))
                                             : Accessories::TCRecordID();
    Take(TCPropertyPlace(sqlite3_column_int(Row, 0), Link,
                         TCMACAddress(std::string(ColumnText(Row, 3)))),
         sqlite3_column_int(Row, 4) == 1);
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the history of");
  }
}

// The ranges say what was taken out before: only what was not secret then is looked for.
void TCPropertyDatabase::HideTexts(std::vector<TSPropertyRange> const& Secrets) {
  std::vector<TSPropertyRange> const Former = ReadRanges(kSecret);
  if (Unite({}, Secrets) == Former) {
    return;
  }
  std::vector<TSPropertyRange> const Once = Unite(ReadRanges(kOnceSecret), Secrets);
  TCTransaction Transaction(*this);
  if (Unite(Former, Secrets) != Former) {
    Transaction.MoveValues(m_History.LastId);
    Transaction.HideTexts(Secrets);
    Transaction.SetMeta(kToErase, 1);
  }
  Transaction.RememberSecrets(Secrets, Once);
  Transaction.Commit();
}

bool TCPropertyDatabase::HasTextsToErase() const {
  return Meta(kToErase).value_or(0) != 0;
}

// Pages that are free, and unused parts of others, may have any former text: so the whole file is
// written anew, and the log that has brought it there is emptied.
void TCPropertyDatabase::EraseHiddenTexts() {
  m_FilePages = 0;  // it may become shorter
  char const* const Operation = "erase hidden texts in";
  if (sqlite3_exec(m_Handle.get(), "VACUUM", nullptr, nullptr, nullptr) != SQLITE_OK) {
    TCException const Error = Failure(Operation);
    EmptyLog();
    throw Error;
  }
  if (sqlite3_wal_checkpoint_v2(m_Handle.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr,
                                nullptr) != SQLITE_OK) {
    throw Failure(Operation);
  }
  // Nothing is written to the log before it is known to be empty: its end is looked for behind its
  // beginning.
  sqlite3_file* const Log = OpenFile(SQLITE_FCNTL_JOURNAL_POINTER);
  int const Result =
      Log != nullptr ? Log->pMethods->xSync(Log, SQLITE_SYNC_NORMAL) : SQLITE_IOERR_FSYNC;
  if (Result != SQLITE_OK) {
    throw TCException(kSource, __LINE__, "Result==SQLITE_OK")
        .Format("cannot %s %s: %s (SQLite error %d)", Operation, m_Path.c_str(),
                sqlite3_errstr(Result), Result);
  }
  TCTransaction Transaction(*this);
  Transaction.SetMeta(kToErase, 0);
  Transaction.Commit();
}

// From the newest entry to the oldest: one begins so many bytes later among those of all as went
// from it and from those behind it.
void TCPropertyDatabase::TCTransaction::HideTexts(std::vector<TSPropertyRange> const& Secrets) {
  TCStatement const Read = m_Database.Prepare(kReadTexts);
  TCStatement const Move =
      m_Database.Prepare("UPDATE history SET start = start + ?2 WHERE id = ?1");
  TCStatement const Hide = m_Database.Prepare(
      "UPDATE history SET start = start + ?2, former = NULL, present = NULL WHERE id = ?1");
  long long Removed = 0;
  std::vector<TSEntryTexts> Entries;
  long long Before = std::numeric_limits<long long>::max();
  do {
    if (!ReadTexts(Read.get(), Before, Entries)) {
      Fail("read the history of");
    }
    for (TSEntryTexts const& Entry : Entries) {
      Before = Entry.Id;
      bool const Secret = Contains(Secrets, Entry.Number);
      Removed += Secret ? Entry.Bytes : 0;
      if (!Secret && Removed == 0) {
        continue;
      }
      TCExecution Execution((Secret ? Hide : Move).get());
      Execution.Bind(1, Entry.Id);
      Execution.Bind(2, Removed);
      if (Execution.Step() != SQLITE_DONE) {
        Fail("hide texts in the history of");
      }
    }
  } while (!Entries.empty());
}

void TCPropertyDatabase::TCTransaction::RememberSecrets(std::vector<TSPropertyRange> const& Secrets,
                                                        std::vector<TSPropertyRange> const& Once) {
  {
    TCStatement const Forget =
        m_Database.Prepare("DELETE FROM meta WHERE name GLOB ?1 || '*' OR name GLOB ?2 || '*'");
    TCExecution Execution(Forget.get());
    std::string const Names[] = {kSecret, kOnceSecret};
    Execution.Bind(1, Names[0]);
    Execution.Bind(2, Names[1]);
    if (Execution.Step() != SQLITE_DONE) {
      Fail("forget which properties were secret in");
    }
  }
  for (auto const& [Name, Ranges] :
       {std::pair(kSecret, Unite({}, Secrets)), std::pair(kOnceSecret, Once)}) {
    for (TSPropertyRange const& Range : Ranges) {
      SetMeta(Name + std::to_string(Range.First), static_cast<std::uint64_t>(Range.Last));
    }
  }
}

}  // namespace Property
