// SPDX-License-Identifier: MIT
// Looks at the words before the cursor and offers what fits.
#include "PropertyTool/TCCompleteCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "CommonProperties/TCPropertyChoice.h"
#include "PropertyTool/CommandLines.h"
#include "PropertyTool/Orphans.h"
#include "PropertyTool/TCToolFailure.h"
#include "SchemaLibrary/ASCIICase.h"

namespace Property {
namespace {

constexpr int kPatience = 300;  // milliseconds that somebody at a keyboard does not notice much

std::set<std::string> const& CommandsOfProperties() {
  static auto const& Names = *new std::set<std::string>{"get",     "set",     "reset", "describe",
                                                        "explain", "history", "watch", "wait"};
  return Names;
}

bool IsOfAssignments(std::string const& Command) {
  return Command == "set" || Command == "wait";
}

// Whether a shell takes the text as it is.
bool IsWord(std::string const& Text) {
  return !Text.empty() && std::all_of(Text.begin(), Text.end(), [](char Character) {
    return std::string_view("/._-=+:@%,").find(Character) != std::string_view::npos ||
           (Character >= '0' && Character <= '9') || (Character >= 'a' && Character <= 'z') ||
           (Character >= 'A' && Character <= 'Z');
  });
}

}  // namespace

CLI::App& TCCompleteCommand::Declare(CLI::App& Tool) {
  m_Tool = &Tool;
  CLI::App* const Command = Tool.add_subcommand("complete", "Print what may stand next");
  Command->group("");  // not for people
  Command->add_option("WORD", m_Words, "The words of the command line up to the cursor");
  return *Command;
}

CLI::App const& TCCompleteCommand::FindCommand() const {
  CLI::App const* Command = m_Tool;
  for (std::size_t Place = 0; Place + 1 < m_Words.size(); ++Place) {
    std::vector<std::string> const Below = CommandsBelow(*Command);
    if (std::find(Below.begin(), Below.end(), m_Words[Place]) != Below.end()) {
      Command = Command->get_subcommand(m_Words[Place]);
    }
  }
  return *Command;
}

void TCCompleteCommand::Offer(TCToolContext& Context, std::string const& Begin,
                              std::string const& Text) {
  bool const Fits = Text.size() >= Begin.size() &&
                    IsSameText(std::string_view(Text).substr(0, Begin.size()), Begin, true);
  if (Fits && IsWord(Text)) {
    Context.get_Output().Line(Text);
  }
}

void TCCompleteCommand::OfferOptions(TCToolContext& Context, CLI::App const& Command) const {
  for (std::string const& Name : OptionsOf(*m_Tool, Command)) {
    Offer(Context, m_Words.back(), Name);
  }
}

void TCCompleteCommand::OfferCommands(TCToolContext& Context, CLI::App const& Command) const {
  for (std::string const& Name : CommandsBelow(Command)) {
    Offer(Context, m_Words.back(), Name);
  }
}

// Names that are there once as they are, the others with their path; with a slash only paths.
void TCCompleteCommand::OfferNames(TCToolContext& Context, bool IsAssignment) const {
  TCPropertyNames const& Names = Context.get_Schema().Names();
  bool const ByPath = m_Words.back().find('/') != std::string::npos;
  std::map<std::string, int> Counts;
  for (TCPropertyID const* const Field : Names.get_Fields()) {
    ++Counts[Field->get_Name()];
  }
  for (TCPropertyID const* const Field : Names.get_Fields()) {
    bool const IsUnique = Counts[Field->get_Name()] == 1;
    std::string const& Name = ByPath || !IsUnique ? Names.Path(*Field) : Field->get_Name();
    Offer(Context, m_Words.back(), Name + (IsAssignment ? "=" : ""));
  }
}

void TCCompleteCommand::OfferValues(TCToolContext& Context, std::string const& Name,
                                    std::string const& Before, std::string const& Begin) {
  TCPropertyID const* const Field = Context.get_Schema().Names().Resolve(Name).Field;
  if (Field == nullptr) {
    return;
  }
  if (Field->get_Type() == eBooleanField) {
    Offer(Context, Before + Begin, Before + "true");
    Offer(Context, Before + Begin, Before + "false");
  }
  for (TCPropertyChoice const* const Choice : Field->get_Choices()) {
    Offer(Context, Before + Begin, Before + Choice->get_Name());
  }
}

void TCCompleteCommand::OfferForgettable(TCToolContext& Context) const {
  Context.get_Server().set_Patience(kPatience);
  std::optional<int> Last;
  try {
    AskForOrphans(Context.get_Server(), std::numeric_limits<int>::min(),
                  [&](TSOrphan const& Orphan) {
                    if (Last != Orphan.Place.Number) {
                      Last = Orphan.Place.Number;
                      Offer(Context, m_Words.back(), std::to_string(Orphan.Place.Number));
                    }
                    return true;
                  });
  } catch (TCServerFailure const&) {  // nothing can be offered
  }
}

TEExit TCCompleteCommand::Run(TCToolContext& Context) {
  if (m_Words.empty()) {
    m_Words.emplace_back();
  }
  CLI::App const& Command = FindCommand();
  std::string const& Last = m_Words.back();
  std::size_t const Equals = Last.find('=');
  if (!Last.empty() && Last.front() == '-') {
    OfferOptions(Context, Command);
  } else if (!CommandsBelow(Command).empty()) {
    OfferCommands(Context, Command);
  } else if (Command.get_name() == "forget") {
    OfferForgettable(Context);
  } else if (CommandsOfProperties().count(Command.get_name()) > 0 &&
             Context.get_Schema().IsThere()) {
    bool const IsAssignment = IsOfAssignments(Command.get_name());
    if (IsAssignment && Equals != std::string::npos) {
      OfferValues(Context, Last.substr(0, Equals), Last.substr(0, Equals + 1),
                  Last.substr(Equals + 1));
    } else {
      OfferNames(Context, IsAssignment);
    }
  }
  return TEExit::eDone;
}

}  // namespace Property
