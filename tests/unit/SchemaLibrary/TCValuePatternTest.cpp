// SPDX-License-Identifier: MIT
// What patterns match, and that none of them takes long.
#include "SchemaLibrary/TCValuePattern.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Property::TCValuePattern;

TEST(TCValuePatternTest, MatchesTheWholeText) {
  TCValuePattern const Pattern("[a-z]+");
  EXPECT_TRUE(Pattern.Matches("abc"));
  EXPECT_FALSE(Pattern.Matches("abc1"));
  EXPECT_FALSE(Pattern.Matches(""));
}

TEST(TCValuePatternTest, MatchesTheDigitsOfAnIntegerField) {
  TCValuePattern const Pattern("^([0-9]\\d*)$");
  EXPECT_TRUE(Pattern.Matches("80"));
  EXPECT_FALSE(Pattern.Matches("-80"));
  EXPECT_FALSE(Pattern.Matches("80\n"));
}

TEST(TCValuePatternTest, SaysWhatIsWrongWithAPatternAndMatchesEverything) {
  TCValuePattern const Pattern("[a-");
  EXPECT_NE(Pattern.get_Error(), "");
  EXPECT_TRUE(Pattern.Matches("abc"));
  EXPECT_EQ(TCValuePattern("a*").get_Error(), "");
}

TEST(TCValuePatternTest, SupportsNoBackReferences) {
  EXPECT_EQ(TCValuePattern("(a)\\1").get_Error(), "back-references are not supported");
}

// Depth first, this pattern would take twice the time for every byte more.
TEST(TCValuePatternTest, MatchesTheLongestTextInTime) {
  std::string const Text(TCValuePattern::kLongestText, 'a');
  EXPECT_FALSE(TCValuePattern("^(a+)+b$").Matches(Text));
  EXPECT_TRUE(TCValuePattern("^(a|aa)*$").Matches(Text));
}

}  // namespace
