// SPDX-License-Identifier: MIT
// Values that have not been moved to their places are as good as those that have.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/RecentDatabaseFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TSChangeToStore;
using Property::TSHistoryEntry;
using Property::TSPropertyRecord;
using Property::TSProvenance;
using ::testing::ElementsAre;
using ::testing::SizeIs;

TEST_F(PropertyDatabaseRecent, ChangeFewPagesAlthoughTheyLieFarApart) {
  constexpr int kScattered = 10000;
  constexpr std::uintmax_t kPage = 4096;
  auto const PutEach = [this](int Step) {
    TCPropertyDatabase Database(m_Path);
    TCTransaction Transaction(Database);
    TSProvenance const Origin = By("a");
    std::vector<TSPropertyRecord> Records;
    for (int Number = 0; Number < kScattered; Number += Step) {
      Records.push_back(Value(Number, "present"));
    }
    std::vector<TSChangeToStore> Changes;
    for (TSPropertyRecord const& Record : Records) {
      Changes.push_back({&Record, &Origin, nullptr});
    }
    Transaction.Store(Changes, kKeepNone, 0);
    Transaction.Commit();
    return std::filesystem::file_size(m_Path + "-wal");
  };
  ASSERT_GT(PutEach(1), 50 * kPage);

  EXPECT_LT(PutEach(100), 10 * kPage);
}

TEST_F(PropertyDatabaseRecent, StandBeforeThoseInTheirPlaces) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  for (int Number : {1, 3, 5}) {
    Store(Database, Value(Number, "moved"));
  }
  Store(Database, Value(3, "once"));
  Store(Database, Value(3, "again"));
  ASSERT_THAT(Values(Database), SizeIs(3));

  EXPECT_THAT(Values(Database), ElementsAre("1/-/=moved", "3/-/=again", "5/-/=moved"));
  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))),
              ElementsAre("1/-/=moved", "3/-/=again", "5/-/=moved"));
}

TEST_F(PropertyDatabaseRecent, AreLoadedInTheOrderOfTheKeys) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  for (int Number : {2, 4, 6}) {
    Store(Database, Value(Number, "moved"));
  }

  Store(Database, Value(7, "last"));
  Store(Database, Value(1, "first"));

  EXPECT_THAT(Values(Database),
              ElementsAre("1/-/=first", "2/-/=moved", "4/-/=moved", "6/-/=moved", "7/-/=last"));
}

TEST_F(PropertyDatabaseRecent, AreMovedWhenTheirRoomIsFull) {
  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    Store(Database, Value(1, "a"));
    Store(Database, Value(2, "b"));
    EXPECT_EQ(Unmoved(CopyAsLeft("full")), "2");
    Store(Database, Value(1, "c"));
  }

  EXPECT_EQ(Recent(), "0");
  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), ElementsAre("1/-/=c", "2/-/=b"));
}

TEST_F(PropertyDatabaseRecent, AreCountedAgainWhenTheFileIsOpened) {
  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    Store(Database, Value(1, "a"));
    Store(Database, Value(2, "b"));
  }
  ASSERT_EQ(Recent(), "2");

  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    Store(Database, Value(3, "c"));
  }

  EXPECT_EQ(Recent(), "0");
}

TEST_F(PropertyDatabaseRecent, AreNoneOfALargeValue) {
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, Value(1, "a"));
    Store(Database, Value(1, std::string(std::size_t{1} << 20, 'x')));
  }

  EXPECT_EQ(Recent(), "0");
  EXPECT_EQ(QuerySQL(m_Path, "SELECT length(data) FROM property_value"), "1048576");
}

TEST_F(PropertyDatabaseRecent, AreWrittenOnceWhereTheyAreLargeAndHaveNoHistory) {
  constexpr std::uintmax_t kSize = std::uintmax_t{1} << 20;
  TCPropertyDatabase Database(m_Path);

  Store(Database, Value(1, std::string(kSize, 'x')));

  EXPECT_LT(std::filesystem::file_size(m_Path + "-wal"), kSize + kSize / 2);
}

TEST_F(PropertyDatabaseRecent, StayWhenTheirMoveIsUndone) {
  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    Store(Database, Value(1, "a"));
    Store(Database, Value(2, "b"));
    {
      TCTransaction Transaction(Database);
      Note(Transaction, {Entry(1, 1, "undone"), Entry(1, 2, "undone")}, kKeepMany, 0);
    }
    EXPECT_EQ(Unmoved(CopyAsLeft("undone")), "2");
    EXPECT_THAT(Values(Database), ElementsAre("1/-/=a", "2/-/=b"));
    Store(Database, Value(1, "c"));
  }

  EXPECT_EQ(Recent(), "0");
  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), ElementsAre("1/-/=c", "2/-/=b"));
}

TEST_F(PropertyDatabaseRecent, StandAlikeWhenManyAreStoredAtOnce) {
  constexpr int kCount = 37;
  constexpr std::size_t kRoomForTwenty = 20 * 270;
  std::vector<TSPropertyRecord> Records;
  std::vector<TSProvenance> Origins;
  for (int Index = 0; Index < kCount; ++Index) {
    Records.push_back({Index % 30, Index % 3 == 0 ? TCRecordID(Index % 30) : TCRecordID(),
                       TCMACAddress(Index % 4 == 0 ? "00:11:22:AA:BB:CC" : ""),
                       std::to_string(Index)});
    Origins.push_back(By("writer " + std::to_string(Index % 5)));
  }
  std::vector<TSChangeToStore> AtOnce;
  TCPropertyDatabase OneByOne(m_Path + ".one");
  for (std::size_t Index = 0; Index < kCount; ++Index) {
    AtOnce.push_back({&Records[Index], &Origins[Index], nullptr});
    TCTransaction Transaction(OneByOne);
    Transaction.Put(Records[Index], Origins[Index]);
    Transaction.Commit();
  }
  for (std::size_t Room : {kRoomForTwo.All, kRoomForTwenty, 100 * kRoomForTwenty}) {
    TCPropertyDatabase Database(m_Path + std::to_string(Room), {Room, Room});
    TCTransaction Transaction(Database);
    Transaction.Store(AtOnce, kKeepMany, 0);
    Transaction.Commit();

    EXPECT_EQ(Values(Database), Values(OneByOne));
    for (TSPropertyRecord const& Record : Records) {
      EXPECT_EQ(Database.Provenance(Record.Number, Record.Link, Record.MAC)->ProcessName,
                OneByOne.Provenance(Record.Number, Record.Link, Record.MAC)->ProcessName);
    }
  }
}

TEST_F(PropertyDatabaseRecent, HaveTheirOwnWriters) {
  TCPropertyDatabase Database(m_Path, kRoomForTwo);
  for (char const* Name : {"first", "second", "third", "fourth"}) {
    TSHistoryEntry Each = Entry(1, 1, Name);
    Each.Origin = By(Name);
    Change(Database, {Each});

    EXPECT_EQ(WriterOf(Database, 1), Name);
  }
}

TEST_F(PropertyDatabaseRecent, AreCheckedLikeAllOthers) {
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, Value(1, "a"));
  }
  RunSQL(m_Path, "UPDATE history SET mac = 'aa:bb'");

  EXPECT_EQ(MessageOf([this] { TCPropertyDatabase::Check(m_Path); }),
            m_Path +
                " is damaged: property 1 has the impossible link 0,0 or MAC \"aa:bb\"; restore a "
                "backup, nothing was changed");
}

TEST_F(PropertyDatabaseRecent, AreCountedOnceByACheck) {
  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    for (int Number : {1, 2, 3, 1, 4}) {
      Store(Database, Value(Number, "a"));
    }
  }
  ASSERT_EQ(Recent(), "2");

  EXPECT_EQ(TCPropertyDatabase::Check(m_Path),
            m_Path + " is sound: schema 1, 4 values, 0 history entries");
}
