// SPDX-License-Identifier: MIT
// Who changed what: noting it together with the values, forgetting it.
#include "PropertyServer/TCPropertyDatabase.h"

#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "PropertyServer/SQLiteStatements.h"
#include "PropertyServer/TCDatabaseFull.h"

namespace Property {

namespace {

constexpr long long kEntryOverhead = 64;  // bytes beside the texts
constexpr long long kGivenUpAtOnce = 10000;
constexpr long long kGivenUpTogether = 500;  // a page of the log for each at most

// The newest entry's id, what follows it among all bytes, the history's clock, and its transaction.
constexpr char kFindEnd[] =
    "SELECT id, start + 64 + coalesce(length(CAST(former AS BLOB)), 0) + "
    "coalesce(length(CAST(present AS BLOB)), 0), counted, "
    "coalesce((SELECT time FROM history WHERE time >= ?1 ORDER BY id DESC LIMIT 1), 0), turn "
    "FROM history ORDER BY id DESC LIMIT 1";

long long ToSigned(std::uint64_t Value) {
  constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<long long>::max());
  return static_cast<long long>(std::min(Value, kMost));
}

bool HasText(TSChangeToStore const& Change) {
  return !Change.Record->Removed && (Change.Entry == nullptr || !Change.Entry->Secret);
}

std::string const* FormerOf(TSChangeToStore const& Change) {
  bool const Has = Change.Entry != nullptr && !Change.Entry->Secret && Change.Entry->From;
  return Has ? &*Change.Entry->From : nullptr;
}

long long SizeOf(TSChangeToStore const& Change) {
  std::string const* const Former = FormerOf(Change);
  std::size_t const Texts =
      (HasText(Change) ? Change.Record->Data.size() : 0) + (Former != nullptr ? Former->size() : 0);
  return kEntryOverhead + static_cast<long long>(Texts);
}

}  // namespace

/// What the limits leave of the history.
struct TCPropertyDatabase::TCTransaction::TSRoom {
  long long MostBytes;   // of one entry
  long long MostAlone;   // of a value that only waits there to be moved
  long long LastOfMany;  // entries up to this one are too many
  long long LeastStart;  // those that begin before have too many bytes
  long long Counted;     // on the history's clock

  bool Fits(TSChangeToStore const& Change) const {
    return SizeOf(Change) <= (Change.Entry != nullptr ? MostBytes : MostAlone);
  }
  // The text in the entry is the value.
  bool HasValue(TSChangeToStore const& Change) const { return HasText(Change) && Fits(Change); }
  bool HasEntry(TSChangeToStore const& Change) const {
    return Fits(Change) && (Change.Entry != nullptr || HasText(Change));
  }
  bool IsUsual(TSChangeToStore const& Change) const {
    return HasValue(Change) && (Change.Entry == nullptr || Change.Entry->Undoes == 0);
  }
};

TSHistoryEnd TCPropertyDatabase::FindHistoryEnd() const {
  TSHistoryEnd End;
  End.Moved = static_cast<long long>(Meta(kMovedMark).value_or(0));
  End.Forgotten = static_cast<long long>(Meta(kForgottenMark).value_or(0));
  End.LastId = std::max(End.Moved, End.Forgotten);  // what there is beyond comes after all that was
  End.Transaction = Meta(kTransactionCounter).value_or(0);
  TCStatement const Newest = Prepare(kFindEnd);
  TCExecution Execution(Newest.get());
  Execution.Bind(1, static_cast<long long>(TCHistoryClock::kEarliestSet));
  int const Result = Execution.Step();
  if (Result == SQLITE_ROW) {
    End.LastId = std::max(End.LastId, sqlite3_column_int64(Newest.get(), 0));
    End.Bytes = sqlite3_column_int64(Newest.get(), 1);
    End.Clock = TCHistoryClock(sqlite3_column_int64(Newest.get(), 2),
                               sqlite3_column_int64(Newest.get(), 3));
    End.EntryTransaction = static_cast<std::uint64_t>(sqlite3_column_int64(Newest.get(), 4));
    End.Transaction = std::max(End.Transaction, End.EntryTransaction);
  } else if (Result != SQLITE_DONE) {
    throw Failure("read the history of");
  }
  long long const First = QueryInteger("SELECT coalesce((SELECT min(id) FROM history), 0)");
  End.Gone = First > 0 ? First - 1 : End.LastId;
  End.Forgotten = std::max(End.Forgotten, End.Gone);
  End.Moved = std::max(End.Moved, End.Gone);
  return End;
}

std::uint64_t TCPropertyDatabase::MeasureHistory() const {
  long long const Start = QueryInteger(
      "SELECT coalesce((SELECT start FROM history WHERE "
      "id > (SELECT value FROM meta WHERE name = 'forgotten') ORDER BY id LIMIT 1), -1)");
  return Start < 0 ? 0 : static_cast<std::uint64_t>(m_History.Bytes - Start);
}

// Values go to their places before their entries go, or stay with them.
bool TCPropertyDatabase::GiveUpHistory() {
  EmptyLog();
  long long const First = QueryInteger(
      "SELECT coalesce((SELECT id FROM history WHERE "
      "id > (SELECT value FROM meta WHERE name = 'forgotten') ORDER BY id LIMIT 1), 0)");
  if (First == 0) {
    return false;
  }
  long long const Half = First + std::min((m_History.LastId - First) / 2, kGivenUpAtOnce);
  try {
    while (m_History.Gone < Half) {
      TCTransaction Transaction(*this);
      Transaction.GiveUp(Half);
      Transaction.Commit();
      EmptyLog();
    }
  } catch (TCDatabaseFull const&) {
  }
  return m_History.Forgotten >= First;
}

// As much as the log has room for.
void TCPropertyDatabase::TCTransaction::GiveUp(long long LastId) {
  long long Last = std::min(LastId, m_History.Gone + kGivenUpTogether);
  if (Last > m_History.Moved) {
    Last = m_Database.m_Unmoved.LastWithin(m_Database.m_UnmovedLimits.Forgotten, m_History.Moved,
                                           Last);
  }
  m_History.Forgotten = std::max(m_History.Forgotten, Last);
  MoveValues(Last);
  DeleteForgotten();
}

void TCPropertyDatabase::TCTransaction::Store(TCChanges const& Changes,
                                              TSHistoryLimits const& Limits, std::int64_t Now) {
  RequireOpen();
  if (m_Database.m_FirstDoubtless > 0) {
    TCChanges const Doubtless = WithoutStored(Changes);
    if (Doubtless.size() < Changes.size()) {
      Store(Doubtless, Limits, Now);
      return;
    }
  }
  TSRoom const Room = MakeRoom(Changes, Limits, Now);
  auto const IsUsual = [&Room](TSChangeToStore const& Change) { return Room.IsUsual(Change); };
  auto Next = Changes.begin();
  while (Next != Changes.end()) {
    auto const End = std::find_if_not(Next, Changes.end(), IsUsual);
    Append(Next, End, Room);
    for (Next = End; Next != Changes.end() && !IsUsual(*Next); ++Next) {
      StoreRarely(*Next, Room);
    }
  }
}

// They are noted, with their values, although nobody knew whether they were stored.
TCPropertyDatabase::TCTransaction::TCChanges TCPropertyDatabase::TCTransaction::WithoutStored(
    TCChanges const& Changes) const {
  TCChanges Others;
  std::copy_if(Changes.begin(), Changes.end(), std::back_inserter(Others),
               [this](TSChangeToStore const& Change) {
                 return Change.Entry == nullptr ||
                        Change.Entry->Transaction >= m_Database.m_FirstDoubtless;
               });
  return Others;
}

TCPropertyDatabase::TCTransaction::TSRoom TCPropertyDatabase::TCTransaction::MakeRoom(
    TCChanges const& Changes, TSHistoryLimits const& Limits, std::int64_t Now) {
  TSRoom Room{};
  Room.Counted = m_History.Clock.Read(Now);
  Room.MostAlone = ToSigned(m_Database.m_UnmovedLimits.Forgotten);
  constexpr long long kAny = std::numeric_limits<long long>::max();
  long long const Most = ToSigned(Limits.Bytes);
  Room.MostBytes =
      Most < kEntryOverhead ? kAny : Most;  // where none stays, each goes once it is moved
  long long Entries = 0;
  long long Bytes = 0;
  for (TSChangeToStore const& Change : Changes) {
    if (Room.HasEntry(Change)) {
      ++Entries;
      Bytes += SizeOf(Change);
    }
  }
  Room.LastOfMany = m_History.LastId + Entries - ToSigned(Limits.Entries);
  Room.LeastStart = m_History.Bytes + Bytes - Most;
  long long LastToForget = m_History.LastId;
  {
    TCExecution Find(m_Database.m_Statements.FirstKept.get());
    Find.Bind(1, std::max(m_History.Forgotten, Room.LastOfMany));
    Find.Bind(2, Room.LeastStart);
    Find.Bind(3, Room.Counted - std::chrono::microseconds(Limits.Age).count());
    int const Result = Find.Step();
    if (Result == SQLITE_ROW) {
      LastToForget = sqlite3_column_int64(m_Database.m_Statements.FirstKept.get(), 0) - 1;
    } else if (Result != SQLITE_DONE) {
      Fail("trim the history of");
    }
  }
  ForgetUpTo(LastToForget);
  return Room;
}

void TCPropertyDatabase::TCTransaction::ForgetUpTo(long long LastId) {
  m_History.Forgotten = std::max(m_History.Forgotten, LastId);
  DeleteForgotten();
}

// An entry stays until its value is in its place.
void TCPropertyDatabase::TCTransaction::DeleteForgotten() {
  long long const LastToDelete =
      std::min(m_History.Forgotten, m_Database.m_Unmoved.FirstBeyond(m_History.Moved) - 1);
  if (LastToDelete <= m_History.Gone) {
    return;
  }
  TCExecution Execution(m_Database.m_Statements.ForgetHistory.get());
  Execution.Bind(1, LastToDelete);
  if (Execution.Step() != SQLITE_DONE) {
    Fail("shorten the history of");
  }
  m_History.Gone = LastToDelete;
  m_History.Moved = std::max(m_History.Moved, m_History.Gone);
}

void TCPropertyDatabase::TCTransaction::Append(TCChanges::const_iterator Begin,
                                               TCChanges::const_iterator End, TSRoom const& Room) {
  auto const [Failed, Count] =
      Insert(m_Database.m_Statements.AppendHistory, Begin, End,
             [&](TCExecution& Execution, int Place, TSChangeToStore const& Change) {
               BindEntry(Execution, Place, Change, Room);
               CountEntry(Change, Room);
             });
  if (Count > 0) {
    Fail("store " + DescribeRows(Failed->Record->Number, Count) + " in");
  }
  MoveIfMany();
}

// A value that does not stand in the history goes to its place at once.
void TCPropertyDatabase::TCTransaction::StoreRarely(TSChangeToStore const& Change,
                                                    TSRoom const& Room) {
  if (!Room.HasValue(Change)) {
    Put({{Change.Record, Change.Origin}});
  }
  if (!Room.HasEntry(Change)) {
    return;
  }
  {
    TCExecution Execution(m_Database.m_Statements.AppendRarely.get());
    BindEntry(Execution, 1, Change, Room);
    Execution.Bind(m_Database.m_Statements.AppendHistory.Columns + 1,
                   Change.Record->Removed ? 1 : 0);
    if (Change.Entry != nullptr && Change.Entry->Undoes != 0) {
      Execution.Bind(m_Database.m_Statements.AppendHistory.Columns + 2,
                     static_cast<long long>(Change.Entry->Undoes));
    }
    if (Execution.Step() != SQLITE_DONE) {
      Fail("note a change of " + DescribeRows(Change.Record->Number, 1) + " in");
    }
  }
  CountEntry(Change, Room);
  MoveIfMany();
}

void TCPropertyDatabase::TCTransaction::BindEntry(TCExecution& Execution, int Place,
                                                  TSChangeToStore const& Change,
                                                  TSRoom const& Room) {
  TSHistoryEntry const* const Entry = Change.Entry;
  Execution.Bind(Place, m_History.LastId + 1);
  Execution.Bind(Place + 1, m_History.Bytes);
  Execution.Bind(Place + 2, Room.Counted);
  Execution.Bind(Place + 3, Entry != nullptr ? static_cast<long long>(Entry->Transaction) : 0);
  Execution.Bind(Place + 4, Entry != nullptr ? static_cast<long long>(Entry->Parts) : 0);
  Execution.Bind(Place + 5, static_cast<long long>(Change.Origin->Time));
  Execution.Bind(Place + 6, WriterOf(*Change.Origin));
  Execution.Bind(Place + 7, Change.Record->Number);
  if (!Change.Record->Link.IsNull()) {
    Execution.Bind(Place + 8, Change.Record->Link.get_AsInteger());
  }
  Execution.Bind(Place + 9, TextOf(Change.Record->MAC));
  if (std::string const* const Former = FormerOf(Change)) {
    Execution.Bind(Place + 10, *Former);
  }
  if (HasText(Change)) {
    Execution.Bind(Place + 11, Change.Record->Data);
  }
}

// What has no entry is forgotten at once, and so is all before it.
void TCPropertyDatabase::TCTransaction::CountEntry(TSChangeToStore const& Change,
                                                   TSRoom const& Room) {
  ++m_History.LastId;
  if (Change.Entry == nullptr || m_History.LastId <= Room.LastOfMany ||
      m_History.Bytes < Room.LeastStart) {
    m_History.Forgotten = m_History.LastId;
  }
  m_History.Bytes += SizeOf(Change);
  m_History.EntryTransaction = Change.Entry != nullptr ? Change.Entry->Transaction : 0;
  m_LastTransaction = std::max(m_LastTransaction, m_History.EntryTransaction);
  if (HasText(Change)) {
    m_Database.m_Unmoved.Add(m_History.LastId, PlaceOf(*Change.Record), Change.Record->Data.size());
  }
}

}  // namespace Property
