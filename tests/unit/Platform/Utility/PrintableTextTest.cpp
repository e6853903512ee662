// SPDX-License-Identifier: MIT
// What a text from outside looks like in a log.
#include "Platform/Utility/PrintableText.h"

#include <gmock/gmock.h>

#include <string>

#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/SystemLog.h"

namespace {

std::string LastLine;

void KeepLine(int /*Priority*/, std::string const& Text) {
  LastLine = Text;
}

void KeepTrace(TCDebugChannel const& /*Channel*/, std::string const& Text) {
  LastLine = Text;
}

constexpr char kOrdinaryText[] =
    "user 7: \"C:\\new\" 100% \xc3\xa9 \xc2\xa0 \xe2\x82\xac \xe2\x80\xa7\xe2\x80\xaf\xe2\x81\xa5"
    "\xe2\x81\xaa\xf0\x9f\x98\x80 ~";

}  // namespace

TEST(PrintableText, LeavesOrdinaryTextsAlone) {
  EXPECT_EQ(PrintableText(""), "");
  EXPECT_EQ(PrintableText(kOrdinaryText), kOrdinaryText);
}

TEST(PrintableText, ReplacesControlCharacters) {
  EXPECT_EQ(PrintableText("a\nb\rc\td"), "a\\nb\\rc\\td");
  EXPECT_EQ(PrintableText(std::string("\0\x01\x1f \x7f", 5)), "\\x00\\x01\\x1f \\x7f");
  EXPECT_EQ(PrintableText("\x1b[31mred"), "\\x1b[31mred");
  EXPECT_EQ(PrintableText("\xc2\x80 \xc2\x9b \xc2\x9f"), "\\xc2\\x80 \\xc2\\x9b \\xc2\\x9f");
}

TEST(PrintableText, ReplacesWhatTurnsOrBreaksALine) {
  EXPECT_EQ(PrintableText("\xe2\x80\xa8\xe2\x80\xa9"), "\\xe2\\x80\\xa8\\xe2\\x80\\xa9");
  for (std::string const Turn :
       {"\xe2\x80\xaa", "\xe2\x80\xab", "\xe2\x80\xac", "\xe2\x80\xad", "\xe2\x80\xae",
        "\xe2\x81\xa6", "\xe2\x81\xa7", "\xe2\x81\xa8", "\xe2\x81\xa9"}) {
    EXPECT_THAT(PrintableText("a" + Turn + "b"), testing::MatchesRegex(R"(a\\xe2\\x8[01]\\xa.b)"));
  }
}

TEST(PrintableText, ReplacesBytesThatAreNoUTF8OneByOne) {
  EXPECT_EQ(PrintableText("\x80"), "\\x80");
  EXPECT_EQ(PrintableText("\xff\xfe."), "\\xff\\xfe.");
  EXPECT_EQ(PrintableText("\xc0\xaf"), "\\xc0\\xaf");                    // longer than it need be
  EXPECT_EQ(PrintableText("\xe0\x80\x8a"), "\\xe0\\x80\\x8a");           // the same
  EXPECT_EQ(PrintableText("\xed\xa0\x80"), "\\xed\\xa0\\x80");           // a surrogate
  EXPECT_EQ(PrintableText("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");  // beyond the last
  EXPECT_EQ(PrintableText("\xc3"), "\\xc3");
  EXPECT_EQ(PrintableText("\xe2\x82"), "\\xe2\\x82");
  EXPECT_EQ(PrintableText("\xe2\x82z"), "\\xe2\\x82z");
  EXPECT_EQ(PrintableText("\xf0\x9f\x98"), "\\xf0\\x9f\\x98");
}

TEST(PrintableText, TakesEachByteAndPairOnceInsideALine) {
  for (int First = 0; First < 256; ++First) {
    for (int Second = 0; Second < 256; ++Second) {
      std::string const Text = {static_cast<char>(First), static_cast<char>(Second)};
      std::string const Shown = PrintableText(Text);
      EXPECT_EQ(PrintableText(Shown), Shown) << First << ' ' << Second;
      EXPECT_EQ(Shown.find_first_of("\n\r\t\x1b\x7f"), std::string::npos);
    }
  }
}

TEST(PrintableLine, HoldsUsualLinesWhole) {
  EXPECT_EQ(PrintableLine(kOrdinaryText), kOrdinaryText);
  std::string const Longest(4096, 'x');
  EXPECT_EQ(PrintableLine(Longest), Longest);
}

TEST(PrintableLine, SaysWhatIsMissingOfALongOne) {
  EXPECT_EQ(PrintableLine(std::string(5000, 'x')), std::string(4096, 'x') + "... (904 bytes more)");
}

TEST(PrintableLine, IsNotCutWithinACharacter) {
  std::string const Before(4094, 'x');
  EXPECT_EQ(PrintableLine(Before + "\xe2\x82\xac" + "."), Before + "... (4 bytes more)");
  EXPECT_EQ(PrintableLine(Before + "\n\n."), Before + "\\n\\n... (1 bytes more)");
}

TEST(PrintableText, IsWhatLogAndTracesHold) {
  SetSyslogSink(KeepLine);
  SyslogWarning("%s refused: %s", "evil\nprocess", "\x1b[2J");
  EXPECT_EQ(LastLine, "evil\\nprocess refused: \\x1b[2J");
  SyslogError("%s", kOrdinaryText);
  EXPECT_EQ(LastLine, kOrdinaryText);
  SetDebugSink(KeepTrace);
  DEBUG_COMMON.set_Enabled(true);
  SendDebugOutput(DEBUG_COMMON, "Data [%s]", "a\nb\xff");
  EXPECT_EQ(LastLine, "Data [a\\nb\\xff]");
}
