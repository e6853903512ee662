// SPDX-License-Identifier: MIT
// Child processes, pipes and folders of a measurement.
#include "benchmarks/support/Processes.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

namespace Benchmark {

namespace {

constexpr int kPatienceMilliseconds = 60000;

[[noreturn]] void RunChild(std::string const& Name, std::function<void()> const& Body) {
  int Code = 0;
  try {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    Body();
  } catch (std::exception const& Failure) {
    std::fprintf(stderr, "%s: %s\n", Name.c_str(), Failure.what());
    Code = 1;
  }
  std::exit(Code);
}

void Execute(std::vector<std::string> const& Command) {
  std::vector<char*> Arguments;
  for (std::string const& Argument : Command) {
    Arguments.push_back(const_cast<char*>(Argument.c_str()));  // execvp leaves them as they are
  }
  Arguments.push_back(nullptr);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  execvp(Arguments.front(), Arguments.data());
  throw std::runtime_error("cannot start " + Command.front());
}

// How a process has ended, from what waitpid() tells.
std::string EndText(int Status) {
  if (WIFSIGNALED(Status)) {
    int const Signal = WTERMSIG(Status);
    return "was ended by signal " + std::to_string(Signal) + " (" + strsignal(Signal) + ")";
  }
  return "ended with status " + std::to_string(WEXITSTATUS(Status));
}

}  // namespace

TCPipe::TCPipe() {
  if (pipe2(m_Ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
}

TCPipe::~TCPipe() {
  close(m_Ends[0]);
  StopSending();
}

void TCPipe::StopSending() {
  if (m_Ends[1] >= 0) {
    close(m_Ends[1]);
    m_Ends[1] = -1;
  }
}

void TCPipe::Send(double Value) const {
  if (write(m_Ends[1], &Value, sizeof(Value)) != sizeof(Value)) {
    throw std::runtime_error("cannot write to a pipe");
  }
}

double TCPipe::Receive() const {
  pollfd File = {m_Ends[0], POLLIN, 0};
  double Value = 0;
  if (poll(&File, 1, kPatienceMilliseconds) != 1) {
    throw std::runtime_error("another process of the measurement has not reported in time");
  }
  if (read(m_Ends[0], &Value, sizeof(Value)) != sizeof(Value)) {
    throw TCNobodySends("another process of the measurement has ended without a report");
  }
  return Value;
}

TCProcess::TCProcess(std::string Name, std::function<void()> const& Body)
    : m_Name(std::move(Name)) {
  std::fflush(stdout);  // the child must not inherit and repeat what is unwritten
  m_Process = fork();
  if (m_Process < 0) {
    throw std::runtime_error("cannot make " + m_Name + ": " + std::strerror(errno));
  }
  if (m_Process == 0) {
    RunChild(m_Name, Body);
  }
}

TCProcess::TCProcess(std::vector<std::string> const& Command)
    : TCProcess(std::filesystem::path(Command.front()).filename(),
                [&Command] { Execute(Command); }) {}

TCProcess::~TCProcess() {
  if (m_Process > 0) {
    kill(m_Process, SIGTERM);
    waitpid(m_Process, nullptr, 0);
  }
}

void TCProcess::Signal(int Number) const {
  if (kill(m_Process, Number) != 0) {
    throw std::runtime_error(m_Name + " is gone");
  }
}

void TCProcess::Wait() {
  int Status = 0;
  waitpid(m_Process, &Status, 0);
  m_Process = -1;
  if (Status != 0) {
    throw std::runtime_error(m_Name + " " + EndText(Status));
  }
}

std::vector<double> SampleInProcess(int Count, std::function<void(TCPipe const&)> const& Body) {
  TCPipe Results;
  TCProcess Process("the measuring process", [&] { Body(Results); });
  Results.StopSending();
  std::vector<double> Samples(static_cast<std::size_t>(Count));
  try {
    std::generate(Samples.begin(), Samples.end(), [&] { return Results.Receive(); });
  } catch (TCNobodySends const&) {
    Process.Wait();  // tells why
    throw;
  }
  Process.Wait();
  return Samples;
}

TCPrivateFolder::TCPrivateFolder()
    : m_Path(std::filesystem::temp_directory_path() / "benchmark.XXXXXX") {
  std::string Name = m_Path.string();
  if (mkdtemp(Name.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder like " + Name);
  }
  m_Path = Name;
}

TCPrivateFolder::~TCPrivateFolder() {
  std::error_code Ignored;
  std::filesystem::remove_all(m_Path, Ignored);
}

int RunMeasurements(char const* Program, std::function<void()> const& Main) {
  try {
    Main();
    return 0;
  } catch (std::exception const& Failure) {
    std::fprintf(stderr, "%s: %s\n", Program, Failure.what());
    return 1;
  }
}

}  // namespace Benchmark
