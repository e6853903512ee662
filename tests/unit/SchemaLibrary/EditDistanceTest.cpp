// SPDX-License-Identifier: MIT
// How mistakes are counted.
#include "SchemaLibrary/EditDistance.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Property::EditDistance;

TEST(EditDistanceTest, CountsEachMistakeOnce) {
  EXPECT_EQ(EditDistance("brightness", "brightness", 3), 0U);
  EXPECT_EQ(EditDistance("brighness", "brightness", 3), 1U);
  EXPECT_EQ(EditDistance("brighttness", "brightness", 3), 1U);
  EXPECT_EQ(EditDistance("brigktness", "brightness", 3), 1U);
  EXPECT_EQ(EditDistance("rbightness", "brightness", 3), 1U);
  EXPECT_EQ(EditDistance("rbighntess", "brightness", 3), 2U);
}

TEST(EditDistanceTest, CountsNoFurtherThanTheLimit) {
  EXPECT_EQ(EditDistance("", "abc", 2), 3U);
  EXPECT_EQ(EditDistance("abcdef", "uvwxyz", 2), 3U);
  EXPECT_EQ(EditDistance("abcd", "badc", 1), 2U);
  EXPECT_EQ(EditDistance(std::string(1000000, 'a'), "b", 3), 4U);
}

TEST(EditDistanceTest, TakesEmptyTexts) {
  EXPECT_EQ(EditDistance("", "", 0), 0U);
  EXPECT_EQ(EditDistance("ab", "", 2), 2U);
}

}  // namespace
