// SPDX-License-Identifier: MIT
// Starts, tells and ends child processes.
#include "tests/fault/soak/SoakProcess.h"

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

constexpr int kPatienceMilliseconds = 120000;

void MakePipe(TCFileDescriptor& Reading, TCFileDescriptor& Writing) {
  int Ends[2];
  if (pipe2(Ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
  Reading = TCFileDescriptor(Ends[0]);
  Writing = TCFileDescriptor(Ends[1]);
}

bool IsReadable(int File) {
  pollfd Poll = {File, POLLIN, 0};
  return poll(&Poll, 1, kPatienceMilliseconds) == 1;
}

}  // namespace

TSoakProcess::TSoakProcess(std::vector<std::string> const& Command,
                           std::map<std::string, std::string> const& Environment,
                           std::string const& Log)
    : m_Name(Command[0].substr(Command[0].rfind('/') + 1)), m_Log(Log) {
  TCFileDescriptor Input;
  TCFileDescriptor Output;
  MakePipe(Input, m_Input);
  MakePipe(m_Output, Output);
  TCFileDescriptor const Errors(open(Log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
  std::vector<char*> Arguments;
  for (std::string const& Word : Command) {
    Arguments.push_back(const_cast<char*>(Word.c_str()));
  }
  Arguments.push_back(nullptr);
  std::vector<std::string> Set;
  for (auto const& [Name, Value] : Environment) {
    Set.push_back(Name + "=" + Value);
  }
  std::vector<char*> Variables;
  for (std::string& Variable : Set) {
    Variables.push_back(Variable.data());
  }
  for (char** Inherited = environ; *Inherited != nullptr; ++Inherited) {
    Variables.push_back(*Inherited);
  }
  Variables.push_back(nullptr);
  m_Process = fork();
  if (m_Process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nothing is left behind when the soak is killed
    dup2(Input.get(), STDIN_FILENO);
    dup2(Output.get(), STDOUT_FILENO);
    dup2(Errors.get(), STDERR_FILENO);
    execve(Arguments[0], Arguments.data(), Variables.data());
    _exit(127);
  }
}

TSoakProcess::~TSoakProcess() {
  if (IsAlive()) {
    kill(m_Process, SIGKILL);
    waitpid(m_Process, nullptr, 0);
  }
}

void TSoakProcess::Say(std::string const& Line) {
  std::string const Text = Line + "\n";
  static_cast<void>(write(m_Input.get(), Text.data(), Text.size()) > 0);
}

std::string TSoakProcess::Hear() {
  std::size_t End = 0;
  while ((End = m_Heard.find('\n')) == std::string::npos) {
    char Bytes[256];
    bool const Readable = IsReadable(m_Output.get());
    ssize_t const Count = Readable ? read(m_Output.get(), Bytes, sizeof(Bytes)) : 0;
    if (Count <= 0) {
      throw std::runtime_error(m_Name + (Readable ? " has died" : " does not answer") + ", see " +
                               m_Log);
    }
    m_Heard.append(Bytes, static_cast<std::size_t>(Count));
  }
  std::string const Line = m_Heard.substr(0, End);
  m_Heard.erase(0, End + 1);
  return Line;
}

void TSoakProcess::Stop() {
  kill(m_Process, SIGSTOP);
}

void TSoakProcess::Continue() {
  kill(m_Process, SIGCONT);
}

void TSoakProcess::Kill() {
  kill(m_Process, SIGKILL);
  int const Code = Wait("dies");
  if (Code != -SIGKILL) {
    throw std::runtime_error(m_Name + " ended by itself with code " + std::to_string(Code) +
                             ", see " + m_Log);
  }
}

int TSoakProcess::End(int Signal) {
  m_Input = TCFileDescriptor();
  if (Signal != 0) {
    kill(m_Process, Signal);
  }
  return Wait("ends");
}

int TSoakProcess::Wait(std::string const& Why) {
  TCFileDescriptor const Handle(static_cast<int>(syscall(SYS_pidfd_open, m_Process, 0)));
  if (!IsReadable(Handle.get())) {
    throw std::runtime_error(m_Name + " never " + Why + ", see " + m_Log);
  }
  int Status = 0;
  waitpid(m_Process, &Status, 0);
  m_Process = -1;
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : -WTERMSIG(Status);
}
