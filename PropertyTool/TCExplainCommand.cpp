// SPDX-License-Identifier: MIT
// Asks where a value comes from and lays the schema's part beside it.
#include "PropertyTool/TCExplainCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "PropertyTool/Durations.h"
#include "PropertyTool/TCTextTable.h"
#include "PropertyTool/TCToolFailure.h"
#include "SchemaLibrary/Visibility.h"

namespace Property {

struct TCExplainCommand::TSFound {
  TSTarget Target;
  TSCurrentValue Value;
  bool IsHeld;
  bool IsSecret;
  TSWriter Writer;
  std::optional<int> Seconds;  // until an unconfirmed change is taken back

  TSFound(TCToolContext& Context, TSTarget const& Explained, TCControlRecord const& Record)
      : Target(Explained),
        IsHeld(Record.m_Held.get_AsBool()),
        IsSecret(Context.get_Secrets().IsSecret(Explained.Place.Number)),
        Writer(Record) {
    Value = CurrentOf(Target.Field,
                      IsHeld ? std::optional(Record.m_Data.get_AsString()) : std::nullopt);
    if (Record.m_Seconds.IsAssigned()) {
      Seconds = Record.m_Seconds.get_AsInteger();
    }
  }

  char const* Source() const { return Value.IsDefault ? "default" : IsHeld ? "server" : "none"; }
};

CLI::App& TCExplainCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command =
      Tool.add_subcommand("explain", "Show where a value comes from, and who has set it");
  Command->add_option("PROPERTY", m_Name, "Number, name or path; NAME[RECORD] for a record's")
      ->required()
      ->type_name("");
  m_Places.Declare(*Command);
  Command->footer(
      "Examples:\n"
      "  property explain HostName\n"
      "  property explain 'UserName[7]' --json");
  return *Command;
}

void TCExplainCommand::WriteLines(TCToolContext& Context, TSFound const& Found) {
  int const Number = Found.Target.Place.Number;
  auto const Shown = [&](std::optional<std::string> const& Data) -> std::string {
    return !Data            ? "(none)"
           : Found.IsSecret ? kSecretMask
                            : Context.get_Naming().TextOf(Number, *Data);
  };
  std::vector<std::vector<std::string>> Lines = {
      {"property", Context.get_Naming().NameOf(Found.Target.Place)},
      {"number", std::to_string(Number)},
      {"value", Shown(Found.Value.Data)},
      {"from", Found.Source()}};
  if (Found.IsHeld && !Found.Writer.Transaction.empty()) {
    Lines.push_back({"set by", Found.Writer.get_Name()});
    Lines.push_back({"set at", TimeText(Found.Writer.Time)});
    Lines.push_back({"transaction", Found.Writer.Transaction});
  }
  if (Found.Seconds) {
    Lines.push_back({"pending", "taken back in " + std::to_string(*Found.Seconds) +
                                    " s unless it is confirmed"});
  }
  if (Found.Target.Field != nullptr) {
    Lines.push_back({"default", Shown(DefaultOf(*Found.Target.Field))});
    std::string const Hiding = ReasonOfHiding(*Found.Target.Field);
    Lines.push_back({"visibility", NameOf(VisibilityOf(*Found.Target.Field)) +
                                       (Hiding.empty() ? "" : ": " + Hiding)});
  }
  TCTextTable Table({"", ""});
  for (std::vector<std::string> const& Line : Lines) {
    Context.get_Output().get_Form() == TEForm::ePlain ? Context.get_Output().Plain(Line)
                                                      : Table.Add(Line);
  }
  Table.Write(Context.get_Output());
}

void TCExplainCommand::WriteJSON(TCToolContext& Context, TSFound const& Found) {
  auto Object = Context.get_Naming().JSONOf(Found.Target.Place);
  Object["secret"] = Found.IsSecret;
  SetTextOrNull(Object, "value", Found.IsSecret ? std::nullopt : Found.Value.Data);
  Object["source"] = Found.Source();
  SetWriter(Object, Found.Writer);
  Object["pending_seconds"] = nullptr;
  if (Found.Seconds) {
    Object["pending_seconds"] = *Found.Seconds;
  }
  Object["default"] = nullptr;
  Object["visibility"] = nullptr;
  if (Found.Target.Field != nullptr) {
    Object.erase("default");
    SetTextOrNull(Object, "default",
                  Found.IsSecret ? std::nullopt : DefaultOf(*Found.Target.Field));
    Object["visibility"] = NameOf(VisibilityOf(*Found.Target.Field));
  }
  Context.get_Output().JSON(Object);
}

TEExit TCExplainCommand::Run(TCToolContext& Context) {
  TSTarget Target = Context.get_Naming().Find(m_Name, m_Places);
  if (Target.IsDeviceOpen) {
    AskForCurrent(Context, Target);  // says whose value is there
  }
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kExplain.Type,
                     PropertyControl::kExplain.Name);
  SetPlace(Mail.CreateRecord()->get_Record(), Target.Place);
  Context.get_Server().Ask(Mail);
  if (Mail.RecordCount() != 1) {
    throw TCToolFailure(TEExit::eRefused, "the property server does not explain this property");
  }
  TSFound const Found(Context, Target, Mail.GetMailRecord(0)->get_Record());
  Context.get_Output().get_Form() == TEForm::eJSON ? WriteJSON(Context, Found)
                                                   : WriteLines(Context, Found);
  return TEExit::eDone;
}

}  // namespace Property
