// SPDX-License-Identifier: MIT
// The memory of events: order and bounds.
#include "PropertyConsole/TCKeptEvents.h"

#include <gtest/gtest.h>

namespace {

using namespace Property;

std::deque<TSEvent> EventsTo(std::uint64_t First, std::uint64_t Last, std::string const& Text) {
  std::deque<TSEvent> Events;
  for (std::uint64_t Number = First; Number <= Last; ++Number) {
    Events.push_back({Number, "", Text, ""});
  }
  return Events;
}

TEST(TCKeptEventsTest, TellEachEventAfterTheOneBefore) {
  TCKeptEvents Events(5);
  Events.Add(EventsTo(6, 8, "x"));

  EXPECT_EQ(Events.get_Last(), 8U);
  EXPECT_EQ(Events.After(5)->Number, 6U);
  EXPECT_EQ(Events.After(7)->Number, 8U);
  EXPECT_EQ(Events.After(8), nullptr);
}

TEST(TCKeptEventsTest, KnowWhatIsStillToCome) {
  TCKeptEvents Events(5);

  EXPECT_TRUE(Events.Knows(5));
  EXPECT_TRUE(Events.Knows(6));
  EXPECT_FALSE(Events.Knows(4));
}

TEST(TCKeptEventsTest, ForgetTheOldestBeyondTheirNumber) {
  TCKeptEvents Events(0);
  Events.Add(EventsTo(1, 4097, "x"));

  EXPECT_FALSE(Events.Knows(0));
  EXPECT_EQ(Events.After(0), nullptr);
  EXPECT_TRUE(Events.Knows(1));
  EXPECT_EQ(Events.After(1)->Number, 2U);
}

TEST(TCKeptEventsTest, ForgetTheOldestBeyondTheirSize) {
  TCKeptEvents Events(0);
  Events.Add(EventsTo(1, 9, std::string(std::size_t{1} << 20, 'x')));

  EXPECT_FALSE(Events.Knows(0));
  EXPECT_TRUE(Events.Knows(1));
}

TEST(TCKeptEventsTest, ForgetWhatTheyAreToldTo) {
  TCKeptEvents Events(0);
  Events.Add(EventsTo(1, 3, "x"));

  Events.Forget(7);

  EXPECT_EQ(Events.get_Last(), 7U);
  EXPECT_FALSE(Events.Knows(3));
  Events.Add(EventsTo(8, 8, "y"));
  EXPECT_EQ(Events.After(7)->Number, 8U);
}

}  // namespace
