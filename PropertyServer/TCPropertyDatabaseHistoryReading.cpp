// SPDX-License-Identifier: MIT
// Who changed what: reading it, as a whole and in pages.
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCPropertyDatabase.h"

namespace Property {

namespace {

constexpr char kSelectEntries[] =
    "SELECT turn, number, link, mac, former, present, time, user, process, name, removed, undoes, "
    "parts, history.id FROM history JOIN writer ON writer.id = history.writer "
    "WHERE history.id > (SELECT value FROM meta WHERE name = 'forgotten') AND ";

// Time, user, process and name, from column `First` on.
TSProvenance ReadOrigin(sqlite3_stmt* Row, int First) {
  TSProvenance Origin;
  Origin.Time = sqlite3_column_int64(Row, First);
  Origin.User = static_cast<uid_t>(sqlite3_column_int64(Row, First + 1));
  Origin.Process = static_cast<pid_t>(sqlite3_column_int64(Row, First + 2));
  Origin.ProcessName = ColumnText(Row, First + 3);
  return Origin;
}

Accessories::TCRecordID ReadLink(sqlite3_stmt* Row, int Column) {
  return sqlite3_column_type(Row, Column) != SQLITE_NULL
             ? Accessories::TCRecordID(sqlite3_column_int(Row, Column))
             : Accessories::TCRecordID();
}

TSHistoryEntry ReadEntry(sqlite3_stmt* Row) {
  TSHistoryEntry Entry;
  Entry.Transaction = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 0));
  Entry.Number = sqlite3_column_int(Row, 1);
  Entry.Link = ReadLink(Row, 2);
  Entry.MAC = TCMACAddress(std::string(ColumnText(Row, 3)));
  if (sqlite3_column_type(Row, 4) != SQLITE_NULL) {
    Entry.From = ColumnText(Row, 4);
  }
  Entry.Removed = sqlite3_column_int(Row, 10) == 1;
  Entry.Secret = Entry.Removed ? !Entry.From : sqlite3_column_type(Row, 5) == SQLITE_NULL;
  Entry.To = ColumnText(Row, 5);
  Entry.Origin = ReadOrigin(Row, 6);
  Entry.Undoes = static_cast<std::uint64_t>(sqlite3_column_int64(Row, 11));
  Entry.Parts = static_cast<std::size_t>(sqlite3_column_int64(Row, 12));
  return Entry;
}

// Whether the row is asked for, by what costs no reading of its texts.
bool IsAskedFor(sqlite3_stmt* Row, TSHistoryQuestion const& Question) {
  int const Number = sqlite3_column_int(Row, 1);
  return (!Question.Number || *Question.Number == Number) &&
         (!Question.Link || *Question.Link == ReadLink(Row, 2)) &&
         (!Question.MAC || Question.MAC->get_AsString(':') == ColumnText(Row, 3)) &&
         (!Question.Transaction ||
          static_cast<long long>(*Question.Transaction) == sqlite3_column_int64(Row, 0)) &&
         (!Question.Since || sqlite3_column_int64(Row, 6) >= *Question.Since) &&
         (!Question.User ||
          static_cast<long long>(*Question.User) == sqlite3_column_int64(Row, 7)) &&
         (!Question.Program || *Question.Program == ColumnText(Row, 9)) && Question.MayRead(Number);
}

std::size_t SizeOfTexts(TSHistoryEntry const& Entry) {
  return Entry.To.size() + (Entry.From ? Entry.From->size() : 0);
}

}  // namespace

// Reads them, too.
long long TCPropertyDatabase::CountHistory() const {
  long long Entries = 0;
  VisitHistory(std::numeric_limits<std::size_t>::max(), std::nullopt,
               [&Entries](TSHistoryEntry const&) { ++Entries; });
  return Entries;
}

std::vector<TSHistoryEntry> TCPropertyDatabase::ReadHistory(std::size_t Limit) const {
  std::vector<TSHistoryEntry> Entries;
  VisitHistory(Limit, std::nullopt,
               [&Entries](TSHistoryEntry Entry) { Entries.push_back(std::move(Entry)); });
  return Entries;
}

std::vector<TSHistoryEntry> TCPropertyDatabase::ReadHistory(std::size_t Limit, int Number) const {
  std::vector<TSHistoryEntry> Entries;
  VisitHistory(Limit, Number,
               [&Entries](TSHistoryEntry Entry) { Entries.push_back(std::move(Entry)); });
  return Entries;
}

void TCPropertyDatabase::VisitHistory(std::size_t Limit, std::optional<int> Number,
                                      std::function<void(TSHistoryEntry)> const& Take) const {
  TCStatement const Statement =
      Prepare((std::string(kSelectEntries) +
               "(?1 IS NULL OR number = ?1) ORDER BY history.id DESC LIMIT ?2")
                  .c_str());
  TCExecution Execution(Statement.get());
  if (Number) {
    Execution.Bind(1, *Number);
  }
  Execution.Bind(2, static_cast<long long>(Limit));
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    Take(ReadEntry(Statement.get()));
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the history of");
  }
}

std::optional<TSProvenance> TCPropertyDatabase::Provenance(int Number,
                                                           Accessories::TCRecordID const& Link,
                                                           TCMACAddress const& MAC) const {
  std::string const Device = MAC.get_AsString(':');
  TCExecution Execution(m_Statements.Provenance.get());
  BindKey(Execution, 1, Number, Link, Device);
  Execution.Bind(5, m_Unmoved.Find(TCPropertyPlace(Number, Link, MAC)));
  switch (Execution.Step()) {
    case SQLITE_ROW:
      return ReadOrigin(m_Statements.Provenance.get(), 0);
    case SQLITE_DONE:
      return std::nullopt;
    default:
      throw Failure("read who wrote property " + std::to_string(Number) + " of");
  }
}

// What a transaction under way has noted is not there yet.
TSHistoryPage TCPropertyDatabase::ReadHistory(TSHistoryQuestion const& Question) const {
  TCStatement const Statement =
      Prepare((std::string(kSelectEntries) + "history.id < ?1 ORDER BY history.id DESC").c_str());
  TCExecution Execution(Statement.get());
  Execution.Bind(1, std::min(Question.Before, m_History.LastId + 1));
  TSHistoryPage Page;
  std::size_t Texts = 0;
  std::size_t Examined = 0;
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step(), ++Examined) {
    bool const Asked = IsAskedFor(Statement.get(), Question);
    if (Page.Entries.size() >= Question.Limit || Examined >= TSHistoryQuestion::kMostExamined ||
        (Asked && Texts >= TSHistoryQuestion::kMostTexts)) {
      return Page;
    }
    Page.Next = sqlite3_column_int64(Statement.get(), 13);
    if (Asked) {
      Page.Entries.emplace_back(*Page.Next, ReadEntry(Statement.get()));
      Texts += SizeOfTexts(Page.Entries.back().second);
    }
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the history of");
  }
  Page.Next.reset();
  return Page;
}

std::vector<TSHistoryEntry> TCPropertyDatabase::ReadTransaction(std::uint64_t Transaction) const {
  TCStatement const Statement = Prepare(
      (std::string(kSelectEntries) + "turn = ?1 AND history.id <= ?2 ORDER BY history.id").c_str());
  TCExecution Execution(Statement.get());
  Execution.Bind(1, static_cast<long long>(Transaction));
  Execution.Bind(2, m_History.LastId);
  std::vector<TSHistoryEntry> Entries;
  int Result = Execution.Step();
  for (; Result == SQLITE_ROW; Result = Execution.Step()) {
    Entries.push_back(ReadEntry(Statement.get()));
  }
  if (Result != SQLITE_DONE) {
    throw Failure("read the history of");
  }
  return Entries;
}

std::map<TCPropertyPlace, std::uint64_t> TCPropertyDatabase::LastTransactions(
    std::set<TCPropertyPlace> Places) const {
  std::map<TCPropertyPlace, std::uint64_t> Transactions;
  TCStatement const Statement = Prepare(
      "SELECT turn, number, link, mac FROM history WHERE "
      "id > (SELECT value FROM meta WHERE name = 'forgotten') AND id < ?1 ORDER BY id DESC "
      "LIMIT ?2");
  TCExecution Execution(Statement.get());
  Execution.Bind(1, m_History.LastId + 1);
  Execution.Bind(2, static_cast<long long>(TSHistoryQuestion::kMostExamined));
  int Result = SQLITE_ROW;
  while (!Places.empty() && (Result = Execution.Step()) == SQLITE_ROW) {
    int const Number = sqlite3_column_int(Statement.get(), 1);
    auto const Lowest =
        Places.lower_bound(TCPropertyPlace(Number, Accessories::TCRecordID(), TCMACAddress()));
    if (Lowest == Places.end() || std::get<int>(*Lowest) != Number) {
      continue;
    }
    auto const Place =
        Places.find(TCPropertyPlace(Number, ReadLink(Statement.get(), 2),
                                    TCMACAddress(std::string(ColumnText(Statement.get(), 3)))));
    if (Place != Places.end()) {
      Transactions[*Place] = static_cast<std::uint64_t>(sqlite3_column_int64(Statement.get(), 0));
      Places.erase(Place);
    }
  }
  if (Result != SQLITE_DONE && Result != SQLITE_ROW) {
    throw Failure("read the history of");
  }
  return Transactions;
}

}  // namespace Property
