// SPDX-License-Identifier: MIT
// Times whole commands from their start to their end: `property get` and `redis-cli GET`, in turn.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"

namespace {

using TCommand = std::vector<std::string>;

constexpr char const* kUsage =
    "usage: command_benchmark [--quick] PROPERTY-SERVER PROPERTY SCHEMA-LIBRARY";
constexpr int kPairs = 200;
constexpr int kQuickPairs = 3;
constexpr int kWarmUp = 10;
constexpr std::chrono::seconds kPatience(60);
constexpr std::chrono::milliseconds kRetryTime(10);
constexpr char const* kName = "Device/Log/LogLevel";  // of the gateway's schema
constexpr char const* kKey = "Device:Log:LogLevel";

struct TSPlan {
  bool m_Quick = false;
  std::string m_Server;
  std::string m_Tool;
  std::string m_Schema;
};

TSPlan ReadPlan(TCommand Arguments) {
  TSPlan Plan;
  if (!Arguments.empty() && Arguments.front() == "--quick") {
    Plan.m_Quick = true;
    Arguments.erase(Arguments.begin());
  }
  if (Arguments.size() != 3) {
    throw std::invalid_argument(kUsage);
  }
  Plan.m_Server = Arguments[0];
  Plan.m_Tool = Arguments[1];
  Plan.m_Schema = Arguments[2];
  return Plan;
}

// Its exit code. What it writes goes to `Output`.
int Run(TCommand const& Command, int Output) {
  std::vector<char*> Arguments;
  for (std::string const& Argument : Command) {
    Arguments.push_back(
        const_cast<char*>(Argument.c_str()));  // posix_spawnp leaves them as they are
  }
  Arguments.push_back(nullptr);
  posix_spawn_file_actions_t Files;
  posix_spawn_file_actions_init(&Files);
  posix_spawn_file_actions_adddup2(&Files, Output, STDOUT_FILENO);
  pid_t Process = 0;
  int const Failure =
      posix_spawnp(&Process, Arguments.front(), &Files, nullptr, Arguments.data(), environ);
  posix_spawn_file_actions_destroy(&Files);
  if (Failure != 0) {
    throw std::runtime_error("cannot start " + Command.front() + ": " + std::strerror(Failure));
  }
  int Status = 0;
  waitpid(Process, &Status, 0);
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : -1;
}

void Require(TCommand const& Command, int Output) {
  int const Exit = Run(Command, Output);
  if (Exit != 0) {
    throw std::runtime_error(Command.front() + " ended with code " + std::to_string(Exit));
  }
}

class TCSink {
 public:
  TCSink() : m_File(open("/dev/null", O_WRONLY | O_CLOEXEC)) {}
  TCSink(TCSink const&) = delete;
  TCSink& operator=(TCSink const&) = delete;
  ~TCSink() { close(m_File); }

  int get() const { return m_File; }

 private:
  int m_File;
};

std::string OutputOf(TCommand const& Command) {
  int Ends[2];
  if (pipe2(Ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
  int const Exit = Run(Command, Ends[1]);  // a line fits into a pipe
  close(Ends[1]);
  std::string Text(4096, '\0');
  ssize_t const Size = read(Ends[0], Text.data(), Text.size());
  close(Ends[0]);
  if (Exit != 0 || Size < 1) {
    throw std::runtime_error(Command.front() + " has not answered");
  }
  Text.resize(static_cast<std::size_t>(Size));
  return Text;
}

void WaitUntilDone(TCommand const& Command, TCSink const& Sink) {
  auto const Deadline = Benchmark::TClock::now() + kPatience;
  while (Run(Command, Sink.get()) != 0) {
    if (Benchmark::TClock::now() > Deadline) {
      throw std::runtime_error(Command.front() + " finds no server");
    }
    std::this_thread::sleep_for(kRetryTime);
  }
}

double MillisecondsOf(TCommand const& Command, TCSink const& Sink) {
  auto const Begin = Benchmark::TClock::now();
  Require(Command, Sink.get());
  return Benchmark::MicrosecondsSince(Begin) / 1000;
}

// Both servers run all the time, and the commands take turns at being first.
void Measure(TSPlan const& Plan) {
  Benchmark::TCPrivateFolder const Folder;
  TCSink const Sink;
  std::string const Socket = Folder.get_Path() / "redis";
  setenv("MAILROUTER_ADDRESS", ("unix:path=" + (Folder.get_Path() / "socket").string()).c_str(), 1);
  unsetenv("PROPERTY_SCHEMA");
  Benchmark::TCProcess const Server(
      {Plan.m_Server, "--schema", Plan.m_Schema, "--database", Folder.get_Path() / "values.db"});
  Benchmark::TCProcess const Redis({"redis-server", "--port", "0", "--unixsocket", Socket, "--dir",
                                    Folder.get_Path(), "--save", ""});
  WaitUntilDone({"redis-cli", "-s", Socket, "SET", kKey, "Notices"}, Sink);
  WaitUntilDone({Plan.m_Tool, "status"}, Sink);
  Require({Plan.m_Tool, "--schema", Plan.m_Schema, "set", kName, "Notices"}, Sink.get());

  TCommand const Get = {Plan.m_Tool, "get", kName};
  TCommand const PeerGet = {"redis-cli", "-s", Socket, "GET", kKey};
  if (OutputOf(Get) != OutputOf(PeerGet)) {
    throw std::runtime_error("the commands print different values");
  }
  std::vector<double> Times;
  std::vector<double> PeerTimes;
  int const Pairs = Plan.m_Quick ? kQuickPairs : kPairs;
  for (int Pair = -std::min(kWarmUp, Pairs); Pair < Pairs; ++Pair) {
    bool const PeerFirst = Pair % 2 != 0;
    double const First = MillisecondsOf(PeerFirst ? PeerGet : Get, Sink);
    double const Second = MillisecondsOf(PeerFirst ? Get : PeerGet, Sink);
    if (Pair >= 0) {
      Times.push_back(PeerFirst ? Second : First);
      PeerTimes.push_back(PeerFirst ? First : Second);
    }
  }
  Benchmark::Report({"product", "get_command", "", "ms"}, Times);
  Benchmark::Report({"redis", "get_command", "", "ms"}, PeerTimes);
}

}  // namespace

int main(int Count, char** Arguments) {
  return Benchmark::RunMeasurements("command_benchmark", [&] {
    Measure(ReadPlan({Arguments + 1, Arguments + Count}));
  });
}
