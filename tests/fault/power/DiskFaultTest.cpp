// SPDX-License-Identifier: MIT
// Every single operation on the disk fails: once, or from then on until somebody notices.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <utility>
#include <vector>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/fault/power/Workload.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

using DiskFaults::TEOperation;
using Property::TCPropertyDatabase;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace {

struct TSFault {
  char const* Name;
  TEOperation Kind;
  int Result;
  bool Lasts;
};

void PrintTo(TSFault const& Fault, std::ostream* Stream) {
  *Stream << Fault.Name;
}

constexpr int kTurns = 12;

}  // namespace

class DiskFault : public DatabaseFixture, public ::testing::WithParamInterface<TSFault> {
 protected:
  DiskFault() {
    DiskFaults::Install();
    DiskFaults::SkipSyncs();
  }

  /// From the files that are there, the workload goes on with `FirstTurn`, once for each operation
  /// that can fail.
  void FailEverywhere(int FirstTurn = 1) {
    m_FirstTurn = FirstTurn;
    fs::copy(m_Folder / "start", m_Folder / "kept");
    RunWithoutFault();
    int Number = 0;
    while (RunWithFault(Number) && !HasFailure()) {
      ++Number;
    }
    std::printf("%d operations have failed, %d of them were noticed\n", Number, m_Noticed);
    RecordProperty("operations", Number);
    RecordProperty("noticed", m_Noticed);
  }

  std::string StartFile() const {
    fs::create_directory(m_Folder / "start");
    return m_Folder / "start" / "values.db";
  }

 private:
  void Restart() {
    m_Database.reset();
    for (fs::directory_entry const& Entry : fs::directory_iterator(m_Folder / "start")) {
      if (!fs::exists(m_Folder / "kept" / Entry.path().filename())) {
        fs::remove(Entry.path());
      }
    }
    fs::copy(m_Folder / "kept", m_Folder / "start",
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
  }

  void Open() {
    m_Database = std::make_unique<TCPropertyDatabase>(StartFile(), Workload::kUnmoved);
  }

  void Commit(int Turn) {
    TCPropertyDatabase::TCTransaction Transaction(*m_Database);
    Workload::Fill(Transaction, m_FirstTurn + Turn);
    Transaction.Commit();
  }

  void RunWithoutFault() {
    Restart();
    Open();
    m_Contents.push_back(Workload::Dump(*m_Database));
    for (int Turn = 0; Turn < kTurns; ++Turn) {
      Commit(Turn);
      m_Contents.push_back(Workload::Dump(*m_Database));
    }
  }

  /// False when there is no operation with this number.
  bool RunWithFault(int Number) {
    SCOPED_TRACE("operation " + std::to_string(Number) + " fails");
    Restart();
    bool Failed = false;
    DiskFaults::Watch([&, Count = 0](DiskFaults::TSOperation const& Operation) mutable {
      bool const Fails = Operation.Kind == GetParam().Kind &&
                         (GetParam().Lasts ? Count++ >= Number : Count++ == Number);
      Failed = Failed || Fails;
      return Fails ? GetParam().Result : SQLITE_OK;
    });
    Try([this] { Open(); });
    for (std::size_t Turn = 0; Turn < kTurns; ++Turn) {
      Try([&] { Commit(static_cast<int>(Turn)); }, Turn);
      if (Turn == kTurns / 2) {
        m_Database.reset();
        Try([this] { Open(); });
      }
    }
    m_Database.reset();
    DiskFaults::Watch(nullptr);
    EXPECT_THAT(TCPropertyDatabase::Check(StartFile()), HasSubstr(" is sound: schema 1, "));
    EXPECT_EQ(Workload::Dump(TCPropertyDatabase(StartFile())), m_Contents.back());
    return Failed;
  }

  /// Does it again when it fails, once the fault is gone. Until then the content with number
  /// `Content` stands.
  void Try(std::function<void()> const& Action, std::optional<std::size_t> Content = std::nullopt) {
    try {
      Action();
      return;
    } catch (TCException const& Error) {
      EXPECT_THAT(Error.get_Message(), StartsWith("cannot "));
    }
    ++m_Noticed;
    DiskFaults::Watch(nullptr);
    if (Content) {
      EXPECT_EQ(Workload::Dump(*m_Database), m_Contents[*Content]);
    }
    Action();
  }

  int m_FirstTurn = 0;
  std::vector<std::string> m_Contents;  // after the turns
  std::unique_ptr<TCPropertyDatabase> m_Database;
  int m_Noticed = 0;
};

TEST_P(DiskFault, IsSurvivedByANewDatabase) {
  StartFile();

  FailEverywhere();
}

TEST_P(DiskFault, IsSurvivedByADatabaseInUse) {
  {
    TCPropertyDatabase Database(StartFile(), Workload::kUnmoved);
    for (int Turn = 1; Turn <= kTurns; ++Turn) {
      TCPropertyDatabase::TCTransaction Transaction(Database);
      Workload::Fill(Transaction, Turn);
      Transaction.Commit();
    }
  }

  FailEverywhere(kTurns + 1);
}

TEST_P(DiskFault, IsSurvivedByACopy) {
  TCPropertyDatabase::WriteCopy(TCPropertyDatabase(m_Path).Copy(), StartFile());

  FailEverywhere();
}

TEST_P(DiskFault, IsSurvivedWhileTheLogIsCopied) {
  constexpr std::uintmax_t kNearlyFull = 32 + 900 * (512 + 24);
  MakeWithSmallPages(m_Path);
  int Turn = 1;
  {
    TCPropertyDatabase Database(m_Path);
    while (!fs::exists(m_Path + "-wal") || fs::file_size(m_Path + "-wal") < kNearlyFull) {
      TCPropertyDatabase::TCTransaction Transaction(Database);
      Workload::Fill(Transaction, Turn++);
      Transaction.Commit();
    }
    CopyAsLeft("start");
  }

  FailEverywhere(Turn);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, DiskFault,
    ::testing::Values(TSFault{"OneWriteToAFullDisk", TEOperation::eWrite, SQLITE_FULL, false},
                      TSFault{"WritesToAFullDisk", TEOperation::eWrite, SQLITE_FULL, true},
                      TSFault{"OneWrite", TEOperation::eWrite, SQLITE_IOERR_WRITE, false},
                      TSFault{"Writes", TEOperation::eWrite, SQLITE_IOERR_WRITE, true},
                      TSFault{"OneRead", TEOperation::eRead, SQLITE_IOERR_READ, false},
                      TSFault{"Reads", TEOperation::eRead, SQLITE_IOERR_READ, true},
                      TSFault{"OneSync", TEOperation::eSync, SQLITE_IOERR_FSYNC, false},
                      TSFault{"Syncs", TEOperation::eSync, SQLITE_IOERR_FSYNC, true},
                      TSFault{"Creation", TEOperation::eCreate, SQLITE_CANTOPEN, true},
                      TSFault{"Deletion", TEOperation::eDelete, SQLITE_IOERR_DELETE, true},
                      TSFault{"Truncation", TEOperation::eTruncate, SQLITE_IOERR_TRUNCATE, true}),
    [](auto const& Info) { return Info.param.Name; });
