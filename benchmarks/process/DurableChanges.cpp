// SPDX-License-Identifier: MIT
// How long it takes until changes are stored on the disk.
#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "benchmarks/process/Clients.h"
#include "benchmarks/process/Measurements.h"
#include "benchmarks/process/Server.h"
#include "benchmarks/support/Measurement.h"

namespace Benchmark {

namespace {

constexpr int kTransactionSize = 100;
constexpr int kFirstValue = 1000000000;  // greater than all that the store is filled with

// Each writer has the part of the fields that leaves its number as the remainder.
struct TSWriter {
  int m_Number;
  int m_Writers;
  int m_Changes;  // each time that it is told to go
};

// Changes values in a random order each time that a number arrives, and reports when all are
// durable.
void Write(TSWriter const& Writer, int Times, TCPipe const& Go, TCPipe const& Done) {
  auto const& Fields = Connect(kUsualSize).m_Integers;
  auto const Order = ShuffledIndices(kUsualSize / Writer.m_Writers);
  Done.Send(0);
  auto const Number = static_cast<std::size_t>(Writer.m_Number);
  int Change = 0;
  for (int Time = 0; Time < Times; ++Time) {
    Go.Receive();
    for (int const End = Change + Writer.m_Changes; Change < End; ++Change) {
      int const Index = Order[static_cast<std::size_t>(Change) % Order.size()] * Writer.m_Writers;
      SetProperty(*Fields[static_cast<std::size_t>(Index) + Number], kFirstValue + Change);
    }
    WaitUntilDurable();
    Done.Send(0);
  }
}

// Processes that change values at the same time.
class TCWriters {
 public:
  TCWriters(int Writers, int Changes, int Times) : m_Changes(Changes / Writers * Writers) {
    for (int Number = 0; Number < Writers; ++Number) {
      TCPipe const& Go = m_Go.emplace_back();
      TSWriter const Writer = {Number, Writers, Changes / Writers};
      m_Processes.emplace_back("the writing process " + std::to_string(Number + 1),
                               [this, &Go, Writer, Times] { Write(Writer, Times, Go, m_Done); });
    }
    WaitForAll();
  }

  // The time of all changes by their number.
  double MicrosecondsPerChange() const {
    auto const Begin = TClock::now();
    for (TCPipe const& Go : m_Go) {
      Go.Send(0);
    }
    WaitForAll();
    return MicrosecondsSince(Begin) / m_Changes;
  }

 private:
  void WaitForAll() const {
    for (std::size_t Writer = 0; Writer < m_Go.size(); ++Writer) {
      m_Done.Receive();
    }
  }

  int m_Changes;
  TCPipe m_Done;
  std::list<TCPipe> m_Go;
  std::list<TCProcess> m_Processes;
};

void MeasureWriters(TSPlan const& Plan, std::string const& Durability, int Writers) {
  std::string const Metric = "durable_change_" + std::to_string(Writers);
  if (!Plan.Wants(Metric)) {
    return;
  }
  TCServer const Server(Plan.m_ServerProgram, Durability, kUsualSize);
  std::vector<double> Samples(static_cast<std::size_t>(Plan.Choose(5, 3)));
  TCWriters const Writing(Writers, Plan.Choose(10000, 2000), static_cast<int>(Samples.size()));
  std::generate(Samples.begin(), Samples.end(), [&] { return Writing.MicrosecondsPerChange(); });
  Report({"product", Metric, Durability, "us", kUsualSize}, std::move(Samples));
}

void CommitTransactions(int Transactions, TCPipe const& Results) {
  auto const& Fields = Connect(kUsualSize).m_Integers;
  auto const Order = ShuffledIndices(kUsualSize);
  std::size_t Change = 0;
  for (double const Time : TimeCalls(Transactions, [&](int /*Call*/) {
         Property::TCPropertyTransaction Transaction;
         Transaction.Begin();
         for (int Member = 0; Member < kTransactionSize; ++Member, ++Change) {
           SetProperty(*Fields[static_cast<std::size_t>(Order[Change % Order.size()])],
                       kFirstValue + static_cast<int>(Change));
         }
         Transaction.Commit();
         WaitUntilDurable();
       })) {
    Results.Send(Time);
  }
}

}  // namespace

void MeasureDurableChanges(TSPlan const& Plan) {
  for (auto const* const Durability : kDurabilities) {
    for (int const Writers : {1, 8}) {
      MeasureWriters(Plan, Durability, Writers);
    }
  }
}

void MeasureDurableTransactions(TSPlan const& Plan) {
  int const Transactions = Plan.Choose(200, 30);
  for (auto const* const Durability : kDurabilities) {
    TCServer const Server(Plan.m_ServerProgram, Durability, kUsualSize);
    Report({"product", "durable_transaction_100", Durability, "us", kUsualSize},
           SampleInProcess(Transactions, [&](TCPipe const& Results) {
             CommitTransactions(Transactions, Results);
           }));
  }
}

}  // namespace Benchmark
