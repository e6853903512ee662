// SPDX-License-Identifier: MIT
// Options of property-server, their defaults and their help.
#include "PropertyServer/TCServerOptions.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <map>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Utility/PrintableText.h"

namespace Property {

namespace {

constexpr char kProgram[] = "property-server";
constexpr char kDefaultStateFolder[] = "/var/lib/property";
constexpr char kDefaultConfiguration[] = "/etc/property/server.toml";

// The service manager separates several folders by colons; the first one is this server's.
std::string DefaultDatabase() {
  char const* const Environment = std::getenv("STATE_DIRECTORY");
  std::string Folder = Environment != nullptr ? Environment : "";
  Folder.erase(std::min(Folder.find(':'), Folder.size()));
  return (Folder.empty() ? kDefaultStateFolder : Folder) + "/values.db";
}

std::string CheckAddress(std::string const& Text) {
  return Text.compare(0, 5, "unix:") == 0 ? "" : "\"" + Text + "\" does not begin with unix:";
}

// "--database= --trace" would take the next option for the file.
std::string CheckFile(std::string const& Text) {
  return !Text.empty() && Text[0] != '-' ? "" : "\"" + Text + "\" is no file name";
}

}  // namespace

std::optional<TCServerOptions::TSExit> TCServerOptions::Parse(int Count,
                                                              char const* const* Arguments) {
  m_Address = kDefaultRouterAddress;
  m_Database = DefaultDatabase();
  m_Configuration = access(kDefaultConfiguration, F_OK) == 0 ? kDefaultConfiguration : "";
  m_Schemas.clear();
  m_Durability = TEDurability::eFull;
  m_Trace = false;
  m_Check.clear();
  m_Backup.clear();
  m_Status = false;

  CLI::App App("Keeps the properties of this device and tells its processes what changes.",
               kProgram);
  App.set_help_flag("-h,--help", "Print this help and exit");
  App.set_version_flag("--version", std::string(kProgram) + " " + PROPERTY_VERSION,
                       "Print the version and exit");
  App.add_option("--address", m_Address, "Address on which the mail router listens")
      ->envname(kRouterAddressVariable)
      ->check(CheckAddress)
      ->type_name("ADDRESS")
      ->capture_default_str();
  App.add_option("--database", m_Database,
                 "File with the values, made when missing (default: values.db in\n"
                 "the folder that STATE_DIRECTORY names, else /var/lib/property)")
      ->check(CheckFile)
      ->type_name("FILE");
  App.add_option("--config", m_Configuration,
                 "File with access rules and limits, read again at SIGHUP\n"
                 "(default: /etc/property/server.toml where it exists)")
      ->check(CheckFile)
      ->type_name("FILE");
  App.add_option("--schema", m_Schemas,
                 "Schema library, or folder of them, to refuse what it does not\n"
                 "allow; may be repeated (default: those that PROPERTY_SCHEMA\n"
                 "names, divided by colons, else the folder of installed ones)")
      ->check(CheckFile)
      ->expected(1)
      ->take_all()
      ->type_name("PATH");
  App.add_option("--durability", m_Durability,
                 "full: a change is published when it is on the disk;\n"
                 "relaxed: at once, and it is on the disk within 20 ms (default: full)")
      ->transform(
          CLI::Transformer(std::map<std::string, TEDurability>{{"full", TEDurability::eFull},
                                                               {"relaxed", TEDurability::eRelaxed}})
              .description(""))
      ->type_name("full|relaxed");
  App.add_flag("--trace", m_Trace, "Print every mail to the standard output (default: off)");

  CLI::Option_group* const Instead = App.add_option_group("Instead of serving");
  Instead->add_option("--check", m_Check, "Check a database that no server uses; change nothing")
      ->check(CheckFile)
      ->type_name("FILE");
  Instead
      ->add_option("--backup", m_Backup,
                   "Copy the database to FILE, from the server at the\n"
                   "address or, when none runs, from the database's file")
      ->check(CheckFile)
      ->type_name("FILE");
  Instead->add_flag("--status", m_Status, "Print the figures of the server at the address");
  Instead->require_option(0, 1);

  try {
    App.parse(Count, Arguments);
  } catch (CLI::CallForHelp const&) {
    return TSExit{0, App.help()};
  } catch (CLI::CallForVersion const& Version) {
    return TSExit{0, std::string(Version.what()) + "\n"};
  } catch (CLI::ParseError const& Error) {
    return TSExit{
        2, PrintableText(std::string(kProgram) + ": " + Error.what() + "; see --help") + "\n"};
  }
  return std::nullopt;
}

}  // namespace Property
