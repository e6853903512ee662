// SPDX-License-Identifier: MIT
// A database in whose place another file stands.
#include <gmock/gmock.h>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/MovedDatabaseFixture.h"

using Property::TCPropertyDatabase;
using ::testing::ElementsAre;

namespace fs = std::filesystem;

TEST_F(PropertyDatabaseMoved, StoresNothingBesideAnotherDatabase) {
  Replace();

  EXPECT_EQ(StoringMessage(), ReplacedMessage());
  EXPECT_EQ(StoringMessage(), ReplacedMessage());

  EXPECT_THAT(Values(*m_Database), ElementsAre("1/-/=a"));
  EXPECT_THAT(ValuesAfterKill(), ElementsAre("7/-/=other"));
  m_Database.reset();
  ExpectOtherUntouched();
}

TEST_F(PropertyDatabaseMoved, MixesItsLogWithNoOtherDatabaseWhenItIsClosed) {
  Replace();

  m_Database.reset();

  ExpectOtherUntouched();
  EXPECT_THAT(ValuesAfterKill(), ElementsAre("7/-/=other"));
}

TEST_F(PropertyDatabaseMoved, StoresNothingBesideGarbage) {
  WriteFile(m_Other, std::string(5000, 'x'));
  fs::copy_file(m_Other, m_Folder / "replacing.db");
  fs::rename(m_Folder / "replacing.db", m_File);

  EXPECT_EQ(StoringMessage(), ReplacedMessage());
  m_Database.reset();
  ExpectOtherUntouched();
}

TEST_F(PropertyDatabaseMoved, StoresNothingBesideAnOlderCopyOfItself) {
  TCPropertyDatabase::WriteCopy(m_Database->Copy(), m_Other);
  Store(1, "newer");
  fs::copy_file(m_Other, m_Folder / "replacing.db");
  fs::rename(m_Folder / "replacing.db", m_File);

  EXPECT_EQ(StoringMessage(), ReplacedMessage());

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a"));
  m_Database.reset();
  ExpectOtherUntouched();
}

TEST_F(PropertyDatabaseMoved, StoresNothingBesideALinkThatLeadsNowhere) {
  fs::remove(m_File);
  fs::create_symlink("nowhere", m_File);

  EXPECT_EQ(StoringMessage(), ReplacedMessage());
  EXPECT_TRUE(fs::is_symlink(m_File));
}

TEST_F(PropertyDatabaseMoved, StoresNothingWhereItsFileCanNotBeLookedAt) {
  fs::remove(m_File);
  fs::create_symlink("values.db", m_File);

  EXPECT_EQ(StoringMessage(),
            "cannot store in " + m_File +
                ": its file can not be looked at (Too many levels of symbolic links); put that "
                "right, and storing goes on; property-server --backup saves what is held");
}

TEST_F(PropertyDatabaseMoved, CanBeCopiedWhileAnotherFileIsInItsPlace) {
  Replace();
  EXPECT_EQ(StoringMessage(), ReplacedMessage());
  std::string const Copy = m_Folder / "copy.db";

  TCPropertyDatabase::WriteCopy(m_Database->Copy(), Copy);

  EXPECT_THAT(Values(TCPropertyDatabase(Copy)), ElementsAre("1/-/=a"));
}

TEST_F(PropertyDatabaseMoved, IsWrittenAnewWhenTheOtherFileIsTakenAway) {
  Replace();
  EXPECT_EQ(StoringMessage(), ReplacedMessage());
  fs::remove(m_File);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, GoesOnWhenItsOwnFileIsBack) {
  fs::rename(m_File, m_Folder / "away.db");
  Replace();
  EXPECT_EQ(StoringMessage(), ReplacedMessage());
  fs::rename(m_Folder / "away.db", m_File);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
  EXPECT_EQ(fs::file_size(m_Log), std::uintmax_t{4} << 20);
}

TEST_F(PropertyDatabaseMoved, NoticesNothingOfAFileThatWasAwayBetweenTwoChanges) {
  fs::rename(m_File, m_Folder / "away.db");
  fs::rename(m_Folder / "away.db", m_File);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, LeavesAFileThatWasMovedAwayWhole) {
  fs::create_directory(m_Folder / "away");
  fs::rename(m_File, m_Folder / "away/values.db");
  fs::rename(m_Log, m_Folder / "away/values.db-wal");

  Store(2, "b");

  EXPECT_THAT(Values(TCPropertyDatabase(m_Folder / "away/values.db")), ElementsAre("1/-/=a"));
  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, StoresNothingWhileItsFolderIsAway) {
  std::string const Message =
      "cannot store in " + m_File +
      ": its folder is gone, or another one is in its place; bring the former one back, and "
      "storing goes on; property-server --backup saves what is held";
  fs::rename(m_Home, m_Folder / "away");
  EXPECT_EQ(StoringMessage(), Message);
  fs::create_directory(m_Home);
  EXPECT_EQ(StoringMessage(), Message);
  EXPECT_TRUE(fs::is_empty(m_Home));
  fs::remove(m_Home);
  fs::rename(m_Folder / "away", m_Home);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, LeavesAnotherFileInThePlaceOfItsLogAlone) {
  std::string const Message =
      "cannot store in " + m_File + ": another file is in the place of its log " + m_Log +
      "; take that away, and storing goes on; property-server --backup saves what is held";
  fs::remove(m_Log);
  WriteFile(m_Log, "other");
  EXPECT_EQ(StoringMessage(), Message);
  fs::remove(m_File);
  EXPECT_EQ(StoringMessage(), Message);
  m_Database.reset();

  EXPECT_EQ(ReadFile(m_Log), "other");
  EXPECT_FALSE(fs::exists(m_File));
}
