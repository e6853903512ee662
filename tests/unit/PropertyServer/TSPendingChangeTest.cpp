// SPDX-License-Identifier: MIT
// How long a change may still wait for its confirmation, whatever the clock says.
#include "PropertyServer/TSPendingChange.h"

#include <gtest/gtest.h>

#include "PropertyServer/TCHistoryClock.h"

namespace {

using Property::TSClockReading;
using Property::TSPendingChange;

constexpr std::int64_t kSecond = 1000000;
constexpr std::int64_t kDay = 24 * 3600 * kSecond;
constexpr std::int64_t kToday = Property::TCHistoryClock::kEarliestSet + 1000 * kDay;

TSPendingChange Minute() {
  TSPendingChange Change;
  Change.Granted = Change.Left = 60 * kSecond;
  Change.Noted = {"this run", 500 * kSecond, kToday};
  return Change;
}

}  // namespace

TEST(TSPendingChangeTest, CountsTheTimeOfOneRunWhateverTheClockSays) {
  EXPECT_EQ(Minute().LeftAt({"this run", 510 * kSecond, kToday - kDay}), 50 * kSecond);
  EXPECT_EQ(Minute().LeftAt({"this run", 510 * kSecond, kToday + kDay}), 50 * kSecond);
}

TEST(TSPendingChangeTest, IsOverAndNotMoreThanOver) {
  EXPECT_EQ(Minute().LeftAt({"this run", 9000 * kSecond, kToday}), 0);
  EXPECT_EQ(Minute().LeftAt({"the next", 1, kToday + kDay}), 0);
}

TEST(TSPendingChangeTest, GoesByTheClockOverARestartOfTheSystem) {
  EXPECT_EQ(Minute().LeftAt({"the next", 1, kToday + 45 * kSecond}), 15 * kSecond);
}

TEST(TSPendingChangeTest, TakesATenthOfWhatWasGrantedForARestartThatNoClockHasMeasured) {
  EXPECT_EQ(Minute().LeftAt({"the next", 1, kToday - kDay}), 54 * kSecond);
  EXPECT_EQ(Minute().LeftAt({"the next", 1, kSecond}), 54 * kSecond);
  EXPECT_EQ(Minute().LeftAt({"the next", 1, kToday + 400 * kDay}), 54 * kSecond);
  EXPECT_EQ(Minute().LeftAt({"the next", 1, kToday + kSecond}), 54 * kSecond);
}

TEST(TSPendingChangeTest, TakesARunThatItDoesNotKnowForAnotherOne) {
  TSPendingChange Change = Minute();
  Change.Noted.Boot.clear();
  EXPECT_EQ(Change.LeftAt({"", 501 * kSecond, kToday + 30 * kSecond}), 30 * kSecond);
}

TEST(TSPendingChangeTest, ReadsTheClocksOfTheSystem) {
  TSClockReading const First = TSClockReading::Now();
  TSClockReading const Second = TSClockReading::Now();
  EXPECT_EQ(First.Boot.size(), 36U);
  EXPECT_EQ(First.Boot, Second.Boot);
  EXPECT_LE(First.Moment, Second.Moment);
}
