// SPDX-License-Identifier: MIT
// Puts the commands together, reads the command line and turns failures into exit codes.
#include "PropertyTool/TCTool.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyTool/CommandLines.h"
#include "PropertyTool/TCCompleteCommand.h"
#include "PropertyTool/TCConfirmCommand.h"
#include "PropertyTool/TCDescribeCommand.h"
#include "PropertyTool/TCDiffCommand.h"
#include "PropertyTool/TCDumpCommand.h"
#include "PropertyTool/TCExplainCommand.h"
#include "PropertyTool/TCForgetCommand.h"
#include "PropertyTool/TCGetCommand.h"
#include "PropertyTool/TCHistoryCommand.h"
#include "PropertyTool/TCListCommand.h"
#include "PropertyTool/TCLoadCommand.h"
#include "PropertyTool/TCResetCommand.h"
#include "PropertyTool/TCSchemaCommand.h"
#include "PropertyTool/TCSetCommand.h"
#include "PropertyTool/TCStatusCommand.h"
#include "PropertyTool/TCToolContext.h"
#include "PropertyTool/TCToolFailure.h"
#include "PropertyTool/TCUndoCommand.h"
#include "PropertyTool/TCWaitCommand.h"
#include "PropertyTool/TCWatchCommand.h"
#include "ServerClient/TCServerFailure.h"

namespace Property {
namespace {

constexpr char kProgram[] = "property";

struct TSDeclared {
  std::unique_ptr<TCToolCommand> Command;
  CLI::App* App;
};

template <class... T>
std::vector<TSDeclared> Declare(CLI::App& Tool) {
  std::vector<TSDeclared> Commands;
  (Commands.push_back({std::make_unique<T>(), nullptr}), ...);
  for (TSDeclared& Declared : Commands) {
    Declared.App = &Declared.Command->Declare(Tool);
  }
  return Commands;
}

std::vector<TSDeclared> DeclareCommands(CLI::App& Tool) {
  return Declare<TCGetCommand, TCSetCommand, TCResetCommand, TCListCommand, TCDescribeCommand,
                 TCExplainCommand, TCWatchCommand, TCWaitCommand, TCDumpCommand, TCLoadCommand,
                 TCDiffCommand, TCHistoryCommand, TCUndoCommand, TCConfirmCommand, TCForgetCommand,
                 TCSchemaCommand, TCStatusCommand, TCCompleteCommand>(Tool);
}

std::string CheckAddress(std::string const& Text) {
  bool const IsGood = Text.compare(0, 5, "unix:") == 0 && Text.find('=') < Text.size() - 1;
  return IsGood ? ""
                : "\"" + Text + "\", given here or in " + kRouterAddressVariable +
                      ", is no address such as " + kDefaultRouterAddress;
}

void DeclareOptions(CLI::App& Tool, TSToolOptions& Options) {
  Options.Address = kDefaultRouterAddress;
  Tool.set_help_flag("-h,--help", "Print this help and exit");
  Tool.set_version_flag("--version", std::string(kProgram) + " " + PROPERTY_VERSION,
                        "Print the version and exit");
  Tool.add_option("--address", Options.Address, "Address of the server's mail router")
      ->envname(kRouterAddressVariable)
      ->check(CheckAddress)
      ->type_name("ADDRESS")
      ->capture_default_str();
  Tool.add_option("--schema", Options.Schemas,
                  "Schema library, or a folder of them; may be repeated\n"
                  "(default: PROPERTY_SCHEMA, else the installed ones)")
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
      ->type_name("PATH");
  Tool.add_flag("--show-secrets", Options.ShowSecrets, "Show also the texts of secret properties");
  auto* const Form = Tool.add_option_group("Form of the output");
  auto* const JSON = Form->add_flag_callback(
      "--json", [&Options] { Options.Form = TEForm::eJSON; },
      "JSON, as docs/property-tool.md describes it");
  Form->add_flag_callback(
          "--plain", [&Options] { Options.Form = TEForm::ePlain; },
          "One line an entry, its parts separated by tabs")
      ->excludes(JSON);
}

// Lines of the library for the log: what matters to the user, the commands say themselves.
void DropLine(int /*Priority*/, std::string const& /*Text*/) {}

int Fail(TEExit Exit, char const* Text) {
  try {
    std::fputs((std::string(kProgram) + ": " + PrintableText(Text) + "\n").c_str(), stderr);
  } catch (std::bad_alloc const&) {
    std::fputs("property: out of memory\n", stderr);
  }
  return static_cast<int>(Exit);
}

TEExit ExitOf(TEServerFailure Kind) {
  switch (Kind) {
    case TEServerFailure::eNoServer:
      return TEExit::eNoServer;
    case TEServerFailure::eTimeOut:
      return TEExit::eTimeOut;
    default:
      return TEExit::eRefused;
  }
}

int RunParsed(std::vector<TSDeclared> const& Commands, TSToolOptions const& Options) {
  TCToolContext Context(Options);
  for (TSDeclared const& Declared : Commands) {
    if (Declared.App->parsed()) {
      TEExit const Exit = Declared.Command->Run(Context);
      Context.get_Output().Flush();
      return static_cast<int>(Exit);
    }
  }
  return static_cast<int>(TEExit::eUsage);
}

int Run(int Count, char const* const* Arguments) {
  CLI::App Tool("Looks at the properties of this device and changes them.", kProgram);
  TSToolOptions Options;
  DeclareOptions(Tool, Options);
  Tool.require_subcommand(1);
  Tool.fallthrough();
  std::vector<TSDeclared> const Commands = DeclareCommands(Tool);
  try {
    Tool.parse(Count, Arguments);
  } catch (CLI::Success const& Success) {  // the help or the version
    return Tool.exit(Success) == 0 ? 0 : static_cast<int>(TEExit::eUsage);
  } catch (CLI::ParseError const& Error) {
    return Fail(TEExit::eUsage, ReasonAgainst(Tool, Error).c_str());
  }
  return RunParsed(Commands, Options);
}

}  // namespace

int RunTool(int Count, char const* const* Arguments) noexcept {
  try {
    SetSyslogSink(DropLine);
    return Run(Count, Arguments);
  } catch (TCToolFailure const& Failure) {
    return Fail(Failure.get_Exit(), Failure.what());
  } catch (TCServerFailure const& Failure) {
    return Fail(ExitOf(Failure.get_Kind()), Failure.what());
  } catch (std::exception const& Failure) {
    return Fail(TEExit::eRefused, Failure.what());
  }
}

}  // namespace Property
