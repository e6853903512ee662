// SPDX-License-Identifier: MIT
// LMDB, in one process.
#include <lmdb.h>

#include <stdexcept>
#include <string>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"

namespace {

constexpr std::size_t kMapSize = std::size_t{256} << 20U;

void Check(int Result) {
  if (Result != MDB_SUCCESS) {
    throw std::runtime_error(mdb_strerror(Result));
  }
}

MDB_val View(std::string const& Text) {
  return {Text.size(), const_cast<char*>(Text.data())};  // the library only reads it
}

class TCEnvironment {
 public:
  TCEnvironment(std::string const& File, unsigned Flags) {
    Check(mdb_env_create(&m_Environment));
    Check(mdb_env_set_mapsize(m_Environment, kMapSize));
    Check(mdb_env_open(m_Environment, File.c_str(), Flags | MDB_NOTLS | MDB_NOSUBDIR, 0600));
  }
  TCEnvironment(TCEnvironment const&) = delete;
  TCEnvironment& operator=(TCEnvironment const&) = delete;
  ~TCEnvironment() { mdb_env_close(m_Environment); }

  MDB_env* get_Handle() const { return m_Environment; }

 private:
  MDB_env* m_Environment = nullptr;
};

// Given up at the end of its life unless it was committed.
class TCTransaction {
 public:
  TCTransaction(TCEnvironment const& Environment, unsigned Flags) {
    Check(mdb_txn_begin(Environment.get_Handle(), nullptr, Flags, &m_Transaction));
    Check(mdb_dbi_open(m_Transaction, nullptr, 0, &m_Database));
  }
  TCTransaction(TCTransaction const&) = delete;
  TCTransaction& operator=(TCTransaction const&) = delete;
  ~TCTransaction() {
    if (m_Transaction != nullptr) {
      mdb_txn_abort(m_Transaction);
    }
  }

  void Put(std::string const& Key, std::string const& Value) {
    MDB_val KeyView = View(Key);
    MDB_val ValueView = View(Value);
    Check(mdb_put(m_Transaction, m_Database, &KeyView, &ValueView, 0));
  }

  std::string Get(std::string const& Key) const {
    MDB_val KeyView = View(Key);
    MDB_val Value;
    Check(mdb_get(m_Transaction, m_Database, &KeyView, &Value));
    return {static_cast<char const*>(Value.mv_data), Value.mv_size};
  }

  // How many values there are, each of which is copied.
  int ReadAll() const {
    MDB_cursor* Cursor = nullptr;
    Check(mdb_cursor_open(m_Transaction, m_Database, &Cursor));
    MDB_val Key;
    MDB_val Value;
    int Values = 0;
    while (mdb_cursor_get(Cursor, &Key, &Value, MDB_NEXT) == MDB_SUCCESS) {
      Values += std::string(static_cast<char const*>(Value.mv_data), Value.mv_size).empty() ? 0 : 1;
    }
    mdb_cursor_close(Cursor);
    return Values;
  }

  // For a reading transaction: gives up what it sees, and sees what is there now.
  void Pause() { mdb_txn_reset(m_Transaction); }
  void Continue() { Check(mdb_txn_renew(m_Transaction)); }

  void Commit() {
    MDB_txn* const Transaction = m_Transaction;
    m_Transaction = nullptr;
    Check(mdb_txn_commit(Transaction));
  }

 private:
  MDB_txn* m_Transaction = nullptr;
  MDB_dbi m_Database = 0;
};

void Fill(std::string const& File, int Size) {
  TCEnvironment const Environment(File, 0);
  TCTransaction Transaction(Environment, 0);
  for (int Index = 0; Index < Size; ++Index) {
    Transaction.Put(Benchmark::KeyName(Index), Benchmark::ValueText(Index));
  }
  Transaction.Commit();
}

// Opens the database and reads every value.
double LoadMilliseconds(std::string const& File, int Size) {
  auto const Begin = Benchmark::TClock::now();
  TCEnvironment const Environment(File, 0);
  int const Values = TCTransaction(Environment, MDB_RDONLY).ReadAll();
  double const Time = Benchmark::MicrosecondsSince(Begin) / 1000;
  if (Values != Size) {
    throw std::runtime_error("a load has not found all values");
  }
  return Time;
}

// Each read is a transaction of its own, as a reader that wants what is current needs it.
void MeasureRead(std::string const& File, int Size, int Batches) {
  TCEnvironment const Environment(File, 0);
  auto const Order = Benchmark::ShuffledIndices(Size);
  TCTransaction Transaction(Environment, MDB_RDONLY);
  Transaction.Pause();
  auto const Read = [&](int Call) {
    Transaction.Continue();
    if (Transaction.Get(Benchmark::KeyName(Order[static_cast<std::size_t>(Call % Size)])).empty()) {
      throw std::runtime_error("a value is empty");
    }
    Transaction.Pause();
  };
  Benchmark::Report({"lmdb", "read", "", "us", Size},
                    Benchmark::TimeBatches(Batches, Benchmark::kBatchCalls, Read));
}

struct TSSetting {
  char const* m_Name;
  unsigned m_Flags;
  int m_Calls;
};

void MeasureWrites(std::string const& File, int Size, TSSetting const& Setting) {
  TCEnvironment const Environment(File, Setting.m_Flags);
  auto const Order = Benchmark::ShuffledIndices(Size);
  int Writes = 0;
  auto const WriteMany = [&](int Count) {
    TCTransaction Transaction(Environment, 0);
    for (int Part = 0; Part < Count; ++Part) {
      auto const Index = Order[static_cast<std::size_t>(Writes++ % Size)];
      Transaction.Put(Benchmark::KeyName(Index), Benchmark::ValueText(Writes));
    }
    Transaction.Commit();
  };
  Benchmark::Report({"lmdb", "write", Setting.m_Name, "us", Size},
                    Benchmark::TimeCalls(Setting.m_Calls, [&](int) { WriteMany(1); }));
  Benchmark::Report(
      {"lmdb", "transaction_100", Setting.m_Name, "us", Size},
      Benchmark::TimeCalls(Setting.m_Calls, [&](int) { WriteMany(Benchmark::kTransactionSize); }));
}

void Measure(Benchmark::TSEffort const& Effort) {
  for (int const Size : Effort.m_Sizes) {
    Benchmark::TCPrivateFolder const Folder;
    std::string const File = Folder.get_Path() / "database";
    Fill(File, Size);
    Benchmark::ReportLoads("lmdb", Size, Effort.m_Loads,
                           [&] { return LoadMilliseconds(File, Size); });
    if (Size == Effort.m_Sizes.front()) {
      MeasureRead(File, Size, Effort.m_Batches);
      MeasureWrites(File, Size, {"nosync", MDB_NOSYNC, Effort.m_Changes});
      MeasureWrites(File, Size, {"sync", 0, Effort.m_Durable});
    }
  }
}

}  // namespace

int main(int ArgumentCount, char** Arguments) {
  return Benchmark::RunPeer(ArgumentCount, Arguments, "lmdb", Measure);
}
