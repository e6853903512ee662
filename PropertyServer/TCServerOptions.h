// SPDX-License-Identifier: MIT
// The command line of property-server.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "PropertyServer/TEDurability.h"

namespace Property {

/// What the server is asked to do. Holds copies; nothing is shared.
class TCServerOptions {
 public:
  /// Why the process ends instead of serving: `Text` goes to the standard output when `Code` is 0,
  /// else to the standard error. It ends with a line feed.
  struct TSExit {
    int Code = 0;
    std::string Text;
  };

  /// Takes over the arguments (the first one is the program's name) and, for what they leave open,
  /// the environment. Returns an exit with code 0 for --help and --version, with code 2 and one
  /// line of text when the command line is wrong; the options are then of no use.
  [[nodiscard]] std::optional<TSExit> Parse(int Count, char const* const* Arguments);

  /// Where the mail router listens.
  std::string const& get_Address() const { return m_Address; }
  /// The file with the values.
  std::string const& get_Database() const { return m_Database; }
  /// The file with access rules and limits; empty: the defaults hold.
  std::string const& get_Configuration() const { return m_Configuration; }
  /// Files and folders with schema libraries; empty: those that the environment or the installation
  /// says.
  std::vector<std::string> const& get_Schemas() const { return m_Schemas; }
  /// When a change is published.
  TEDurability get_Durability() const { return m_Durability; }
  /// Whether every mail is printed.
  bool get_Trace() const { return m_Trace; }

  // What is done instead of serving, when not empty or true; at most one of them.

  /// The database to check.
  std::string const& get_Check() const { return m_Check; }
  /// The file to copy the database to.
  std::string const& get_Backup() const { return m_Backup; }
  /// Whether the running server's figures are printed.
  bool get_Status() const { return m_Status; }

 private:
  std::string m_Address;
  std::string m_Database;
  std::string m_Configuration;
  std::vector<std::string> m_Schemas;
  TEDurability m_Durability = TEDurability::eFull;
  bool m_Trace = false;
  std::string m_Check;
  std::string m_Backup;
  bool m_Status = false;
};

}  // namespace Property
