// SPDX-License-Identifier: MIT
// Attempts: how many there are, and when they come back.
#include "PropertyConsole/TCAttemptLimit.h"

#include <gtest/gtest.h>

namespace {

using Property::TCAttemptLimit;
using std::chrono::seconds;

class AttemptLimit : public ::testing::Test {
 protected:
  bool Take(std::string const& Key = "anna") { return m_Limit.Take(Key); }

  std::chrono::steady_clock::time_point m_Now{seconds(1000)};
  TCAttemptLimit m_Limit{{3, seconds(10), 4}, [this] { return m_Now; }};
};

TEST_F(AttemptLimit, LetsSoManyThroughAndNoMore) {
  EXPECT_TRUE(Take());
  EXPECT_TRUE(Take());
  EXPECT_TRUE(Take());

  EXPECT_FALSE(Take());
}

TEST_F(AttemptLimit, GivesOneBackAfterEachTime) {
  Take(), Take(), Take();

  m_Now += seconds(9);
  EXPECT_FALSE(Take());
  m_Now += seconds(1);
  EXPECT_TRUE(Take());
  EXPECT_FALSE(Take());
}

TEST_F(AttemptLimit, GivesBackNoMoreThanThereWere) {
  Take();

  m_Now += seconds(1000);

  EXPECT_TRUE(Take());
  EXPECT_TRUE(Take());
  EXPECT_TRUE(Take());
  EXPECT_FALSE(Take());
}

TEST_F(AttemptLimit, CountsEachKeyByItself) {
  Take(), Take(), Take();

  EXPECT_TRUE(Take("bert"));
}

TEST_F(AttemptLimit, ForgetsAKey) {
  Take(), Take(), Take();

  m_Limit.Forget("anna");

  EXPECT_TRUE(Take());
}

TEST_F(AttemptLimit, KeepsNoMoreKeysThanItMay) {
  for (int Key = 0; Key < 100; ++Key) {
    Take(std::to_string(Key));
  }

  EXPECT_EQ(m_Limit.get_Count(), 4U);
}

TEST_F(AttemptLimit, ForgetsTheOldestKeyForANewOne) {
  for (char const* Key : {"1", "2", "3", "4"}) {
    Take(Key), Take(Key), Take(Key);
    m_Now += seconds(1);
  }

  EXPECT_TRUE(Take("5"));
  EXPECT_FALSE(Take("2"));
  EXPECT_TRUE(Take("1"));
}

}  // namespace
