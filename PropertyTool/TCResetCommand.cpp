// SPDX-License-Identifier: MIT
// Stores the empty text, which stands for the default in every process.
#include "PropertyTool/TCResetCommand.h"

#include <CLI/CLI.hpp>

#include "PropertyTool/ServerValues.h"

namespace Property {

CLI::App& TCResetCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("reset", "Give properties their defaults again");
  Command->add_option("PROPERTY", m_Names, "Number, name or path; NAME[RECORD] for a record's")
      ->required()
      ->type_name("");
  m_Places.Declare(*Command);
  m_Change.Declare(*Command);
  Command->footer(
      "Several properties change as one transaction. What is not stored stays so.\n\n"
      "Examples:\n"
      "  property reset DisplayBrightness\n"
      "  property reset HostName AddressMode");
  return *Command;
}

TEExit TCResetCommand::Run(TCToolContext& Context) {
  std::vector<TSPropertyValue> Values;
  for (std::string const& Name : m_Names) {
    TSTarget Target = Context.get_Naming().Find(Name, m_Places);
    SettleDevice(Context, Target);
    auto const Stored = AskForOne(Context.get_Server(), Target.Place);
    if (Stored && !Stored->empty()) {
      Values.push_back({Target.Place, std::string()});
    }
  }
  if (!Values.empty()) {
    Change(Context, Values, m_Change);
  }
  return TEExit::eDone;
}

}  // namespace Property
