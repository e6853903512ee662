// SPDX-License-Identifier: MIT
// Completion in the real shells, and what it offers.
#include <gmock/gmock.h>

#include "tests/tool/ToolFixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

struct ToolCompletion : TToolFixture {
  std::string Offered(std::vector<std::string> Words) const {
    Words.insert(Words.begin(), {"complete", "--"});
    TRun const Run = Tool(Words);
    EXPECT_EQ(Run.m_Exit, 0) << Run;
    EXPECT_EQ(Run.m_Errors, "");
    return Run.m_Output;
  }
  // What bash would put into the line, with its own functions for that.
  std::string InBash(std::string const& Line) const {
    TRun const Run = Shell("bash --norc -c '. " COMPLETIONS
                           "/property.bash; COMP_LINE=$1; COMP_POINT=${#1}; _property; "
                           "printf \"%s\\n\" \"${COMPREPLY[@]}\"' bash '" +
                           Line + "'");
    EXPECT_EQ(Run.m_Errors, "");
    return Run.m_Output;
  }
  std::string InFish(std::string const& Line) const {
    return Shell("HOME=" + m_Folder +
                 " fish --no-config -c 'source " COMPLETIONS
                 "/property.fish; complete -C $argv[1]' '" +
                 Line + "'")
        .m_Output;
  }
  // Zsh's own function, with what it hands to the line editor printed.
  std::string InZsh(std::string const& Words, int Current) const {
    return Shell("zsh -f -c 'compadd() { print -r -- \"$@\" }; _files() { print files }; words=(" +
                 Words + "); CURRENT=" + std::to_string(Current) + "; . " COMPLETIONS "/_property'")
        .m_Output;
  }
};

TEST_F(ToolCompletion, OffersCommands) {
  EXPECT_EQ(Offered({"de"}), "describe\n");
  EXPECT_THAT(Offered({""}), HasSubstr("status\n"));
  EXPECT_THAT(Offered({""}), Not(HasSubstr("complete\n")));
}

TEST_F(ToolCompletion, OffersTheOptionsOfACommandAndOfAll) {
  EXPECT_EQ(Offered({"list", "--s"}), "--schema\n--set\n--show-secrets\n");
  EXPECT_EQ(Offered({"--js"}), "--json\n");
}

TEST_F(ToolCompletion, OffersTheNamesOfProperties) {
  EXPECT_EQ(Offered({"get", "Mo"}), "Mode\nMotto\n");
  EXPECT_EQ(Offered({"get", "mo"}), "Mode\nMotto\n");
  EXPECT_EQ(Offered({"get", "Policy/"}), "Policy/Access/PinLength\nPolicy/Access/Motto\n");
}

TEST_F(ToolCompletion, OffersTheChoicesOfAProperty) {
  EXPECT_EQ(Offered({"set", "Mod"}), "Mode=\n");
  EXPECT_EQ(Offered({"set", "Mode="}), "Mode=Day\nMode=Night\nMode=Always\n");
  EXPECT_EQ(Offered({"set", "Name=a", "Enabled=f"}), "Enabled=false\n");
}

TEST_F(ToolCompletion, OffersWhatStandsBelowACommand) {
  EXPECT_EQ(Offered({"schema", ""}), "check\nexport\norphans\n");
}

TEST_F(ToolCompletion, LeavesOutNamesThatAShellWouldObey) {
  EXPECT_EQ(Offered({"get", "Hos"}), "Host\n");
}

TEST_F(ToolCompletion, CompletesInBash) {
  EXPECT_EQ(InBash("property desc"), "describe\n");
  EXPECT_EQ(InBash("property get Mo"), "Mode\nMotto\n");
  EXPECT_EQ(InBash("property set Mod"), "Mode=\n");
  EXPECT_EQ(InBash("property set Mode=N"), "Night\n");
  EXPECT_EQ(InBash("property schema o"), "orphans\n");
  EXPECT_EQ(InBash("property forg"), "forget\n");
}

TEST_F(ToolCompletion, CompletesInFish) {
  EXPECT_EQ(InFish("property desc"), "describe\n");
  EXPECT_EQ(InFish("property get Mo"), "Mode\nMotto\n");
  EXPECT_EQ(InFish("property set Mode=N"), "Mode=Night\n");
  EXPECT_EQ(InFish("property schema o"), "orphans\n");
  EXPECT_EQ(InFish("property forg"), "forget\n");
}

TEST_F(ToolCompletion, CompletesInZsh) {
  EXPECT_EQ(InZsh("property desc", 2), "-- describe\n");
  EXPECT_EQ(InZsh("property get Mo", 3), "-- Mode Motto\n");
  EXPECT_EQ(InZsh("property set Mod", 3), "-S  -- Mode=\n");
  EXPECT_EQ(InZsh("property schema o", 3), "-- orphans\n");
  EXPECT_EQ(InZsh("property forg", 2), "-- forget\n");
  EXPECT_EQ(InZsh("property load x", 3), "files\n");
}

}  // namespace
