// SPDX-License-Identifier: MIT
// Values that lie outside of their order for a while: they stand all the same.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TSPropertyRecord;
using Property::TSProvenance;
using ::testing::ElementsAre;
using ::testing::SizeIs;

namespace {

using TCTransaction = TCPropertyDatabase::TCTransaction;

constexpr int kRoomForTwo = 540;  // short values
constexpr char kCountRecent[] = "SELECT count(*) FROM recent_value";

TSPropertyRecord Value(int Number, std::string const& Data) {
  return {Number, TCRecordID(), TCMACAddress(), Data};
}

TSProvenance By(std::string const& Name) {
  return {1, 2, 3, Name};
}

}  // namespace

class PropertyDatabaseRecent : public DatabaseFixture {
 protected:
  static std::string WriterOf(TCPropertyDatabase const& Database, int Number) {
    auto const Origin = Database.Provenance(Number, TCRecordID(), TCMACAddress());
    return Origin ? Origin->ProcessName : "nobody";
  }

  /// How many values lie outside of their order in a file that is closed.
  std::string Recent() const { return QuerySQL(m_Path, kCountRecent); }
};

TEST_F(PropertyDatabaseRecent, ChangeFewPagesAlthoughTheyLieFarApart) {
  constexpr int kScattered = 10000;
  constexpr std::uintmax_t kPage = 4096;
  auto const PutEach = [this](int Step) {
    TCPropertyDatabase Database(m_Path);
    TCTransaction Transaction(Database);
    for (int Number = 0; Number < kScattered; Number += Step) {
      Transaction.Put(Value(Number, "present"), By("a"));
    }
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
    EXPECT_EQ(QuerySQL(CopyAsLeft("full"), kCountRecent), "2");
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

TEST_F(PropertyDatabaseRecent, StayWhenTheirMoveIsUndone) {
  {
    TCPropertyDatabase Database(m_Path, kRoomForTwo);
    Store(Database, Value(1, "a"));
    Store(Database, Value(2, "b"));
    {
      TCTransaction Transaction(Database);
      Transaction.Put(Value(1, "undone"), By("a"));
    }
    EXPECT_EQ(QuerySQL(CopyAsLeft("undone"), kCountRecent), "2");
    EXPECT_THAT(Values(Database), ElementsAre("1/-/=a", "2/-/=b"));
    Store(Database, Value(1, "c"));
  }

  EXPECT_EQ(Recent(), "0");
  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), ElementsAre("1/-/=c", "2/-/=b"));
}

TEST_F(PropertyDatabaseRecent, StandAlikeWhenManyAreStoredAtOnce) {
  constexpr int kCount = 37;
  constexpr int kRoomForTwenty = 20 * 270;
  std::vector<TSPropertyRecord> Records;
  std::vector<TSProvenance> Origins;
  for (int Index = 0; Index < kCount; ++Index) {
    Records.push_back({Index % 30, Index % 3 == 0 ? TCRecordID(Index % 30) : TCRecordID(),
                       TCMACAddress(Index % 4 == 0 ? "00:11:22:AA:BB:CC" : ""),
                       std::to_string(Index)});
    Origins.push_back(By("writer " + std::to_string(Index % 5)));
  }
  std::vector<Property::TSValueToStore> AtOnce;
  TCPropertyDatabase OneByOne(m_Path + ".one");
  for (std::size_t Index = 0; Index < kCount; ++Index) {
    AtOnce.push_back({&Records[Index], &Origins[Index]});
    TCTransaction Transaction(OneByOne);
    Transaction.Put(Records[Index], Origins[Index]);
    Transaction.Commit();
  }
  for (int Room : {kRoomForTwo, kRoomForTwenty, 100 * kRoomForTwenty}) {
    TCPropertyDatabase Database(m_Path + std::to_string(Room), static_cast<std::size_t>(Room));
    TCTransaction Transaction(Database);
    Transaction.Put(AtOnce);
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
    TCTransaction Transaction(Database);
    Transaction.Put(Value(1, Name), By(Name));
    Transaction.Commit();

    EXPECT_EQ(WriterOf(Database, 1), Name);
  }
}

TEST_F(PropertyDatabaseRecent, AreCheckedLikeAllOthers) {
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, Value(1, "a"));
  }
  RunSQL(m_Path, "INSERT INTO recent_value VALUES(NULL, 2, 0, 5, '', 'x', 0, 1)");

  EXPECT_EQ(MessageOf([this] { TCPropertyDatabase::Check(m_Path); }),
            m_Path +
                " is damaged: property 2 has the impossible link 0,5 or MAC \"\"; restore a "
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
            m_Path + " is sound: schema 7, 4 values, 0 history entries");
}
