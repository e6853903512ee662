// SPDX-License-Identifier: MIT
// Workers: what they do, and what they do not take.
#include "PropertyConsole/TCWorkers.h"

#include <gtest/gtest.h>

#include <future>
#include <stdexcept>

namespace {

using Property::TCWorkers;

TEST(TCWorkersTest, DoWhatTheyAreGiven) {
  TCWorkers Workers(2, 8);
  std::promise<int> Done;

  ASSERT_TRUE(Workers.Add([&Done] { Done.set_value(7); }));

  EXPECT_EQ(Done.get_future().get(), 7);
}

TEST(TCWorkersTest, GoOnAfterATaskThatThrows) {
  TCWorkers Workers(1, 8);
  std::promise<int> Done;

  ASSERT_TRUE(Workers.Add([] { throw std::runtime_error("no"); }));
  ASSERT_TRUE(Workers.Add([&Done] { Done.set_value(7); }));

  EXPECT_EQ(Done.get_future().get(), 7);
}

// Keeps the only worker busy until the test lets it go.
TEST(TCWorkersTest, LetNoMoreWaitThanTheyMay) {
  std::promise<void> Begun;
  std::promise<void> Release;
  TCWorkers Workers(1, 2);
  ASSERT_TRUE(Workers.Add([&] {
    Begun.set_value();
    Release.get_future().wait();
  }));
  Begun.get_future().wait();

  EXPECT_TRUE(Workers.Add([] {}));
  EXPECT_TRUE(Workers.Add([] {}));
  EXPECT_FALSE(Workers.Add([] {}));
  Release.set_value();
}

}  // namespace
