// SPDX-License-Identifier: MIT
// Who changed what: what the database remembers, and for how long.
#include <gmock/gmock.h>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TSHistoryEntry;
using Property::TSProvenance;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using TCTransaction = TCPropertyDatabase::TCTransaction;

TCMACAddress const kDevice("00:11:22:AA:BB:CC");
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
  static void Append(TCPropertyDatabase& Database, std::vector<TSHistoryEntry> const& Entries) {
    TCTransaction Transaction(Database);
    for (TSHistoryEntry const& Each : Entries) {
      Transaction.AppendHistory(Each);
    }
    Transaction.Commit();
  }

  static void Trim(TCPropertyDatabase& Database, std::uint64_t Entries, std::int64_t OldestTime) {
    TCTransaction Transaction(Database);
    Transaction.TrimHistory(Entries, OldestTime);
    Transaction.Commit();
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
    Append(Database, {{3, kOrigin, -17, TCRecordID(4), kDevice, false, "off", "on"}});
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
                       Index % 5 == 0 ? kDevice : TCMACAddress(), Secret,
                       Secret || Index % 4 == 0 ? std::nullopt : std::optional<std::string>("old"),
                       Secret ? "" : std::to_string(Index)});
  }
  std::vector<TSHistoryEntry const*> AtOnce;
  for (TSHistoryEntry const& Each : Entries) {
    AtOnce.push_back(&Each);
  }
  TCPropertyDatabase Database(m_Path);
  TCTransaction Transaction(Database);
  Transaction.AppendHistory(AtOnce);
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

  Trim(Database, 2, 0);

  EXPECT_THAT(Texts(Database), ElementsAre("c", "b"));
}

TEST_F(PropertyDatabaseHistory, IsBoundedByAge) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {Entry(1, 5, 10, "a"), Entry(2, 5, 20, "b"), Entry(3, 5, 30, "c")});

  Trim(Database, 100, 20);

  EXPECT_THAT(Texts(Database), ElementsAre("c", "b"));
}

TEST_F(PropertyDatabaseHistory, GoesWholeWhenAllOfItIsTooOld) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {Entry(1, 5, 10, "a"), Entry(2, 5, 20, "b")});

  Trim(Database, 100, 21);

  EXPECT_THAT(Texts(Database), IsEmpty());
}

TEST_F(PropertyDatabaseHistory, StaysWhenTheClockWasSetBack) {
  TCPropertyDatabase Database(m_Path);
  Append(Database, {Entry(1, 5, 30, "a"), Entry(2, 5, 10, "b")});

  Trim(Database, 100, 20);

  EXPECT_THAT(Texts(Database), ElementsAre("b", "a"));
}

TEST_F(PropertyDatabaseHistory, NumbersTransactionsOnWhenItHasGone) {
  {
    TCPropertyDatabase Database(m_Path);
    Append(Database, {Entry(41, 5, 10, "a")});
    Trim(Database, 0, 0);
    EXPECT_THAT(Texts(Database), IsEmpty());
  }

  EXPECT_EQ(TCPropertyDatabase(m_Path).get_LastTransaction(), 41U);
}

TEST_F(PropertyDatabaseHistory, IsUndoneWithItsTransaction) {
  TCPropertyDatabase Database(m_Path);
  {
    TCTransaction Transaction(Database);
    Transaction.Put({5, TCRecordID(), TCMACAddress(), "undone"}, kOrigin);
    Transaction.AppendHistory(Entry(1, 5, 10, "undone"));
  }

  Append(Database, {Entry(2, 5, 20, "kept")});

  EXPECT_THAT(Texts(Database), ElementsAre("kept"));
  EXPECT_EQ(AsText(Database.ReadHistory(1).at(0)), "2 20 1000 77 gateway: 5/-/ new > \"kept\"");
}

TEST_F(PropertyDatabaseHistory, KnowsWhoSetAValue) {
  {
    TCPropertyDatabase Database(m_Path);
    TCTransaction Transaction(Database);
    Transaction.Put({5, TCRecordID(1), kDevice, "a"}, {10, 0, 1, "first"});
    Transaction.Put({5, TCRecordID(1), kDevice, "b"}, kOrigin);
    Transaction.Put({6, TCRecordID(1), kDevice, "c"}, {20, 0, 1, "first"});
    Transaction.Commit();
  }

  TCPropertyDatabase const Database(m_Path);
  auto const Origin = Database.Provenance(5, TCRecordID(1), kDevice);

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
    Transaction.ForgetSenders(1);
    Transaction.Put({6, TCRecordID(), TCMACAddress(), ""}, {1, 0, 1, "a"});
    Transaction.Commit();
    auto const Origin = Database.Provenance(6, TCRecordID(), TCMACAddress());
    ASSERT_TRUE(Origin.has_value());
    EXPECT_EQ(AsText(*Origin), "1 0 1 a");
  }

  EXPECT_EQ(QuerySQL(m_Path, "SELECT count(*) FROM writer"), "2");
}
