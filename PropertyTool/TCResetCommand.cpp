// SPDX-License-Identifier: MIT
// Has values removed, so that every process has the default.
#include "PropertyTool/TCResetCommand.h"

#include <CLI/CLI.hpp>

#include "PropertyTool/ControlMails.h"
#include "PropertyTool/FoundValues.h"
#include "ServerClient/ServerValues.h"

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
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kReset.Type, PropertyControl::kReset.Name);
  std::vector<TSFoundValue> const All = FindValues(Context, m_Names, m_Places);
  for (TSFoundValue const& Found : All) {
    if (AskForOne(Context.get_Server(), Found.Place)) {
      SetPlace(Mail.CreateRecord()->get_Record(), Found.Place);
    }
  }
  std::string Transaction;
  if (Mail.RecordCount() > 0) {
    Transaction = SendChange(Context, Mail.get_Content(), m_Change);
  }
  TellTransaction(Context, Transaction, m_Change);
  return TEExit::eDone;
}

}  // namespace Property
