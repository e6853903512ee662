// SPDX-License-Identifier: MIT
// How long a process that was stopped needs to hold what has changed meanwhile.
#include <signal.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "CommonProperties/TCPropertyCollection.h"
#include "benchmarks/process/Clients.h"
#include "benchmarks/process/Measurements.h"
#include "benchmarks/process/Server.h"
#include "benchmarks/support/Measurement.h"

namespace Benchmark {

namespace {

constexpr int kChanges = 100000;
constexpr int kFirstValue = 1000000000;  // greater than all that the store is filled with
constexpr int kUnacknowledged = 10000;   // changes at most: the proxy has room for so many

// Keeps a process from running.
class TCStandstill {
 public:
  explicit TCStandstill(TCProcess const& Process) : m_Process(Process) {
    m_Process.Signal(SIGSTOP);
  }
  TCStandstill(TCStandstill const&) = delete;
  TCStandstill& operator=(TCStandstill const&) = delete;
  ~TCStandstill() { kill(m_Process.get_ID(), SIGCONT); }

 private:
  TCProcess const& m_Process;
};

// Reports 0 when it is ready, and then the time at which it holds the change that comes last, the
// only one of a stamp field.
void WatchForLast(TCPipe const& Reports) {
  auto const& Last = StampField(Connect(kUsualSize), 0);
  TCChangeNotifier const Notifier([&](Property::TCCommonPropertyObject const& Value) {
    if (&Value.get_ID() == &Last) {
      Reports.Send(static_cast<double>(NowNanoseconds()));
    }
  });
  Reports.Send(0);
  WaitForEnd();
}

void MakeChanges() {
  auto const& Schema = Connect(kUsualSize);
  for (int Change = 0; Change < kChanges; ++Change) {
    SetProperty(*Schema.m_Integers[static_cast<std::size_t>(Change % kUsualSize)],
                kFirstValue + Change);
    if (Change % kUnacknowledged == 0) {
      WaitUntilDurable();
    }
  }
  SetProperty(StampField(Schema, 0), "the last");
  WaitUntilDurable();
}

double CatchUpMilliseconds(TSPlan const& Plan) {
  TCServer const Server(Plan.m_ServerProgram, "full", kUsualSize);
  TCPipe const Reports;
  TCProcess const Watching("the watching process", [&] { WatchForLast(Reports); });
  Reports.Receive();
  {
    TCStandstill const Standstill(Watching);
    TCProcess Writing("the writing process", MakeChanges);
    Writing.Wait();
  }
  auto const Begin = static_cast<double>(NowNanoseconds());
  return (Reports.Receive() - Begin) / 1e6;
}

}  // namespace

void MeasureCatchUp(TSPlan const& Plan) {
  std::vector<double> Samples(static_cast<std::size_t>(Plan.Choose(3, 1)));
  std::generate(Samples.begin(), Samples.end(), [&] { return CatchUpMilliseconds(Plan); });
  Report({"product", "catch_up_100000", "", "ms", kUsualSize}, std::move(Samples));
}

}  // namespace Benchmark
