// SPDX-License-Identifier: MIT
// Copies of a database, and the check of one.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

namespace fs = std::filesystem;

namespace {

constexpr char kSound[] = " is sound: schema 1, 1 values, 0 history entries";

}  // namespace

class PropertyDatabaseCopy : public DatabaseFixture {
 protected:
  PropertyDatabaseCopy() = default;

  static void Store(TCPropertyDatabase& Database, std::string const& Data) {
    DatabaseFixture::Store(Database, {1, TCRecordID(), TCMACAddress(), Data});
  }
  void MakeDatabase() const {
    TCPropertyDatabase Database(m_Path);
    Store(Database, "value");
  }
  std::string CheckMessage() const {
    return MessageOf([this] { TCPropertyDatabase::Check(m_Path); });
  }
  /// The names of all files, with their contents.
  std::map<std::string, std::string> Files(fs::path const& Folder) const {
    std::map<std::string, std::string> Result;
    for (fs::directory_entry const& Entry : fs::directory_iterator(Folder)) {
      if (Entry.is_regular_file()) {
        Result[Entry.path().filename().string()] = ReadFile(Entry.path().string());
      }
    }
    return Result;
  }

  std::string const m_Copy = (m_Folder / "copy.db").string();
};

TEST_F(PropertyDatabaseCopy, HoldsWhatOnlyTheLogHolds) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, "in the log");

  TCPropertyDatabase::WriteCopy(Database.Copy(), m_Copy);

  EXPECT_THAT(Values(TCPropertyDatabase(m_Copy)), ElementsAre("1/-/=in the log"));
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=in the log"));
}

TEST_F(PropertyDatabaseCopy, NeedsNoFileBesideIt) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, "value");
  fs::path const Folder = m_Folder / "copies";
  fs::create_directory(Folder);

  TCPropertyDatabase::WriteCopy(Database.Copy(), Folder / "copy.db");

  EXPECT_EQ(Files(Folder).size(), 1U);
  EXPECT_EQ(QuerySQL(Folder / "copy.db", "PRAGMA journal_mode"), "delete");
}

TEST_F(PropertyDatabaseCopy, IsForItsOwnerOnly) {
  MakeDatabase();

  TCPropertyDatabase::WriteCopy(TCPropertyDatabase(m_Path).Copy(), m_Copy);

  EXPECT_EQ(fs::status(m_Copy).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(PropertyDatabaseCopy, ReplacesAnOlderCopy) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, "old");
  TCPropertyDatabase::WriteCopy(Database.Copy(), m_Copy);
  Store(Database, "new");

  TCPropertyDatabase::WriteCopy(Database.Copy(), m_Copy);

  EXPECT_THAT(Values(TCPropertyDatabase(m_Copy)), ElementsAre("1/-/=new"));
}

TEST_F(PropertyDatabaseCopy, ReplacesNothingWhenTheImageIsDamaged) {
  MakeDatabase();
  std::string Image = TCPropertyDatabase(m_Path).Copy();
  WriteFile(m_Copy, "former");
  std::fill(Image.begin() + 4096, Image.begin() + 8000, '\x5a');
  auto const Before = Files(m_Folder);

  EXPECT_THAT(MessageOf([&] { TCPropertyDatabase::WriteCopy(Image, m_Copy); }),
              HasSubstr(" is damaged: "));
  EXPECT_TRUE(Files(m_Folder) == Before);
}

TEST_F(PropertyDatabaseCopy, ReplacesNothingThatIsInUse) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, "value");
  std::string const Image = Database.Copy();

  EXPECT_EQ(MessageOf([&] { TCPropertyDatabase::WriteCopy(Image, m_Path); }),
            "cannot replace " + m_Path + ": with its log " + m_Path +
                "-wal it is a database in use, or one that was not closed; choose another file");
}

TEST_F(PropertyDatabaseCopy, SaysWhyItCanNotBeWritten) {
  MakeDatabase();
  std::string const Image = TCPropertyDatabase(m_Path).Copy();
  std::string const Copy = m_Folder / "missing/copy.db";

  EXPECT_EQ(MessageOf([&] { TCPropertyDatabase::WriteCopy(Image, Copy); }),
            "cannot write " + Copy + ": No such file or directory");
}

TEST_F(PropertyDatabaseCopy, LeavesNothingWhereItCanNotBePut) {
  MakeDatabase();
  std::string const Image = TCPropertyDatabase(m_Path).Copy();
  fs::create_directory(m_Copy);

  EXPECT_EQ(MessageOf([&] { TCPropertyDatabase::WriteCopy(Image, m_Copy); }),
            "cannot write " + m_Copy + ": Is a directory");
  EXPECT_EQ(Files(m_Folder).size(), 1U);
}

TEST_F(PropertyDatabaseCopy, IsCheckedWithoutAnyChange) {
  MakeDatabase();
  auto const Before = Files(m_Folder);

  EXPECT_EQ(TCPropertyDatabase::Check(m_Path), m_Path + kSound);
  EXPECT_TRUE(Files(m_Folder) == Before);
}

TEST_F(PropertyDatabaseCopy, IsCheckedWithItsLogWithoutAnyChange) {
  std::string Left;
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, "in the log");
    Left = CopyAsLeft("left");
  }
  auto const Before = Files(m_Folder / "left");

  EXPECT_EQ(TCPropertyDatabase::Check(Left), Left + kSound);
  EXPECT_TRUE(Files(m_Folder / "left") == Before);
}

TEST_F(PropertyDatabaseCopy, IsNotCheckedWhileItIsInUse) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, "value");

  EXPECT_EQ(CheckMessage(), "cannot open " + m_Path +
                                ": another process uses it; stop that process, or choose another "
                                "file");
  Store(Database, "still at work");
  EXPECT_THAT(Values(Database), ElementsAre("1/-/=still at work"));
}

TEST_F(PropertyDatabaseCopy, IsNotCheckedWhenAnInterruptedChangeWouldBeUndone) {
  MakeDatabase();
  WriteFile(m_Path + "-journal", "journal");

  EXPECT_EQ(CheckMessage(),
            "cannot check " + m_Path +
                ": its making was interrupted; start the server with it, which undoes that, and "
                "check it again, nothing was changed");
}

TEST_F(PropertyDatabaseCopy, IsNotCheckedWhenItIsMissing) {
  EXPECT_THAT(CheckMessage(), StartsWith("cannot open " + m_Path + ": "));
  EXPECT_THAT(Files(m_Folder), UnorderedElementsAre());
}

TEST_F(PropertyDatabaseCopy, IsCheckedForKeysThatAreNeverWritten) {
  MakeDatabase();
  RunSQL(m_Path, "INSERT INTO property_value VALUES(1, 0, 0, 'aa:bb', 'x', 0, 1)");

  EXPECT_EQ(CheckMessage(), m_Path +
                                " is damaged: property 1 has the impossible link 0,0 or MAC "
                                "\"aa:bb\"; restore a backup, nothing was changed");
}

TEST_F(PropertyDatabaseCopy, IsCheckedForMissingWriters) {
  MakeDatabase();
  RunSQL(m_Path, "DELETE FROM writer");

  EXPECT_EQ(CheckMessage(), m_Path +
                                " is damaged: the writers of 1 values and history entries are "
                                "missing; restore a backup, nothing was changed");
}

TEST_F(PropertyDatabaseCopy, IsCheckedForRowsThatTheIndexLacks) {
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, "value");
  }
  RunSQL(m_Path,
         "PRAGMA writable_schema=ON; CREATE TABLE spare(a TEXT); CREATE INDEX lost ON spare(a); "
         "INSERT INTO spare VALUES('x'); UPDATE sqlite_schema SET rootpage = "
         "(SELECT rootpage FROM sqlite_schema WHERE name = 'lost') "
         "WHERE name = 'sqlite_autoindex_writer_1'; DELETE FROM sqlite_schema WHERE name IN "
         "('spare', 'lost')");

  EXPECT_THAT(CheckMessage(), HasSubstr(" is damaged: "));
}

TEST_F(PropertyDatabaseCopy, TakesNoPlaceOfALog) {
  std::string Image;
  {
    TCPropertyDatabase Database(m_Path);
    Store(Database, "value");
    Image = Database.Copy();
    CopyAsLeft("left");
  }
  auto const Before = Files(m_Folder / "left");

  for (char const* Suffix : {"-wal", "-journal", "-shm"}) {
    std::string const Log = (m_Folder / "left" / "." / "values.db").string() + Suffix;
    EXPECT_EQ(MessageOf([&] { TCPropertyDatabase::WriteCopy(Image, Log); }),
              "cannot write " + Log +
                  ": a file of that name belongs to a database; choose another "
                  "name");
  }
  EXPECT_TRUE(Files(m_Folder / "left") == Before);
}

TEST_F(PropertyDatabaseCopy, TakesNoPlaceOfALinkToADatabaseInUse) {
  TCPropertyDatabase Database(m_Path);
  Store(Database, "value");
  std::string const Image = Database.Copy();
  fs::create_symlink("values.db", m_Copy);

  EXPECT_EQ(MessageOf([&] { TCPropertyDatabase::WriteCopy(Image, m_Copy); }),
            "cannot replace " + m_Copy + ": with its log " + m_Path +
                "-wal it is a database in use, or one that was not closed; choose another file");
  EXPECT_TRUE(fs::is_symlink(m_Copy));
}
