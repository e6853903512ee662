// SPDX-License-Identifier: MIT
// What the command says about itself and about command lines that are wrong.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "tests/tool/ToolFixture.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

struct ToolCommandLine : TToolFixture {};

TEST_F(ToolCommandLine, PrintsItsVersion) {
  TRun const Run = Tool({"--version"});
  EXPECT_EQ(Run.m_Exit, 0);
  EXPECT_THAT(Run.m_Output, MatchesRegex("property [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(ToolCommandLine, ListsItsCommandsInTheHelp) {
  TRun const Run = Tool({"--help"});
  EXPECT_EQ(Run.m_Exit, 0);
  EXPECT_THAT(Run.m_Output, HasSubstr("\n  status "));
  EXPECT_EQ(Run.m_Errors, "");
}

TEST_F(ToolCommandLine, ShowsExamplesInTheHelpOfACommand) {
  TRun const Run = Tool({"status", "--help"});
  EXPECT_EQ(Run.m_Exit, 0);
  EXPECT_THAT(Run.m_Output, HasSubstr("Examples:\n  property status\n"));
}

TEST_F(ToolCommandLine, WantsACommand) {
  EXPECT_EQ(Tool({}), (TRun{2, "", "property: A subcommand is required; see property --help\n"}));
}

TEST_F(ToolCommandLine, RefusesAnUnknownOption) {
  TRun const Run = Tool({"status", "--loud"});
  EXPECT_EQ(Run.m_Exit, 2);
  EXPECT_EQ(Run.m_Output, "");
  EXPECT_THAT(Run.m_Errors, HasSubstr("--loud; see property --help"));
}

TEST_F(ToolCommandLine, RefusesTwoFormsAtOnce) {
  EXPECT_EQ(Tool({"status", "--json", "--plain"}).m_Exit, 2);
}

TEST_F(ToolCommandLine, RefusesAnAddressThatIsNone) {
  TRun const Run = Tool({"status", "--address", "/run/socket"});
  EXPECT_EQ(Run.m_Exit, 2);
  EXPECT_THAT(Run.m_Errors, HasSubstr("\"/run/socket\" does not begin with unix:"));
}

TEST_F(ToolCommandLine, SaysThatTheOutputTakesNothing) {
  auto const Server = StartServer();
  TRun const Run = Shell("property status >/dev/full");
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_EQ(Run.m_Errors, "property: cannot write the standard output: No space left on device\n");
}

TEST_F(ToolCommandLine, HasEveryCommandInTheManualPage) {
  std::ifstream const Stream(MAN_PAGE);
  std::ostringstream Page;
  Page << Stream.rdbuf();
  std::istringstream Commands(Tool({"complete", ""}).m_Output);
  int Count = 0;
  for (std::string Command; std::getline(Commands, Command); ++Count) {
    EXPECT_THAT(Page.str(), HasSubstr("\n.B " + Command)) << Command;
  }
  EXPECT_GT(Count, 10);
}

TEST_F(ToolCommandLine, HasTheExamplesOfEveryCommandInItsHelp) {
  std::istringstream Commands(Tool({"complete", ""}).m_Output);
  for (std::string Command; std::getline(Commands, Command);) {
    if (Command != "schema") {
      EXPECT_THAT(Tool({Command, "--help"}).m_Output,
                  HasSubstr("Examples:\n  property " + Command));
    }
  }
}

}  // namespace
