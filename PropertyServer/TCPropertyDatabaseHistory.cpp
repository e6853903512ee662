// SPDX-License-Identifier: MIT
// Who changed what: noting it, forgetting it.
#include "PropertyServer/TCPropertyDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "PropertyServer/SQLiteStatements.h"

namespace Property {

namespace {

constexpr long long kEntryOverhead = 64;  // bytes beside the texts
constexpr long long kGivenUpAtOnce = 10000;
constexpr long long kGivenUpTogether = 500;  // a page of the log for each at most

// The newest entry's id, what follows it among all bytes, and the history's clock.
constexpr char kFindEnd[] =
    "SELECT id, start + 64 + coalesce(length(CAST(former AS BLOB)), 0) + "
    "coalesce(length(CAST(present AS BLOB)), 0), counted, "
    "coalesce((SELECT time FROM history WHERE time >= ?1 ORDER BY id DESC LIMIT 1), 0) "
    "FROM history ORDER BY id DESC LIMIT 1";

long long SizeOf(TSHistoryEntry const& Entry) {
  std::size_t const Texts =
      Entry.Secret ? 0 : Entry.To.size() + (Entry.From ? Entry.From->size() : 0);
  return kEntryOverhead + static_cast<long long>(Texts);
}

long long ToSigned(std::uint64_t Value) {
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<long long>::max());
  return static_cast<long long>(std::min(Value, kMost));
}

// The newest of the entries, in their order, that are within the limits and belong to `First` or a
// later transaction. One that alone is too large is left out.
std::vector<TSHistoryEntry const*> SelectNewest(std::vector<TSHistoryEntry const*> const& Entries,
                                                TSHistoryLimits const& Limits,
                                                std::uint64_t First) {
  long long const Most = ToSigned(Limits.Bytes);
  long long Bytes = 0;
  std::vector<TSHistoryEntry const*> Selected;
  for (auto Entry = Entries.rbegin(); Entry != Entries.rend(); ++Entry) {
    long long const Size = SizeOf(**Entry);
    if (Size > Most || (*Entry)->Transaction < First) {
      continue;
    }
    Bytes += Size;
    if (Bytes > Most || Selected.size() >= Limits.Entries) {
      break;
    }
    Selected.push_back(*Entry);
  }
  std::reverse(Selected.begin(), Selected.end());
  return Selected;
}

void BindEntry(TCExecution& Execution, int Place, TSHistoryEntry const& Entry,
               std::string const& Device, long long Writer, TSHistoryEnd const& End,
               long long Counted) {
  BindKey(Execution, Place, Entry.Number, Entry.Link, Device);
  Execution.Bind(Place + 4, End.LastId + 1);
  Execution.Bind(Place + 5, End.Bytes);
  Execution.Bind(Place + 6, Counted);
  Execution.Bind(Place + 7, static_cast<long long>(Entry.Transaction));
  Execution.Bind(Place + 8, static_cast<long long>(Entry.Parts));
  Execution.Bind(Place + 9, static_cast<long long>(Entry.Origin.Time));
  Execution.Bind(Place + 10, Writer);
  Execution.Bind(Place + 11, Entry.Removed ? 1 : 0);
  if (Entry.Undoes != 0) {
    Execution.Bind(Place + 12, static_cast<long long>(Entry.Undoes));
  }
  if (Entry.From && !Entry.Secret) {
    Execution.Bind(Place + 13, *Entry.From);
  }
  if (!Entry.Secret && !Entry.Removed) {
    Execution.Bind(Place + 14, Entry.To);
  }
}

}  // namespace

std::uint64_t TCPropertyDatabase::get_LastTransaction() const {
  return Meta(kTransactionCounter).value_or(0);
}

TSHistoryEnd TCPropertyDatabase::FindHistoryEnd() const {
  TCStatement const Statement = Prepare(kFindEnd);
  TCExecution Execution(Statement.get());
  Execution.Bind(1, static_cast<long long>(TCHistoryClock::kEarliestSet));
  switch (Execution.Step()) {
    case SQLITE_ROW:
      return {sqlite3_column_int64(Statement.get(), 0), sqlite3_column_int64(Statement.get(), 1),
              TCHistoryClock(sqlite3_column_int64(Statement.get(), 2),
                             sqlite3_column_int64(Statement.get(), 3))};
    case SQLITE_DONE:
      return {};
    default:
      throw Failure("read the history of");
  }
}

std::uint64_t TCPropertyDatabase::MeasureHistory() const {
  long long const Start =
      QueryInteger("SELECT coalesce((SELECT start FROM history ORDER BY id LIMIT 1), -1)");
  return Start < 0 ? 0 : static_cast<std::uint64_t>(m_History.Bytes - Start);
}

bool TCPropertyDatabase::GiveUpHistory() {
  EmptyLog();
  long long First =
      QueryInteger("SELECT coalesce((SELECT id FROM history ORDER BY id LIMIT 1), 0)");
  if (First == 0) {
    return false;
  }
  long long const Half = First + std::min((m_History.LastId - First) / 2, kGivenUpAtOnce);
  for (; First <= Half; First += kGivenUpTogether) {
    TCTransaction Transaction(*this);
    Transaction.ForgetHistory(Prepare("DELETE FROM history WHERE id <= ?1").get(),
                              std::min(First + kGivenUpTogether - 1, Half));
    Transaction.Commit();
    EmptyLog();
  }
  return true;
}

void TCPropertyDatabase::TCTransaction::NoteHistory(
    std::vector<TSHistoryEntry const*> const& Entries, TSHistoryLimits const& Limits,
    std::int64_t Now) {
  RequireOpen();
  std::vector<TSHistoryEntry const*> const Newest =
      SelectNewest(Entries, Limits, m_Database.m_FirstDoubtless);
  long long Bytes = m_History.Bytes;
  for (TSHistoryEntry const* Entry : Newest) {
    Bytes += SizeOf(*Entry);
  }
  long long const Counted = m_History.Clock.Read(Now);
  TCExecution Trim(m_Database.m_Statements.TrimHistory.get());
  Trim.Bind(1, m_History.LastId + static_cast<long long>(Newest.size()) - ToSigned(Limits.Entries));
  Trim.Bind(2, Bytes - ToSigned(Limits.Bytes));
  Trim.Bind(3, Counted - std::chrono::microseconds(Limits.Age).count());
  if (Trim.Step() != SQLITE_DONE) {
    Fail("trim the history of");
  }
  AppendHistory(Newest, Counted);
  for (TSHistoryEntry const* Entry : Entries) {
    m_LastTransaction = std::max(m_LastTransaction, Entry->Transaction);
  }
}

void TCPropertyDatabase::TCTransaction::AppendHistory(
    std::vector<TSHistoryEntry const*> const& Entries, long long Counted) {
  auto const [Failed, Count] =
      Insert(m_Database.m_Statements.AppendHistory, Entries.begin(), Entries.end(),
             [&](TCExecution& Execution, int Place, TSHistoryEntry const* Entry) {
               BindEntry(Execution, Place, *Entry, TextOf(Entry->MAC), WriterOf(Entry->Origin),
                         m_History, Counted);
               ++m_History.LastId;
               m_History.Bytes += SizeOf(*Entry);
             });
  if (Count > 0) {
    Fail("note a change of " + DescribeRows((*Failed)->Number, Count) + " in");
  }
}

void TCPropertyDatabase::TCTransaction::ForgetHistory(sqlite3_stmt* Statement, long long LastId) {
  TCExecution Execution(Statement);
  Execution.Bind(1, LastId);
  if (Execution.Step() != SQLITE_DONE) {
    Fail("shorten the history of");
  }
}

}  // namespace Property
