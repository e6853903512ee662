// SPDX-License-Identifier: MIT
// SQLite with a write-ahead log and prepared statements, in one process.
#include <sqlite3.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"

namespace {

class TCDatabase {
 public:
  TCDatabase(std::string const& File, std::string const& Synchronous) {
    if (sqlite3_open(File.c_str(), &m_Database) != SQLITE_OK) {
      throw std::runtime_error("cannot open " + File);
    }
    Execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=" + Synchronous +
            "; CREATE TABLE IF NOT EXISTS Properties(Name TEXT PRIMARY KEY, Value TEXT)"
            " WITHOUT ROWID");
  }
  TCDatabase(TCDatabase const&) = delete;
  TCDatabase& operator=(TCDatabase const&) = delete;
  ~TCDatabase() { sqlite3_close(m_Database); }

  void Execute(std::string const& Statements) const {
    Check(sqlite3_exec(m_Database, Statements.c_str(), nullptr, nullptr, nullptr));
  }

  void Check(int Result) const {
    if (Result != SQLITE_OK && Result != SQLITE_DONE && Result != SQLITE_ROW) {
      throw std::runtime_error(sqlite3_errmsg(m_Database));
    }
  }

  sqlite3* get_Handle() const { return m_Database; }

 private:
  sqlite3* m_Database = nullptr;
};

class TCStatement {
 public:
  TCStatement(TCDatabase const& Database, char const* Text) : m_Database(Database) {
    Database.Check(sqlite3_prepare_v2(Database.get_Handle(), Text, -1, &m_Statement, nullptr));
  }
  TCStatement(TCStatement const&) = delete;
  TCStatement& operator=(TCStatement const&) = delete;
  ~TCStatement() { sqlite3_finalize(m_Statement); }

  void Bind(int Place, std::string const& Text) const {
    m_Database.Check(sqlite3_bind_text(m_Statement, Place, Text.data(),
                                       static_cast<int>(Text.size()), SQLITE_TRANSIENT));
  }

  // Whether there is another row.
  bool Step() const {
    int const Result = sqlite3_step(m_Statement);
    m_Database.Check(Result);
    return Result == SQLITE_ROW;
  }

  std::string FirstColumn() const {
    auto const* const Text = reinterpret_cast<char const*>(sqlite3_column_text(m_Statement, 0));
    return {Text, static_cast<std::size_t>(sqlite3_column_bytes(m_Statement, 0))};
  }

  void Run() const {
    Step();
    Reset();
  }

  void Reset() const { sqlite3_reset(m_Statement); }

 private:
  TCDatabase const& m_Database;
  sqlite3_stmt* m_Statement = nullptr;
};

void Fill(std::string const& File, int Size) {
  TCDatabase const Database(File, "NORMAL");
  TCStatement const Insert(Database, "INSERT INTO Properties VALUES(?1, ?2)");
  Database.Execute("BEGIN");
  for (int Index = 0; Index < Size; ++Index) {
    Insert.Bind(1, Benchmark::KeyName(Index));
    Insert.Bind(2, Benchmark::ValueText(Index));
    Insert.Run();
  }
  Database.Execute("COMMIT; PRAGMA wal_checkpoint(TRUNCATE)");
}

// Opens the database and reads every value.
double LoadMilliseconds(std::string const& File, int Size) {
  auto const Begin = Benchmark::TClock::now();
  TCDatabase const Database(File, "NORMAL");
  TCStatement const Select(Database, "SELECT Value FROM Properties");
  int Rows = 0;
  while (Select.Step()) {
    Rows += Select.FirstColumn().empty() ? 0 : 1;
  }
  double const Time = Benchmark::MicrosecondsSince(Begin) / 1000;
  if (Rows != Size) {
    throw std::runtime_error("a load has not found all rows");
  }
  return Time;
}

void MeasureRead(std::string const& File, int Size, int Calls) {
  TCDatabase const Database(File, "NORMAL");
  TCStatement const Select(Database, "SELECT Value FROM Properties WHERE Name=?1");
  auto const Order = Benchmark::ShuffledIndices(Size);
  auto const Read = [&](int Call) {
    Select.Bind(1, Benchmark::KeyName(Order[static_cast<std::size_t>(Call % Size)]));
    if (!Select.Step() || Select.FirstColumn().empty()) {
      throw std::runtime_error("a row is missing");
    }
    Select.Reset();
  };
  Benchmark::Report({"sqlite", "read", "", "us", Size}, Benchmark::TimeCalls(Calls, Read));
}

void MeasureWrites(std::string const& File, int Size, std::string const& Setting, int Calls) {
  TCDatabase const Database(File, Setting);
  TCStatement const Begin(Database, "BEGIN IMMEDIATE");
  TCStatement const Commit(Database, "COMMIT");
  TCStatement const Update(Database, "UPDATE Properties SET Value=?2 WHERE Name=?1");
  auto const Order = Benchmark::ShuffledIndices(Size);
  int Writes = 0;
  auto const Write = [&](int) {
    Update.Bind(1, Benchmark::KeyName(Order[static_cast<std::size_t>(Writes++ % Size)]));
    Update.Bind(2, Benchmark::ValueText(Writes));
    Update.Run();
  };
  auto const Transaction = [&](int) {
    Begin.Run();
    for (int Part = 0; Part < Benchmark::kTransactionSize; ++Part) {
      Write(Part);
    }
    Commit.Run();
  };
  Benchmark::Report({"sqlite", "write", Setting, "us", Size}, Benchmark::TimeCalls(Calls, Write));
  Benchmark::Report({"sqlite", "transaction_100", Setting, "us", Size},
                    Benchmark::TimeCalls(Calls, Transaction));
}

void Measure(Benchmark::TSEffort const& Effort) {
  for (int const Size : Effort.m_Sizes) {
    Benchmark::TCPrivateFolder const Folder;
    std::string const File = Folder.get_Path() / "database";
    Fill(File, Size);
    Benchmark::ReportLoads("sqlite", Size, Effort.m_Loads,
                           [&] { return LoadMilliseconds(File, Size); });
    if (Size == Effort.m_Sizes.front()) {
      MeasureRead(File, Size, Effort.m_Calls);
      MeasureWrites(File, Size, "normal", Effort.m_Changes);
      MeasureWrites(File, Size, "full", Effort.m_Durable);
    }
  }
}

}  // namespace

int main(int ArgumentCount, char** Arguments) {
  return Benchmark::RunPeer(ArgumentCount, Arguments, "sqlite", Measure);
}
