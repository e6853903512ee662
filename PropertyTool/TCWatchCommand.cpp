// SPDX-License-Identifier: MIT
// Tells each change of what is watched, one line each.
#include "PropertyTool/TCWatchCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "Platform/Utility/PrintableText.h"
#include "PropertyTool/CommandLines.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/TCToolContext.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

std::string Now() {
  auto const Time = std::chrono::system_clock::now().time_since_epoch();
  return TimeText(std::chrono::duration_cast<std::chrono::microseconds>(Time).count());
}

}  // namespace

CLI::App& TCWatchCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("watch", "Print changes as they happen");
  Command->add_option("PROPERTY", m_Names, "What to watch (default: everything)")->type_name("");
  m_Places.Declare(*Command);
  Command->add_flag("--initial", m_Initial, "Begin with the values that there are");
  Command->add_option("--count", m_Count, "End after so many changes")
      ->check(CheckCount)
      ->type_name("NUMBER");
  Command->add_option("--timeout", m_Timeout, "End after this time, with exit code 4")
      ->check(CheckDuration)
      ->type_name("DURATION");
  Command->footer(
      "Ends when it is told to, as with Ctrl-C. When the server ends it says so and goes on\n"
      "when the server is back: what has changed meanwhile is told then.\n\n"
      "Examples:\n"
      "  property watch\n"
      "  property watch HostName AddressMode --initial\n"
      "  property watch --json | while read -r line; do ...; done");
  return *Command;
}

void TCWatchCommand::Choose(TCToolContext& Context) {
  for (std::string const& Name : m_Names) {
    m_Targets.push_back(Context.get_Naming().Find(Name, m_Places));
  }
  // Both are loaded now, and not when the first change comes.
  Context.get_Schema().IsThere();
  Context.get_Secrets().IsSecret(0);
}

// A property without a record means all of its records; one that no schema knows, of all devices.
bool TCWatchCommand::IsWanted(TSPropertyPlace const& Place) const {
  return m_Targets.empty() ||
         std::any_of(m_Targets.begin(), m_Targets.end(), [&](TSTarget const& Target) {
           return Target.Place.Number == Place.Number &&
                  (Target.Place.Link.empty() || Target.Place.Link == Place.Link) &&
                  (Target.IsDeviceOpen || Target.Place.MAC == Place.MAC);
         });
}

std::string TCWatchCommand::TextOf(TCToolContext& Context, TSPropertyPlace const& Place,
                                   std::optional<std::string> const& Data) const {
  if (!Data) {
    return "(none)";
  }
  return Context.get_Secrets().IsSecret(Place.Number)
             ? kSecretMask
             : PrintableText(Context.get_Naming().TextOf(Place.Number, *Data));
}

void TCWatchCommand::Tell(TCToolContext& Context, TSValueChange const& Change) const {
  TCOutput& Output = Context.get_Output();
  std::string const Name = Context.get_Naming().NameOf(Change.Place);
  if (Output.get_Form() == TEForm::eJSON) {
    nlohmann::ordered_json Object = {{"event", Change.Data ? "change" : "removal"},
                                     {"time", Now()}};
    Object.update(Context.get_Naming().JSONOf(Change.Place));
    bool const Secret = Context.get_Secrets().IsSecret(Change.Place.Number);
    Object["secret"] = Secret;
    for (auto const& [Member, Data] :
         {std::pair("former", &Change.Former), std::pair("value", &Change.Data)}) {
      Object[Member] = nullptr;
      if (*Data && !Secret) {
        Object.erase(Member);
        SetText(Object, Member, **Data);
      }
    }
    Output.JSON(Object, false);
  } else if (Output.get_Form() == TEForm::ePlain) {
    Output.Plain({Now(), Name, TextOf(Context, Change.Place, Change.Data)});
  } else {
    Output.Line(Output.Styled(Now(), TCOutput::TEStyle::eFaint) + "  " + Name + ": " +
                TextOf(Context, Change.Place, Change.Former) + " -> " +
                TextOf(Context, Change.Place, Change.Data));
  }
  Output.Flush();
}

// What happens to the watching itself is data for programs and a message for people.
void TCWatchCommand::TellEvent(TCToolContext& Context, char const* Event, char const* Text) const {
  TCOutput& Output = Context.get_Output();
  if (Output.get_Form() == TEForm::eJSON) {
    Output.JSON({{"event", Event}, {"time", Now()}}, false);
    Output.Flush();
  } else {
    std::fprintf(stderr, "property: %s\n", Text);
  }
}

TEExit TCWatchCommand::Run(TCToolContext& Context) {
  unsigned Told = 0;
  TCFollowedValues* Following = nullptr;
  auto const OnChange = [&](TSValueChange const& Change) {
    if (IsWanted(Change.Place)) {
      Tell(Context, Change);
      if (++Told == m_Count) {
        Following->Finish();
      }
    }
  };
  TCFollowedValues Values(Context.get_Server(),
                          {[&](TCFollowedValues::TCValues const& All) {
                             TellEvent(Context, "watching", "watching; end with Ctrl-C");
                             for (auto const& [Place, Data] : All) {
                               if (m_Initial && (m_Count == 0 || Told < m_Count)) {
                                 OnChange({Place, std::nullopt, Data});
                               }
                             }
                           },
                           OnChange, [](TCFollowedValues::TCValues const& /*All*/) {},
                           [&](bool Reachable) {
                             Reachable
                                 ? TellEvent(Context, "back", "the server is back; watching on")
                                 : TellEvent(Context, "lost", "the server is away; waiting for it");
                           }});
  Following = &Values;
  Choose(Context);
  Values.Begin();
  auto const Time = ReadDuration(m_Timeout);
  if (!Values.Wait(Time)) {
    throw TCToolFailure(TEExit::eTimeOut, "the time is over after " + m_Timeout);
  }
  return TEExit::eDone;
}

}  // namespace Property
