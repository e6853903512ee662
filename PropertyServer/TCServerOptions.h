// SPDX-License-Identifier: MIT
// The command line of property-server.
#pragma once

#include <optional>
#include <string>

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
  /// Whether every mail is printed.
  bool get_Trace() const { return m_Trace; }

 private:
  std::string m_Address;
  std::string m_Database;
  bool m_Trace = false;
};

}  // namespace Property
