// SPDX-License-Identifier: MIT
// property-schema-trial: loads schema libraries, so that no other program falls over a bad one.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include "CommonProperties/TCBasicPropertyID.h"
#include "SchemaLibrary/TrialReport.h"

namespace {

using namespace Property::TrialReport;

constexpr std::size_t kLongestReason = 2000;  // lines this long are written in one piece

pid_t g_Process = 0;
bool g_Loading = false;

/// Ends the process at once: what a library has left behind may not run.
[[noreturn]] void End(int Code) {
  _exit(Code);
}

void Report(char Letter, std::string Text = std::string()) {
  Text.resize(std::min(Text.size(), kLongestReason));
  std::replace(Text.begin(), Text.end(), '\n', ' ');
  std::string const Line = Letter + (" " + Text) + "\n";
  if (write(kFile, Line.data(), Line.size()) != static_cast<ssize_t>(Line.size())) {
    End(kNoReport);
  }
}

std::string ThrownText() {
  try {
    throw;
  } catch (std::bad_alloc const&) {
    return "more memory is needed than a trial may have";
  } catch (std::exception const& Exception) {
    return Exception.what();
  } catch (...) {
    return "an exception of another kind than std::exception";
  }
}

// An exception that leaves a static constructor ends here: compilers take it that dlopen throws
// none.
[[noreturn]] void EndByException() {
  if (getpid() != g_Process) {
    End(EXIT_FAILURE);
  }
  std::string const What =
      std::current_exception() != nullptr ? ThrownText() : "std::terminate is called";
  Report(g_Loading ? kFatal : kSchema, g_Loading ? "while it is loaded, " + What : What);
  End(EXIT_SUCCESS);
}

void Limit(int Resource, rlim_t Most) {
  rlimit Limits = {};
  if (getrlimit(static_cast<__rlimit_resource>(Resource), &Limits) == 0) {
    Limits.rlim_cur = std::min(Limits.rlim_cur, Most);
    setrlimit(static_cast<__rlimit_resource>(Resource), &Limits);
  }
}

// When memory runs out all the same, this process is the one to go.
void OfferToBeKilledFirst() {
  int const File = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
  if (File >= 0) {
    [[maybe_unused]] ssize_t const Written = write(File, "1000", 4);
    close(File);
  }
}

void LimitMemory(rlim_t Bytes) {
#ifdef PROPERTY_TRIAL_ANY_MEMORY
  Bytes = 0;
#endif
  if (Bytes != 0) {
    Limit(RLIMIT_DATA, Bytes);
  }
}

void Prepare(char const* Starter, char const* Memory) {
  g_Process = getpid();
  std::set_terminate(EndByException);
  fcntl(kFile, F_SETFD, FD_CLOEXEC);
  // Ends with its starter, and has all that libraries start end below itself.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  if (getppid() != static_cast<pid_t>(std::strtol(Starter, nullptr, 10))) {
    End(EXIT_FAILURE);
  }
  Limit(RLIMIT_CORE, 0);
  LimitMemory(std::strtoull(Memory, nullptr, 10));
  OfferToBeKilledFirst();
}

bool HasDescriptors() {
  for (int File = 0; File <= kFile; ++File) {
    if (fcntl(File, F_GETFD) < 0) {
      return false;
    }
  }
  return true;
}

// Waits for what the library has started: it may be a copy of this process that goes on like this
// one, as it would of any other.
bool LeavesNoCopy() {
  bool NoCopy = true;
  int Status = 0;
  while (wait(&Status) > 0 || errno == EINTR) {
    NoCopy = NoCopy && !(WIFEXITED(Status) && WEXITSTATUS(Status) == kCopy);
  }
  return NoCopy;
}

void RequireDecency() {
  if (getpid() != g_Process) {
    End(kCopy);
  }
  if (!HasDescriptors()) {
    Report(kFatal, "it closes files that are not its own");
    End(EXIT_SUCCESS);
  }
  if (!LeavesNoCopy()) {
    Report(kFatal, "it forks, and the copy of the process goes on with the program");
    End(EXIT_SUCCESS);
  }
}

void Load(char const* File) {
  g_Loading = true;
  void* const Library = dlopen(File, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  std::string const Reason = Library == nullptr ? dlerror() : "";
  RequireDecency();
  g_Loading = false;
  if (Library == nullptr) {
    Report(kBad, Reason);
  } else {
    Report(kGood);
  }
}

bool Complete() {
  try {
    Property::TCBasicPropertyID::Initialize();
    return true;
  } catch (...) {
    Report(kSchema, ThrownText());
    return false;
  }
}

}  // namespace

int main(int Count, char** Arguments) {
  if (Count < kFirstLibrary || std::strcmp(Arguments[1], kVersion) != 0) {
    std::fputs("property-schema-trial is for programs that load schemas, of its own version\n",
               stderr);
    End(kWrongVersion);
  }
  Prepare(Arguments[2], Arguments[3]);
  for (int Place = kFirstLibrary; Place < Count; ++Place) {
    Load(Arguments[Place]);
  }
  if (!Complete()) {
    End(EXIT_SUCCESS);
  }
  RequireDecency();
  Report(kComplete);
  // By the front door: what libraries do at the end is tried, too.
  return EXIT_SUCCESS;
}
