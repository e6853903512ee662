// SPDX-License-Identifier: MIT
// Values that stand in the history alone, and what becomes of it.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DiskFaults.h"
#include "tests/unit/PropertyServer/RecentDatabaseFixture.h"

using Property::TCPropertyDatabase;
using Property::TSHistoryEntry;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST_F(PropertyDatabaseRecent, AreOneRowWithTheirHistory) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, {Entry(1, 1, "a"), Entry(1, 2, "b")});

  std::string const Left = CopyAsLeft("left");

  EXPECT_EQ(QuerySQL(Left, "SELECT count(*) FROM history"), "2");
  EXPECT_EQ(QuerySQL(Left, "SELECT count(*) FROM property_value"), "0");
  EXPECT_THAT(Values(TCPropertyDatabase(Left)), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseRecent, LeaveTheirHistoryWhenTheyAreMoved) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  for (int Number : {1, 2, 3}) {
    Change(Database, {Entry(static_cast<std::uint64_t>(Number), Number, "a")});
  }

  std::string const Left = CopyAsLeft("left");

  EXPECT_EQ(Unmoved(Left), "1");
  EXPECT_THAT(Shown(TCPropertyDatabase(Left)), ElementsAre("3=a", "2=a", "1=a"));
  EXPECT_THAT(Values(TCPropertyDatabase(Left)), ElementsAre("1/-/=a", "2/-/=a", "3/-/=a"));
}

TEST_F(PropertyDatabaseRecent, StandThoughTheHistoryHasForgottenThem) {
  TCPropertyDatabase Database(m_Path);
  for (int Number : {1, 2, 3}) {
    Change(Database, {Entry(static_cast<std::uint64_t>(Number), Number, "a")}, kKeepOne);
    EXPECT_THAT(Shown(Database), SizeIs(1));
    EXPECT_EQ(Database.MeasureHistory(), 65U);
  }

  TCPropertyDatabase Again(CopyAsLeft("left"));

  EXPECT_THAT(Values(Again), ElementsAre("1/-/=a", "2/-/=a", "3/-/=a"));
  EXPECT_THAT(Shown(Again), ElementsAre("3=a"));
  EXPECT_THAT(Again.ReadTransaction(2), IsEmpty());
  EXPECT_THAT(Again.LastTransactions({Property::PlaceOf(Value(1, ""))}), IsEmpty());
  Change(Again, {Entry(4, 4, "b")});
  EXPECT_THAT(Shown(Again), ElementsAre("4=b", "3=a"));
}

TEST_F(PropertyDatabaseRecent, TakeTheirForgottenEntriesWithThem) {
  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    for (int Number : {1, 2, 3}) {
      Change(Database, {Entry(static_cast<std::uint64_t>(Number), Number, "a")}, kKeepOne);
    }
  }

  EXPECT_EQ(QuerySQL(m_Path, "SELECT group_concat(number) FROM history"), "3");
}

TEST_F(PropertyDatabaseRecent, StandWithoutAnyHistory) {
  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    Change(Database, {Entry(1, 1, "a")}, kKeepNone);
    EXPECT_THAT(Shown(Database), IsEmpty());
    EXPECT_EQ(Unmoved(CopyAsLeft("left")), "1");
    Change(Database, {Entry(2, 2, "b"), Entry(2, 3, "c")}, kKeepNone);
  }

  EXPECT_EQ(QuerySQL(m_Path, "SELECT count(*) FROM history"), "0");
  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), ElementsAre("1/-/=a", "2/-/=b", "3/-/=c"));
  EXPECT_EQ(TCPropertyDatabase(m_Path).get_LastTransaction(), 2U);
}

TEST_F(PropertyDatabaseRecent, ComeAfterAllThatWereMovedWhenTheirHistoryHasGone) {
  for (char const* const Text : {"first", "second", "third", "fourth", "fifth"}) {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    Store(Database, Value(1, Text));
    EXPECT_THAT(Values(Database), ElementsAre(std::string("1/-/=") + Text));
  }
  EXPECT_EQ(Recent(), "1");
  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), ElementsAre("1/-/=fifth"));
}

TEST_F(PropertyDatabaseRecent, DoNotComeOverASecretThatIsNewer) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  Change(Database, {Entry(1, 1, "older")});
  TSHistoryEntry Secret = Entry(2, 1, "");
  Secret.Secret = true;
  Change(Database, {Secret});
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=a secret"));

  Change(Database, {Entry(3, 2, "b"), Entry(3, 3, "b"), Entry(3, 4, "b")});

  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))),
              ElementsAre("1/-/=a secret", "2/-/=b", "3/-/=b", "4/-/=b"));
  EXPECT_THAT(Shown(Database), ElementsAre("4=b", "3=b", "2=b", "1 secret", "1=older"));
}

TEST_F(PropertyDatabaseRecent, DoNotComeBackWhenTheyAreRemoved) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  Change(Database, {Entry(1, 1, "older"), Entry(1, 2, "other")});
  TSHistoryEntry Removed = Entry(2, 1, "");
  Removed.Removed = true;
  Removed.From = "older";
  Change(Database, {Removed});
  EXPECT_THAT(Values(Database), ElementsAre("2/-/=other"));
  EXPECT_EQ(WriterOf(Database, 1), "nobody");

  Change(Database, {Entry(3, 3, "b"), Entry(3, 4, "b"), Entry(3, 5, "b")});

  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))),
              ElementsAre("2/-/=other", "3/-/=b", "4/-/=b", "5/-/=b"));
  EXPECT_THAT(Shown(Database), ElementsAre("5=b", "4=b", "3=b", "1 removed", "2=other", "1=older"));
}

TEST_F(PropertyDatabaseRecent, StandInTheOrderOfTheChangesOfOneTransaction) {
  TCPropertyDatabase Database(m_Path);
  TSHistoryEntry Removed = Entry(1, 1, "");
  Removed.Removed = true;
  Removed.From = "a";
  TSHistoryEntry Undo = Entry(1, 3, "undone");
  Undo.Undoes = 7;

  Change(Database, {Entry(1, 1, "a"), Entry(1, 2, "b"), Removed, Entry(1, 1, "c"), Entry(1, 2, "d"),
                    Entry(1, 3, "done"), Undo});

  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))),
              ElementsAre("1/-/=c", "2/-/=d", "3/-/=undone"));
  EXPECT_THAT(Shown(Database), SizeIs(7));
  EXPECT_EQ(Database.ReadHistory(1).front().Undoes, 7U);
}

TEST_F(PropertyDatabaseRecent, DoNotComeOverAValueThatTheHistoryHasNoRoomFor) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  Property::TSHistoryLimits const Small{100, 300, kOneDay};
  Change(Database, {Entry(1, 1, "older")}, Small);
  Change(Database, {Entry(2, 1, std::string(1000, 'x'))}, Small);

  Change(Database, {Entry(3, 2, "b"), Entry(3, 3, "b"), Entry(3, 4, "b")}, Small);

  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))),
              ElementsAre("1/-/=" + std::string(1000, 'x'), "2/-/=b", "3/-/=b", "4/-/=b"));
  EXPECT_THAT(Shown(Database), ElementsAre("4=b", "3=b", "2=b", "1=older"));
}

TEST_F(PropertyDatabaseRecent, AreMovedBeforeTheirHistoryIsGivenUp) {
  TCPropertyDatabase Database(m_Path);
  for (int Number : {1, 2, 3, 4}) {
    Change(Database, {Entry(static_cast<std::uint64_t>(Number), Number, "a")});
  }

  EXPECT_TRUE(Database.GiveUpHistory());

  std::string const Left = CopyAsLeft("left");
  EXPECT_EQ(Unmoved(Left), "2");
  EXPECT_THAT(Shown(TCPropertyDatabase(Left)), ElementsAre("4=a", "3=a"));
  EXPECT_THAT(Values(TCPropertyDatabase(Left)), SizeIs(4));
  while (Database.GiveUpHistory()) {
  }
  TCPropertyDatabase const Again(CopyAsLeft("without"));
  EXPECT_THAT(Shown(Again), IsEmpty());
  EXPECT_THAT(Values(Again), SizeIs(4));
  EXPECT_EQ(Again.get_LastTransaction(), 4U);
}

TEST_F(PropertyDatabaseRecent, StayWithTheirHistoryWhereTheDiskHasNoRoomForTheirMove) {
  DiskFaults::Install();
  TCPropertyDatabase Database(m_Path);
  for (int Number : {1, 2, 3, 4}) {
    Change(Database, {Entry(static_cast<std::uint64_t>(Number), Number, "a")});
  }
  DiskFaults::FillDisk();

  EXPECT_FALSE(Database.GiveUpHistory());

  DiskFaults::Repair();
  EXPECT_THAT(Shown(Database), SizeIs(4));
  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))), SizeIs(4));
  EXPECT_TRUE(Database.GiveUpHistory());
}

TEST_F(PropertyDatabaseRecent, AreMovedBeforeTheirTextsAreHidden) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, {Entry(1, 1, "a"), Entry(1, 2, "b")});

  Database.HideTexts({{1, 1}});

  TCPropertyDatabase const Again(CopyAsLeft("left"));
  EXPECT_THAT(Values(Again), ElementsAre("1/-/=a", "2/-/=b"));
  EXPECT_THAT(Shown(Again), ElementsAre("2=b", "1 secret"));
}

TEST_F(PropertyDatabaseRecent, AreTheNewestOfATransactionThatHasMoreThanTheirRoom) {
  constexpr int kCount = 1000;
  constexpr int kMost = 100;
  std::vector<TSHistoryEntry> Entries;
  for (int Number = 1; Number <= kCount; ++Number) {
    Entries.push_back(Entry(1, Number % 700, std::to_string(Number)));
  }
  TCPropertyDatabase Database(m_Path, {kRoomForTwo.Forgotten, kMost * 260});

  Change(Database, Entries);

  std::string const Left = CopyAsLeft("left");
  EXPECT_LE(std::stoi(Unmoved(Left)), kMost);
  TCPropertyDatabase const Again(Left);
  EXPECT_THAT(Values(Again), SizeIs(700));
  EXPECT_EQ(Values(Again).at(1), "1/-/=701");
  EXPECT_THAT(Again.ReadHistory(2 * kCount), SizeIs(kCount));
}

TEST_F(PropertyDatabaseRecent, AreNotMovedWhenTheyHaveChangedAgain) {
  TCPropertyDatabase Database(m_Path, {kRoomForTwo.Forgotten, 1000000});

  for (int Time = 1; Time <= 50; ++Time) {
    Change(Database, {Entry(static_cast<std::uint64_t>(Time), 1, std::to_string(Time))}, kKeepOne);
  }

  std::string const Left = CopyAsLeft("left");
  EXPECT_EQ(QuerySQL(Left, "SELECT count(*) FROM property_value"), "0");
  EXPECT_LE(std::stoi(QuerySQL(Left, "SELECT count(*) FROM history")), 5);
  EXPECT_THAT(Values(TCPropertyDatabase(Left)), ElementsAre("1/-/=50"));
}

TEST_F(PropertyDatabaseRecent, AreMovedOnceTheHistoryHasForgottenThem) {
  TCPropertyDatabase Database(m_Path, {kRoomForTwo.Forgotten, 1000000});
  Change(Database, {Entry(1, 1, "once")}, kKeepOne);

  for (int Time = 2; Time <= 6; ++Time) {
    Change(Database, {Entry(static_cast<std::uint64_t>(Time), 2, std::to_string(Time))}, kKeepOne);
  }

  std::string const Left = CopyAsLeft("left");
  EXPECT_EQ(QuerySQL(Left, "SELECT group_concat(data) FROM property_value"), "once");
  EXPECT_EQ(WriterOf(TCPropertyDatabase(Left), 1), "writer");
  EXPECT_THAT(Values(TCPropertyDatabase(Left)), ElementsAre("1/-/=once", "2/-/=6"));
}

TEST_F(PropertyDatabaseRecent, AreOvertakenByWhatIsStoredWithoutHistory) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, {Entry(1, 1, "older"), Entry(1, 2, "older")});
  {
    TCTransaction Transaction(Database);
    Transaction.Put(Value(1, "newer"), By("putter"));
    Transaction.Commit();
  }

  TCPropertyDatabase Again(CopyAsLeft("left"));

  EXPECT_THAT(Values(Again), ElementsAre("1/-/=newer", "2/-/=older"));
  EXPECT_EQ(WriterOf(Again, 1), "putter");
  EXPECT_THAT(Shown(Again), ElementsAre("2=older", "1=older"));
  while (Again.GiveUpHistory()) {
  }
  EXPECT_THAT(Values(Again), ElementsAre("1/-/=newer", "2/-/=older"));
}

TEST_F(PropertyDatabaseRecent, StandAgainWhenTheyAreSetAfterTheyWereOvertaken) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, {Entry(1, 1, "older")});
  {
    TCTransaction Transaction(Database);
    Transaction.Put(Value(1, "newer"), By("putter"));
    Transaction.Commit();
  }
  Change(Database, {Entry(2, 1, "newest")});

  TCPropertyDatabase const Again(CopyAsLeft("left"));

  EXPECT_THAT(Values(Again), ElementsAre("1/-/=newest"));
  EXPECT_EQ(WriterOf(Again, 1), "writer");
}

TEST_F(PropertyDatabaseRecent, StandAgainWhenTheirRemovalIsUndone) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  Change(Database, {Entry(1, 1, "a")});
  TSHistoryEntry Removed = Entry(2, 1, "");
  Removed.Removed = true;
  {
    TCTransaction Transaction(Database);
    Note(Transaction, {Removed}, kKeepMany, 0);
  }
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=a"));
  EXPECT_EQ(WriterOf(Database, 1), "writer");

  Change(Database, {Entry(3, 2, "b"), Entry(3, 3, "b"), Entry(3, 4, "b")});

  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))),
              ElementsAre("1/-/=a", "2/-/=b", "3/-/=b", "4/-/=b"));
}

TEST_F(PropertyDatabaseRecent, KeepFewForgottenEntriesWithoutTextsBesideThem) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, {Entry(1, 1, "a")}, kKeepOne);
  TSHistoryEntry Secret = Entry(2, 2, "");
  Secret.Secret = true;

  Change(Database, std::vector<TSHistoryEntry>(3000, Secret), kKeepOne);

  std::string const Left = CopyAsLeft("left");
  EXPECT_LE(std::stoi(QuerySQL(Left, "SELECT count(*) FROM history")), 600);
  EXPECT_THAT(Values(TCPropertyDatabase(Left)), ElementsAre("1/-/=a", "2/-/=a secret"));
}

TEST_F(PropertyDatabaseRecent, TakeThePagesOfTheirEntriesOnAFullDisk) {
  constexpr int kCount = 3000;
  DiskFaults::Install();
  TCPropertyDatabase Database(m_Path);
  Database.ReserveLog();
  std::vector<TSHistoryEntry> Entries;
  for (int Number = 1; Number <= kCount; ++Number) {
    Entries.push_back(Entry(1, Number, "a"));
  }
  Change(Database, Entries, {kCount, 1000000, kOneDay});
  Database.EmptyLog();
  auto const Size =
      std::filesystem::file_size(m_Path) + std::filesystem::file_size(m_Path + "-wal");
  DiskFaults::LimitDisk(static_cast<std::int64_t>(Size));

  EXPECT_TRUE(Database.GiveUpHistory());

  DiskFaults::Repair();
  EXPECT_THAT(Database.ReadHistory(kCount), SizeIs(kCount / 2));
  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))), SizeIs(kCount));
}

TEST_F(PropertyDatabaseRecent, TellTheLastTransactionWithoutItsCounter) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, {Entry(5, 1, "a")});
  {
    TCTransaction Transaction(Database);
    Transaction.CountTransaction(6);
    Transaction.Commit();
  }
  EXPECT_EQ(TCPropertyDatabase(CopyAsLeft("counted")).get_LastTransaction(), 6U);
  Change(Database, {Entry(7, 1, "b")});

  EXPECT_EQ(Database.get_LastTransaction(), 7U);
  std::string const Left = CopyAsLeft("left");
  EXPECT_EQ(TCPropertyDatabase(Left).get_LastTransaction(), 7U);
  EXPECT_EQ(QuerySQL(Left, "SELECT value FROM meta WHERE name = 'transaction'"), "6");
}
