// SPDX-License-Identifier: MIT
// Texts that go from the history and from the bytes of the files, over crashes and a full disk.
#include <gmock/gmock.h>

#include <limits>

#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCSecretTexts.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TCSecretTexts;
using Property::TSHistoryEntry;
using Property::TSHistoryLimits;
using Property::TSPropertyRange;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

constexpr int kMost = std::numeric_limits<int>::max();

std::string AsText(std::vector<TSPropertyRange> const& Ranges) {
  std::string Text;
  for (TSPropertyRange const& Range : Ranges) {
    Text += std::to_string(Range.First) + "-" + std::to_string(Range.Last) + " ";
  }
  return Text;
}

}  // namespace

struct PropertyDatabaseSecrets : DatabaseFixture {
  /// One change of a property, with its history.
  void Change(TCPropertyDatabase& Database, int Number, std::string const& From,
              std::string const& To) {
    TSHistoryEntry const Entry{
        ++m_Turn, {10, 1000, 77, "gateway"}, Number, TCRecordID(), TCMACAddress(), false, From, To};
    TCPropertyDatabase::TCTransaction Transaction(Database);
    Note(Transaction, {Entry}, TSHistoryLimits(), 10);
    Transaction.Commit();
  }

  /// What the entries say, newest first.
  static std::vector<std::string> Texts(TCPropertyDatabase const& Database) {
    std::vector<std::string> Result;
    for (TSHistoryEntry const& Each : Database.ReadHistory(100)) {
      Result.push_back(Each.From.value_or("-") + " > " + (Each.Secret ? "*" : Each.To));
    }
    return Result;
  }

  static bool IsIn(std::string const& Path, std::string const& Text) {
    return ReadFile(Path).find(Text) != std::string::npos ||
           ReadFile(Path + "-wal").find(Text) != std::string::npos;
  }

  std::uint64_t m_Turn = 0;
};

TEST_F(PropertyDatabaseSecrets, CountNoLongerAmongTheBytesOfTheHistory) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, 6, "a", "bc");
  Change(Database, 7, "former", "present");
  Change(Database, 8, "d", "ef");
  Change(Database, 7, "present", std::string("\xc3\xa4\0", 3));
  Change(Database, 9, "g", "hi");

  Database.HideTexts({{7, 7}});

  EXPECT_THAT(Texts(Database), ElementsAre("g > hi", "- > *", "d > ef", "- > *", "a > bc"));
  EXPECT_EQ(Database.MeasureHistory(), 5U * 64 + 9);
  Change(Database, 6, "bc", "j");
  EXPECT_EQ(Database.MeasureHistory(), 6U * 64 + 12);
  std::string const Left = CopyAsLeft("left");
  EXPECT_EQ(TCPropertyDatabase(Left).MeasureHistory(), 6U * 64 + 12);
  EXPECT_EQ(QuerySQL(Left,
                     "SELECT count(*) FROM (SELECT id, start, lead(start) OVER (ORDER BY id) - "
                     "start - 64 - coalesce(length(CAST(former AS BLOB)), 0) - "
                     "coalesce(length(CAST(present AS BLOB)), 0) AS extra FROM history) "
                     "WHERE extra <> 0"),
            "0");
  EXPECT_THAT(TCPropertyDatabase::Check(Left), HasSubstr("is sound"));
}

TEST_F(PropertyDatabaseSecrets, AreErasedAfterACrashBetweenHidingAndErasing) {
  TCPropertyDatabase Database(m_Path);
  Database.ReserveLog();
  Change(Database, 7, "former text", "text between");
  Change(Database, 7, "text between", "present");
  Database.HideTexts({{7, 7}});
  std::string const Left = CopyAsLeft("left");
  ASSERT_TRUE(IsIn(Left, "former text"));

  TCPropertyDatabase Again(Left);

  EXPECT_THAT(Texts(Again), ElementsAre("- > *", "- > *"));
  TCSecretTexts(Again).SetSecrets({{7, 7}});
  EXPECT_FALSE(Again.HasTextsToErase());
  EXPECT_FALSE(IsIn(Left, "former text"));
  EXPECT_FALSE(IsIn(Left, "text between"));
  EXPECT_EQ(ReadFile(Left + "-wal").size(), std::size_t{4} << 20);
  EXPECT_THAT(Values(Again), ElementsAre("7/-/=present"));
}

TEST_F(PropertyDatabaseSecrets, AreHiddenWhollyOrNotAtAllByACrash) {
  TCPropertyDatabase Database(m_Path);
  Change(Database, 7, "former text", "present");
  std::string const Before = CopyAsLeft("before");
  Database.HideTexts({{7, 7}});

  TCPropertyDatabase Again(Before);

  EXPECT_THAT(Texts(Again), ElementsAre("former text > present"));
  EXPECT_FALSE(Again.HasTextsToErase());
  TCSecretTexts(Again).SetSecrets({{7, 7}});
  EXPECT_THAT(Texts(Again), ElementsAre("- > *"));
  EXPECT_FALSE(IsIn(Before, "former text"));
}

TEST_F(PropertyDatabaseSecrets, AreErasedOnceOnly) {
  {
    TCPropertyDatabase Database(m_Path);
    TCSecretTexts(Database).SetSecrets({{7, 8}});
  }
  std::string const Former = ReadFile(m_Path);
  {
    TCPropertyDatabase Database(m_Path);
    TCSecretTexts(Database).SetSecrets({{7, 7}, {8, 8}});
    EXPECT_TRUE(ReadFile(m_Path + "-wal").empty());
  }
  EXPECT_EQ(ReadFile(m_Path), Former);
}

TEST_F(PropertyDatabaseSecrets, AreErasedWithALaterChangeWhenThereWasNoRoom) {
  DiskFaults::Install();
  TCPropertyDatabase Database(m_Path);
  Database.ReserveLog();
  Store(Database, {1, TCRecordID(), TCMACAddress(), std::string(8 << 20, 'v')});
  Database.EmptyLog();
  Change(Database, 7, "former text", "present");
  TCSecretTexts Secrets(Database, std::chrono::seconds(0));
  DiskFaults::LimitDisk(14 << 20);
  Secrets.SetSecrets({{7, 7}});
  ASSERT_THAT(Texts(Database).front(), "- > *");
  ASSERT_TRUE(Database.HasTextsToErase());
  Change(Database, 2, "", "stored all the same");
  Secrets.EraseAgain();
  ASSERT_TRUE(Database.HasTextsToErase());
  DiskFaults::Repair();

  Secrets.EraseAgain();

  EXPECT_FALSE(Database.HasTextsToErase());
  EXPECT_FALSE(IsIn(m_Path, "former text"));
}

TEST_F(PropertyDatabaseSecrets, GoWithTheHistoryWhereTheDiskIsTooFullToHideThem) {
  DiskFaults::Install();
  TCPropertyDatabase Database(m_Path);
  Database.ReserveLog();
  for (int Entry = 0; Entry < 3000; ++Entry) {
    Change(Database, 7, std::string(2000, 'f'), std::string(2000, 'p'));
  }
  TCSecretTexts Secrets(Database);
  DiskFaults::FillDisk();
  EXPECT_THAT(MessageOf([&] { Secrets.SetSecrets({{7, 7}}); }), HasSubstr("disk is full"));
  EXPECT_EQ(Texts(Database).front().front(), 'f');
  DiskFaults::Repair();
  DiskFaults::LimitDisk(0);  // what there is may be written over

  Secrets.SetSecrets({{7, 7}});

  for (std::string const& Text : Texts(Database)) {
    EXPECT_EQ(Text, "- > *");
  }
  DiskFaults::Repair();
  EXPECT_LT(Database.ReadHistory(3000).size(), 3000U);
}

TEST_F(PropertyDatabaseSecrets, AreRangesOfAllNumbers) {
  TCPropertyDatabase Database(m_Path);

  Database.HideTexts({{0, 5}, {200, 209}, {kMost - 1, kMost}});
  EXPECT_EQ(AsText(Database.OnceSecret()), "0-5 200-209 2147483646-2147483647 ");
  Database.HideTexts({{6, 6}, {205, 300}});
  Database.HideTexts({});
  EXPECT_EQ(AsText(Database.OnceSecret()), "0-6 200-300 2147483646-2147483647 ");
  Database.HideTexts({{0, kMost}});
  EXPECT_EQ(AsText(Database.OnceSecret()), "0-2147483647 ");
}
