// SPDX-License-Identifier: MIT
// A database whose files are removed, moved or replaced while it is open.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <optional>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

using Property::TCPropertyDatabase;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

bool g_CanRename = true;  // without replacing; not every file system can
std::function<void()> g_BeforeRenaming;

}  // namespace

// In place of the system's.
extern "C" int renameat2(int FromFolder, char const* From, int ToFolder, char const* To,
                         unsigned Flags) noexcept {
  if (g_BeforeRenaming) {
    g_BeforeRenaming();
  }
  if (!g_CanRename) {
    errno = EINVAL;
    return -1;
  }
  return static_cast<int>(syscall(SYS_renameat2, FromFolder, From, ToFolder, To, Flags));
}

class PropertyDatabaseMoved : public DatabaseFixture {
 protected:
  PropertyDatabaseMoved() {
    DiskFaults::Install();
    fs::create_directory(m_Home);
    m_Database.emplace(m_File);
    Store(1, "a");
  }

  void Store(int Number, std::string const& Data) {
    DatabaseFixture::Store(*m_Database, {Number, {}, {}, Data});
  }
  std::string StoringMessage() {
    return MessageOf([this] { Store(2, "b"); });
  }
  void StoreEntry(std::uint64_t Turn) {
    Property::TSHistoryEntry Entry;
    Entry.Transaction = Turn;
    Entry.Number = 2;
    Entry.To = "b";
    TCPropertyDatabase::TCTransaction Transaction(*m_Database);
    Note(Transaction, {Entry}, {}, 0);
    if (m_BeforeCommit) {
      m_BeforeCommit();
    }
    Transaction.Commit();
  }

  /// What the server would find at its next start if it were killed now.
  std::string CopyOfNow(std::string const& Name = "left") const {
    fs::path const Folder = m_Folder / Name;
    fs::create_directory(Folder);
    for (char const* Suffix : {"", "-wal", "-journal"}) {
      if (fs::exists(m_File + Suffix)) {
        fs::copy_file(m_File + Suffix, (Folder / "values.db").string() + Suffix);
      }
    }
    return Folder / "values.db";
  }
  std::vector<std::string> ValuesAfterKill() const {
    return Values(TCPropertyDatabase(CopyOfNow()));
  }

  /// A database that is somebody else's takes the place of the file.
  void Replace() const {
    {
      TCPropertyDatabase Other(m_Other);
      DatabaseFixture::Store(Other, {7, {}, {}, "other"});
    }
    fs::copy_file(m_Other, m_Folder / "replacing.db");
    fs::rename(m_Folder / "replacing.db", m_File);
  }
  std::string ReplacedMessage() const {
    return "cannot store in " + m_File +
           ": another file is in its place; take that away, or bring the former one back, and "
           "storing goes on; property-server --backup saves what is held";
  }
  void ExpectOtherUntouched() const { EXPECT_TRUE(ReadFile(m_File) == ReadFile(m_Other)); }

  fs::path const m_Home = m_Folder / "home";
  std::string const m_File = m_Home / "values.db";
  std::string const m_Log = m_File + "-wal";
  std::string const m_Other = m_Folder / "other.db";
  std::optional<TCPropertyDatabase> m_Database;
  std::function<void()> m_BeforeCommit;
};

TEST_F(PropertyDatabaseMoved, IsWrittenAnewWhenItsFileIsRemoved) {
  fs::remove(m_File);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
  Store(3, "c");
  m_Database.reset();
  EXPECT_THAT(Values(TCPropertyDatabase(m_File)), ElementsAre("1/-/=a", "2/-/=b", "3/-/=c"));
}

TEST_F(PropertyDatabaseMoved, IsWrittenAnewWhenFileAndLogAreRemoved) {
  fs::remove(m_File);
  fs::remove(m_Log);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, IsWrittenAnewWhenItIsRemovedDuringATransaction) {
  m_BeforeCommit = [this] { fs::remove(m_File); };

  StoreEntry(1);

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
  EXPECT_THAT(m_Database->ReadHistory(10), SizeIs(1));
}

TEST_F(PropertyDatabaseMoved, IsWrittenAnewAsOftenAsItIsRemoved) {
  for (int Number = 2; Number < 6; ++Number) {
    fs::remove(m_File);
    Store(Number, "x");
  }

  EXPECT_THAT(ValuesAfterKill(), SizeIs(5));
}

TEST_F(PropertyDatabaseMoved, KeepsHistorySendersAndCounters) {
  StoreEntry(4);
  {
    TCPropertyDatabase::TCTransaction Transaction(*m_Database);
    Transaction.RememberMail({1, "sender"}, 7);
    Transaction.SetMeta("sequence", 9);
    Transaction.Commit();
  }
  fs::remove(m_File);

  StoreEntry(5);

  TCPropertyDatabase const Left(CopyOfNow());
  EXPECT_EQ(Left.LastMail({1, "sender"}), 7U);
  EXPECT_EQ(Left.Meta("sequence"), 9U);
  EXPECT_EQ(Left.get_LastTransaction(), 5U);
  EXPECT_THAT(Left.ReadHistory(10), SizeIs(2));
}

TEST_F(PropertyDatabaseMoved, IsForItsOwnerOnlyWhenWrittenAnew) {
  fs::remove(m_File);

  Store(2, "b");

  EXPECT_EQ(fs::status(m_File).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(m_Log).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(PropertyDatabaseMoved, HasItsWholeLogWhenWrittenAnew) {
  fs::remove(m_File);

  Store(2, "b");

  EXPECT_EQ(fs::file_size(m_Log), std::uintmax_t{4} << 20);
}

TEST_F(PropertyDatabaseMoved, IsWrittenAnewBehindALink) {
  std::string const Link = m_Folder / "link.db";
  m_Database.reset();
  fs::create_symlink(m_File, Link);
  m_Database.emplace(Link);
  fs::remove(m_File);

  Store(2, "b");

  EXPECT_TRUE(fs::is_symlink(Link));
  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, IsWrittenAnewWhereNoFileIsRenamedWithoutReplacing) {
  g_CanRename = false;
  fs::remove(m_File);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
  EXPECT_EQ(std::distance(fs::directory_iterator(m_Home), {}), 2);
}

TEST_F(PropertyDatabaseMoved, ReplacesNothingThatComesAtThatMoment) {
  for (bool const CanRename : {true, false}) {
    g_CanRename = CanRename;
    g_BeforeRenaming = [this] { WriteFile(m_File, "other"); };
    fs::remove(m_File);
    EXPECT_EQ(StoringMessage(), "cannot write " + m_File + ": File exists");
    g_BeforeRenaming = nullptr;
    EXPECT_EQ(StoringMessage(), ReplacedMessage());

    EXPECT_EQ(ReadFile(m_File), "other");
    EXPECT_EQ(std::distance(fs::directory_iterator(m_Home), {}), 2);
  }
}

TEST_F(PropertyDatabaseMoved, IsNotOpenedWhenItIsRemovedAtThatMoment) {
  m_Database.reset();
  DiskFaults::Watch([this](DiskFaults::TSOperation const& Operation) {
    if (Operation.Kind == DiskFaults::TEOperation::eRead && fs::exists(m_Log)) {
      fs::remove(m_File);
    }
    return SQLITE_OK;
  });
  std::string const Message = OpeningMessage(m_File);
  DiskFaults::Watch(nullptr);

  EXPECT_EQ(Message,
            "cannot open " + m_File + ": it was removed or replaced at that moment; try again");
}

TEST_F(PropertyDatabaseMoved, GetsANewLogWhenThatIsRemoved) {
  fs::remove(m_Log);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
  Store(3, "c");
  m_Database.reset();
  EXPECT_THAT(Values(TCPropertyDatabase(m_File)), SizeIs(3));
}

TEST_F(PropertyDatabaseMoved, LosesNothingWhenItIsKilledWhileItGetsANewLog) {
  m_Database->EmptyLog();
  fs::remove(m_Log);
  int Moments = 0;
  DiskFaults::Watch([&](DiskFaults::TSOperation const&) {
    CopyOfNow("moment " + std::to_string(++Moments));
    return SQLITE_OK;
  });
  Store(2, "b");
  DiskFaults::Watch(nullptr);

  ASSERT_GT(Moments, 10);
  for (int Moment = 1; Moment <= Moments; ++Moment) {
    std::string const Left = m_Folder / ("moment " + std::to_string(Moment)) / "values.db";
    EXPECT_THAT(Values(TCPropertyDatabase(Left)),
                AnyOf(ElementsAre("1/-/=a"), ElementsAre("1/-/=a", "2/-/=b")));
  }
  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, StoresNothingWhileItCanNotHaveANewLog) {
  fs::remove(m_Log);
  DiskFaults::BreakDisk();
  std::string const Message = StoringMessage();
  DiskFaults::Repair();
  EXPECT_EQ(Message,
            "cannot copy the removed log into " + m_File + ": disk I/O error (SQLite error 1034)");
  DiskFaults::Watch([](DiskFaults::TSOperation const& Operation) {
    return Operation.Kind == DiskFaults::TEOperation::eCreate ? SQLITE_CANTOPEN : SQLITE_OK;
  });
  EXPECT_THAT(StoringMessage(), StartsWith("cannot open " + m_File + ": "));
  DiskFaults::Watch(nullptr);

  Store(2, "b");

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, GetsANewLogWhenThatIsRemovedDuringATransaction) {
  m_BeforeCommit = [this] { fs::remove(m_Log); };

  StoreEntry(1);

  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}

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

TEST_F(PropertyDatabaseMoved, NotesAChangeOnceWhoseStoringWasInDoubt) {
  m_BeforeCommit = [this] { Replace(); };
  EXPECT_EQ(MessageOf([this] { StoreEntry(1); }), ReplacedMessage());
  m_BeforeCommit = nullptr;
  fs::remove(m_File);

  StoreEntry(1);

  EXPECT_THAT(m_Database->ReadHistory(10), SizeIs(1));
  StoreEntry(2);
  EXPECT_THAT(TCPropertyDatabase(CopyOfNow()).ReadHistory(10), SizeIs(2));
}

TEST_F(PropertyDatabaseMoved, LosesNothingWhenItIsKilledWhileItIsWrittenAnew) {
  Store(1, std::string(20000, 'x'));
  fs::remove(m_File);
  int Moments = 0;
  DiskFaults::Watch([&](DiskFaults::TSOperation const&) {
    if (fs::exists(m_File)) {
      CopyOfNow("moment " + std::to_string(++Moments));
    }
    return SQLITE_OK;
  });
  Store(2, "b");
  DiskFaults::Watch(nullptr);
  CopyOfNow("moment " + std::to_string(++Moments));

  ASSERT_GT(Moments, 5);
  std::string const Old = "1/-/=" + std::string(20000, 'x');
  for (int Moment = 1; Moment <= Moments; ++Moment) {
    std::string const Left = m_Folder / ("moment " + std::to_string(Moment)) / "values.db";
    EXPECT_THAT(Values(TCPropertyDatabase(Left)),
                AnyOf(ElementsAre(Old), ElementsAre(Old, "2/-/=b")));
  }
  EXPECT_THAT(ValuesAfterKill(), ElementsAre(Old, "2/-/=b"));
}

TEST_F(PropertyDatabaseMoved, IsWrittenAnewWhenTheDiskHasRoomAgain) {
  rlimit Former{};
  getrlimit(RLIMIT_FSIZE, &Former);
  std::signal(SIGXFSZ, SIG_IGN);
  fs::remove(m_File);
  rlimit const Small{1000, Former.rlim_max};
  setrlimit(RLIMIT_FSIZE, &Small);
  std::string const Message = StoringMessage();
  setrlimit(RLIMIT_FSIZE, &Former);

  EXPECT_EQ(Message, "cannot write " + m_File + ": File too large");
  EXPECT_FALSE(fs::exists(m_File));
  Store(2, "b");
  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
  EXPECT_EQ(std::distance(fs::directory_iterator(m_Home), {}), 2);
}

TEST_F(PropertyDatabaseMoved, GoesOnWithANewFileThatCouldNotBeOpenedAtFirst) {
  fs::remove(m_File);
  DiskFaults::Watch([](DiskFaults::TSOperation const& Operation) {
    return Operation.Kind == DiskFaults::TEOperation::eCreate ? SQLITE_CANTOPEN : SQLITE_OK;
  });
  std::string const Message = StoringMessage();
  DiskFaults::Watch(nullptr);

  EXPECT_THAT(Message, StartsWith("cannot open " + m_File + ": "));
  Store(2, "b");
  EXPECT_THAT(ValuesAfterKill(), ElementsAre("1/-/=a", "2/-/=b"));
}
