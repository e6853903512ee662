// SPDX-License-Identifier: MIT
// What the database says when its files can not be read, or when there is no room for them.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;

namespace fs = std::filesystem;

namespace {

constexpr int kValues = 3000;
constexpr char kBroken[] = ": disk I/O error (SQLite error 266)";

void BreakReading() {
  DiskFaults::Watch([](DiskFaults::TSOperation const& Operation) {
    return Operation.Kind == DiskFaults::TEOperation::eRead ? SQLITE_IOERR_READ : SQLITE_OK;
  });
}

}  // namespace

class PropertyDatabaseFault : public DatabaseFixture {
 protected:
  PropertyDatabaseFault() { DiskFaults::Install(); }
  ~PropertyDatabaseFault() override { DiskFaults::Watch(nullptr); }

  /// Opens a database with more values than the database library keeps in memory, of which it has
  /// the last ones there.
  void OpenLargeDatabase() {
    {
      TCPropertyDatabase Database(m_Path);
      TCPropertyDatabase::TCTransaction Transaction(Database);
      for (int Number = 0; Number < kValues; ++Number) {
        Transaction.Put({Number, TCRecordID(), TCMACAddress(), std::string(2000, 'x')},
                        Property::TSProvenance());
      }
      Transaction.RememberMail({1, "sender"}, 7);
      Transaction.SetMeta("sequence", 9);
      Transaction.Commit();
    }
    m_Database.emplace(m_Path);
    EXPECT_EQ(CountValues(), kValues);
  }
  int CountValues() const {
    int Count = 0;
    m_Database->LoadAll([&Count](Property::TSPropertyRecord const&) { ++Count; });
    return Count;
  }

  std::optional<TCPropertyDatabase> m_Database;
};

TEST_F(PropertyDatabaseFault, IsToldWhenValuesCanNotBeRead) {
  OpenLargeDatabase();
  BreakReading();
  EXPECT_EQ(MessageOf([this] { CountValues(); }), "cannot read the values of " + m_Path + kBroken);
  DiskFaults::Watch(nullptr);
  EXPECT_EQ(CountValues(), kValues);
}

TEST_F(PropertyDatabaseFault, IsToldWhenTheLastMailOfASenderCanNotBeRead) {
  OpenLargeDatabase();
  BreakReading();
  EXPECT_EQ(MessageOf([this] {
              m_Database->LastMail({1, "sender"});
            }),
            "cannot read the last mail of a sender of " + m_Path + kBroken);
  DiskFaults::Watch(nullptr);
  EXPECT_EQ(m_Database->LastMail({1, "sender"}), 7U);
}

TEST_F(PropertyDatabaseFault, IsToldWhenACounterCanNotBeRead) {
  OpenLargeDatabase();
  BreakReading();
  EXPECT_EQ(MessageOf([this] { m_Database->Meta("sequence"); }),
            "cannot read the counter sequence of " + m_Path + kBroken);
  DiskFaults::Watch(nullptr);
  EXPECT_EQ(m_Database->Meta("sequence"), 9U);
}

TEST_F(PropertyDatabaseFault, IsToldWhenTheWriterOfAValueCanNotBeRead) {
  OpenLargeDatabase();
  BreakReading();
  EXPECT_EQ(MessageOf([this] { m_Database->Provenance(1, TCRecordID(), TCMACAddress()); }),
            "cannot read who wrote property 1 of " + m_Path + kBroken);
  DiskFaults::Watch(nullptr);
  EXPECT_NE(m_Database->Provenance(1, TCRecordID(), TCMACAddress()), std::nullopt);
}

TEST_F(PropertyDatabaseFault, LeavesNoCopyWhenNotEverythingCanBeRead) {
  OpenLargeDatabase();
  BreakReading();
  EXPECT_EQ(MessageOf([this] { m_Database->Copy(); }).find("cannot copy " + m_Path + ": "), 0U);
  DiskFaults::Watch(nullptr);
  EXPECT_GT(m_Database->Copy().size(), std::size_t{kValues} * 2000);
}

TEST_F(PropertyDatabaseFault, LeavesNoHalfCopyWhenThereIsNoRoom) {
  OpenLargeDatabase();
  std::string const Image = m_Database->Copy();
  std::string const Copy = m_Folder / "copy.db";
  WriteFile(Copy, "an older copy");
  signal(SIGXFSZ, SIG_IGN);
  rlimit const Limit = {1 << 20, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &Limit), 0);
  EXPECT_EQ(MessageOf([&] { TCPropertyDatabase::WriteCopy(Image, Copy); }),
            "cannot write " + Copy + ": File too large");
  EXPECT_EQ(ReadFile(Copy), "an older copy");
  std::vector<std::string> Files;
  for (fs::directory_entry const& Entry : fs::directory_iterator(m_Folder)) {
    Files.push_back(Entry.path().filename());
  }
  EXPECT_THAT(Files, ::testing::UnorderedElementsAre("copy.db", "values.db", "values.db-wal"));
}

TEST_F(PropertyDatabaseFault, IsRefusedWhenItsOwnFolderIsGone) {
  fs::path const Folder = m_Folder / "gone";
  fs::create_directory(Folder);
  ASSERT_EQ(chdir(Folder.c_str()), 0);
  fs::remove(Folder);
  EXPECT_EQ(OpeningMessage("values.db"), "cannot open values.db: No such file or directory");
}

TEST_F(PropertyDatabaseFault, UndoesATransactionWhoseSenderCanNotBeKept) {
  OpenLargeDatabase();
  TCPropertyDatabase::TCTransaction Transaction(*m_Database);
  BreakReading();
  EXPECT_EQ(MessageOf([&] {
              Transaction.ForgetSenders(1, {{1, "sender"}});
            }),
            "cannot keep the senders that are connected in " + m_Path + kBroken);
}
