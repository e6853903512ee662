// SPDX-License-Identifier: MIT
// Which files the database opens, and what it says about those that it refuses.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyDatabase;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

class PropertyDatabaseOpening : public DatabaseFixture {
 protected:
  PropertyDatabaseOpening() = default;

  /// A closed database with many values, several pages long.
  void MakeDatabase() const {
    TCPropertyDatabase Database(m_Path);
    TCPropertyDatabase::TCTransaction Transaction(Database);
    for (int Number = 0; Number < 2000; ++Number) {
      Transaction.Put({Number, TCRecordID(), TCMACAddress(), "a value of some length"},
                      Property::TSProvenance());
    }
    Transaction.Commit();
  }

  /// Permissions do not stop the system's administrator; the test goes on as nobody.
  void GiveUpPrivileges() const {
    ASSERT_EQ(chmod(m_Folder.c_str(), 0777), 0);
    if (geteuid() == 0) {
      ASSERT_EQ(seteuid(65534), 0);
    }
  }
  void TakeBackPrivileges() const { ASSERT_EQ(seteuid(getuid()), 0); }

  std::string CannotOpen(std::string const& Path, std::string const& Reason) const {
    return "cannot open " + Path + ": unable to open database file (" + Reason +
           "); check that the folder exists and that this user may write it";
  }
};

TEST_F(PropertyDatabaseOpening, RefusesAFileWhoseFolderIsMissing) {
  std::string const Path = m_Folder / "missing/values.db";

  EXPECT_EQ(OpeningMessage(Path), CannotOpen(Path, "No such file or directory"));
}

TEST_F(PropertyDatabaseOpening, RefusesAFileWhoseFolderIsAFile) {
  WriteFile(m_Folder / "file", "content");
  std::string const Path = m_Folder / "file/values.db";

  EXPECT_EQ(OpeningMessage(Path), CannotOpen(Path, "Not a directory"));
}

TEST_F(PropertyDatabaseOpening, RefusesAFolder) {
  fs::create_directory(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path), CannotOpen(m_Path, "Is a directory"));
}

TEST_F(PropertyDatabaseOpening, RefusesAFolderThatMayNotBeWritten) {
  fs::path const Folder = m_Folder / "closed";
  fs::create_directory(Folder);
  GiveUpPrivileges();
  ASSERT_EQ(seteuid(getuid()), 0);
  ASSERT_EQ(chmod(Folder.c_str(), 0555), 0);
  GiveUpPrivileges();

  std::string const Message = OpeningMessage(Folder / "values.db");

  TakeBackPrivileges();
  EXPECT_EQ(Message, CannotOpen(Folder / "values.db", "Permission denied"));
}

TEST_F(PropertyDatabaseOpening, RefusesAFileThatMayNotBeWritten) {
  MakeDatabase();
  ASSERT_EQ(chmod(m_Path.c_str(), 0444), 0);
  GiveUpPrivileges();

  std::string const Message = OpeningMessage(m_Path);

  TakeBackPrivileges();
  EXPECT_EQ(Message,
            "cannot open " + m_Path + ": it is read-only; check that this user may write it");
}

TEST_F(PropertyDatabaseOpening, RefusesAnEmptyFileName) {
  EXPECT_EQ(OpeningMessage(""), "cannot open the property database: its file name is empty");
}

TEST_F(PropertyDatabaseOpening, TakesEveryNameForAFile) {
  fs::current_path(m_Folder);
  {
    TCPropertyDatabase Database(":memory:");
    Store(Database, {1, TCRecordID(), TCMACAddress(), "kept"});
  }

  EXPECT_THAT(Values(TCPropertyDatabase((m_Folder / ":memory:").string())),
              ElementsAre("1/-/=kept"));
  fs::current_path("/");
}

TEST_F(PropertyDatabaseOpening, BeginsAnewInAnEmptyFile) {
  WriteFile(m_Path, "");

  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), IsEmpty());
}

TEST_F(PropertyDatabaseOpening, MarksItsFileWithApplicationAndSchemaVersion) {
  MakeDatabase();

  EXPECT_EQ(QuerySQL(m_Path, "PRAGMA application_id"), std::to_string(0x50727074));
  EXPECT_EQ(QuerySQL(m_Path, "PRAGMA user_version"), "1");
}

TEST_F(PropertyDatabaseOpening, RefusesAFileThatIsNoDatabase) {
  std::string const Content(5000, 'x');
  WriteFile(m_Path, Content);

  EXPECT_EQ(OpeningMessage(m_Path), m_Path +
                                        " is not a property database: file is not a database; "
                                        "choose another file, nothing was changed");
  EXPECT_EQ(ReadFile(m_Path), Content);
}

TEST_F(PropertyDatabaseOpening, RefusesTheDatabaseOfAnotherApplication) {
  RunSQL(m_Path, "PRAGMA application_id=0x41424344; CREATE TABLE other(a); PRAGMA user_version=1");
  std::string const Content = ReadFile(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path),
            m_Path +
                " is not a property database: its application id is 0x41424344, not "
                "0x50727074; choose another file, nothing was changed");
  EXPECT_EQ(ReadFile(m_Path), Content);
}

TEST_F(PropertyDatabaseOpening, RefusesADatabaseOfNobody) {
  RunSQL(m_Path, "CREATE TABLE other(a)");
  std::string const Content = ReadFile(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path),
            m_Path +
                " is not a property database: its application id is 0x00000000, not "
                "0x50727074; choose another file, nothing was changed");
  EXPECT_EQ(ReadFile(m_Path), Content);
}

TEST_F(PropertyDatabaseOpening, RefusesANewerSchema) {
  MakeDatabase();
  RunSQL(m_Path, "PRAGMA user_version=2");
  std::string const Content = ReadFile(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path),
            m_Path +
                " was written by a newer version (schema 2, this program knows 1); "
                "use that version or restore a backup, nothing was changed");
  EXPECT_EQ(ReadFile(m_Path), Content);
}

TEST_F(PropertyDatabaseOpening, RefusesEveryOtherSchema) {
  MakeDatabase();
  for (char const* const Version : {"-1", "0"}) {
    RunSQL(m_Path, (std::string("PRAGMA user_version=") + Version).c_str());
    std::string const Content = ReadFile(m_Path);

    EXPECT_EQ(OpeningMessage(m_Path),
              m_Path + " was written by another version (schema " + Version +
                  ", this program knows 1); use that version or restore a backup, nothing was "
                  "changed");
    EXPECT_EQ(ReadFile(m_Path), Content);
  }
}

TEST_F(PropertyDatabaseOpening, RefusesAFileOfTheTimeBeforeItsFirstVersion) {
  for (char const* const Version : {"1", "7"}) {
    RunSQL(m_Path, (std::string("PRAGMA application_id=0x50726f70; PRAGMA user_version=") +
                    Version + "; CREATE TABLE IF NOT EXISTS recent_value(id INTEGER PRIMARY KEY)")
                       .c_str());
    std::string const Content = ReadFile(m_Path);

    EXPECT_EQ(OpeningMessage(m_Path),
              m_Path +
                  " is not a property database: its application id is 0x50726f70, not "
                  "0x50727074; choose another file, nothing was changed");
    EXPECT_EQ(ReadFile(m_Path), Content);
  }
}

TEST_F(PropertyDatabaseOpening, LeavesTheLogOfARefusedFileAlone) {
  MakeDatabase();
  sqlite3* Newer = nullptr;
  ASSERT_EQ(sqlite3_open(m_Path.c_str(), &Newer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(Newer, "PRAGMA user_version=2", nullptr, nullptr, nullptr), SQLITE_OK);
  std::string const Left = CopyAsLeft("left");
  sqlite3_close(Newer);
  std::string const Content = ReadFile(Left);
  std::string const Log = ReadFile(Left + "-wal");

  EXPECT_EQ(OpeningMessage(Left),
            Left +
                " was written by a newer version (schema 2, this program knows 1); "
                "use that version or restore a backup, nothing was changed");
  EXPECT_EQ(ReadFile(Left), Content);
  EXPECT_EQ(ReadFile(Left + "-wal"), Log);
}

TEST_F(PropertyDatabaseOpening, RefusesATruncatedFile) {
  MakeDatabase();
  fs::resize_file(m_Path, fs::file_size(m_Path) / 2);
  std::string const Content = ReadFile(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path), m_Path +
                                        " is damaged: database disk image is malformed; "
                                        "restore a backup, nothing was changed");
  EXPECT_EQ(ReadFile(m_Path), Content);
}

TEST_F(PropertyDatabaseOpening, RefusesADamagedPage) {
  MakeDatabase();
  std::string Content = ReadFile(m_Path);
  ASSERT_GT(Content.size(), 8U * 4096);
  std::fill_n(Content.begin() + 7 * 4096, 4096, '\x5a');
  WriteFile(m_Path, Content);
  std::string Finding = QuerySQL(m_Path, "PRAGMA quick_check(1)");
  std::replace(Finding.begin(), Finding.end(), '\n', ' ');
  ASSERT_NE(Finding, "ok");

  EXPECT_EQ(OpeningMessage(m_Path),
            m_Path + " is damaged: " + Finding + "; restore a backup, nothing was changed");
  EXPECT_EQ(ReadFile(m_Path), Content);
}

TEST_F(PropertyDatabaseOpening, RefusesALogWhoseFileIsMissing) {
  MakeDatabase();
  WriteFile(m_Path + "-wal", "log");
  fs::remove(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path),
            m_Path + " is damaged: it is missing or empty, but its log " + m_Path +
                "-wal is not; restore a backup or, to begin with no values, remove the log, "
                "nothing was changed");
  EXPECT_EQ(ReadFile(m_Path + "-wal"), "log");
}

TEST_F(PropertyDatabaseOpening, RefusesToLoadAKeyThatItNeverWrites) {
  MakeDatabase();
  RunSQL(m_Path, "INSERT INTO property_value VALUES(1, 0, 0, 'aa:bb', 'x', 0, 1)");
  TCPropertyDatabase const Database(m_Path);

  EXPECT_EQ(MessageOf([&] { Values(Database); }),
            m_Path +
                " is damaged: property 1 has the impossible link 0,0 or MAC \"aa:bb\"; "
                "restore a backup, nothing was changed");
}

TEST_F(PropertyDatabaseOpening, RefusesASecondOpenerOfANewFile) {
  TCPropertyDatabase const First(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path), "cannot open " + m_Path +
                                        ": another process uses it; stop that process, or "
                                        "choose another file");
}

TEST_F(PropertyDatabaseOpening, RefusesASecondOpenerOfAnOldFile) {
  MakeDatabase();
  TCPropertyDatabase First(m_Path);

  EXPECT_EQ(OpeningMessage(m_Path), "cannot open " + m_Path +
                                        ": another process uses it; stop that process, or "
                                        "choose another file");
  Store(First, {5000, TCRecordID(), TCMACAddress(), "still at work"});
  EXPECT_EQ(Values(First).back(), "5000/-/=still at work");
}

TEST_F(PropertyDatabaseOpening, OpensAFileAgainThatWasRefusedToASecondOpener) {
  {
    TCPropertyDatabase const First(m_Path);
    OpeningMessage(m_Path);
  }

  EXPECT_THAT(Values(TCPropertyDatabase(m_Path)), IsEmpty());
}

TEST_F(PropertyDatabaseOpening, MakesFilesForTheirOwnerOnly) {
  mode_t const Former = umask(0);

  TCPropertyDatabase const Database(m_Path);

  umask(Former);
  for (char const* Suffix : {"", "-wal"}) {
    EXPECT_EQ(fs::status(m_Path + Suffix).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << Suffix;
  }
}

TEST_F(PropertyDatabaseOpening, TakesExistingFilesFromOthers) {
  std::string Left;
  {
    TCPropertyDatabase const Database(m_Path);
    Left = CopyAsLeft("left");
  }
  for (char const* Suffix : {"", "-wal"}) {
    ASSERT_EQ(chmod((Left + Suffix).c_str(), 0664), 0);
  }

  TCPropertyDatabase const Database(Left);

  for (char const* Suffix : {"", "-wal"}) {
    EXPECT_EQ(fs::status(Left + Suffix).permissions(),
              fs::perms::owner_read | fs::perms::owner_write)
        << Suffix;
  }
}
