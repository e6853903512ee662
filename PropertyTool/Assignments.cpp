// SPDX-License-Identifier: MIT
// Splits assignments and reads their values by the schema's rules.
#include "PropertyTool/Assignments.h"

#include <algorithm>
#include <iostream>
#include <iterator>

#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

constexpr std::size_t kLargestInput = std::size_t{64} << 20;  // more no mail can carry

std::string ReadInput() {
  std::string Text;
  std::istreambuf_iterator<char> Next(std::cin);
  for (; Next != std::istreambuf_iterator<char>() && Text.size() <= kLargestInput; ++Next) {
    Text += *Next;
  }
  if (Text.size() > kLargestInput) {
    throw TCToolFailure(TEExit::eRefused, "the standard input is larger than 64 MiB");
  }
  if (!Text.empty() && Text.back() == '\n') {
    Text.pop_back();
  }
  return Text;
}

TCAssignment Split(std::string const& Word) {
  std::size_t const Place = Word.find('=');
  if (Place == std::string::npos || Place == 0) {
    throw TCToolFailure(TEExit::eUsage, "'" + Word.substr(0, 256) +
                                            "' is no NAME=VALUE; the value stands behind "
                                            "the sign =, or alone as a second word");
  }
  return {Word.substr(0, Place), Word.substr(Place + 1)};
}

}  // namespace

std::vector<TCAssignment> ReadAssignments(std::vector<std::string> const& Words) {
  std::vector<TCAssignment> Assignments;
  if (Words.size() == 2 && Words[0].find('=') == std::string::npos) {
    Assignments.emplace_back(Words[0], Words[1]);
  } else {
    std::transform(Words.begin(), Words.end(), std::back_inserter(Assignments), Split);
  }
  auto const IsInput = [](TCAssignment const& Assignment) { return Assignment.second == "-"; };
  if (std::count_if(Assignments.begin(), Assignments.end(), IsInput) > 1) {
    throw TCToolFailure(TEExit::eUsage, "only one value can be read from the standard input");
  }
  for (TCAssignment& Assignment : Assignments) {
    if (IsInput(Assignment)) {
      Assignment.second = ReadInput();
    }
  }
  return Assignments;
}

TSWanted ReadWanted(TCToolContext& Context, TCAssignment const& Assignment,
                    TSPlaceOptions const& Places, bool Stored) {
  auto const& [Name, Typed] = Assignment;
  TSWanted Wanted{Context.get_Naming().Find(Name, Places), Typed};
  if (Wanted.Target.Field == nullptr) {
    return Wanted;
  }
  TCPropertyID const& Field = *Wanted.Target.Field;
  TCValueRules& Rules = Context.get_Schema().Rules();
  TCValueRules::TSTyped const Read =
      Stored ? TCValueRules::TSTyped{Typed, Rules.ReasonAgainst(Field, Typed)}
             : Rules.Read(Field, Typed);
  if (!Read.Reason.empty()) {
    throw TCToolFailure(TEExit::eRefused,
                        Context.get_Naming().NameOf(Wanted.Target.Place) + ": " + Read.Reason);
  }
  Wanted.Data = Read.Data;
  return Wanted;
}

}  // namespace Property
