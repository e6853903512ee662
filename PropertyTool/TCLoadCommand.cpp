// SPDX-License-Identifier: MIT
// Checks a dump as a whole and sends what differs as one transaction.
#include "PropertyTool/TCLoadCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "PropertyTool/Dumps.h"

namespace Property {

CLI::App& TCLoadCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("load", "Load a dump, all of it or nothing");
  Command->add_option("FILE", m_File, "A dump; - for the standard input")
      ->required()
      ->type_name("");
  Command->add_flag("--dry-run", m_DryRun, "Show what would change, and change nothing");
  Command->add_flag("--replace", m_Replace, "What the dump does not have gets its default again");
  m_Change.DeclareWithConfirmation(*Command);
  Command->footer(
      "Every entry is checked first; one that cannot be used refuses the whole. What the\n"
      "device has already is not sent. Secrets without their texts are left as they are.\n\n"
      "Examples:\n"
      "  property load backup.json --dry-run\n"
      "  zcat device.json.gz | property load - --replace");
  return *Command;
}

// An empty text and no value are the same: the default.
std::vector<TSValueDifference> TCLoadCommand::Plan(TCToolContext& Context) const {
  TSDump const Dump = ReadDump(Context, m_File);
  RequireSound(Dump);
  TCValueState const Device = AskForState(Context);
  std::vector<TSValueDifference> Differences;
  for (TSValueDifference& Difference : Compare(Device, Dump.Values, m_Replace)) {
    bool const HadNone = !Difference.Former || Difference.Former->empty();
    bool const HasNone = !Difference.Data || Difference.Data->empty();
    if (!HadNone || !HasNone) {
      Differences.push_back(std::move(Difference));
    }
  }
  return Differences;
}

void TCLoadCommand::Report(TCToolContext& Context,
                           std::vector<TSValueDifference> const& Differences,
                           std::string const& Transaction) const {
  if (Context.get_Output().get_Form() == TEForm::eJSON) {
    nlohmann::ordered_json Object = {{"applied", !m_DryRun}};
    Object["transaction"] = NumberOf(Transaction);
    Object["changes"] = AsJSON(Context, Differences);
    Context.get_Output().JSON(Object);
  } else if (m_DryRun) {
    Show(Context, Differences);
  } else {
    std::fprintf(stderr, "property: %zu values changed\n", Differences.size());
    TellTransaction(Context, Transaction, m_Change);
  }
}

TEExit TCLoadCommand::Run(TCToolContext& Context) {
  std::vector<TSValueDifference> const Differences = Plan(Context);
  std::string Transaction;
  if (!m_DryRun && !Differences.empty()) {
    std::vector<TSPropertyValue> Values;
    Values.reserve(Differences.size());
    for (TSValueDifference const& Difference : Differences) {
      Values.push_back({Difference.Place, Difference.Data.value_or(std::string())});
    }
    Transaction = Change(Context, Values, m_Change);
  }
  Report(Context, Differences, Transaction);
  return TEExit::eDone;
}

}  // namespace Property
