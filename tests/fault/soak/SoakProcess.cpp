// SPDX-License-Identifier: MIT
// Starts and kills the processes of a soak.
#include "tests/fault/soak/SoakProcess.h"

#include <fcntl.h>

#include <csignal>

namespace {

constexpr int kPatienceMilliseconds = 120000;

TCFileDescriptor OpenLog(std::string const& Log) {
  return TCFileDescriptor(open(Log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

}  // namespace

TSoakProcess::TSoakProcess(std::vector<std::string> const& Command,
                           std::map<std::string, std::string> const& Environment,
                           std::string const& Log)
    : TChildProcess(
          {Command, Environment, OpenLog(Log).get(), Log, nullptr, kPatienceMilliseconds}) {}

void TSoakProcess::Kill() {
  int const Code = End(SIGKILL);
  if (Code != -SIGKILL) {
    Fail("ended by itself with code " + std::to_string(Code));
  }
}
