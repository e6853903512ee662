// SPDX-License-Identifier: MIT
// Has the values of one number removed that the server keeps aside.
#include "PropertyTool/TCForgetCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "Platform/Utility/TextConversions.h"
#include "PropertyTool/ControlMails.h"
#include "PropertyTool/Orphans.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

std::string CheckNumber(std::string const& Text) {
  bool OK = false;
  StringToLong(Text, OK);
  return OK ? ""
            : "\"" + Text +
                  "\" is no property's number; property schema orphans shows those that can be "
                  "forgotten";
}

}  // namespace

CLI::App& TCForgetCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command =
      Tool.add_subcommand("forget", "Remove stored values that the schema no longer knows");
  Command
      ->add_option("NUMBER", m_Number,
                   "The property's number, as property schema orphans\n"
                   "shows it")
      ->required()
      ->check(CheckNumber)
      ->type_name("");
  m_Change.DeclareTimeout(*Command);
  Command->footer(
      "All values of the number are removed, of all records and devices. Only for who may\n"
      "administer the server. A value that the schema knows is left alone: see property reset.\n\n"
      "Examples:\n"
      "  property forget 1999\n"
      "  property schema orphans --plain | cut -f1 | sort -u | xargs -n1 property forget");
  return *Command;
}

bool TCForgetCommand::IsKeptAside(TCToolContext& Context, int Number) {
  bool IsFound = false;
  AskForOrphans(Context.get_Server(), Number, [Number, &IsFound](TSOrphan const& Orphan) {
    IsFound = Orphan.Place.Number == Number;
    return false;
  });
  return IsFound;
}

// One mail removes as many values as it may have records.
TEExit TCForgetCommand::Run(TCToolContext& Context) {
  int const Number = ToInt(m_Number);
  if (!IsKeptAside(Context, Number)) {
    throw TCToolFailure(TEExit::eRefused,
                        "no value of a property " + std::to_string(Number) +
                            " is kept aside; property schema orphans shows those that are, and "
                            "property reset removes others");
  }
  TCControlMail Mail(Norv_ControlMail, PropertyControl::kForget.Type,
                     PropertyControl::kForget.Name);
  Mail.CreateRecord()->get_Record().m_ID = Number;
  nlohmann::ordered_json Transactions = nlohmann::ordered_json::array();
  do {
    Transactions.push_back(NumberOf(SendChange(Context, Mail.get_Content(), m_Change)));
  } while (IsKeptAside(Context, Number));
  if (Context.get_Output().get_Form() == TEForm::eJSON) {
    Context.get_Output().JSON({{"transactions", Transactions}});
  }
  return TEExit::eDone;
}

}  // namespace Property
