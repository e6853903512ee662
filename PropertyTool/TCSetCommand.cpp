// SPDX-License-Identifier: MIT
// Reads assignments, checks them and has them stored as one transaction.
#include "PropertyTool/TCSetCommand.h"

#include <CLI/CLI.hpp>
#include <set>

#include "PropertyTool/Assignments.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {

CLI::App& TCSetCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("set", "Change properties, all at once or not");
  Command
      ->add_option("NAME=VALUE", m_Words,
                   "Property and value, or as two words NAME VALUE;\n"
                   "a value - is read from the standard input")
      ->required()
      ->type_name("");
  m_Places.Declare(*Command);
  Command->add_flag("--stored", m_Stored, "Values are texts as they are stored");
  m_Change.DeclareWithConfirmation(*Command);
  Command->footer(
      "Choices are given by name, text or number, truth values as true and false.\n"
      "Several properties change as one transaction.\n\n"
      "Examples:\n"
      "  property set DisplayBrightness 60\n"
      "  property set AddressMode=static IPAddress=192.0.2.20\n"
      "  property set 'UserName[7]=Anna Berg'\n"
      "  property set SiteAddress - <address.txt");
  return *Command;
}

TEExit TCSetCommand::Run(TCToolContext& Context) {
  std::vector<TSPropertyValue> Values;
  std::set<TSPropertyPlace> Places;
  for (TCAssignment const& Assignment : ReadAssignments(m_Words)) {
    TSWanted Wanted = ReadWanted(Context, Assignment, m_Places, m_Stored);
    SettleDevice(Context, Wanted.Target);
    if (!Places.insert(Wanted.Target.Place).second) {
      throw TCToolFailure(TEExit::eUsage, Context.get_Naming().NameOf(Wanted.Target.Place) +
                                              " is given two values; one transaction sets it once");
    }
    Values.push_back({Wanted.Target.Place, Wanted.Data});
  }
  TellTransaction(Context, Change(Context, Values, m_Change), m_Change);
  return TEExit::eDone;
}

}  // namespace Property
