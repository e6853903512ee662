// SPDX-License-Identifier: MIT
// Starts, tells and ends the processes of a test.
#include "tests/integration/ProcessFixture.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace {

constexpr int kPatienceMilliseconds = 60000;

void MakePipe(int (&Ends)[2]) {
  if (pipe2(Ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make a pipe");
  }
}

}  // namespace

TProcess::TProcess(std::vector<std::string> const& Command,
                   std::map<std::string, std::string> const& Set,
                   std::function<void()> const& Prepare) {
  signal(SIGPIPE, SIG_IGN);
  int Input[2];
  int Output[2];
  MakePipe(Input);
  MakePipe(Output);
  m_Error = memfd_create("errors", MFD_CLOEXEC);  // takes whatever is said, heard or not
  std::vector<char*> Arguments;
  for (std::string const& Word : Command) {
    Arguments.push_back(const_cast<char*>(Word.c_str()));
  }
  Arguments.push_back(nullptr);
  m_Process = fork();
  if (m_Process == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // nothing is left behind when the test is killed
    dup2(Input[0], STDIN_FILENO);
    dup2(Output[1], STDOUT_FILENO);
    dup2(m_Error, STDERR_FILENO);
    for (auto const& [Name, Value] : Set) {
      setenv(Name.c_str(), Value.c_str(), 1);
    }
    if (Prepare) {
      Prepare();
    }
    execv(Arguments[0], Arguments.data());
    _exit(127);
  }
  close(Input[0]);
  close(Output[1]);
  m_Input = Input[1];
  m_Output = Output[0];
}

TProcess::~TProcess() {
  if (m_Process > 0) {
    End(SIGKILL);
  }
  for (int File : {m_Input, m_Output, m_Error}) {
    if (File >= 0) {
      close(File);
    }
  }
}

void TProcess::Say(std::string const& Line) {
  std::string const Text = Line + "\n";
  std::size_t Written = 0;
  while (Written < Text.size()) {
    ssize_t const Count = write(m_Input, Text.data() + Written, Text.size() - Written);
    if (Count <= 0) {
      ADD_FAILURE() << "the process does not listen to " << Line.substr(0, 80);
      return;
    }
    Written += static_cast<std::size_t>(Count);
  }
}

std::string TProcess::Hear() {
  std::size_t End = 0;
  while ((End = m_Buffer.find('\n')) == std::string::npos) {
    pollfd File = {m_Output, POLLIN, 0};
    char Bytes[65536];
    ssize_t const Count =
        poll(&File, 1, kPatienceMilliseconds) == 1 ? read(m_Output, Bytes, sizeof(Bytes)) : 0;
    if (Count <= 0) {
      ADD_FAILURE() << "the process says nothing more";
      return "";
    }
    m_Buffer.append(Bytes, static_cast<std::size_t>(Count));
  }
  std::string const Line = m_Buffer.substr(0, End);
  m_Buffer.erase(0, End + 1);
  return Line;
}

std::string TProcess::Ask(std::string const& Command) {
  Say(Command);
  return Hear();
}

int TProcess::End() {
  close(m_Input);
  m_Input = -1;
  int Status = 0;
  waitpid(m_Process, &Status, 0);
  m_Process = -1;
  return WIFEXITED(Status) ? WEXITSTATUS(Status) : -WTERMSIG(Status);
}

int TProcess::End(int Signal) {
  kill(m_Process, Signal);
  return End();
}

void TProcess::Pause() {
  kill(m_Process, SIGSTOP);
  int Status = 0;
  waitpid(m_Process, &Status, WUNTRACED);
}

void TProcess::Continue() {
  kill(m_Process, SIGCONT);
}

std::string TProcess::Rest() {
  char Bytes[65536];
  ssize_t Count = 0;
  while ((Count = read(m_Output, Bytes, sizeof(Bytes))) > 0) {
    m_Buffer.append(Bytes, static_cast<std::size_t>(Count));
  }
  return m_Buffer;
}

std::string TProcess::Errors() const {
  std::string Text;
  char Bytes[65536];
  ssize_t Count = 0;
  while ((Count = pread(m_Error, Bytes, sizeof(Bytes), static_cast<off_t>(Text.size()))) > 0) {
    Text.append(Bytes, static_cast<std::size_t>(Count));
  }
  return Text;
}

TProcessFixture::TProcessFixture() {
  char Template[] = "/tmp/property_test.XXXXXX";
  m_Folder = mkdtemp(Template);
}

TProcessFixture::~TProcessFixture() {
  std::filesystem::remove_all(m_Folder);
}

std::vector<std::string> TProcessFixture::ServerCommand(
    std::vector<std::string> const& Options) const {
  std::vector<std::string> Command = {SERVER_PROGRAM, "--address", Address(), "--database",
                                      File("values.db")};
  Command.insert(Command.end(), Options.begin(), Options.end());
  return Command;
}

std::unique_ptr<TProcess> TProcessFixture::Start(std::vector<std::string> const& Command) const {
  return std::make_unique<TProcess>(Command, std::map<std::string, std::string>());
}

std::unique_ptr<TProcess> TProcessFixture::StartServer(std::vector<std::string> const& Options,
                                                       std::function<void()> const& Prepare) const {
  auto Server = std::make_unique<TProcess>(ServerCommand(Options),
                                           std::map<std::string, std::string>(), Prepare);
  EXPECT_EQ(Server->Hear().substr(0, 7), "ready: ");
  return Server;
}

std::unique_ptr<TProcess> TProcessFixture::NewClient(std::string const& MAC) const {
  return std::make_unique<TProcess>(
      std::vector<std::string>{CLIENT_PROGRAM},
      std::map<std::string, std::string>{{"MAILROUTER_ADDRESS", Address()},
                                         {"PROPERTY_OWN_MAC", MAC}});
}

std::unique_ptr<TProcess> TProcessFixture::StartClient(std::string const& MAC, bool OwnOnly) const {
  auto Client = NewClient(MAC);
  EXPECT_EQ(Client->Ask(OwnOnly ? "create 1" : "create 0"), "created");
  return Client;
}
