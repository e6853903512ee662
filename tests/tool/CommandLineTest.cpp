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

struct ToolCommandLine : TToolFixture {
  static TRun Wrong(std::string const& Reason) { return {2, "", "property: " + Reason + "\n"}; }
};

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
  EXPECT_EQ(Tool({}), (TRun{2, "", "property: a command is missing; see property --help\n"}));
}

TEST_F(ToolCommandLine, RefusesAnUnknownOption) {
  TRun const Run = Tool({"status", "--loud"});
  EXPECT_EQ(Run.m_Exit, 2);
  EXPECT_EQ(Run.m_Output, "");
  EXPECT_EQ(Run.m_Errors, "property: no option '--loud'; see property status --help\n");
}

TEST_F(ToolCommandLine, RefusesTwoFormsAtOnce) {
  EXPECT_EQ(Tool({"status", "--json", "--plain"}),
            Wrong("--json excludes --plain; see property status --help"));
}

TEST_F(ToolCommandLine, RefusesAnAddressThatIsNone) {
  for (std::string const Address : {"/run/socket", "unix:", "unix:path=", "tcp:host=a", ""}) {
    EXPECT_EQ(Tool({"status", "--address", Address}),
              Wrong("--address: \"" + Address +
                    "\", given here or in MAILROUTER_ADDRESS, is no address such as "
                    "unix:path=/run/mailrouter/socket; see property status --help"));
  }
}

TEST_F(ToolCommandLine, RefusesAnAddressThatIsNoneInTheEnvironment) {
  m_Set["MAILROUTER_ADDRESS"] = "here";
  TRun const Run = Tool({"status"});
  EXPECT_EQ(Run.m_Exit, 2);
  EXPECT_THAT(Run.m_Errors, HasSubstr("\"here\", given here or in MAILROUTER_ADDRESS, is no"));
}

TEST_F(ToolCommandLine, NamesAnUnknownCommandAndWhatMayHaveBeenMeant) {
  EXPECT_EQ(Tool({"gte", "Mode"}),
            Wrong("no command 'gte'; did you mean get?; see property --help"));
  EXPECT_EQ(Tool({"describ"}),
            Wrong("no command 'describ'; did you mean describe?; see property --help"));
  EXPECT_EQ(Tool({"schema", "chekc"}),
            Wrong("no command 'chekc'; did you mean check?; see property schema --help"));
  EXPECT_EQ(Tool({"bogus", "--json"}), Wrong("no command 'bogus'; see property --help"));
}

TEST_F(ToolCommandLine, DoesNotSuggestWhatIsNotForPeople) {
  EXPECT_EQ(Tool({"complet"}), Wrong("no command 'complet'; see property --help"));
}

TEST_F(ToolCommandLine, SaysWhichOptionMayHaveBeenMeant) {
  EXPECT_EQ(Tool({"get", "Mode", "--jsno"}),
            Wrong("no option '--jsno'; did you mean --json?; see property get --help"));
  EXPECT_EQ(Tool({"set", "Mode=day", "--confirm=60s"}),
            Wrong("no option '--confirm=60s'; did you mean --confirm-within?; see property set "
                  "--help"));
  EXPECT_EQ(Tool({"-x", "status"}), Wrong("no option '-x'; see property status --help"));
}

TEST_F(ToolCommandLine, SaysWhichArgumentIsOneTooMany) {
  EXPECT_EQ(Tool({"explain", "Mode", "Name"}),
            Wrong("'Name' is one argument too many; see property explain --help"));
}

TEST_F(ToolCommandLine, SaysWhatIsMissing) {
  EXPECT_EQ(Tool({"get"}), Wrong("PROPERTY is required; see property get --help"));
  EXPECT_EQ(Tool({"schema"}), Wrong("a command is missing; see property schema --help"));
  EXPECT_EQ(Tool({"status", "--address"}),
            Wrong("--address: 1 required ADDRESS missing; see property status --help"));
}

TEST_F(ToolCommandLine, SpellsOutAndCutsWhatIsWrong) {
  EXPECT_EQ(Tool({"\x1b[31m"}), Wrong("no command '\\x1b[31m'; see property --help"));
  EXPECT_EQ(Tool({std::string(100000, 'x')}),
            Wrong("no command '" + std::string(100, 'x') + "...'; see property --help"));
  EXPECT_EQ(Tool({"--" + std::string(100000, 'x')}),
            Wrong("no option '--" + std::string(98, 'x') + "...'; see property --help"));
}

TEST_F(ToolCommandLine, RefusesANumberOfThingsThatIsNone) {
  for (std::string const Text : {"x", "0", "-5", "2147483648", "1e2", ""}) {
    EXPECT_EQ(Tool({"watch", "--count=" + Text}).m_Exit, 2);
    EXPECT_EQ(Tool({"watch", "--count", Text}),
              Wrong("--count: \"" + Text +
                    "\" is no number from 1 to 2147483647; see property watch --help"));
    EXPECT_EQ(Tool({"history", "--limit", Text}),
              Wrong("--limit: \"" + Text +
                    "\" is no number from 1 to 2147483647; see property history --help"));
  }
}

TEST_F(ToolCommandLine, TakesNoEmptyNameForNone) {
  EXPECT_EQ(Tool({"history", ""}), Wrong("--property: it is empty; see property history --help"));
  EXPECT_EQ(Tool({"history", "--writer", ""}),
            Wrong("--writer: it is empty; see property history --help"));
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
