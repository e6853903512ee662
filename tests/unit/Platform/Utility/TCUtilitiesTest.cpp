// SPDX-License-Identifier: MIT
// The calling thread's id: the kernel's, one a thread, right after a fork.
#include "Platform/Utility/TCUtilities.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "tests/support/ForkedChild.h"

namespace {

bool IsRight() {
  return TCUtilities::GetCurrentThreadID() == gettid();
}

// Whether the id is right in the child of a fork by a thread that knows its own id already.
bool IsRightInForkedChild() {
  TCUtilities::GetCurrentThreadID();
  TForkedChild Child([] { return std::string(IsRight() && IsRight() ? "right" : "wrong"); }, _exit);
  return Child.Wait() == "right";
}

}  // namespace

TEST(TCUtilities, GivesTheKernelsIdAgainAndAgain) {
  EXPECT_TRUE(IsRight());
  EXPECT_TRUE(IsRight());
}

TEST(TCUtilities, GivesEveryThreadItsOwn) {
  int const Mine = TCUtilities::GetCurrentThreadID();
  int Other = Mine;
  bool Right = false;
  std::thread([&] {
    Other = TCUtilities::GetCurrentThreadID();
    Right = IsRight();
  }).join();
  EXPECT_NE(Other, Mine);
  EXPECT_TRUE(Right);
  EXPECT_EQ(TCUtilities::GetCurrentThreadID(), Mine);
}

TEST(TCUtilities, IsRightInTheChildOfAFork) {
  EXPECT_TRUE(IsRightInForkedChild());
}

TEST(TCUtilities, IsRightInTheChildOfAForkByAnotherThread) {
  TCUtilities::GetCurrentThreadID();
  bool Right = false;
  std::thread([&] { Right = IsRightInForkedChild(); }).join();
  EXPECT_TRUE(Right);
}

TEST(TCUtilities, TheParentKeepsItsIdAcrossAFork) {
  int const Mine = TCUtilities::GetCurrentThreadID();
  ASSERT_TRUE(IsRightInForkedChild());
  EXPECT_EQ(TCUtilities::GetCurrentThreadID(), Mine);
}
