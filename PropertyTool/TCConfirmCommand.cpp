// SPDX-License-Identifier: MIT
// Lists what waits for its confirmation, and confirms one of it.
#include "PropertyTool/TCConfirmCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "PropertyTool/ControlMails.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/TCTextTable.h"

namespace Property {

CLI::App& TCConfirmCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("confirm", "Keep a change that waits for it");
  Command
      ->add_option("TRANSACTION", m_Transaction,
                   "Its number, as set and load have printed it; without\n"
                   "one, what waits is listed")
      ->check(CheckTransaction)
      ->type_name("");
  m_Change.Declare(*Command);
  Command->footer(
      "Examples:\n"
      "  property confirm\n"
      "  property confirm 812");
  return *Command;
}

void TCConfirmCommand::List(TCToolContext& Context) {
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kPending.Type,
                     PropertyControl::kPending.Name);
  Context.get_Server().Ask(Mail);
  TCOutput& Output = Context.get_Output();
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  TCTextTable Table({"TRANSACTION", "TIME", "WRITER", "SECONDS LEFT"});
  for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
    TCControlRecord const& Record = Mail.GetMailRecord(Index)->get_Record();
    TSWriter const Writer(Record);
    nlohmann::ordered_json Object;
    SetWriter(Object, Writer);
    Object["seconds"] = Record.m_Seconds.get_AsInteger();
    Array.push_back(std::move(Object));
    std::vector<std::string> const Row = {Writer.Transaction, TimeText(Writer.Time),
                                          Writer.get_Name(), Record.m_Seconds.get_AsString()};
    Output.get_Form() == TEForm::ePlain ? Output.Plain(Row) : Table.Add(Row);
  }
  if (Output.get_Form() == TEForm::eJSON) {
    Output.JSON(Array);
  } else if (!Table.IsEmpty()) {
    Table.Write(Output);
  }
}

TEExit TCConfirmCommand::Run(TCToolContext& Context) {
  if (m_Transaction.empty()) {
    List(Context);
    return TEExit::eDone;
  }
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kConfirm.Type,
                     PropertyControl::kConfirm.Name);
  Mail.CreateRecord()->get_Record().m_Transaction.set_AsString(m_Transaction);
  m_Change.Advice = "property confirm lists those that wait";
  TellTransaction(Context, SendChange(Context, Mail.get_Content(), m_Change), m_Change);
  return TEExit::eDone;
}

}  // namespace Property
