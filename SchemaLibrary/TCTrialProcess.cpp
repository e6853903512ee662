// SPDX-License-Identifier: MIT
// Starts the program, reads its reports, and knows how to end it.
#include "SchemaLibrary/TCTrialProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "SchemaLibrary/TrialReport.h"

using std::chrono::milliseconds;
using std::chrono::steady_clock;

extern char** environ;

namespace Property {

namespace {

char const* const kSource = "../SchemaLibrary/TCTrialProcess";
char const* const kForgedText = "it writes into files that are not its own";
constexpr std::size_t kLongestLine = 4096;  // of a report
constexpr int kUnknownEnd = -1;             // somebody else has asked for it, or nobody may

/// What the child is started with: no files of this process, its own session, no signals blocked.
class TCSpawnSettings {
 public:
  explicit TCSpawnSettings(int Reports) {
    posix_spawn_file_actions_init(&m_Files);
    posix_spawn_file_actions_adddup2(&m_Files, Reports, TrialReport::kFile);
    for (int File = 0; File < TrialReport::kFile; ++File) {
      posix_spawn_file_actions_addopen(&m_Files, File, "/dev/null", O_RDWR, 0);
    }
    posix_spawn_file_actions_addclosefrom_np(&m_Files, TrialReport::kFile + 1);
    posix_spawnattr_init(&m_Attributes);
    posix_spawnattr_setflags(&m_Attributes,
                             POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    sigset_t Signals;
    sigemptyset(&Signals);
    posix_spawnattr_setsigmask(&m_Attributes, &Signals);
    sigfillset(&Signals);
    posix_spawnattr_setsigdefault(&m_Attributes, &Signals);
  }
  TCSpawnSettings(TCSpawnSettings const&) = delete;
  TCSpawnSettings& operator=(TCSpawnSettings const&) = delete;
  ~TCSpawnSettings() {
    posix_spawnattr_destroy(&m_Attributes);
    posix_spawn_file_actions_destroy(&m_Files);
  }

  posix_spawn_file_actions_t const* get_Files() const { return &m_Files; }
  posix_spawnattr_t const* get_Attributes() const { return &m_Attributes; }

 private:
  posix_spawn_file_actions_t m_Files;
  posix_spawnattr_t m_Attributes;
};

std::string Seconds(milliseconds Time) {
  constexpr int kThousand = 1000;
  std::string const Text = std::to_string(Time.count() / kThousand);
  auto const Rest = Time.count() % kThousand;
  return Rest == 0 ? Text + " s" : std::to_string(Time.count()) + " ms";
}

// How a process that has not completed the schema ended.
std::string EndText(int Status) {
  if (Status == kUnknownEnd) {
    return "it ends the process";
  }
  if (WIFSIGNALED(Status)) {
    char const* const Name = sigdescr_np(WTERMSIG(Status));
    return "it crashes: " +
           (Name != nullptr ? std::string(Name) : "signal " + std::to_string(WTERMSIG(Status)));
  }
  if (WEXITSTATUS(Status) == TrialReport::kNoReport) {
    return "it closes files that are not its own";
  }
  return "it ends the process with exit code " + std::to_string(WEXITSTATUS(Status));
}

}  // namespace

TCTrialProcess::TCTrialProcess(TSSchemaTrialSettings const& Settings,
                               std::vector<std::string> const& Libraries,
                               steady_clock::time_point End)
    : m_Settings(Settings), m_Count(Libraries.size()), m_End(End) {
  std::array<int, 2> Pipe = {};
  if (pipe2(Pipe.data(), O_CLOEXEC) != 0) {
    throw TCException(kSource, __LINE__).Format("cannot make a pipe: %s", std::strerror(errno));
  }
  m_Reports = TCFileDescriptor(Pipe[0]);
  fcntl(Pipe[0], F_SETFL, O_NONBLOCK);
  TCFileDescriptor const Reports(Pipe[1]);
  Start(Libraries, Reports.get());
}

void TCTrialProcess::Start(std::vector<std::string> const& Libraries, int Reports) {
  std::vector<std::string> Texts = {m_Settings.Program, TrialReport::kVersion,
                                    std::to_string(getpid()), std::to_string(m_Settings.Memory)};
  Texts.insert(Texts.end(), Libraries.begin(), Libraries.end());
  std::vector<char*> Arguments;
  std::transform(Texts.begin(), Texts.end(), std::back_inserter(Arguments),
                 [](std::string& Text) { return Text.data(); });
  Arguments.push_back(nullptr);
  TCSpawnSettings const Settings(Reports);
  int const Error = posix_spawn(&m_Process, m_Settings.Program.c_str(), Settings.get_Files(),
                                Settings.get_Attributes(), Arguments.data(), environ);
  if (Error != 0) {
    m_Process = -1;
    throw TCException(kSource, __LINE__)
        .Format("cannot start %s: %s", m_Settings.Program.c_str(), std::strerror(Error));
  }
  m_Handle = TCFileDescriptor(static_cast<int>(syscall(SYS_pidfd_open, m_Process, 0)));
  if (m_Handle.get() < 0) {
    int const OpenError = errno;
    End();
    throw TCException(kSource, __LINE__)
        .Format("cannot watch a process: %s", std::strerror(OpenError));
  }
}

TCTrialProcess::~TCTrialProcess() {
  End();
}

// While the process is not waited for, its number and that of its session are nobody else's.
int TCTrialProcess::End() {
  if (m_Process <= 0) {
    return kUnknownEnd;
  }
  siginfo_t Ended = {};
  bool const HasEnded =
      waitid(P_PID, static_cast<id_t>(m_Process), &Ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
      Ended.si_pid == m_Process;
  kill(-m_Process, SIGKILL);
  int Status = 0;
  pid_t const Waited = waitpid(std::exchange(m_Process, -1), &Status, 0);
  return HasEnded && Waited > 0 ? Status : kUnknownEnd;
}

TSTrialResult TCTrialProcess::Run() {
  TSTrialResult Result;
  auto Until = std::min(steady_clock::now() + m_Settings.Patience, m_End);
  for (;;) {
    switch (WaitForEvent(Until)) {
      case TEEvent::eReport:
        if (ReadReports(Result)) {
          Until = std::min(steady_clock::now() + m_Settings.Patience, m_End);
        }
        if (m_Forged) {
          Result.Reason = kForgedText;
          return Result;
        }
        break;
      case TEEvent::eEnd:
        while (ReadReports(Result)) {
        }
        TakeEnd(End(), Result);
        return Result;
      case TEEvent::eTimeout:
        Result.Reason = "it takes longer than " + Seconds(m_Settings.Patience);
        return Result;
    }
  }
}

TCTrialProcess::TEEvent TCTrialProcess::WaitForEvent(steady_clock::time_point Until) const {
  for (;;) {
    auto const Left =
        std::chrono::duration_cast<milliseconds>(Until - steady_clock::now()).count() + 1;
    if (Left <= 0) {
      return TEEvent::eTimeout;
    }
    std::array<pollfd, 2> Files = {pollfd{m_Handle.get(), POLLIN, 0},
                                   pollfd{m_Reports.get(), POLLIN, 0}};
    poll(Files.data(), Files.size(), static_cast<int>(Left));
    if (Files[0].revents != 0) {
      return TEEvent::eEnd;
    }
    if (Files[1].revents != 0) {
      return TEEvent::eReport;
    }
  }
}

// False when there was no whole line.
bool TCTrialProcess::ReadReports(TSTrialResult& Result) {
  std::array<char, kLongestLine> Buffer = {};
  ssize_t const Size = read(m_Reports.get(), Buffer.data(), Buffer.size());
  if (Size <= 0) {
    if (Size == 0) {
      m_Reports = TCFileDescriptor();  // nothing more to wait for there
    }
    return false;
  }
  m_Text.append(Buffer.data(), static_cast<std::size_t>(Size));
  bool Any = false;
  for (std::size_t End = 0; (End = m_Text.find('\n')) != std::string::npos; Any = true) {
    TakeLine(m_Text.substr(0, End), Result);
    m_Text.erase(0, End + 1);
  }
  m_Forged = m_Forged || m_Text.size() > kLongestLine;
  return Any;
}

void TCTrialProcess::TakeLine(std::string const& Line, TSTrialResult& Result) {
  char const Letter = Line.size() > 1 ? Line[0] : '\0';
  std::string Reason = Line.size() > 2 ? PrintableText(Line.substr(2)) : std::string();
  bool const IsVerdict =
      Letter == TrialReport::kGood || Letter == TrialReport::kBad || Letter == TrialReport::kFatal;
  if (IsVerdict && Result.Verdicts.size() < m_Count) {
    Result.Verdicts.push_back({Letter == TrialReport::kGood, std::move(Reason)});
    Result.Fatal = Result.Fatal || Letter == TrialReport::kFatal;
  } else if (Letter == TrialReport::kSchema && Result.Reason.empty()) {
    Result.Reason = "the schema cannot be completed: " + Reason;
  } else if (Letter == TrialReport::kComplete && !m_Completed) {
    m_Completed = true;
  } else {
    m_Forged = true;
  }
}

void TCTrialProcess::TakeEnd(int Status, TSTrialResult& Result) {
  if (Status != kUnknownEnd && WIFEXITED(Status) &&
      WEXITSTATUS(Status) == TrialReport::kWrongVersion && Result.Verdicts.empty()) {
    throw TCException(kSource, __LINE__)
        .Format("%s is of another version", m_Settings.Program.c_str());
  }
  bool const Well = Status == 0 || Status == kUnknownEnd;
  Result.Complete = m_Completed && Well && !m_Forged;
  if (m_Forged) {
    Result.Reason = kForgedText;
  }
  if (Result.Complete || Result.Fatal || !Result.Reason.empty()) {
    return;
  }
  Result.Reason =
      m_Completed && !Well ? "when the process ends, " + EndText(Status) : EndText(Status);
}

}  // namespace Property
