// SPDX-License-Identifier: MIT
// What the database keeps, and how its transactions behave.
#include "PropertyServer/TCPropertyDatabase.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <stdexcept>

#include "tests/unit/PropertyServer/DatabaseFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using Property::TSPropertyRecord;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using TCTransaction = TCPropertyDatabase::TCTransaction;

TCMACAddress const kDevice("00:11:22:AA:BB:CC");

std::string OnlyText(TCPropertyDatabase const& Database) {
  std::string Text = "no value";
  Database.LoadAll([&Text](TSPropertyRecord Record) { Text = std::move(Record.Data); });
  return Text;
}

}  // namespace

class PropertyDatabase : public DatabaseFixture {
 protected:
  /// Stores `Data`, opens the file again and returns the text found there.
  std::string Reopened(std::string const& Data) const {
    {
      TCPropertyDatabase Database(m_Path);
      Store(Database, {17, TCRecordID(), TCMACAddress(), Data});
    }
    return OnlyText(TCPropertyDatabase(m_Path));
  }
};

TEST_F(PropertyDatabase, IsEmptyWhenNew) {
  TCPropertyDatabase const Database(m_Path);

  EXPECT_THAT(Values(Database), IsEmpty());
}

TEST_F(PropertyDatabase, KeepsAValueWithItsWholeKeyAcrossReopening) {
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, {-17, TCRecordID(4), kDevice, "on"});
  }

  TCPropertyDatabase const Database(m_Path);

  EXPECT_THAT(Values(Database), ElementsAre("-17/4/00:11:22:AA:BB:CC=on"));
}

TEST_F(PropertyDatabase, LoadsInTheOrderOfTheKeys) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {10, TCRecordID(), TCMACAddress(), "f"});
  Store(Database, {9, TCRecordID(10), TCMACAddress(), "e"});
  Store(Database, {9, TCRecordID(9), kDevice, "d"});
  Store(Database, {9, TCRecordID(9), TCMACAddress(), "c"});
  Store(Database, {9, TCRecordID(-1), TCMACAddress(), "b"});
  Store(Database, {9, TCRecordID(), kDevice, "a"});

  EXPECT_THAT(Values(Database), ElementsAre("9/-/00:11:22:AA:BB:CC=a", "9/-1/=b", "9/9/=c",
                                            "9/9/00:11:22:AA:BB:CC=d", "9/10/=e", "10/-/=f"));
}

TEST_F(PropertyDatabase, TellsANullLinkFromLinkZero) {
  TCPropertyDatabase Database(m_Path);

  Store(Database, {5, TCRecordID(0), TCMACAddress(), "zero"});
  Store(Database, {5, TCRecordID(), TCMACAddress(), "null"});

  EXPECT_THAT(Values(Database), ElementsAre("5/-/=null", "5/0/=zero"));
}

TEST_F(PropertyDatabase, TellsNoDeviceFromTheDeviceOfZeros) {
  TCPropertyDatabase Database(m_Path);

  Store(Database, {5, TCRecordID(), TCMACAddress("00:00:00:00:00:00"), "zeros"});
  Store(Database, {5, TCRecordID(), TCMACAddress(), "none"});

  EXPECT_THAT(Values(Database), ElementsAre("5/-/=none", "5/-/00:00:00:00:00:00=zeros"));
}

TEST_F(PropertyDatabase, KeepsTheLargestAndSmallestNumbersAndLinks) {
  constexpr int kMin = std::numeric_limits<int>::min();
  constexpr int kMax = std::numeric_limits<int>::max();
  TCPropertyDatabase Database(m_Path);

  Store(Database, {kMin, TCRecordID(kMin), TCMACAddress(), "min"});
  Store(Database, {kMax, TCRecordID(kMax), TCMACAddress(), "max"});

  EXPECT_THAT(Values(Database),
              ElementsAre("-2147483648/-2147483648/=min", "2147483647/2147483647/=max"));
}

TEST_F(PropertyDatabase, ReplacesTheValueOfTheSameKey) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {5, TCRecordID(1), kDevice, "first"});

  Store(Database, {5, TCRecordID(1), kDevice, "second"});

  EXPECT_THAT(Values(Database), ElementsAre("5/1/00:11:22:AA:BB:CC=second"));
}

TEST_F(PropertyDatabase, KeepsZeroBytesInAText) {
  std::string const Data("a\0b\0", 4);

  EXPECT_EQ(Reopened(Data), Data);
}

TEST_F(PropertyDatabase, KeepsAnEmptyText) {
  EXPECT_EQ(Reopened(""), "");
}

TEST_F(PropertyDatabase, KeepsTextBeyondASCII) {
  EXPECT_EQ(Reopened("Stra\u00dfe \u2192 \U0001F600"), "Stra\u00dfe \u2192 \U0001F600");
}

TEST_F(PropertyDatabase, KeepsBytesThatAreNoText) {
  EXPECT_EQ(Reopened("\xff\xfe\xc3"), "\xff\xfe\xc3");
}

TEST_F(PropertyDatabase, KeepsATextOfMegabytes) {
  std::string const Data(std::size_t{3} << 20, 'x');

  EXPECT_EQ(Reopened(Data), Data);
}

TEST_F(PropertyDatabase, PassesOnWhatTheReceiverThrowsAndLoadsAgain) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});

  EXPECT_THROW(Database.LoadAll([](TSPropertyRecord const&) { throw std::logic_error("enough"); }),
               std::logic_error);

  EXPECT_THAT(Values(Database), ElementsAre("1/-/=a"));
}

TEST_F(PropertyDatabase, HasNoCounterThatWasNeverSet) {
  TCPropertyDatabase const Database(m_Path);

  EXPECT_EQ(Database.Meta("epoch"), std::nullopt);
}

TEST_F(PropertyDatabase, KeepsCountersAcrossReopening) {
  {
    TCPropertyDatabase Database(m_Path);
    TCTransaction Transaction(Database);
    Transaction.SetMeta("epoch", std::numeric_limits<std::uint64_t>::max());
    Transaction.SetMeta("sequence", 1);
    Transaction.SetMeta("sequence", 0);
    Transaction.Commit();
  }

  TCPropertyDatabase const Database(m_Path);

  EXPECT_EQ(Database.Meta("epoch"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Database.Meta("sequence"), 0U);
}

TEST_F(PropertyDatabase, NamesNoSenderWhenItCanNotBeRemembered) {
  { TCPropertyDatabase const New(m_Path); }
  RunSQL(m_Path,
         "CREATE TRIGGER full BEFORE INSERT ON sender BEGIN SELECT RAISE(ABORT, 'full'); END");
  TCPropertyDatabase Database(m_Path);
  TCPropertyDatabase::TCTransaction Transaction(Database);

  EXPECT_EQ(
      MessageOf([&] {
        Transaction.RememberMail({1, "its secret"}, 3);
      }),
      "cannot remember the last mail of a sender in " + m_Path + ": full (SQLite error 1811)");
}

TEST_F(PropertyDatabase, RemembersTheLastMailOfEachSenderAcrossReopening) {
  {
    TCPropertyDatabase Database(m_Path);
    TCTransaction Transaction(Database);
    Transaction.RememberMail({1, "a"}, 7);
    Transaction.RememberMail({1, "b"}, 3);
    Transaction.RememberMail({1, "a"}, 8);
    Transaction.Commit();
  }

  TCPropertyDatabase const Database(m_Path);

  EXPECT_EQ(Database.LastMail({1, "a"}), 8U);
  EXPECT_EQ(Database.LastMail({1, "b"}), 3U);
}

TEST_F(PropertyDatabase, KnowsNoMailOfAnUnknownSender) {
  TCPropertyDatabase const Database(m_Path);

  EXPECT_EQ(Database.LastMail({1, "nobody"}), 0U);
}

TEST_F(PropertyDatabase, ForgetsAllButTheMostRecentSenders) {
  TCPropertyDatabase Database(m_Path);
  TCTransaction Transaction(Database);
  Transaction.RememberMail({1, "a"}, 1);
  Transaction.RememberMail({1, "b"}, 1);
  Transaction.RememberMail({1, "c"}, 1);
  Transaction.RememberMail({1, "a"}, 2);

  Transaction.ForgetSenders(2, {});
  Transaction.Commit();

  EXPECT_EQ(Database.LastMail({1, "a"}), 2U);
  EXPECT_EQ(Database.LastMail({1, "b"}), 0U);
  EXPECT_EQ(Database.LastMail({1, "c"}), 1U);
}

TEST_F(PropertyDatabase, ForgetsNobodyWhileTheSendersAreFew) {
  TCPropertyDatabase Database(m_Path);
  TCTransaction Transaction(Database);
  Transaction.RememberMail({1, "a"}, 1);
  Transaction.RememberMail({1, "b"}, 1);

  Transaction.ForgetSenders(2, {});
  Transaction.Commit();

  EXPECT_EQ(Database.LastMail({1, "a"}), 1U);
  EXPECT_EQ(Database.LastMail({1, "b"}), 1U);
}

TEST_F(PropertyDatabase, UndoesWhatWasNotCommitted) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "old"});

  {
    TCTransaction Transaction(Database);
    Transaction.Put({1, TCRecordID(), TCMACAddress(), "new"}, Property::TSProvenance());
    Transaction.RememberMail({1, "a"}, 7);
    Transaction.SetMeta("sequence", 9);
  }

  EXPECT_THAT(Values(Database), ElementsAre("1/-/=old"));
  EXPECT_EQ(Database.LastMail({1, "a"}), 0U);
  EXPECT_EQ(Database.Meta("sequence"), std::nullopt);
}

TEST_F(PropertyDatabase, TakesATransactionAfterAnUndoneOne) {
  TCPropertyDatabase Database(m_Path);
  {
    TCTransaction Transaction(Database);
    Transaction.Put({1, TCRecordID(), TCMACAddress(), "undone"}, Property::TSProvenance());
  }

  Store(Database, {2, TCRecordID(), TCMACAddress(), "kept"});

  EXPECT_THAT(Values(Database), ElementsAre("2/-/=kept"));
}

TEST_F(PropertyDatabase, RefusesASecondTransactionBesideTheFirst) {
  TCPropertyDatabase Database(m_Path);
  TCTransaction First(Database);
  First.Put({1, TCRecordID(), TCMACAddress(), "first"}, Property::TSProvenance());

  EXPECT_EQ(MessageOf([&] { TCTransaction Second(Database); }),
            "cannot begin a transaction in " + m_Path +
                ": cannot start a transaction within a transaction (SQLite error 1)");

  First.Commit();
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=first"));
}

TEST_F(PropertyDatabase, RefusesEveryOperationOfACommittedTransaction) {
  TCPropertyDatabase Database(m_Path);
  TCTransaction Transaction(Database);
  Transaction.Commit();
  std::string const Ended = "the transaction has already ended";

  EXPECT_EQ(MessageOf([&] {
              Transaction.Put({1, TCRecordID(), TCMACAddress(), "a"}, Property::TSProvenance());
            }),
            Ended);
  EXPECT_EQ(MessageOf([&] { Transaction.RememberMail({1, "a"}, 1); }), Ended);
  EXPECT_EQ(MessageOf([&] { Transaction.ForgetSenders(0, {}); }), Ended);
  EXPECT_EQ(MessageOf([&] { Transaction.SetMeta("epoch", 1); }), Ended);
  EXPECT_EQ(MessageOf([&] { Transaction.Commit(); }), Ended);

  EXPECT_THAT(Values(Database), IsEmpty());
}

TEST_F(PropertyDatabase, RemovesItsLogWhenClosed) {
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
    ASSERT_TRUE(std::filesystem::exists(m_Path + "-wal"));
  }

  std::vector<std::string> Files;
  for (std::filesystem::directory_entry const& Entry :
       std::filesystem::directory_iterator(m_Folder)) {
    Files.push_back(Entry.path().filename().string());
  }
  EXPECT_THAT(Files, ElementsAre("values.db"));
}

TEST_F(PropertyDatabase, KeepsItsLogBounded) {
  constexpr std::uintmax_t kBound = std::uintmax_t{5} << 20;
  TCPropertyDatabase Database(m_Path);
  std::string const Data(std::size_t{256} << 10, 'x');

  for (int Number = 0; Number < 100; ++Number) {
    Store(Database, {Number, TCRecordID(), TCMACAddress(), Data});
    ASSERT_LT(std::filesystem::file_size(m_Path + "-wal"), kBound);
  }
}

TEST_F(PropertyDatabase, CutsItsLogBackAfterALargeTransaction) {
  TCPropertyDatabase Database(m_Path);
  {
    TCTransaction Transaction(Database);
    for (int Number = 0; Number < 10; ++Number) {
      Transaction.Put(
          {Number, TCRecordID(), TCMACAddress(), std::string(std::size_t{1} << 20, 'x')},
          Property::TSProvenance());
    }
    Transaction.Commit();
  }
  ASSERT_GT(std::filesystem::file_size(m_Path + "-wal"), std::uintmax_t{10} << 20);

  Store(Database, {1, TCRecordID(), TCMACAddress(), "small"});

  EXPECT_LE(std::filesystem::file_size(m_Path + "-wal"), std::uintmax_t{4} << 20);
}
