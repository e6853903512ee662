// SPDX-License-Identifier: MIT
// Who changed what: what the database remembers, and for how long.
#include <gmock/gmock.h>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TSHistoryEntry;
using Property::TSHistoryLimits;
using Property::TSProvenance;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using TCTransaction = TCPropertyDatabase::TCTransaction;

TCMACAddress const kChangedDevice("00:11:22:AA:BB:CC");
constexpr std::chrono::hours kAge{24};
TSProvenance const kOrigin{1234567890123456, 1000, 77, "gateway"};

TSHistoryEntry Entry(std::uint64_t Transaction, int Number, std::int64_t Time,
                     std::string const& To) {
  return {Transaction,    {Time, 1000, 77, "gateway"},
          Number,         TCRecordID(),
          TCMACAddress(), false,
          std::nullopt,   To};
}

std::string AsText(TSProvenance const& Origin) {
  return std::to_string(Origin.Time) + " " + std::to_string(Origin.User) + " " +
         std::to_string(Origin.Process) + " " + Origin.ProcessName;
}

std::string AsText(TSHistoryEntry const& Entry) {
  return std::to_string(Entry.Transaction) + " " + AsText(Entry.Origin) + ": " +
         std::to_string(Entry.Number) + "/" +
         (Entry.Link.IsNull() ? "-" : Entry.Link.get_AsString()) + "/" +
         Entry.MAC.get_AsString(':') + " " + (Entry.Secret ? "secret " : "") +
         (Entry.From ? "\"" + *Entry.From + "\"" : "new") + " > \"" + Entry.To + "\"";
}

}  // namespace

class PropertyDatabaseHistory : public DatabaseFixture {
 protected:
  static constexpr std::int64_t kHour = std::int64_t{3600} * 1000000;
  static constexpr std::int64_t kStart = Property::TCHistoryClock::kEarliestSet;

  /// Notes the entries in a transaction of its own, at the time of the last one.
  static void Append(TCPropertyDatabase& Database, std::vector<TSHistoryEntry> const& Entries,
                     TSHistoryLimits const& Limits = TSHistoryLimits()) {
    TCTransaction Transaction(Database);
    Note(Transaction, Entries, Limits, Entries.back().Origin.Time);
    Transaction.Commit();
  }

  /// Notes one change, so many hours after the first.
  static void AppendAt(TCPropertyDatabase& Database, std::int64_t Hours, std::string const& To) {
    Append(Database, {Entry(1, 5, kStart + Hours * kHour, To)}, {100, 100000, kAge});
  }

  static void Trim(TCPropertyDatabase& Database, TSHistoryLimits const& Limits,
                   std::int64_t Now = 0) {
    TCTransaction Transaction(Database);
    Transaction.Store({}, Limits, Now);
    Transaction.Commit();
  }

  /// The path of a copy.
  std::string Copied(TCPropertyDatabase const& Database) const {
    std::string const Path = m_Folder / "copied.db";
    TCPropertyDatabase::WriteCopy(Database.Copy(), Path);
    return Path;
  }

  /// What the entries say, newest first.
  static std::vector<std::string> Texts(TCPropertyDatabase const& Database) {
    std::vector<std::string> Result;
    for (TSHistoryEntry const& Each : Database.ReadHistory(100)) {
      Result.push_back(Each.To);
    }
    return Result;
  }
};

TEST_F(PropertyDatabaseHistory, IsEmptyInANewDatabase) {
  TCPropertyDatabase const Database(m_Path);

  EXPECT_THAT(Database.ReadHistory(100), IsEmpty());
  EXPECT_EQ(Database.get_LastTransaction(), 0U);
}

TEST_F(PropertyDatabaseHistory, KeepsAnEntryWholeAcrossReopening) {
  {
    TCPropertyDatabase Database(m_Path);
    Append(Database, {{3, kOrigin, -17, TCRecordID(4), kChangedDevice, false, "off", "on"}});
  }

  TCPropertyDatabase const Database(m_Path);

  ASSERT_EQ(Database.ReadHistory(100).size(), 1U);
  EXPECT_EQ(AsText(Database.ReadHistory(100).front()),
            "3 1234567890123456 1000 77 gateway: -17/4/00:11:22:AA:BB:CC \"off\" > \"on\"");
  EXPECT_EQ(Database.get_LastTransaction(), 3U);
}

TEST_F(PropertyDatabaseHistory, TellsANewValueFromAnEmptyOne) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {{1, kOrigin, 5, TCRecordID(), TCMACAddress(), false, std::nullopt, ""},
                    {2, kOrigin, 5, TCRecordID(), TCMACAddress(), false, "", ""}});

  std::vector<TSHistoryEntry> const History = Database.ReadHistory(100);

  EXPECT_EQ(History.at(0).From, "");
  EXPECT_EQ(History.at(1).From, std::nullopt);
}

TEST_F(PropertyDatabaseHistory, WritesNoTextOfASecretValue) {
  {
    TCPropertyDatabase Database(m_Path);
    Append(Database,
           {{1, kOrigin, 5, TCRecordID(), TCMACAddress(), true, "old-password", "new-password"}});
    EXPECT_EQ(AsText(Database.ReadHistory(1).at(0)),
              "1 1234567890123456 1000 77 gateway: 5/-/ secret new > \"\"");
  }

  EXPECT_EQ(ReadFile(m_Path).find("password"), std::string::npos);
}

TEST_F(PropertyDatabaseHistory, KeepsManyThatAreAppendedAtOnce) {
  constexpr int kCount = 37;
  std::vector<TSHistoryEntry> Entries;
  for (int Index = 0; Index < kCount; ++Index) {
    bool const Secret = Index % 3 == 1;
    Entries.push_back({1, kOrigin, Index, Index % 2 == 0 ? TCRecordID(Index) : TCRecordID(),
                       Index % 5 == 0 ? kChangedDevice : TCMACAddress(), Secret,
                       Secret || Index % 4 == 0 ? std::nullopt : std::optional<std::string>("old"),
                       Secret ? "" : std::to_string(Index)});
  }
  TCPropertyDatabase Database(m_Path);
  TCTransaction Transaction(Database);
  Note(Transaction, Entries, TSHistoryLimits(), kOrigin.Time);
  Transaction.Commit();

  std::vector<TSHistoryEntry> const History = Database.ReadHistory(100);

  ASSERT_EQ(History.size(), Entries.size());
  for (std::size_t Index = 0; Index < History.size(); ++Index) {
    EXPECT_EQ(AsText(History[Index]), AsText(Entries[Entries.size() - 1 - Index]));
  }
}

TEST_F(PropertyDatabaseHistory, IsReadFromTheNewestUpToALimit) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {Entry(1, 5, 10, "a"), Entry(1, 6, 10, "b"), Entry(2, 5, 20, "c")});

  std::vector<TSHistoryEntry> const History = Database.ReadHistory(2);

  ASSERT_EQ(History.size(), 2U);
  EXPECT_EQ(History[0].To, "c");
  EXPECT_EQ(History[1].To, "b");
}

TEST_F(PropertyDatabaseHistory, IsReadOfOneProperty) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {Entry(1, 5, 10, "a"), Entry(1, 6, 10, "b"), Entry(2, 5, 20, "c")});

  std::vector<TSHistoryEntry> const History = Database.ReadHistory(100, 5);

  ASSERT_EQ(History.size(), 2U);
  EXPECT_EQ(History[0].To, "c");
  EXPECT_EQ(History[1].To, "a");
}

TEST_F(PropertyDatabaseHistory, IsBoundedByCount) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {Entry(1, 5, 10, "a"), Entry(2, 5, 20, "b"), Entry(3, 5, 30, "c")});

  Trim(Database, {2, 1000, kAge});

  EXPECT_THAT(Texts(Database), ElementsAre("c", "b"));
}

TEST_F(PropertyDatabaseHistory, IsBoundedByBytesAcrossReopening) {
  TSHistoryLimits const Limits{100, 3 * (64 + 100), kAge};
  for (char const Text : {'a', 'b', 'c', 'd', 'e'}) {
    TCPropertyDatabase Database(m_Path);
    Append(Database, {Entry(1, 5, 10, std::string(100, Text))}, Limits);
    EXPECT_LE(Database.MeasureHistory(), Limits.Bytes);
  }
  TCPropertyDatabase Database(m_Path);
  EXPECT_THAT(Texts(Database),
              ElementsAre(std::string(100, 'e'), std::string(100, 'd'), std::string(100, 'c')));

  Trim(Database, {100, 2 * (64 + 100), kAge});

  EXPECT_THAT(Texts(Database), ElementsAre(std::string(100, 'e'), std::string(100, 'd')));
}

TEST_F(PropertyDatabaseHistory, CountsFormerTextsAmongTheBytes) {
  TCPropertyDatabase Database(m_Path);
  Append(Database,
         {{1, kOrigin, 5, TCRecordID(), TCMACAddress(), false, std::string("a\0b", 3), "\xc3\xa4"},
          {2, kOrigin, 5, TCRecordID(), TCMACAddress(), true, "old-password", "new-password"}});

  EXPECT_EQ(Database.MeasureHistory(), 64U + 5 + 64);
  EXPECT_EQ(TCPropertyDatabase(Copied(Database)).MeasureHistory(), 64U + 5 + 64);
}

TEST_F(PropertyDatabaseHistory, NotesOnlyWhatStays) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {Entry(1, 5, 10, "before")});
  std::vector<TSHistoryEntry> Many;
  for (int Number = 0; Number < 1000; ++Number) {
    Many.push_back({2,
                    {20, 1000, Number, "gateway"},
                    Number,
                    TCRecordID(),
                    TCMACAddress(),
                    false,
                    std::nullopt,
                    std::to_string(Number)});
  }

  Append(Database, Many, {3, 100000, kAge});

  EXPECT_THAT(Texts(Database), ElementsAre("999", "998", "997"));
  EXPECT_EQ(QuerySQL(Copied(Database), "SELECT count(*) FROM history"), "3");
  EXPECT_EQ(Database.get_LastTransaction(), 2U);
}

TEST_F(PropertyDatabaseHistory, LeavesOutAnEntryThatAloneIsTooLarge) {
  TCPropertyDatabase Database(m_Path);

  Append(Database,
         {Entry(1, 5, 10, "a"), Entry(1, 6, 10, std::string(1000, 'x')), Entry(1, 7, 10, "b")},
         {100, 1000, kAge});

  EXPECT_THAT(Texts(Database), ElementsAre("b", "a"));
}

TEST_F(PropertyDatabaseHistory, IsGivenUpByHalves) {
  TCPropertyDatabase Database(m_Path);
  Append(Database,
         {Entry(1, 5, 10, "a"), Entry(2, 5, 20, "b"), Entry(3, 5, 30, "c"), Entry(4, 5, 40, "d")});

  EXPECT_TRUE(Database.GiveUpHistory());
  EXPECT_THAT(Texts(Database), ElementsAre("d", "c"));
  EXPECT_TRUE(Database.GiveUpHistory());
  EXPECT_TRUE(Database.GiveUpHistory());
  EXPECT_THAT(Texts(Database), IsEmpty());
  EXPECT_FALSE(Database.GiveUpHistory());
  EXPECT_EQ(Database.MeasureHistory(), 0U);

  Append(Database, {Entry(5, 5, 50, "e")});
  EXPECT_THAT(Texts(Database), ElementsAre("e"));
}

TEST_F(PropertyDatabaseHistory, IsBoundedByAge) {
  TCPropertyDatabase Database(m_Path);
  AppendAt(Database, 0, "a");
  AppendAt(Database, 10, "b");
  AppendAt(Database, 25, "c");

  EXPECT_THAT(Texts(Database), ElementsAre("c", "b"));
}

TEST_F(PropertyDatabaseHistory, GoesWholeWhenAllOfItIsTooOld) {
  TCPropertyDatabase Database(m_Path);
  AppendAt(Database, 0, "a");
  AppendAt(Database, 1, "b");

  Trim(Database, {100, 100000, kAge}, kStart + 100 * kHour);

  EXPECT_THAT(Texts(Database), IsEmpty());
}

TEST_F(PropertyDatabaseHistory, StaysWhenTheClockIsACenturyAheadForAChange) {
  constexpr std::int64_t kCentury = std::int64_t{24} * 36525;
  TCPropertyDatabase Database(m_Path);
  AppendAt(Database, 0, "before");
  AppendAt(Database, kCentury, "ahead");
  AppendAt(Database, 1, "after");
  EXPECT_THAT(Texts(Database), ElementsAre("after", "ahead", "before"));

  AppendAt(Database, 26, "a day later");

  EXPECT_THAT(Texts(Database), ElementsAre("a day later"));
}

TEST_F(PropertyDatabaseHistory, GrowsOldBehindNewerEntriesWhenTheClockWasBehind) {
  TCPropertyDatabase Database(m_Path);
  AppendAt(Database, 1000, "before");
  AppendAt(Database, 0, "behind");
  AppendAt(Database, 1, "still behind");
  AppendAt(Database, 1001, "set again");
  EXPECT_THAT(Texts(Database), ElementsAre("set again"));
}

TEST_F(PropertyDatabaseHistory, GrowsOldOnADeviceWhoseClockBeginsIn1970) {
  std::int64_t const NotSet = -kStart / kHour;  // 1970
  for (int Day = 0; Day < 3; ++Day) {
    TCPropertyDatabase Database(m_Path);
    AppendAt(Database, NotSet, "not set " + std::to_string(Day));
    AppendAt(Database, Day * 20, "set " + std::to_string(Day));
  }

  EXPECT_THAT(Texts(TCPropertyDatabase(m_Path)), ElementsAre("set 2", "not set 2", "set 1"));
}

TEST_F(PropertyDatabaseHistory, NumbersTransactionsOnWhenItHasGone) {
  {
    TCPropertyDatabase Database(m_Path);
    Append(Database, {Entry(41, 5, 10, "a")});
    Trim(Database, {0, 1000, kAge});
    EXPECT_THAT(Texts(Database), IsEmpty());
  }

  EXPECT_EQ(TCPropertyDatabase(m_Path).get_LastTransaction(), 41U);
}

TEST_F(PropertyDatabaseHistory, IsUndoneWithItsTransaction) {
  TCPropertyDatabase Database(m_Path);
  {
    TCTransaction Transaction(Database);
    Note(Transaction, {Entry(1, 5, 10, "undone")}, TSHistoryLimits(), 10);
  }

  Append(Database, {Entry(2, 5, 20, "kept")});

  EXPECT_THAT(Texts(Database), ElementsAre("kept"));
  EXPECT_EQ(AsText(Database.ReadHistory(1).at(0)), "2 20 1000 77 gateway: 5/-/ new > \"kept\"");
}

TEST_F(PropertyDatabaseHistory, KnowsWhoSetAValue) {
  {
    TCPropertyDatabase Database(m_Path);
    TCTransaction Transaction(Database);
    Transaction.Put({5, TCRecordID(1), kChangedDevice, "a"}, {10, 0, 1, "first"});
    Transaction.Put({5, TCRecordID(1), kChangedDevice, "b"}, kOrigin);
    Transaction.Put({6, TCRecordID(1), kChangedDevice, "c"}, {20, 0, 1, "first"});
    Transaction.Commit();
  }

  TCPropertyDatabase const Database(m_Path);
  auto const Origin = Database.Provenance(5, TCRecordID(1), kChangedDevice);

  ASSERT_TRUE(Origin.has_value());
  EXPECT_EQ(AsText(*Origin), "1234567890123456 1000 77 gateway");
}

TEST_F(PropertyDatabaseHistory, KnowsNobodyForAValueThatThereIsNot) {
  TCPropertyDatabase const Database(m_Path);

  EXPECT_FALSE(Database.Provenance(5, TCRecordID(), TCMACAddress()).has_value());
}

TEST_F(PropertyDatabaseHistory, TellsWritersApartByUserProcessAndName) {
  TCPropertyDatabase Database(m_Path);
  std::vector<TSProvenance> const Origins = {
      {1, 0, 7, "a"}, {1, 1, 7, "a"}, {1, 0, 8, "a"}, {1, 0, 7, "b"}};
  TCTransaction Transaction(Database);
  for (std::size_t Index = 0; Index < Origins.size(); ++Index) {
    Transaction.Put({static_cast<int>(Index), TCRecordID(), TCMACAddress(), ""}, Origins[Index]);
  }
  Transaction.Commit();

  for (std::size_t Index = 0; Index < Origins.size(); ++Index) {
    auto const Origin = Database.Provenance(static_cast<int>(Index), TCRecordID(), TCMACAddress());
    ASSERT_TRUE(Origin.has_value());
    EXPECT_EQ(AsText(*Origin), AsText(Origins[Index]));
  }
}

TEST_F(PropertyDatabaseHistory, ForgetsWritersThatNothingRefersToOnceTheyAreMany) {
  {
    TCPropertyDatabase Database(m_Path);
    TCTransaction Transaction(Database);
    for (int Process = 1; Process <= 10001; ++Process) {
      Transaction.Put({5, TCRecordID(), TCMACAddress(), ""}, {1, 0, Process, "a"});
    }
    Transaction.ForgetSenders(1, {});
    Transaction.Put({6, TCRecordID(), TCMACAddress(), ""}, {1, 0, 1, "a"});
    Transaction.Commit();
    auto const Origin = Database.Provenance(6, TCRecordID(), TCMACAddress());
    ASSERT_TRUE(Origin.has_value());
    EXPECT_EQ(AsText(*Origin), "1 0 1 a");
  }

  EXPECT_EQ(QuerySQL(m_Path, "SELECT count(*) FROM writer"), "2");
}
