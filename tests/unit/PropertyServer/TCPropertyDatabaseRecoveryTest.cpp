// SPDX-License-Identifier: MIT
// What power cuts, full disks and broken disks leave of the values.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <list>
#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace {

using TCTransaction = TCPropertyDatabase::TCTransaction;

// More than the database library keeps in memory before it writes.
constexpr std::uintmax_t kWholeLog = std::uintmax_t{4} << 20;
std::string const kLarge(std::size_t{4} << 20, 'x');

}  // namespace

class PropertyDatabaseRecovery : public DatabaseFixture {
 protected:
  PropertyDatabaseRecovery() { DiskFaults::Install(); }
};

TEST_F(PropertyDatabaseRecovery, KeepsWhatWasCommittedBeforeAPowerCut) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
  {
    TCTransaction Transaction(Database);
    Transaction.Put({2, TCRecordID(), TCMACAddress(), "b"}, Property::TSProvenance());
    Transaction.RememberMail({1, "sender"}, 7);
    Transaction.SetMeta("sequence", 9);
    Transaction.Commit();
  }

  TCPropertyDatabase const Left(CopyAsLeft("left"));

  EXPECT_THAT(Values(Left), ElementsAre("1/-/=a", "2/-/=b"));
  EXPECT_EQ(Left.LastMail({1, "sender"}), 7U);
  EXPECT_EQ(Left.Meta("sequence"), 9U);
}

TEST_F(PropertyDatabaseRecovery, DropsWhatWasWrittenButNotCommittedBeforeAPowerCut) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
  std::uintmax_t const CommittedSize = fs::file_size(m_Path + "-wal");
  TCTransaction Transaction(Database);
  Transaction.Put({1, TCRecordID(), TCMACAddress(), kLarge}, Property::TSProvenance());
  Transaction.Put({2, TCRecordID(), TCMACAddress(), kLarge}, Property::TSProvenance());
  ASSERT_GT(fs::file_size(m_Path + "-wal"), CommittedSize);

  TCPropertyDatabase const Left(CopyAsLeft("left"));

  EXPECT_THAT(Values(Left), ElementsAre("1/-/=a"));
}

TEST_F(PropertyDatabaseRecovery, DropsATransactionWhoseLogIsTorn) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
  std::uintmax_t const FirstSize = fs::file_size(m_Path + "-wal");
  Store(Database, {2, TCRecordID(), TCMACAddress(), std::string(20000, 'x')});
  std::string const Left = CopyAsLeft("left");
  fs::resize_file(Left + "-wal", (FirstSize + fs::file_size(Left + "-wal")) / 2);

  EXPECT_THAT(Values(TCPropertyDatabase(Left)), ElementsAre("1/-/=a"));
}

TEST_F(PropertyDatabaseRecovery, SyncsTheLogAtEveryCommit) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
  int const Before = DiskFaults::SyncCount();

  Store(Database, {1, TCRecordID(), TCMACAddress(), "b"});

  EXPECT_EQ(DiskFaults::SyncCount(), Before + 1);
}

TEST_F(PropertyDatabaseRecovery, KeepsTheFormerStateWhenTheDiskIsFull) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "old"});

  DiskFaults::FillDisk();
  std::string const Message = MessageOf([&] {
    Store(Database, {1, TCRecordID(), TCMACAddress(), "new"});
  });

  EXPECT_EQ(Message, "cannot commit to " + m_Path + ": database or disk is full (SQLite error 13)");
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=old"));
}

TEST_F(PropertyDatabaseRecovery, TakesTheChangeWhenTheDiskHasRoomAgain) {
  TCPropertyDatabase Database(m_Path);
  DiskFaults::FillDisk();
  MessageOf([&] { Store(Database, {1, TCRecordID(), TCMACAddress(), "new"}); });
  DiskFaults::Repair();

  Store(Database, {1, TCRecordID(), TCMACAddress(), "new"});

  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))), ElementsAre("1/-/=new"));
}

TEST_F(PropertyDatabaseRecovery, UndoesAWholeTransactionWhenOneChangeFails) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "old"});
  TCTransaction Transaction(Database);
  Transaction.Put({1, TCRecordID(), TCMACAddress(), "new"}, Property::TSProvenance());

  DiskFaults::FillDisk();
  std::string const Message = MessageOf([&] {
    Transaction.Put({2, TCRecordID(), TCMACAddress(), kLarge}, Property::TSProvenance());
  });
  DiskFaults::Repair();

  EXPECT_EQ(Message, "cannot store property 2 in " + m_Path +
                         ": database or disk is full (SQLite error 13)");
  EXPECT_EQ(MessageOf([&] {
              Transaction.Put({3, TCRecordID(), TCMACAddress(), "c"}, Property::TSProvenance());
            }),
            "the transaction has already ended");
  EXPECT_EQ(MessageOf([&] { Transaction.Commit(); }), "the transaction has already ended");
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=old"));
}

TEST_F(PropertyDatabaseRecovery, UndoesAWholeTransactionWhenOneOfManyChangesFails) {
  constexpr int kCount = 24;
  constexpr int kSmall = 10;
  constexpr std::size_t kRoom = std::size_t{100} << 20;
  TCPropertyDatabase Database(m_Path, {kRoom, kRoom});
  Store(Database, {1, TCRecordID(), TCMACAddress(), "old"});
  Property::TSProvenance const Origin;
  std::list<Property::TSPropertyRecord> Records;
  std::vector<Property::TSChangeToStore> AtOnce;
  for (int Number = 1; Number <= kCount; ++Number) {
    AtOnce.push_back({&Records.emplace_back(Property::TSPropertyRecord{
                          Number, TCRecordID(), TCMACAddress(), Number > kSmall ? kLarge : "new"}),
                      &Origin, nullptr});
  }
  TCTransaction Transaction(Database);

  DiskFaults::FillDisk();
  std::string const Message =
      MessageOf([&] { Transaction.Store(AtOnce, Property::TSHistoryLimits(), 0); });
  DiskFaults::Repair();

  EXPECT_EQ(Message, "cannot store property 11 and 9 others in " + m_Path +
                         ": database or disk is full (SQLite error 13)");
  EXPECT_EQ(MessageOf([&] { Transaction.Commit(); }), "the transaction has already ended");
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=old"));
}

TEST_F(PropertyDatabaseRecovery, KeepsTheFormerStateWhenTheDiskIsBroken) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "old"});

  DiskFaults::BreakDisk();
  std::string const Message = MessageOf([&] {
    Store(Database, {1, TCRecordID(), TCMACAddress(), "new"});
  });

  EXPECT_EQ(Message, "cannot commit to " + m_Path + ": disk I/O error (SQLite error 778)");
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=old"));
}

TEST_F(PropertyDatabaseRecovery, AcknowledgesNothingThatCouldNotBeSynced) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "old"});

  DiskFaults::BreakSync();
  std::string const Message = MessageOf([&] {
    Store(Database, {1, TCRecordID(), TCMACAddress(), "new"});
  });
  DiskFaults::Repair();

  EXPECT_EQ(Message, "cannot commit to " + m_Path + ": disk I/O error (SQLite error 1034)");
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=old"));
}

TEST_F(PropertyDatabaseRecovery, CommitsAfterAFailedSync) {
  TCPropertyDatabase Database(m_Path);
  DiskFaults::BreakSync();
  MessageOf([&] { Store(Database, {1, TCRecordID(), TCMACAddress(), "a"}); });
  DiskFaults::Repair();

  Store(Database, {2, TCRecordID(), TCMACAddress(), "b"});

  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))), ElementsAre("2/-/=b"));
}

TEST_F(PropertyDatabaseRecovery, KeepsCommittedValuesWhenTheLogCanNotBeCopiedIntoTheFile) {
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
    DiskFaults::BreakDisk();
  }
  DiskFaults::Repair();

  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), ElementsAre("1/-/=a"));
}

TEST_F(PropertyDatabaseRecovery, MakesTheDatabaseWhenTheDiskHasRoomAgain) {
  DiskFaults::FillDisk();
  std::string const Message = OpeningMessage(m_Path);
  DiskFaults::Repair();

  EXPECT_EQ(Message, "cannot open " + m_Path + ": database or disk is full (SQLite error 13)");
  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), IsEmpty());
}

TEST_F(PropertyDatabaseRecovery, HasItsWholeLogFromTheStart) {
  TCPropertyDatabase Database(m_Path);

  Database.ReserveLog();
  ASSERT_EQ(fs::file_size(m_Path + "-wal"), kWholeLog);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});

  EXPECT_EQ(fs::file_size(m_Path + "-wal"), kWholeLog);
  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))), ElementsAre("1/-/=a"));
}

TEST_F(PropertyDatabaseRecovery, MakesALogWholeThatHoldsChanges) {
  std::string Left;
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
    Left = CopyAsLeft("left");
  }
  TCPropertyDatabase Database(Left);

  Database.ReserveLog();
  Store(Database, {2, TCRecordID(), TCMACAddress(), "b"});

  EXPECT_EQ(fs::file_size(Left + "-wal"), kWholeLog);
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseRecovery, WorksWithoutAWholeLog) {
  TCPropertyDatabase Database(m_Path);
  std::uintmax_t const Former = fs::file_size(m_Path + "-wal");
  DiskFaults::Watch([Writes = 0](DiskFaults::TSOperation const& Operation) mutable {
    bool const Fails = Operation.Kind == DiskFaults::TEOperation::eWrite && ++Writes > 3;
    return Fails ? SQLITE_FULL : SQLITE_OK;
  });
  std::string const Message = MessageOf([&] { Database.ReserveLog(); });
  DiskFaults::Watch(nullptr);

  EXPECT_EQ(Message,
            "cannot reserve the log of " + m_Path + ": database or disk is full (SQLite error 13)");
  EXPECT_EQ(fs::file_size(m_Path + "-wal"), Former);
  Store(Database, {1, TCRecordID(), TCMACAddress(), "a"});
  EXPECT_THAT(Values(TCPropertyDatabase(CopyAsLeft("left"))), ElementsAre("1/-/=a"));
}
