// SPDX-License-Identifier: MIT
// A database whose files are removed, moved or replaced while it is open.
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/unit/PropertyServer/MovedDatabaseFixture.h"

using Property::TCPropertyDatabase;
using ::testing::AnyOf;
using ::testing::ElementsAre;
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
