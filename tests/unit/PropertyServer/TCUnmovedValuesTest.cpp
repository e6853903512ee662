// SPDX-License-Identifier: MIT
// Entries that are values, and those that are none any more.
#include "PropertyServer/TCUnmovedValues.h"

#include <gmock/gmock.h>

#include <limits>

using Property::TCPropertyPlace;
using Property::TCUnmovedValues;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr long long kNone = std::numeric_limits<long long>::max();

TCPropertyPlace At(int Number) {
  return {Number, Accessories::TCRecordID(), TCMACAddress()};
}

}  // namespace

TEST(TCUnmovedValues, AreTheNewestEntriesOfTheirPlaces) {
  TCUnmovedValues Values;
  Values.Add(1, At(7), 1);
  Values.Add(2, At(8), 1);
  Values.Add(4, At(7), 1);

  EXPECT_EQ(Values.Find(At(7)), 4);
  EXPECT_EQ(Values.Find(At(8)), 2);
  EXPECT_EQ(Values.Find(At(9)), 0);
  EXPECT_THAT(Values.Values(0, 4), ElementsAre(2, 4));
  EXPECT_THAT(Values.Values(2, 3), IsEmpty());
}

TEST(TCUnmovedValues, AreAsDifferentAsTheirPlaces) {
  TCPropertyPlace const Places[] = {At(1),
                                    {1, 0, TCMACAddress()},
                                    {1, {}, TCMACAddress("00:00:00:00:00:00")},
                                    {1, 0, TCMACAddress("00:00:00:00:00:00")}};
  TCUnmovedValues Values;
  long long Entry = 0;
  for (TCPropertyPlace const& Place : Places) {
    Values.Add(++Entry, Place, 1);
  }

  EXPECT_THAT(Values.Values(0, Entry), ElementsAre(1, 2, 3, 4));
}

TEST(TCUnmovedValues, AreNoneWhereTheyAreOvertaken) {
  TCUnmovedValues Values;
  Values.Add(1, At(7), 1);
  Values.Add(2, At(7), 1);

  EXPECT_EQ(Values.Overtake(At(7)), 2);
  EXPECT_EQ(Values.Overtake(At(7)), 0);
  EXPECT_EQ(Values.Overtake(At(8)), 0);
  EXPECT_EQ(Values.Find(At(7)), 0);
  EXPECT_THAT(Values.Values(0, 2), IsEmpty());
  Values.Add(3, At(7), 1);
  EXPECT_THAT(Values.Values(0, 3), ElementsAre(3));
}

TEST(TCUnmovedValues, GoWhenTheyAreMoved) {
  TCUnmovedValues Values;
  Values.Add(1, At(7), 1);
  Values.Add(2, At(8), 1);
  Values.Add(3, At(7), 1);

  Values.Commit(2);

  EXPECT_EQ(Values.Find(At(7)), 3);
  EXPECT_EQ(Values.Find(At(8)), 0);
  EXPECT_EQ(Values.FirstBeyond(0), 3);
  EXPECT_EQ(Values.FirstBeyond(3), kNone);
}

TEST(TCUnmovedValues, AreAsBeforeWhenTheirChangesAreUndone) {
  TCUnmovedValues Values;
  Values.Add(1, At(7), 10);
  Values.Add(2, At(8), 10);
  Values.Commit(0);
  Values.Add(3, At(7), 10);
  Values.Overtake(At(7));
  Values.Overtake(At(8));
  Values.Add(4, At(9), 10);

  Values.Undo();

  EXPECT_THAT(Values.Values(0, 9), ElementsAre(1, 2));
  EXPECT_EQ(Values.Find(At(9)), 0);
  EXPECT_EQ(Values.FirstBeyond(2), kNone);
  EXPECT_EQ(Values.Measure(0, 2), 2U * 256 + 20);
  Values.Add(3, At(9), 5);
  EXPECT_EQ(Values.Measure(0, 3), 3U * 256 + 25);
}

TEST(TCUnmovedValues, AreMeasuredWithTheEntriesThatHaveNoText) {
  TCUnmovedValues Values;
  Values.Add(2, At(7), 10);
  Values.Add(5, At(8), 1000);

  EXPECT_EQ(Values.Measure(0, 1), 256U);
  EXPECT_EQ(Values.Measure(0, 4), 4U * 256 + 10);
  EXPECT_EQ(Values.Measure(2, 5), 3U * 256 + 1000);
  EXPECT_EQ(Values.Measure(5, 5), 0U);
  EXPECT_EQ(Values.Measure(6, 5), 0U);
  Values.Commit(2);
  EXPECT_EQ(Values.Measure(2, 6), 4U * 256 + 1000);
}

TEST(TCUnmovedValues, AreTakenAsFarAsTheyFit) {
  TCUnmovedValues Values;
  for (long long Entry = 1; Entry <= 9; ++Entry) {
    Values.Add(Entry, At(static_cast<int>(Entry)), 44);
  }

  EXPECT_EQ(Values.LastWithin(900, 0, 9), 3);
  EXPECT_EQ(Values.LastWithin(899, 0, 9), 2);
  EXPECT_EQ(Values.LastWithin(900, 4, 6), 6);
  EXPECT_EQ(Values.LastWithin(1, 4, 9), 5);
  EXPECT_EQ(Values.LastWithin(1, 9, 9), 9);
}
