// SPDX-License-Identifier: MIT
// The command line of property-console, and the file that says the same.
#pragma once

#include <optional>
#include <string>

#include "PropertyConsole/TERole.h"
#include "PropertyConsole/TSConsoleSettings.h"

namespace CLI {
class App;
}

namespace Property {

/// What the console is asked to do. Holds copies; nothing is shared.
class TCConsoleOptions {
 public:
  enum class TECommand { eServe, eAddUser, eRemoveUser, eListUsers };

  /// Why the process ends at once: `Text` goes to the standard output when `Code` is 0, else to the
  /// standard error. It ends with a line feed.
  struct TSExit {
    int Code = 0;
    std::string Text;
  };

  /// Takes over the arguments (the first one is the program's name) and, for what they leave open,
  /// the configuration file. Returns an exit with code 0 for --help and --version, with code 2 when
  /// the command line or the file is wrong; the options are then of no use.
  [[nodiscard]] std::optional<TSExit> Parse(int Count, char const* const* Arguments);

  TECommand get_Command() const { return m_Command; }
  TSConsoleSettings const& get_Settings() const { return m_Settings; }
  /// Of a command about users.
  std::string const& get_UserName() const { return m_UserName; }
  TERole get_Role() const { return m_Role; }

 private:
  void DeclareService(CLI::App& App);
  void DeclareLimits(CLI::App& App);
  void DeclareUsers(CLI::App& App);

  TECommand m_Command = TECommand::eServe;
  TSConsoleSettings m_Settings;
  std::string m_UserName;
  TERole m_Role = TERole::eViewer;
};

}  // namespace Property
