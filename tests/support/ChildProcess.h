// SPDX-License-Identifier: MIT
// A child process that tests and soaks start, talk to, stop and kill.
#pragma once

#include <sys/types.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "Platform/Utility/TCFileDescriptor.h"

/// How to start one.
struct TSChildStart {
  std::vector<std::string> Command;
  std::map<std::string, std::string> Environment;  ///< beside what is inherited
  int Errors;                                      ///< its standard error; stays the caller's
  std::string ErrorsName;         ///< where to find that, for messages; may be empty
  std::function<void()> Prepare;  ///< runs in the child before the program; may be none
  int Patience = 60000;           ///< milliseconds of waiting for it
};

/// A program with pipes to its standard input and output. Killed, if it lives, with its owner, and
/// when this process ends. What waits for it throws std::runtime_error when it waits too long.
class TChildProcess {
 public:
  /// Throws std::runtime_error when the system has no process or pipe left.
  explicit TChildProcess(TSChildStart const& Start);
  TChildProcess(TChildProcess const&) = delete;
  TChildProcess& operator=(TChildProcess const&) = delete;
  virtual ~TChildProcess();

  /// A line for its standard input; false when it does not get all of it, because it has died.
  bool Say(std::string const& Line);
  /// Waits for the next line of its standard output; throws as well when that has ended.
  std::string Hear();
  /// What it has written there and nobody heard; complete after its end.
  std::string Rest();

  /// Stops it, and returns when it stands.
  void Pause();
  void Continue();
  /// Sends `Signal` unless it is 0, closes its input, waits for its end, and returns its exit code,
  /// or minus the signal that ended it.
  int End(int Signal = 0);

  pid_t get_Process() const { return m_Process; }
  bool IsAlive() const { return m_Process > 0; }

 protected:
  [[noreturn]] void Fail(std::string const& What) const;

 private:
  bool IsReadable(int File) const;

  std::string const m_Name;
  std::string const m_Hint;
  int const m_Patience;
  pid_t m_Process = -1;
  TCFileDescriptor m_Input;
  TCFileDescriptor m_Output;
  std::string m_Heard;
};
