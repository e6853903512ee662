// SPDX-License-Identifier: MIT
// Asks for the server's figures and shows them.
#include "PropertyTool/TCStatusCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "PropertyTool/TCTextTable.h"
#include "PropertyTool/TCToolContext.h"
#include "ServerClient/ServerFigures.h"

namespace Property {
namespace {

// A member's name is the figure's with "_" for the blanks; every value is a text.
nlohmann::ordered_json AsJSON(TCServerFigures const& Figures) {
  nlohmann::ordered_json Object = nlohmann::ordered_json::object();
  for (auto [Name, Value] : Figures) {
    std::replace(Name.begin(), Name.end(), ' ', '_');
    SetText(Object, Name, Value);
  }
  return Object;
}

}  // namespace

CLI::App& TCStatusCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("status", "Show the figures of the server");
  Command->footer("Examples:\n  property status\n  property status --json | jq -r .values");
  return *Command;
}

TEExit TCStatusCommand::Run(TCToolContext& Context) {
  TCServerFigures const Figures = AskForFigures(Context.get_Server());
  TCOutput& Output = Context.get_Output();
  if (Output.get_Form() == TEForm::eJSON) {
    Output.JSON(AsJSON(Figures));
    return TEExit::eDone;
  }
  TCTextTable Table({"", ""});
  for (auto const& [Name, Value] : Figures) {
    if (Output.get_Form() == TEForm::ePlain) {
      Output.Plain({Name, Value});
    } else {
      Table.Add({Name, Value});
    }
  }
  Table.Write(Output);
  return TEExit::eDone;
}

}  // namespace Property
