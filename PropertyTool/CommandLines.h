// SPDX-License-Identifier: MIT
// What may stand on a command line, and what is wrong with one.
#pragma once

#include <set>
#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace Property {

/// The names of the commands below a command, without those that are not for people.
std::vector<std::string> CommandsBelow(CLI::App const& Command);

/// The long options, with their dashes, that a command of `Tool` takes.
std::set<std::string> OptionsOf(CLI::App const& Tool, CLI::App const& Command);

/// Why `Tool` has not taken its command line, what may have been meant, and where to read more.
/// Has texts from outside in it: not for a terminal as it is.
std::string ReasonAgainst(CLI::App const& Tool, CLI::ParseError const& Error);

/// For options: what is wrong with a name; empty for nothing. An empty one would mean none, which
/// is what a variable of a script that is not set must not come to.
std::string CheckName(std::string const& Text);

/// For options: what is wrong with a number of things, which is at least 1; empty for nothing.
std::string CheckCount(std::string const& Text);

}  // namespace Property
