// SPDX-License-Identifier: MIT
// Runs of the property command, with what they write and how they end.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/integration/ProcessFixture.h"

/// What became of one run.
struct TRun {
  int m_Exit = -1;
  std::string m_Output;
  std::string m_Errors;

  bool operator==(TRun const& Right) const {
    return m_Exit == Right.m_Exit && m_Output == Right.m_Output && m_Errors == Right.m_Errors;
  }
};

std::ostream& operator<<(std::ostream& Stream, TRun const& Run);

/// Commands talk to the server that the test starts.
class TToolFixture : public TProcessFixture {
 protected:
  /// Runs the command to its end. Its standard input is `Input`.
  TRun Tool(std::vector<std::string> const& Arguments, std::string const& Input = "") const;
  /// Runs a shell's command line, in which `property` is the command.
  TRun Shell(std::string const& Line, std::string const& Input = "") const;
  /// The command in the background; it is told to end, or killed with the test.
  std::unique_ptr<TProcess> StartTool(std::vector<std::string> const& Arguments) const;

  std::string ReadFile(std::string const& Name) const;
  void WriteFile(std::string const& Name, std::string const& Text) const;

  /// The schema library, in a place that nobody else can change: a checkout may belong to another
  /// user than the one who runs the tests.
  std::string Schema() const;
  std::map<std::string, std::string> Environment() const;
  /// A server with secret property 212, and with values: brightness 60, mode night, motto "kept",
  /// the name of user 7, and a brightness of another device.
  std::unique_ptr<TProcess> StartFilledServer(std::vector<std::string> Options = {}) const;
  static constexpr char kSecretMotto[] = "secret = [212]\n";
  /// Whatever a test adds to the environment.
  std::map<std::string, std::string> m_Set;
};
