// SPDX-License-Identifier: MIT
// The command at a terminal: colours, and nothing that a terminal would obey.
#include <gmock/gmock.h>

#include <ostream>

#include "tests/tool/ToolFixture.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

struct ToolTerminal : TToolFixture {
  std::unique_ptr<TProcess> const m_Server = StartFilledServer();

  ToolTerminal() { m_Set["TERM"] = "xterm"; }

  void WriteManyEntries() const {
    std::string Entries;
    for (int Record = 1; Record <= 300000; ++Record) {
      Entries += (Record > 1 ? ",\n" : "") + std::string(R"({"number":311,"record":)") +
                 std::to_string(Record) + R"(,"value":"name"})";
    }
    WriteFile("many.json", R"({"format":"property-dump","version":1,"values":[)" + Entries + "]}");
  }
  // What the command writes when a pseudo-terminal is its input, output and errors.
  std::string AtTerminal(std::string const& Line) const {
    TRun const Run = Shell("script -qec '" + Line + "' /dev/null");
    EXPECT_EQ(Run.m_Exit, 0) << Run;
    return Run.m_Output;
  }
};

TEST_F(ToolTerminal, SpellsOutAHostileValue) {
  EXPECT_EQ(Tool({"set", "Name", "-"}, "a\x1b[31m\xc2\x9b\xff\n").m_Exit, 0);
  EXPECT_EQ(AtTerminal("property get Name"), "a\\x1b[31m\\xc2\\x9b\\xff\r\n");
}

TEST_F(ToolTerminal, EscapesAHostileValueInJSON) {
  EXPECT_EQ(Tool({"set", "Name", "-"}, "a\x1b\x7f\xc2\x9b").m_Exit, 0);
  EXPECT_THAT(AtTerminal("property get Name --json"),
              HasSubstr("\"value\": \"a\\u001b\\u007f\\u009b\""));
}

TEST_F(ToolTerminal, SpellsOutAHostileValueInEveryForm) {
  EXPECT_EQ(Tool({"set", "Name", "-"}, "a\x1b]0;title\x07").m_Exit, 0);
  for (std::string const Command :
       {"list", "list --table", "list --plain", "list --json", "dump", "history", "history --json",
        "explain Name", "watch Name --initial --count 1", "get Name --plain"}) {
    std::string const Written = AtTerminal("property " + Command);
    EXPECT_THAT(Written, Not(HasSubstr("\x1b]0;"))) << Command;
    EXPECT_EQ(Written.find('\x07'), std::string::npos) << Command;
  }
}

TEST_F(ToolTerminal, HasColoursAtATerminalOnly) {
  EXPECT_THAT(AtTerminal("property list"), HasSubstr("\x1b[1mDevice\x1b[0m"));
  EXPECT_THAT(Tool({"list"}).m_Output, Not(HasSubstr("\x1b")));
}

// So many that reading them takes longer than the moment in which nothing is drawn.
TEST_F(ToolTerminal, ShowsHowFarALongLoadIsAndLeavesNothingOfIt) {
  WriteManyEntries();
  std::string const Written =
      AtTerminal("property load " + File("many.json") + " --dry-run >" + File("differences"));
  EXPECT_THAT(Written, HasSubstr("\r\x1b[K["));
  EXPECT_THAT(Written, HasSubstr(" % read\r\x1b[K"));
  EXPECT_THAT(Written, EndsWith("\r\x1b[K"));
}

// What stands before and behind the command of a load, at a terminal.
struct TQuietLoad {
  char const* m_Name;
  char const* m_Before;
  char const* m_Behind;
};

void PrintTo(TQuietLoad const& Load, std::ostream* Stream) {
  *Stream << Load.m_Name;
}

struct ToolTerminalQuiet : ToolTerminal, testing::WithParamInterface<TQuietLoad> {};

TEST_P(ToolTerminalQuiet, ShowsNothingOfALongLoad) {
  WriteManyEntries();
  EXPECT_EQ(AtTerminal(GetParam().m_Before + ("property load " + File("many.json")) +
                       " --dry-run " + GetParam().m_Behind + " >" + File("differences")),
            "");
}

INSTANTIATE_TEST_SUITE_P(Ways, ToolTerminalQuiet,
                         testing::Values(TQuietLoad{"Plain", "", "--plain"},
                                         TQuietLoad{"AsJSON", "", "--json"},
                                         TQuietLoad{"WithoutColours", "NO_COLOR=1 ", ""},
                                         TQuietLoad{"AtADumbTerminal", "TERM=dumb ", ""}),
                         [](auto const& Info) { return Info.param.m_Name; });

TEST_F(ToolTerminal, ShowsNothingOfALongLoadWithoutATerminal) {
  WriteManyEntries();
  EXPECT_EQ(
      Shell("property load " + File("many.json") + " --dry-run >" + File("differences")).m_Errors,
      "");
}

TEST_F(ToolTerminal, HasNoColoursWhereTheyAreNotWanted) {
  EXPECT_THAT(AtTerminal("NO_COLOR=1 property list"), Not(HasSubstr("\x1b")));
  EXPECT_THAT(AtTerminal("TERM=dumb property list"), Not(HasSubstr("\x1b")));
  EXPECT_THAT(AtTerminal("property list --plain"), Not(HasSubstr("\x1b")));
}

}  // namespace
