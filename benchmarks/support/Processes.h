// SPDX-License-Identifier: MIT
// The other processes of a measurement, and how they report.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Benchmark {

/// Whoever sends into a pipe has ended.
class TCNobodySends : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One direction of numbers between two processes: make it before the fork.
class TCPipe {
 public:
  /// Throws std::runtime_error when the system has no pipe left.
  TCPipe();
  TCPipe(TCPipe const&) = delete;
  TCPipe& operator=(TCPipe const&) = delete;
  ~TCPipe();

  /// Throws std::runtime_error when nobody can read it any more.
  void Send(double Value) const;
  /// Waits for the next number; throws std::runtime_error when none comes within 60 seconds, and
  /// TCNobodySends when none can come any more.
  double Receive() const;
  /// For who only receives, so that it notices the end of whoever sends.
  void StopSending();

 private:
  int m_Ends[2];
};

/// A child process, which its owner ends by SIGTERM. It also ends when the owner's process does.
/// What is said of it begins with its name, such as "the writing process".
class TCProcess {
 public:
  /// Runs `Body` in a child; what it throws is written to the standard error.
  TCProcess(std::string Name, std::function<void()> const& Body);
  /// Runs a program found in the PATH; its standard output goes to the standard error.
  explicit TCProcess(std::vector<std::string> const& Command);
  TCProcess(TCProcess const&) = delete;
  TCProcess& operator=(TCProcess const&) = delete;
  ~TCProcess();

  pid_t get_ID() const { return m_Process; }
  void Signal(int Number) const;
  /// Waits for the child's own end. Throws std::runtime_error, with the status or the signal that
  /// it ended with, when that is no success.
  void Wait();

 private:
  std::string m_Name;
  pid_t m_Process;
};

/// The `Count` numbers that `Body` sends when it runs in a process of its own. Throws
/// std::runtime_error, with what is known of that process, when they do not come.
std::vector<double> SampleInProcess(int Count, std::function<void(TCPipe const&)> const& Body);

/// A private folder under TMPDIR, or /tmp; removed with its content at the end.
class TCPrivateFolder {
 public:
  TCPrivateFolder();
  TCPrivateFolder(TCPrivateFolder const&) = delete;
  TCPrivateFolder& operator=(TCPrivateFolder const&) = delete;
  ~TCPrivateFolder();

  std::filesystem::path const& get_Path() const { return m_Path; }

 private:
  std::filesystem::path m_Path;
};

/// Runs `Main` and answers its exit code; what it throws is written to the standard error, after
/// the program's name, and gives 1.
int RunMeasurements(char const* Program, std::function<void()> const& Main);

}  // namespace Benchmark
