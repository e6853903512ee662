// SPDX-License-Identifier: MIT
// A child process that may be killed and stopped at any time.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "Platform/Messaging/BusHandles.h"

/// Killed, if it lives, with its owner.
class TSoakProcess {
 public:
  /// What it writes to its standard error is appended to the file `Log`.
  TSoakProcess(std::vector<std::string> const& Command,
               std::map<std::string, std::string> const& Environment, std::string const& Log);
  TSoakProcess(TSoakProcess const&) = delete;
  TSoakProcess& operator=(TSoakProcess const&) = delete;
  ~TSoakProcess();

  /// A line for its standard input; a process that has died does not get it.
  void Say(std::string const& Line);
  /// Waits for the next line of its standard output. Throws std::runtime_error when none comes.
  std::string Hear();

  void Stop();
  void Continue();
  /// Returns when it is dead. Throws when it was before.
  void Kill();
  /// Closes its input, sends `Signal` unless it is 0, and returns its exit code, or minus the
  /// signal that ended it. Throws when it does not end.
  int End(int Signal);

  bool IsAlive() const { return m_Process > 0; }

 private:
  int Wait(std::string const& Why);

  std::string const m_Name;
  std::string const m_Log;
  pid_t m_Process = -1;
  TCFileDescriptor m_Input;
  TCFileDescriptor m_Output;
  std::string m_Heard;
};
