// SPDX-License-Identifier: MIT
// Follows the values until all that is wanted holds at once.
#include "PropertyTool/TCWaitCommand.h"

#include <CLI/CLI.hpp>

#include "PropertyTool/CurrentValue.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {

CLI::App& TCWaitCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("wait", "Wait until properties have values");
  Command
      ->add_option("NAME=VALUE", m_Words,
                   "Property and value, or as two words NAME VALUE;\n"
                   "several have to hold at once")
      ->required()
      ->type_name("");
  m_Places.Declare(*Command);
  Command->add_option("--timeout", m_Timeout, "How long to wait at most (default: for ever)")
      ->check(CheckDuration)
      ->type_name("DURATION");
  Command->footer(
      "Ends at once where the values are there. A server that is away is waited for.\n"
      "Exit code 4: the time was over first.\n\n"
      "Examples:\n"
      "  property wait AddressMode=static --timeout 30s\n"
      "  property wait ModemEnabled=true RadioTechnology=4g && start-modem");
  return *Command;
}

// A default counts as the value that the property has.
bool TCWaitCommand::IsMet(TSWanted const& Wanted, TCFollowedValues::TCValues const& Values) {
  TSPropertyPlace Place = Wanted.Target.Place;
  auto Stored = Values.find(Place);
  if (Wanted.Target.IsDeviceOpen && Stored == Values.end()) {
    Place.MAC = TCNaming::OwnMAC();
    Stored = Values.find(Place);
  }
  return CurrentOf(Wanted.Target.Field, Stored != Values.end()
                                            ? std::optional<std::string>(Stored->second)
                                            : std::nullopt)
             .Data == Wanted.Data;
}

// What does not hold by now; nothing is told of the values any more.
std::string TCWaitCommand::Unmet(TCToolContext& Context) const {
  std::string Names;
  for (TSWanted const* const Wanted : m_Unmet) {
    Names += (Names.empty() ? "" : ", ") + Context.get_Naming().NameOf(Wanted->Target.Place);
  }
  return Names + (m_Unmet.size() == 1 ? " has another value; property get shows it"
                                      : " have other values; property get shows them");
}

TEExit TCWaitCommand::Run(TCToolContext& Context) {
  TCFollowedValues* Following = nullptr;
  auto const Look = [&](TCFollowedValues::TCValues const& Values) {
    m_Unmet.clear();
    for (TSWanted const& Wanted : m_Wanted) {
      if (!IsMet(Wanted, Values)) {
        m_Unmet.push_back(&Wanted);
      }
    }
    if (m_Unmet.empty()) {
      Following->Finish();
    }
  };
  TCFollowedValues Values(Context.get_Server(),
                          {Look, [](TSValueChange const& /*Change*/) {}, Look, [](bool) {}});
  Following = &Values;
  for (TCAssignment const& Assignment : ReadAssignments(m_Words)) {
    m_Wanted.push_back(ReadWanted(Context, Assignment, m_Places, false));
  }
  Values.Begin();
  if (!Values.Wait(ReadDuration(m_Timeout))) {
    Context.get_Server().Close();  // nobody else looks at what is unmet from here on
    if (m_Unmet.empty()) {
      return TEExit::eDone;  // just so
    }
    throw TCToolFailure(TEExit::eTimeOut,
                        "the time is over after " + m_Timeout + ": " + Unmet(Context));
  }
  return TEExit::eDone;
}

}  // namespace Property
