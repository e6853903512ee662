// SPDX-License-Identifier: MIT
// Starts, tells and ends child processes.
#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace {

void MakePipe(TCFileDescriptor& Reading, TCFileDescriptor& Writing) {
  int Ends[2];
  if (pipe2(Ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
  Reading = TCFileDescriptor(Ends[0]);
  Writing = TCFileDescriptor(Ends[1]);
}

// As the system wants them; points into `Words`.
std::vector<char*> Pointers(std::vector<std::string>& Words) {
  std::vector<char*> Result;
  for (std::string& Word : Words) {
    Result.push_back(Word.data());
  }
  Result.push_back(nullptr);
  return Result;
}

std::vector<std::string> EnvironmentWith(std::map<std::string, std::string> const& Set) {
  std::vector<std::string> Variables;
  for (char** Inherited = environ; *Inherited != nullptr; ++Inherited) {
    std::string const Variable = *Inherited;
    if (Set.count(Variable.substr(0, Variable.find('='))) == 0) {
      Variables.push_back(Variable);
    }
  }
  for (auto const& [Name, Value] : Set) {
    Variables.push_back(Name + "=" + Value);
  }
  return Variables;
}

}  // namespace

// All that takes memory comes before the fork: other threads may hold its locks.
TChildProcess::TChildProcess(TSChildStart const& Start)
    : m_Name(Start.Command[0].substr(Start.Command[0].rfind('/') + 1)),
      m_Hint(Start.ErrorsName.empty() ? "" : ", see " + Start.ErrorsName),
      m_Patience(Start.Patience) {
  signal(SIGPIPE, SIG_IGN);  // what is said to a dead process is answered with false
  TCFileDescriptor Input;
  TCFileDescriptor Output;
  MakePipe(Input, m_Input);
  MakePipe(m_Output, Output);
  std::vector<std::string> Words = Start.Command;
  std::vector<std::string> Set = EnvironmentWith(Start.Environment);
  std::vector<char*> const Arguments = Pointers(Words);
  std::vector<char*> Variables = Pointers(Set);
  m_Process = fork();
  if (m_Process < 0) {
    Fail("cannot be started");
  }
  if (m_Process == 0) {
    signal(SIGPIPE, SIG_DFL);
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nothing is left behind when this process is killed
    dup2(Input.get(), STDIN_FILENO);
    dup2(Output.get(), STDOUT_FILENO);
    dup2(Start.Errors, STDERR_FILENO);
    environ = Variables.data();
    if (Start.Prepare) {
      Start.Prepare();
    }
    execvp(Arguments[0], Arguments.data());
    _exit(127);
  }
}

TChildProcess::~TChildProcess() {
  if (IsAlive()) {
    kill(m_Process, SIGKILL);
    waitpid(m_Process, nullptr, 0);
  }
}

void TChildProcess::Fail(std::string const& What) const {
  throw std::runtime_error(m_Name + " " + What + m_Hint);
}

bool TChildProcess::IsReadable(int File) const {
  pollfd Poll = {File, POLLIN, 0};
  return poll(&Poll, 1, m_Patience) == 1;
}

bool TChildProcess::Say(std::string const& Line) {
  std::string const Text = Line + "\n";
  std::size_t Written = 0;
  while (Written < Text.size()) {
    ssize_t const Count = write(m_Input.get(), Text.data() + Written, Text.size() - Written);
    if (Count <= 0) {
      return false;
    }
    Written += static_cast<std::size_t>(Count);
  }
  return true;
}

std::string TChildProcess::Hear() {
  std::size_t End = 0;
  while ((End = m_Heard.find('\n')) == std::string::npos) {
    char Bytes[65536];
    bool const Readable = IsReadable(m_Output.get());
    ssize_t const Count = Readable ? read(m_Output.get(), Bytes, sizeof(Bytes)) : 0;
    if (Count <= 0) {
      Fail(Readable ? "has died" : "does not answer");
    }
    m_Heard.append(Bytes, static_cast<std::size_t>(Count));
  }
  std::string const Line = m_Heard.substr(0, End);
  m_Heard.erase(0, End + 1);
  return Line;
}

std::string TChildProcess::Rest() {
  char Bytes[65536];
  ssize_t Count = 0;
  while ((Count = read(m_Output.get(), Bytes, sizeof(Bytes))) > 0) {
    m_Heard.append(Bytes, static_cast<std::size_t>(Count));
  }
  return m_Heard;
}

void TChildProcess::Pause() {
  kill(m_Process, SIGSTOP);
  siginfo_t Info = {};
  waitid(P_PID, static_cast<id_t>(m_Process), &Info, WSTOPPED | WEXITED | WNOWAIT);
}

void TChildProcess::Continue() {
  kill(m_Process, SIGCONT);
}

int TChildProcess::End(int Signal) {
  if (Signal != 0) {
    kill(m_Process, Signal);  // before its input ends, or it might end by itself
  }
  m_Input = TCFileDescriptor();
  TCFileDescriptor const Handle(static_cast<int>(syscall(SYS_pidfd_open, m_Process, 0)));
  if (!IsReadable(Handle.get())) {
    Fail(Signal == 0 ? "never ends" : "never ends by signal " + std::to_string(Signal));
  }
  int Status = 0;
  waitpid(m_Process, &Status, 0);
  m_Process = -1;
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : -WTERMSIG(Status);
}
