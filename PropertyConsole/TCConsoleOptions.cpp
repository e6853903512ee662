// SPDX-License-Identifier: MIT
// Options of property-console, their defaults and their help.
#include "PropertyConsole/TCConsoleOptions.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <map>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Utility/PrintableText.h"
#include "PropertyConsole/TCListener.h"
#include "PropertyConsole/TCUserFile.h"

namespace Property {
namespace {

constexpr char kConsole[] = "property-console";
constexpr char kConsoleState[] = "/var/lib/property-console";
constexpr char kConsoleFile[] = "/etc/property/console.toml";
constexpr unsigned kHighestPort = 65535;

// The service manager separates several folders by colons; the first one is the console's.
std::string DefaultUsers() {
  char const* const Environment = std::getenv("STATE_DIRECTORY");
  std::string Folder = Environment != nullptr ? Environment : "";
  Folder.erase(std::min(Folder.find(':'), Folder.size()));
  return (Folder.empty() ? kConsoleState : Folder) + "/users";
}

// "--users= --port 0" would take the next option for the file.
std::string CheckFileName(std::string const& Text) {
  return !Text.empty() && Text[0] != '-' ? "" : "\"" + Text + "\" is no file name";
}

std::string CheckListenAddress(std::string const& Text) {
  return TCListener::IsAddress(Text)
             ? ""
             : "\"" + Text + "\" is no address of numbers, as 127.0.0.1 or ::1";
}

std::string CheckServerAddress(std::string const& Text) {
  return Text.compare(0, 5, "unix:") == 0 ? "" : "\"" + Text + "\" does not begin with unix:";
}

// What may stand in a browser's line of addresses, and lets nobody write another header.
std::string CheckHostName(std::string const& Text) {
  constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_";
  bool const IsGood = !Text.empty() && Text.find_first_not_of(kLetters) == std::string::npos;
  return IsGood ? "" : "\"" + Text + "\" is no name of a host";
}

// What only several options together say; empty for nothing.
std::string CheckTogether(TSConsoleSettings const& Settings) {
  if (Settings.Certificate.empty() != Settings.Key.empty()) {
    return "--certificate and --key go together";
  }
  if (Settings.Certificate.empty() && !TCListener::IsLoopback(Settings.Address) &&
      !Settings.PlainHTTP) {
    return "others could read passwords on their way to " + Settings.Address +
           ": give --certificate and --key, or --plain-http where something else encrypts";
  }
  return "";
}

TCConsoleOptions::TSExit Refusal(std::string const& Text) {
  return {2, PrintableText(std::string(kConsole) + ": " + Text + "; see --help") + "\n"};
}

}  // namespace

std::optional<TCConsoleOptions::TSExit> TCConsoleOptions::Parse(int Count,
                                                                char const* const* Arguments) {
  m_Command = TECommand::eServe;
  m_Settings = TSConsoleSettings();
  m_Settings.Users = DefaultUsers();
  m_Settings.Router = kDefaultRouterAddress;
  CLI::App App("Shows and changes the properties of this device in a browser.", kConsole);
  App.set_help_flag("-h,--help", "Print this help and exit");
  App.set_version_flag("--version", std::string(kConsole) + " " + PROPERTY_VERSION,
                       "Print the version and exit");
  // An own file has to exist; the usual one may be missing.
  App.set_config("--config", access(kConsoleFile, F_OK) == 0 ? kConsoleFile : "",
                 "File with options as \"port = 8420\" (TOML)\n"
                 "(default: /etc/property/console.toml where it exists)");
  App.allow_config_extras(CLI::config_extras_mode::error);
  DeclareService(App);
  DeclareLimits(App);
  DeclareUsers(App);
  try {
    App.parse(Count, Arguments);
  } catch (CLI::CallForHelp const&) {
    return TSExit{0, App.help()};
  } catch (CLI::CallForVersion const& Version) {
    return TSExit{0, std::string(Version.what()) + "\n"};
  } catch (CLI::ParseError const& Error) {
    return Refusal(Error.what());
  }
  std::string const Wrong =
      m_Command == TECommand::eServe ? CheckTogether(m_Settings) : std::string();
  return Wrong.empty() ? std::nullopt : std::optional(Refusal(Wrong));
}

void TCConsoleOptions::DeclareService(CLI::App& App) {
  App.add_option("--listen", m_Settings.Address, "Address on which the console listens")
      ->check(CheckListenAddress)
      ->type_name("ADDRESS")
      ->capture_default_str();
  App.add_option("--port", m_Settings.Port, "Port on which it listens; 0: the system chooses")
      ->check(CLI::Range(0U, kHighestPort))
      ->type_name("NUMBER")
      ->capture_default_str();
  App.add_option("--users", m_Settings.Users,
                 "File with the users (default: users in the folder that\n"
                 "STATE_DIRECTORY names, else /var/lib/property-console)")
      ->check(CheckFileName)
      ->type_name("FILE");
  App.add_option("--address", m_Settings.Router, "Address of the property server")
      ->envname(kRouterAddressVariable)
      ->check(CheckServerAddress)
      ->type_name("ADDRESS")
      ->capture_default_str();
  App.add_option("--schema", m_Settings.Schemas,
                 "Schema library, or folder of them; may be repeated (default:\n"
                 "those that PROPERTY_SCHEMA names, divided by colons, else the\n"
                 "folder of installed ones)")
      ->check(CheckFileName)
      ->expected(1)
      ->take_all()
      ->type_name("PATH");
  App.add_option("--host-name", m_Settings.Names,
                 "Name under which browsers reach the console, beside its\n"
                 "addresses and localhost; may be repeated")
      ->check(CheckHostName)
      ->expected(1)
      ->take_all()
      ->type_name("NAME");
  App.add_option("--certificate", m_Settings.Certificate,
                 "File with the certificate (PEM, and those above it): the\n"
                 "connections are encrypted")
      ->check(CheckFileName)
      ->type_name("FILE");
  App.add_option("--key", m_Settings.Key, "File with the certificate's key (PEM)")
      ->check(CheckFileName)
      ->type_name("FILE");
  App.add_flag("--plain-http", m_Settings.PlainHTTP,
               "Serve beyond this machine without a certificate, behind\n"
               "something that encrypts");
  App.add_flag("--metrics", m_Settings.Metrics,
               "Tell the figures at /metrics everybody who reaches the\n"
               "console, not only who has signed in");
}

void TCConsoleOptions::DeclareLimits(CLI::App& App) {
  auto const Declare = [&App](char const* Name, unsigned& Value, unsigned Least, unsigned Most,
                              char const* Help) {
    App.add_option(Name, Value, Help)
        ->check(CLI::Range(Least, Most))
        ->type_name("NUMBER")
        ->capture_default_str()
        ->group("Limits");
  };
  Declare("--threads", m_Settings.Threads, 1, 256, "Requests that are served at once");
  Declare("--waiting-connections", m_Settings.WaitingConnections, 1, 4096,
          "Connections that wait for that; more are sent away");
  Declare("--body-kib", m_Settings.BodyKiB, 1, 65536, "KiB of what a request brings");
  Declare("--request-seconds", m_Settings.RequestSeconds, 1, 600, "Seconds to send a request in");
  Declare("--idle-seconds", m_Settings.IdleSeconds, 1, 604800,
          "Seconds after which a session that nobody uses ends");
  Declare("--session-seconds", m_Settings.SessionSeconds, 1, 2592000,
          "Seconds after which any session ends");
  Declare("--sessions", m_Settings.Sessions, 1, 4096, "Sessions at once");
}

void TCConsoleOptions::DeclareUsers(CLI::App& App) {
  App.require_subcommand(0, 1);
  CLI::App* const User = App.add_subcommand("user", "Add, remove or list who may sign in");
  User->require_subcommand(1);
  User->fallthrough();
  auto const DeclareName = [this](CLI::App& Command) {
    Command.add_option("NAME", m_UserName, "Name of the user")
        ->required()
        ->check(TCUserFile::CheckName)
        ->type_name("");
    Command.fallthrough();
  };
  CLI::App* const Add = User->add_subcommand(
      "add", "Add a user, with a password from the terminal or the standard input");
  DeclareName(*Add);
  Add->add_option("--role", m_Role, "viewer, operator or administrator")
      ->required()
      ->transform(CLI::Transformer(
          std::map<std::string, TERole>{{"viewer", TERole::eViewer},
                                        {"operator", TERole::eOperator},
                                        {"administrator", TERole::eAdministrator}}))
      ->type_name("ROLE");
  Add->callback([this] { m_Command = TECommand::eAddUser; });
  CLI::App* const Remove = User->add_subcommand("remove", "Remove a user, and end his sessions");
  DeclareName(*Remove);
  Remove->callback([this] { m_Command = TECommand::eRemoveUser; });
  CLI::App* const List = User->add_subcommand("list", "List users and roles");
  List->fallthrough();
  List->callback([this] { m_Command = TECommand::eListUsers; });
}

}  // namespace Property
