// SPDX-License-Identifier: MIT
// The console's memory of changes: numbers, places and bounds.
#include "PropertyConsole/TCChangeLog.h"

#include <gtest/gtest.h>

#include <thread>

#include "CommonProperties/TCPropertyID.h"

namespace {

using namespace Property;

constexpr int kTextField = 0x20;
TCPropertyID LoggedName("LoggedName", 61, "A text", 60, kTextField);
TCPropertyID LoggedPlace("LoggedPlace", 62, "Another text", 60, kTextField);

class ChangeLog : public ::testing::Test {
 protected:
  static void Change(TCChangeLog& Log, TCPropertyID const& Field, std::string const& Text,
                     TENotificationType Type = eNotifyChanged) {
    TCCommonPropertyObject Value(Field, Accessories::TCRecordID(), std::string());
    Value.SetRealValue(Text);
    Log.Push(Type, Value);
  }
  static TCPropertyKey PlaceOf(TCPropertyID const& Field) {
    return TCPropertyKey(Field, Accessories::TCRecordID(), std::string());
  }
};

TEST_F(ChangeLog, NumbersChangesFromOne) {
  TCChangeLog Log;
  EXPECT_EQ(Log.get_Last(), 0U);

  Change(Log, LoggedName, "a");
  Change(Log, LoggedName, "b");

  EXPECT_EQ(Log.get_Last(), 2U);
}

TEST_F(ChangeLog, KnowsWhatHasChangedSince) {
  TCChangeLog Log;
  Change(Log, LoggedName, "a");
  Change(Log, LoggedPlace, "b");

  EXPECT_EQ(Log.PlacesAfter(0)->size(), 2U);
  EXPECT_EQ(*Log.PlacesAfter(1), std::set<TCPropertyKey>{PlaceOf(LoggedPlace)});
  EXPECT_TRUE(Log.PlacesAfter(2)->empty());
}

TEST_F(ChangeLog, KnowsNothingOfTheFuture) {
  TCChangeLog Log;
  Change(Log, LoggedName, "a");

  EXPECT_FALSE(Log.PlacesAfter(2).has_value());
}

TEST_F(ChangeLog, ForgetsTheOldestBeyondItsNumber) {
  TCChangeLog Log({2, 1000});
  for (char const* Text : {"a", "b", "c"}) {
    Change(Log, LoggedName, Text);
  }

  EXPECT_FALSE(Log.PlacesAfter(0).has_value());
  EXPECT_TRUE(Log.PlacesAfter(1).has_value());
}

TEST_F(ChangeLog, ForgetsTheOldestBeyondItsSize) {
  TCChangeLog Log({10, 10});
  Change(Log, LoggedName, "123456");
  Change(Log, LoggedName, "1234567");
  EXPECT_FALSE(Log.PlacesAfter(0).has_value());
  EXPECT_TRUE(Log.PlacesAfter(1).has_value());

  Change(Log, LoggedName, "12345678901");
  EXPECT_FALSE(Log.PlacesAfter(2).has_value());
  EXPECT_TRUE(Log.PlacesAfter(3).has_value());
}

TEST_F(ChangeLog, TellsChangesInTheirOrder) {
  TCChangeLog Log;
  Change(Log, LoggedName, "a");
  Change(Log, LoggedPlace, "b");
  Change(Log, LoggedName, "a", eNotifyDeleted);

  auto const Changes = Log.AwaitAfter(1, 10);

  ASSERT_EQ(Changes->size(), 2U);
  EXPECT_EQ(Changes->at(0).Number, 2U);
  EXPECT_EQ(Changes->at(0).Data, "b");
  EXPECT_EQ(Changes->at(1).Number, 3U);
  EXPECT_FALSE(Changes->at(1).Data.has_value());
  EXPECT_EQ(Log.AwaitAfter(0, 1)->size(), 1U);
}

TEST_F(ChangeLog, SaysThatChangesAreForgotten) {
  TCChangeLog Log({1, 1000});
  Change(Log, LoggedName, "a");
  Change(Log, LoggedName, "b");

  EXPECT_FALSE(Log.AwaitAfter(0, 10).has_value());
}

TEST_F(ChangeLog, WaitsForTheNextChange) {
  TCChangeLog Log;
  std::size_t Count = 0;
  std::thread Waiter([&] { Count = Log.AwaitAfter(0, 10)->size(); });

  Change(Log, LoggedName, "a");

  Waiter.join();
  EXPECT_EQ(Count, 1U);
}

TEST_F(ChangeLog, CanBeInterrupted) {
  TCChangeLog Log;
  std::thread Waiter([&] { EXPECT_TRUE(Log.AwaitAfter(0, 10)->empty()); });

  Log.Interrupt();

  Waiter.join();
}

}  // namespace
