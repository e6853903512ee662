// SPDX-License-Identifier: MIT
// A server, two processes that behave well, and the proof that nothing a third one does hurts them.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/ProcessFixture.h"

class THostileFixture : public TProcessFixture {
 protected:
  /// Starts server and clients.
  void StartAll(std::vector<std::string> const& Options = {},
                std::function<void()> const& Prepare = nullptr);
  /// Writes a configuration and returns the options that name it.
  std::vector<std::string> Configure(std::string const& Text) const;

  /// A change is acknowledged and reaches another process, and does so soon.
  void ExpectServed();
  /// A process that starts now loads the values.
  void ExpectNewcomerServed();
  /// Ends the server, in order, and expects that its log says `Text` on `Lines` lines.
  void EndAndExpectLogged(std::string const& Text, int Lines = 1);

  std::string SocketPath() const { return File("socket"); }
  /// The memory that the server uses now, in KiB.
  long ServerMemory() const;
  /// The server uses little more than `Before`.
  void ExpectNoMoreMemory(long Before) const;
  /// The descriptors that it has open.
  int ServerFiles() const;

  std::unique_ptr<TProcess> m_Server;
  std::unique_ptr<TProcess> m_Writer;
  std::unique_ptr<TProcess> m_Reader;

 private:
  int m_Proofs = 0;
};

/// How many lines of `Text` contain `Part`.
int CountLines(std::string const& Text, std::string const& Part);

/// What counts as at once, on a machine that does other things too.
constexpr std::chrono::seconds kSoon{HOSTILE_SLOWNESS * 5};
/// How much a flood is made smaller in a build where everything is slow.
constexpr int kShare = HOSTILE_SLOWNESS;

/// A user with no rights.
constexpr uid_t kNobody = 65534;
