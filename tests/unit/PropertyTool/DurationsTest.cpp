// SPDX-License-Identifier: MIT
// Spans and points of time as people write them.
#include "PropertyTool/Durations.h"

#include <gtest/gtest.h>

namespace {

using Property::ReadDuration;
using Property::ReadTime;
using std::chrono::milliseconds;

constexpr long long kNoonOfNewYear = 1767268800000000;  // 2026-01-01 12:00

TEST(Durations, ReadsEveryUnit) {
  EXPECT_EQ(ReadDuration("500ms"), milliseconds(500));
  EXPECT_EQ(ReadDuration("90"), milliseconds(90000));
  EXPECT_EQ(ReadDuration("90s"), milliseconds(90000));
  EXPECT_EQ(ReadDuration("1.5m"), milliseconds(90000));
  EXPECT_EQ(ReadDuration("2h"), milliseconds(7200000));
  EXPECT_EQ(ReadDuration("7d"), milliseconds(604800000));
}

TEST(Durations, ReadsNothingElse) {
  for (char const* const Text :
       {"", "s", "5x", "5 s", "-5s", "s5", "1e300d", "4000d", "inf", "nan", "0x10"}) {
    EXPECT_EQ(ReadDuration(Text), std::nullopt) << Text;
  }
}

TEST(Durations, SaysWhatIsWrong) {
  EXPECT_EQ(Property::CheckDuration("10s"), "");
  EXPECT_EQ(Property::CheckDuration("soon"),
            "\"soon\" is no duration such as 10s or 5m, of ten years at most");
}

TEST(Durations, WritesATime) {
  EXPECT_EQ(Property::TimeText(kNoonOfNewYear + 42), "2026-01-01T12:00:00.000042Z");
  EXPECT_EQ(Property::TimeText(0), "");
}

TEST(Durations, ReadsATimeAsItIsWritten) {
  EXPECT_EQ(ReadTime("2026-01-01T12:00:00.000042Z"), kNoonOfNewYear + 42);
}

TEST(Durations, ReadsTheBeginningOfATime) {
  EXPECT_EQ(ReadTime("2026-01-01T12:00"), kNoonOfNewYear);
  EXPECT_EQ(ReadTime("2026-01-01"), kNoonOfNewYear - 43200000000);
}

TEST(Durations, ReadsADurationAsTimeBeforeNow) {
  auto const HourAgo = ReadTime("1h");
  auto const TwoHoursAgo = ReadTime("2h");
  ASSERT_TRUE(HourAgo && TwoHoursAgo);
  EXPECT_NEAR(static_cast<double>(*HourAgo - *TwoHoursAgo), 3600e6, 60e6);
}

TEST(Durations, ReadsNoOtherTime) {
  for (char const* const Text :
       {"", "yesterday", "2026", "2026-13-01", "2026-01-01T", "2026-01-01 12:00", "2026-01-01x"}) {
    EXPECT_EQ(ReadTime(Text), std::nullopt) << Text;
  }
}

}  // namespace
