// SPDX-License-Identifier: MIT
// Asks for the history page by page and shows it, the newest change first.
#include "PropertyTool/TCHistoryCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <utility>

#include "PropertyTool/Changes.h"
#include "PropertyTool/CommandLines.h"
#include "PropertyTool/ControlMails.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/TCTextTable.h"
#include "PropertyTool/TCToolContext.h"

namespace Property {
namespace {

bool IsDigits(std::string const& Text) {
  return !Text.empty() && Text.find_first_not_of("0123456789") == std::string::npos;
}

std::string CheckTime(std::string const& Text) {
  return ReadTime(Text)
             ? ""
             : "\"" + Text +
                   "\" is neither a time such as 2026-01-31T12:00 nor a duration such as 2h";
}

// A user of the system by name or number; else a program.
void NarrowToWriter(TCControlRecord& Record, std::string const& Writer) {
  std::string const User = NumberOfUser(Writer);
  if (!User.empty()) {
    Record.m_User.set_AsString(User);
  } else if (IsDigits(Writer)) {
    Record.m_User.set_AsString(Writer);
  } else {
    Record.m_Program.set_AsString(Writer);
  }
}

}  // namespace

CLI::App& TCHistoryCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("history", "Show who has changed what, and when");
  Command->add_option("PROPERTY,--property", m_Name, "Only changes of this property")
      ->check(CheckName)
      ->type_name("");
  m_Places.Declare(*Command);
  Command->add_option("--writer", m_Writer, "Only changes by this user or program")
      ->check(CheckName)
      ->type_name("NAME");
  Command
      ->add_option("--since", m_Since, "Only changes since a time (UTC), or of the last 2h or 7d")
      ->check(CheckTime)
      ->type_name("TIME");
  Command->add_option("--transaction", m_Transaction, "Only changes of this transaction")
      ->check(CheckTransaction)
      ->type_name("NUMBER");
  Command->add_option("--limit", m_Limit, "So many changes at most")
      ->check(CheckCount)
      ->capture_default_str()
      ->type_name("NUMBER");
  Command->footer(
      "The newest change comes first. Texts of secrets are not kept.\n\n"
      "Examples:\n"
      "  property history --since 1h\n"
      "  property history HostName --limit 5\n"
      "  property history --transaction 812 --json");
  return *Command;
}

void TCHistoryCommand::Narrow(TCToolContext& Context, TCControlRecord& Record) const {
  if (!m_Name.empty()) {
    TSTarget const Target = Context.get_Naming().Find(m_Name, m_Places);
    Record.m_ID = Target.Place.Number;
    if (!Target.Place.Link.empty()) {
      Record.m_Link.set_AsString(Target.Place.Link);
    }
    if (!m_Places.MAC.empty()) {
      Record.m_MAC.set_AsString(Target.Place.MAC);
    }
  }
  if (!m_Writer.empty()) {
    NarrowToWriter(Record, m_Writer);
  }
  if (auto const Since = ReadTime(m_Since)) {
    Record.m_Time.set_AsString(std::to_string(*Since));
  }
  if (!m_Transaction.empty()) {
    Record.m_Transaction.set_AsString(m_Transaction);
  }
}

std::string TCHistoryCommand::TextOf(TCToolContext& Context, TSHistoryEntry const& Entry,
                                     std::optional<std::string> const& Data) {
  if (Entry.IsSecret) {
    return kSecretMask;
  }
  return Data ? Context.get_Naming().TextOf(Entry.Place.Number, *Data) : "(none)";
}

void TCHistoryCommand::WriteJSON(TCToolContext& Context,
                                 std::vector<TSHistoryEntry> const& Entries) {
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  for (TSHistoryEntry const& Entry : Entries) {
    nlohmann::ordered_json Object;
    SetWriter(Object, Entry.Writer);
    Object.update(Context.get_Naming().JSONOf(Entry.Place));
    Object["secret"] = Entry.IsSecret;
    SetTextOrNull(Object, "former", Entry.Former);
    SetTextOrNull(Object, "value", Entry.Data);
    Object["undoes"] = nullptr;
    if (!Entry.Undoes.empty()) {
      Object["undoes"] = std::stoll(Entry.Undoes);
    }
    Array.push_back(std::move(Object));
  }
  Context.get_Output().JSON(Array);
}

TEExit TCHistoryCommand::Run(TCToolContext& Context) {
  std::vector<TSHistoryEntry> const Entries = AskForHistory(
      Context.get_Server(), m_Limit, [&](TCControlRecord& Record) { Narrow(Context, Record); });
  TCOutput& Output = Context.get_Output();
  if (Output.get_Form() == TEForm::eJSON) {
    WriteJSON(Context, Entries);
    return TEExit::eDone;
  }
  TCTextTable Table({"TIME", "TRANSACTION", "WRITER", "PROPERTY", "FROM", "TO"});
  for (TSHistoryEntry const& Entry : Entries) {
    std::vector<std::string> const Row = {TimeText(Entry.Writer.Time),
                                          Entry.Writer.Transaction,
                                          Entry.Writer.get_Name(),
                                          Context.get_Naming().NameOf(Entry.Place),
                                          TextOf(Context, Entry, Entry.Former),
                                          TextOf(Context, Entry, Entry.Data)};
    Output.get_Form() == TEForm::ePlain ? Output.Plain(Row) : Table.Add(Row);
  }
  if (!Table.IsEmpty()) {
    Table.Write(Output);
  }
  return TEExit::eDone;
}

}  // namespace Property
