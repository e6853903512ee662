// SPDX-License-Identifier: MIT
// What the store's table holds when memory runs out while it takes a value in.
#include <gtest/gtest.h>

#include <list>

#include "CommonProperties/Store/TCPropertyIndex.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyID.h"
#include "FailingAllocations.h"

using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using Property::TCPropertyIndex;
using Property::TCPropertyKey;

TEST(IndexMemoryTest, HoldsWhatItHeldBefore) {
  constexpr int kValues = 100;  // the table grows several times
  TCPropertyID const Field("Field", 10, "", Accessories::TCNullTypes<int>(), 0x20);
  std::list<TCCommonPropertyObject> Objects;
  TCPropertyIndex::TValues Values;
  TCPropertyIndex Index(Values);
  int Failures = 0;
  for (int Record = 0; Record < kValues; ++Record) {
    TCPropertyKey const Key(Field, Record, "");
    TCCommonPropertyObject* const Last = Objects.empty() ? nullptr : &Objects.back();
    TCCommonPropertyObject* const Value = &Objects.emplace_back(Field, Record, "");
    Failures +=
        FailEachAllocation([&] { Index.Insert(Key, Value); },
                           [&] {
                             EXPECT_EQ(Values.size(), static_cast<std::size_t>(Record));
                             EXPECT_EQ(Index.Find(Key), nullptr);
                             EXPECT_EQ(Index.Find(TCPropertyKey(Field, Record - 1, "")), Last);
                           });
    ASSERT_EQ(Index.Find(Key), Value);
  }

  EXPECT_GT(Failures, kValues);
}
