// SPDX-License-Identifier: MIT
// Times what crosses processes: a change until another process's notifier holds it, and the
// start-up load. Usage: process_benchmark PROPERTY-SERVER
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "benchmarks/BenchmarkSchema.h"

namespace {

constexpr int kValues = 10000;
constexpr int kChanges = 2000;
constexpr int kWarmUp = 200;
constexpr int kLoads = 9;
constexpr int kTransactionSize = 1000;
constexpr int kPatienceMilliseconds = 30000;

using TClock = std::chrono::steady_clock;

// One direction between two processes.
class TCPipe {
 public:
  TCPipe() {
    if (pipe(m_Ends) != 0) {
      throw std::runtime_error("cannot make a pipe");
    }
  }
  int get_WriteEnd() const { return m_Ends[1]; }

  void Send(double Value) const {
    if (write(m_Ends[1], &Value, sizeof(Value)) != sizeof(Value)) {
      throw std::runtime_error("cannot write to a pipe");
    }
  }

  double Receive() const {
    pollfd File = {m_Ends[0], POLLIN, 0};
    double Value = 0;
    if (poll(&File, 1, kPatienceMilliseconds) != 1 ||
        read(m_Ends[0], &Value, sizeof(Value)) != sizeof(Value)) {
      throw std::runtime_error("the other process has not answered in time");
    }
    return Value;
  }

 private:
  int m_Ends[2] = {-1, -1};
};

// A child process that runs a function, or a program, and ends with its owner.
class TCProcess {
 public:
  explicit TCProcess(std::function<void()> const& Body) : m_Process(fork()) {
    if (m_Process == 0) {
      int Code = 0;
      try {
        Body();
      } catch (std::exception const& Failure) {
        std::fprintf(stderr, "process_benchmark: %s\n", Failure.what());
        Code = 1;
      }
      std::exit(Code);
    }
  }
  TCProcess(TCProcess const&) = delete;
  TCProcess& operator=(TCProcess const&) = delete;
  ~TCProcess() {
    if (m_Process > 0) {
      kill(m_Process, SIGTERM);
      waitpid(m_Process, nullptr, 0);
    }
  }

  void Wait() {
    int Status = 0;
    waitpid(m_Process, &Status, 0);
    m_Process = -1;
    if (Status != 0) {
      throw std::runtime_error("a process of the benchmark failed");
    }
  }

 private:
  pid_t m_Process;
};

// Reports how old each change is when its notifier holds it; the values are clock readings.
class TCWatcher : public Property::TCCommonPropertyChangeNotifier {
 public:
  explicit TCWatcher(TCPipe const& Reports) : m_Reports(Reports) {}
  ~TCWatcher() override { Property::TCPropertyCollection::DelNotifier(this); }

 protected:
  bool OnPropQueued() override {
    long const Now = TClock::now().time_since_epoch().count() / 1000 % 1000000000;
    m_Reports.Send(static_cast<double>(Now - m_Queue.back().first.get_AsInteger()));
    m_Queue.clear();
    return true;
  }

 private:
  TCPipe const& m_Reports;
};

double Percentile(std::vector<double> Values, double Part) {
  std::sort(Values.begin(), Values.end());
  return Values[std::min(Values.size() - 1,
                         static_cast<std::size_t>(Part * static_cast<double>(Values.size())))];
}

void MeasureNotification() {
  TCPipe const Reports;
  TCPipe const Ready;
  TCProcess const Watching([&] {
    Benchmark::MakeSchema(kValues);
    Property::TCPropertyCollectionDriver::Create(false);
    TCWatcher Watcher(Reports);
    Watcher.Enable();
    Ready.Send(1);
    pause();
  });
  Ready.Receive();
  std::vector<double> Ages;
  TCPipe const Results;
  TCProcess Writing([&] {
    auto const& Fields = Benchmark::MakeSchema(kValues).m_Integers;
    Property::TCPropertyCollectionDriver::Create(false);
    for (int Change = 0; Change < kChanges + kWarmUp; ++Change) {
      long const Now = TClock::now().time_since_epoch().count() / 1000 % 1000000000;
      SetProperty(*Fields[static_cast<std::size_t>(Change) % Fields.size()], static_cast<int>(Now));
      double const Age = Reports.Receive();
      Results.Send(Age);
    }
  });
  for (int Change = 0; Change < kChanges + kWarmUp; ++Change) {
    double const Age = Results.Receive();
    if (Change >= kWarmUp) {
      Ages.push_back(Age);
    }
  }
  Writing.Wait();
  std::printf("set until another process's notifier holds it: median %.0f us, 99 %% %.0f us\n",
              Percentile(Ages, 0.5), Percentile(Ages, 0.99));
}

void Fill() {
  TCProcess Filling([] {
    auto const& Fields = Benchmark::MakeSchema(kValues).m_Integers;
    Property::TCPropertyCollectionDriver::Create(false);
    for (int First = 0; First < kValues; First += kTransactionSize) {
      Property::TCPropertyTransaction Transaction;
      Transaction.Begin();
      for (int Index = First; Index < First + kTransactionSize; ++Index) {
        SetProperty(*Fields[static_cast<std::size_t>(Index)], 100000 + Index);
      }
      Transaction.Commit();
    }
  });
  Filling.Wait();
}

void MeasureLoad() {
  std::vector<double> Times;
  for (int Load = 0; Load < kLoads; ++Load) {
    TCPipe const Results;
    TCProcess Loading([&] {
      auto const& Fields = Benchmark::MakeSchema(kValues).m_Integers;
      auto const Begin = TClock::now();
      Property::TCPropertyCollectionDriver::Create(false);
      std::chrono::duration<double, std::milli> const Time = TClock::now() - Begin;
      if (GetProperty(*Fields.back()).get_AsInteger() < kValues) {
        throw std::runtime_error("the values were not loaded");
      }
      Results.Send(Time.count());
    });
    Times.push_back(Results.Receive());
    Loading.Wait();
  }
  std::printf("start-up load of %d values: median %.1f ms (fastest %.1f, slowest %.1f)\n", kValues,
              Percentile(Times, 0.5), Percentile(Times, 0), Percentile(Times, 1));
}

// Runs the server in a private folder.
class TCServer {
 public:
  TCServer(std::string const& Program, std::filesystem::path const& Folder)
      : m_Address("unix:path=" + (Folder / "socket").string()), m_Process([&] {
          std::string const Database = (Folder / "values.db").string();
          execl(Program.c_str(), Program.c_str(), "--address", m_Address.c_str(), "--database",
                Database.c_str(), nullptr);
          throw std::runtime_error("cannot start " + Program);
        }) {
    setenv("MAILROUTER_ADDRESS", m_Address.c_str(), 1);
    setenv("PROPERTY_OWN_MAC", "02:00:00:00:00:01", 1);
  }

 private:
  std::string const m_Address;
  TCProcess m_Process;
};

}  // namespace

int main(int Count, char** Arguments) {
  setvbuf(stdout, nullptr, _IOLBF, 0);  // children must not inherit and repeat what is unwritten
  if (Count != 2) {
    std::fprintf(stderr, "usage: process_benchmark PROPERTY-SERVER\n");
    return 2;
  }
  char Template[] = "/tmp/process_benchmark.XXXXXX";
  std::filesystem::path const Folder = mkdtemp(Template);
  int Code = 0;
  try {
    TCServer const Server(Arguments[1], Folder);
    Fill();
    MeasureNotification();
    MeasureLoad();
  } catch (std::exception const& Failure) {
    std::fprintf(stderr, "process_benchmark: %s\n", Failure.what());
    Code = 1;
  }
  std::filesystem::remove_all(Folder);
  return Code;
}
