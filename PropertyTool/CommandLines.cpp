// SPDX-License-Identifier: MIT
// Looks through the declared commands and options.
#include "PropertyTool/CommandLines.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>

#include "Platform/Utility/TextConversions.h"
#include "SchemaLibrary/ASCIICase.h"
#include "SchemaLibrary/EditDistance.h"

namespace Property {
namespace {

constexpr std::size_t kLongestShown = 100;  // bytes of a word that is wrong
constexpr std::size_t kLongestMistake = 2;  // bytes
constexpr std::size_t kShortestMistyped = 3;

std::string Quoted(std::string const& Word) {
  return "'" + Word.substr(0, kLongestShown) + (Word.size() > kLongestShown ? "...'" : "'");
}

// The command that the words lead to, as far as they do.
CLI::App const& InnermostOf(CLI::App const& Tool) {
  CLI::App const* Innermost = &Tool;
  for (auto Below = Tool.get_subcommands(); !Below.empty(); Below = Innermost->get_subcommands()) {
    Innermost = Below.front();
  }
  return *Innermost;
}

// "property schema check".
std::string WordsOf(CLI::App const& Command) {
  std::string const Name = Command.get_name();
  return Command.get_parent() != nullptr ? WordsOf(*Command.get_parent()) + " " + Name : Name;
}

// A beginning, or what is a slip away. Of several the first.
template <class T>
std::string Guess(std::string const& Typed, T const& Names) {
  std::string const Wanted = LowerCase(Typed);
  std::string Best;
  std::size_t Limit = Typed.size() < kShortestMistyped ? 0 : kLongestMistake;
  for (std::string const& Name : Names) {
    bool const Begins =
        Wanted.size() >= kShortestMistyped && Name.compare(0, Wanted.size(), Wanted) == 0;
    std::size_t const Distance = Begins ? 0 : EditDistance(Wanted, Name, Limit);
    if (Distance <= Limit && (Best.empty() || Distance < Limit)) {
      Best = Name;
      Limit = Distance;
    }
  }
  return Best.empty() ? "" : "; did you mean " + Best + "?";
}

std::string ReasonAgainstWord(CLI::App const& Tool, CLI::App const& Command,
                              std::string const& Word) {
  if (Word.size() > 1 && Word.front() == '-') {
    return "no option " + Quoted(Word) +
           Guess(Word.substr(0, Word.find('=')), OptionsOf(Tool, Command));
  }
  std::vector<std::string> const Commands = CommandsBelow(Command);
  return Commands.empty() ? Quoted(Word) + " is one argument too many"
                          : "no command " + Quoted(Word) + Guess(Word, Commands);
}

std::string ReasonOf(CLI::App const& Tool, CLI::App const& Command, CLI::ParseError const& Error) {
  bool const IsIncomplete = dynamic_cast<CLI::RequiredError const*>(&Error) != nullptr;
  std::vector<std::string> const Unknown = Tool.remaining(true);
  if (!Unknown.empty() &&
      (IsIncomplete || dynamic_cast<CLI::ExtrasError const*>(&Error) != nullptr)) {
    return ReasonAgainstWord(Tool, Command, Unknown.front());
  }
  if (IsIncomplete && !CommandsBelow(Command).empty()) {
    return "a command is missing";
  }
  return Error.what();
}

}  // namespace

std::vector<std::string> CommandsBelow(CLI::App const& Command) {
  std::vector<std::string> Names;
  for (CLI::App const* const Below : Command.get_subcommands([](CLI::App const* App) {
         return !App->get_name().empty() && !App->get_group().empty();
       })) {
    Names.push_back(Below->get_name());
  }
  return Names;
}

std::set<std::string> OptionsOf(CLI::App const& Tool, CLI::App const& Command) {
  std::set<std::string> Names;
  auto const Add = [&Names](CLI::App const& App) {
    for (CLI::Option const* const Option : App.get_options()) {
      for (std::string const& Name : Option->get_lnames()) {
        Names.insert("--" + Name);
      }
    }
  };
  for (CLI::App const* const App : {&Tool, &Command}) {
    Add(*App);
    for (CLI::App const* const Group :
         App->get_subcommands([](CLI::App const* Below) { return Below->get_name().empty(); })) {
      Add(*Group);
    }
  }
  return Names;
}

std::string ReasonAgainst(CLI::App const& Tool, CLI::ParseError const& Error) {
  CLI::App const& Command = InnermostOf(Tool);
  return ReasonOf(Tool, Command, Error) + "; see " + WordsOf(Command) + " --help";
}

std::string CheckName(std::string const& Text) {
  return Text.empty() ? "it is empty" : "";
}

std::string CheckCount(std::string const& Text) {
  bool OK = false;
  long long const Count = StringToBigInt(Text, OK);
  bool const IsGood = OK && Count > 0 && Count <= std::numeric_limits<int>::max();
  return IsGood ? "" : "\"" + Text + "\" is no number from 1 to 2147483647";
}

}  // namespace Property
