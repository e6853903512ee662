// SPDX-License-Identifier: MIT
// The command at a terminal: colours, and nothing that a terminal would obey.
#include <gmock/gmock.h>

#include "tests/tool/ToolFixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

struct ToolTerminal : TToolFixture {
  std::unique_ptr<TProcess> const m_Server = StartFilledServer();

  ToolTerminal() { m_Set["TERM"] = "xterm"; }

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

TEST_F(ToolTerminal, HasNoColoursWhereTheyAreNotWanted) {
  EXPECT_THAT(AtTerminal("NO_COLOR=1 property list"), Not(HasSubstr("\x1b")));
  EXPECT_THAT(AtTerminal("TERM=dumb property list"), Not(HasSubstr("\x1b")));
  EXPECT_THAT(AtTerminal("property list --plain"), Not(HasSubstr("\x1b")));
}

}  // namespace
