// SPDX-License-Identifier: MIT
// The property server that a measurement uses.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "benchmarks/support/Processes.h"

namespace Benchmark {

/// A server with a database in a private folder. The processes that are made while it lives use it.
class TCServer {
 public:
  /// Starts the server and gives it the first `Size` integer values, and those of StampField().
  TCServer(std::string const& Program, std::string const& Durability, int Size);

  /// Ends the server in good order.
  void Stop();
  /// Starts it again with what it has stored.
  void Start();
  /// Waits until it has answered a request of a process that is connected with it for that.
  void WaitForAnswer() const;

  pid_t get_ID() const { return m_Process->get_ID(); }

 private:
  void Fill(int Size) const;

  TCPrivateFolder m_Folder;
  std::string m_Program;
  std::string m_Durability;
  std::string m_Socket;
  std::string m_Address;
  std::optional<TCProcess> m_Process;
};

}  // namespace Benchmark
