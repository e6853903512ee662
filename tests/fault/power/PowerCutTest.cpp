// SPDX-License-Identifier: MIT
// The power fails before, in and after every single operation on the disk.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <utility>

#include "PropertyServer/TCPropertyDatabase.h"
#include "tests/fault/power/TCPowerCut.h"
#include "tests/fault/power/Workload.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

using DiskFaults::TEOperation;
using Property::TCPropertyDatabase;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

class PowerCut : public DatabaseFixture {
 protected:
  /// What the database holds from the operation with number `Since` on, as it was acknowledged.
  struct TSState {
    std::size_t Since;
    std::string Content;
  };

  PowerCut() {
    DiskFaults::Install();
    DiskFaults::SkipSyncs();
  }

  /// From now on each operation on the disk is recorded. The files that are there count as synced.
  void Record() {
    m_Initial = ReadFiles(m_Folder);
    DiskFaults::Watch([this](DiskFaults::TSOperation const& Operation) {
      if (Operation.Kind != TEOperation::eRead) {
        m_Operations.push_back({Operation.Kind, Operation.File, Operation.Place,
                                std::string(Operation.Data), Operation.SyncsFolder});
      }
      return 0;
    });
  }

  void Acknowledge(std::string const& Content) {
    m_States.push_back({m_Operations.size(), Content});
  }

  void Run(TCPropertyDatabase& Database, int FirstTurn, int LastTurn) {
    for (int Turn = FirstTurn; Turn <= LastTurn; ++Turn) {
      TCPropertyDatabase::TCTransaction Transaction(Database);
      Workload::Fill(Transaction, Turn);
      Transaction.Commit();
      Acknowledge(Workload::Dump(Database));
    }
  }

  /// Cuts the power at every operation that was recorded, in each way; at every `Shares`th one,
  /// beginning with number `Share`, when others do the rest.
  void CutEverywhere(std::size_t Share = 0, std::size_t Shares = 1) {
    DiskFaults::Watch(nullptr);
    TCPowerCut Disk(m_Initial);
    std::mt19937 Random(4711);
    int CheckedSync = -1;
    for (std::size_t Number = 0; Number < m_Operations.size() && !HasFailure(); ++Number) {
      bool const IsMine = Number % Shares == Share;
      if (IsMine && std::exchange(CheckedSync, Disk.get_SyncCount()) != Disk.get_SyncCount()) {
        Verify(Disk.Synced(), Number, "only what was synced is kept");
      }
      if (IsMine) {
        Verify(Disk.Written(), Number, "everything written is kept");
      }
      Disk.Do(m_Operations[Number]);
      if (IsMine) {
        Verify(Disk.Torn(Random), Number, "a part is kept");
      }
    }
    std::printf("%zu operations on the disk, %d states of it after a power cut\n",
                m_Operations.size(), m_Cuts);
    RecordProperty("operations", static_cast<int>(m_Operations.size()));
    RecordProperty("cuts", m_Cuts);
  }

  int Count(TEOperation Kind, std::string const& File) const {
    return static_cast<int>(std::count_if(
        m_Operations.begin(), m_Operations.end(),
        [&](auto const& Operation) { return Operation.Kind == Kind && Operation.File == File; }));
  }

 private:
  static TFiles ReadFiles(fs::path const& Folder) {
    TFiles Files;
    for (fs::directory_entry const& Entry : fs::directory_iterator(Folder)) {
      if (Entry.is_regular_file()) {
        Files[Entry.path().filename().string()] = ReadFile(Entry.path().string());
      }
    }
    return Files;
  }

  /// What was acknowledged before operation `Number` is there, and nothing of what came later but
  /// the transaction at work.
  void Verify(TFiles const& Files, std::size_t Number, char const* Kind) {
    SCOPED_TRACE("power cut at operation " + std::to_string(Number) + ", " + Kind);
    ++m_Cuts;
    std::string const Path = MakeFiles(Files);
    try {
      bool const IsChecked = VerifySchema(Path);
      VerifyContent(Path, Number);
      if (!IsChecked) {
        EXPECT_THAT(TCPropertyDatabase::Check(Path), HasSubstr(" is sound: schema 1, "));
      }
    } catch (TCException const& Error) {
      ADD_FAILURE() << Error.get_Message();
    }
  }

  /// Gives a folder of its own these files; returns the database's path.
  std::string MakeFiles(TFiles const& Files) const {
    fs::path const Folder = m_Folder / "cut";
    fs::create_directory(Folder);
    for (fs::directory_entry const& Entry : fs::directory_iterator(Folder)) {
      if (Files.count(Entry.path().filename().string()) == 0) {
        fs::remove(Entry.path());
      }
    }
    for (auto const& [Name, Content] : Files) {
      WriteFile(Folder / Name, Content);
    }
    return Folder / "values.db";
  }

  /// False when the schema can only be checked after opening.
  static bool VerifySchema(std::string const& Path) {
    if (!fs::exists(Path) || fs::file_size(Path) == 0 || fs::exists(Path + "-journal")) {
      return false;
    }
    EXPECT_THAT(TCPropertyDatabase::Check(Path), HasSubstr(": schema 1, "));
    return true;
  }

  void VerifyContent(std::string const& Path, std::size_t Number) {
    while (m_Reached + 1 < m_States.size() && m_States[m_Reached + 1].Since <= Number) {
      ++m_Reached;
    }
    std::string const Content = Workload::Dump(TCPropertyDatabase(Path));
    std::string const& Acknowledged = m_States[m_Reached].Content;
    std::string const& AtWork =
        m_Reached + 1 < m_States.size() ? m_States[m_Reached + 1].Content : Acknowledged;
    EXPECT_TRUE(Content == Acknowledged || Content == AtWork) << Content.substr(0, 1000);
  }

  TFiles m_Initial;
  std::vector<TSDiskOperation> m_Operations;
  std::vector<TSState> m_States;
  std::size_t m_Reached = 0;
  int m_Cuts = 0;
};

class PowerCutInUse : public PowerCut, public ::testing::WithParamInterface<std::size_t> {};

constexpr std::size_t kShares = 4;

TEST_P(PowerCutInUse, LosesNothingThatWasAcknowledged) {
  MakeWithSmallPages(m_Path);
  Record();
  {
    TCPropertyDatabase Database(m_Path, Workload::kUnmoved);
    Acknowledge(Workload::Dump(Database));
    Run(Database, 1, 130);
    ASSERT_GT(Count(TEOperation::eSync, "values.db"), 0) << "the log was never copied";
  }
  ASSERT_EQ(Count(TEOperation::eDelete, "values.db-wal"), 1);
  TCPropertyDatabase Database(m_Path, Workload::kUnmoved);
  Run(Database, 131, 150);

  CutEverywhere(GetParam(), kShares);
}

INSTANTIATE_TEST_SUITE_P(Shares, PowerCutInUse, ::testing::Range(std::size_t{0}, kShares));

TEST_F(PowerCut, LosesNothingWhileADatabaseIsMade) {
  std::string const Empty = Workload::Dump(TCPropertyDatabase(m_Path));
  fs::remove(m_Path);
  Record();
  Acknowledge(Empty);
  TCPropertyDatabase Database(m_Path, Workload::kUnmoved);
  Acknowledge(Workload::Dump(Database));
  Run(Database, 1, 10);

  CutEverywhere();
}

TEST_F(PowerCut, LosesNothingWhileALargeLogIsCutBack) {
  TCPropertyDatabase Database(m_Path, Workload::kUnmoved);
  TCPropertyDatabase::TCTransaction Transaction(Database);
  Transaction.Put({60, {}, {}, std::string(std::size_t{4} << 20, 'x')}, {});
  Transaction.Commit();
  Record();
  Acknowledge(Workload::Dump(Database));
  Run(Database, 1, 1);
  ASSERT_EQ(Count(TEOperation::eTruncate, "values.db-wal"), 1);

  CutEverywhere();
}

TEST_F(PowerCut, LosesNothingWhileTheLogIsReserved) {
  TCPropertyDatabase Database(m_Path, Workload::kUnmoved);
  Record();
  Acknowledge(Workload::Dump(Database));
  Run(Database, 1, 3);
  Database.ReserveLog();
  Run(Database, 4, 6);

  CutEverywhere();
}

TEST_F(PowerCut, LosesNothingWhileHistoryIsGivenUp) {
  TCPropertyDatabase Database(m_Path, Workload::kUnmoved);
  Run(Database, 1, 14);
  Record();
  Acknowledge(Workload::Dump(Database));
  while (Database.GiveUpHistory()) {
    Acknowledge(Workload::Dump(Database));
  }
  ASSERT_THAT(Database.ReadHistory(1), IsEmpty());
  Run(Database, 15, 17);

  CutEverywhere();
}

TEST_F(PowerCut, LosesNothingWhilePropertiesBecomeSecret) {
  TCPropertyDatabase Database(m_Path, Workload::kUnmoved);
  Database.ReserveLog();
  Run(Database, 1, 20);
  Record();
  Acknowledge(Workload::Dump(Database));
  Database.HideTexts({{10, 30}});
  Acknowledge(Workload::Dump(Database));
  Database.EraseHiddenTexts();
  Run(Database, 21, 23);
  Database.ReserveLog();
  Run(Database, 24, 26);

  CutEverywhere();
}
