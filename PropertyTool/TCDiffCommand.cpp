// SPDX-License-Identifier: MIT
// Reads both states and shows the way from the first to the second.
#include "PropertyTool/TCDiffCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "PropertyTool/Dumps.h"
#include "PropertyTool/TCToolFailure.h"
#include "PropertyTool/ValueDifferences.h"

namespace Property {
namespace {

TCValueState ReadState(TCToolContext& Context, std::string const& Name) {
  TSDump Dump = ReadDump(Context, Name);
  RequireSound(Dump);
  return std::move(Dump.Values);
}

}  // namespace

CLI::App& TCDiffCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command =
      Tool.add_subcommand("diff", "Show what differs between dumps, or a dump and the device");
  Command->add_option("FIRST", m_First, "A dump; - for the standard input")
      ->required()
      ->type_name("");
  Command->add_option("SECOND", m_Second, "Another dump (default: the values of the device)")
      ->type_name("");
  Command->footer(
      "+ only the second has it, - only the first, ~ it differs. Exit code 1: there are\n"
      "differences. Secrets without their texts are not compared.\n\n"
      "Examples:\n"
      "  property diff backup.json\n"
      "  property diff before.json after.json --json");
  return *Command;
}

TEExit TCDiffCommand::Run(TCToolContext& Context) {
  if (m_First == "-" && m_Second == "-") {
    throw TCToolFailure(TEExit::eUsage, "only one dump can be read from the standard input");
  }
  if (!m_Second.empty()) {
    Context.get_Secrets().ShowAll();  // a dump shows what it holds, and no server is asked
  }
  TCValueState const First = ReadState(Context, m_First);
  TCValueState const Second =
      m_Second.empty() ? AskForState(Context) : ReadState(Context, m_Second);
  std::vector<TSValueDifference> const Differences = Compare(First, Second, true);
  if (Context.get_Output().get_Form() == TEForm::eJSON) {
    Context.get_Output().JSON(AsJSON(Context, Differences));
  } else {
    Show(Context, Differences);
  }
  return Differences.empty() ? TEExit::eDone : TEExit::eRefused;
}

}  // namespace Property
