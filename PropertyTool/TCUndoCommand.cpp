// SPDX-License-Identifier: MIT
// Asks the server to take a transaction back.
#include "PropertyTool/TCUndoCommand.h"

#include <CLI/CLI.hpp>

#include "PropertyTool/ControlMails.h"

namespace Property {

CLI::App& TCUndoCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command =
      Tool.add_subcommand("undo", "Make values what they were before a transaction");
  Command->add_option("TRANSACTION", m_Transaction, "Its number, as property history shows it")
      ->required()
      ->check(CheckTransaction)
      ->type_name("");
  Command->add_flag("--force", m_Force, "Also where values were changed since");
  m_Change.Declare(*Command);
  Command->footer(
      "The undoing is a transaction of its own. It is refused, with a list, when values of\n"
      "the transaction were changed since.\n\n"
      "Examples:\n"
      "  property undo 812\n"
      "  property undo 812 --force");
  return *Command;
}

TEExit TCUndoCommand::Run(TCToolContext& Context) {
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kUndo.Type, PropertyControl::kUndo.Name);
  TCControlRecord& Record = Mail.CreateRecord()->get_Record();
  Record.m_Transaction.set_AsString(m_Transaction);
  Record.m_Force.set_AsBool(m_Force);
  m_Change.Advice = "property history shows what can be taken back";
  if (!m_Force) {
    m_Change.Advice += ", and --force takes back also what was changed since";
  }
  TellTransaction(Context, SendChange(Context, Mail.get_Content(), m_Change), m_Change);
  return TEExit::eDone;
}

}  // namespace Property
