// SPDX-License-Identifier: MIT
// Secrets: how they look, and when two of them are the same.
#include "PropertyConsole/Tokens.h"

#include <gmock/gmock.h>

using Property::AreSameSecret;
using Property::MakeToken;

TEST(TokensTest, AreThirtyTwoHexadecimalDigits) {
  EXPECT_THAT(MakeToken(), ::testing::MatchesRegex("[0-9a-f]{32}"));
}

TEST(TokensTest, DifferEachTime) {
  EXPECT_NE(MakeToken(), MakeToken());
}

TEST(TokensTest, AreTheSameByteForByte) {
  EXPECT_TRUE(AreSameSecret("", ""));
  EXPECT_TRUE(AreSameSecret(std::string("a\0b", 3), std::string("a\0b", 3)));
}

TEST(TokensTest, DifferInAnyByteOrInLength) {
  EXPECT_FALSE(AreSameSecret("abc", "abd"));
  EXPECT_FALSE(AreSameSecret("abc",
                             "\xe1"
                             "bc"));
  EXPECT_FALSE(AreSameSecret("abc", "ab"));
  EXPECT_FALSE(AreSameSecret("", "a"));
}
