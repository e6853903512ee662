// SPDX-License-Identifier: MIT
// Asks for the server's figures and shows them.
#include "PropertyTool/TCStatusCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/TCNorvServerObject.h"
#include "PropertyTool/TCTextTable.h"
#include "PropertyTool/TCToolContext.h"

namespace Property {
namespace {

using TCFigures = std::vector<std::pair<std::string, std::string>>;

TCFigures AskForFigures(TCServerConnection& Server) {
  TCNorvMailMessage<TCNorvServerObject> Mail(Norv_ServerMail, eNorvRequest, kServerStatus);
  Mail.CreateRecord();
  Server.Ask(Mail);
  TCFigures Figures;
  for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
    TCNorvServerObject::TCRecord& Record = Mail.GetMailRecord(Index)->get_Record();
    Figures.emplace_back(Record.m_Name.get_AsString(), Record.m_Value.get_AsString());
  }
  return Figures;
}

// A member's name is the figure's with "_" for the blanks; every value is a text.
nlohmann::ordered_json AsJSON(TCFigures const& Figures) {
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
  TCFigures const Figures = AskForFigures(Context.get_Server());
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
