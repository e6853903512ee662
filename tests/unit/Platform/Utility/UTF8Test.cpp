// SPDX-License-Identifier: MIT
// Where texts are cut.
#include "Platform/Utility/UTF8.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr char kEuro[] = "\xe2\x82\xac";
constexpr char kFace[] = "\xf0\x9f\x98\x80";

}  // namespace

TEST(UTF8, BeginningIsTheWholeOfAShortText) {
  EXPECT_EQ(BeginningLength("", 0), 0U);
  EXPECT_EQ(BeginningLength("abc", 3), 3U);
  EXPECT_EQ(BeginningLength(kEuro, 3), 3U);
}

TEST(UTF8, BeginningEndsBeforeACharacterThatDoesNotFit) {
  EXPECT_EQ(BeginningLength("abcd", 3), 3U);
  EXPECT_EQ(BeginningLength(std::string("a") + kEuro, 3), 1U);
  EXPECT_EQ(BeginningLength(std::string("a") + kEuro + "b", 4), 4U);
  EXPECT_EQ(BeginningLength(std::string("a") + kFace, 4), 1U);
  EXPECT_EQ(BeginningLength(kFace, 3), 0U);
}

TEST(UTF8, BeginningOfWhatIsNoTextIsCutAnywhere) {
  EXPECT_EQ(BeginningLength(std::string(10, '\x80'), 7), 7U);
  EXPECT_EQ(BeginningLength(std::string(10, '\x80'), 2), 2U);
}
