// SPDX-License-Identifier: MIT
// What an assignment leaves behind when memory runs out at any of its steps.
#include <gmock/gmock.h>

#include <string>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyID.h"
#include "FailingAllocations.h"
#include "Platform/Utility/TCNullTypes.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyDependency;
using Property::TCPropertyDependencyEntry;
using Property::TCPropertyID;
using ::testing::SizeIs;

namespace {

using TText = TCNullTypes<std::string>;

std::string const kLong(100, 'l');  // needs memory of its own
TCNullTypes<int> const kNoParent;

}  // namespace

TEST(ValueMemoryTest, LeavesANullTextNull) {
  TText const Source(kLong);
  TText Target;

  int const Failures = FailEachAllocation([&] { Target = Source; },
                                          [&] {
                                            EXPECT_TRUE(Target.IsNull());
                                            EXPECT_EQ(Target.get_Value(), "");
                                          });

  EXPECT_EQ(Failures, 1);
  EXPECT_EQ(Target, Source);
}

TEST(ValueMemoryTest, LeavesATextThatIsReplacedByAText) {
  TText Target("short");

  int const Failures =
      FailEachAllocation([&] { Target = kLong; }, [&] { EXPECT_EQ(Target, TText("short")); });

  EXPECT_GE(Failures, 1);
  EXPECT_EQ(Target.get_Value(), kLong);
}

TEST(ValueMemoryTest, LeavesAnUndefinedValueUndefined) {
  TCPropertyID const Field("Field", 10, "", kNoParent, 0x20);
  TCCommonPropertyObject Source(Field, 3, "00:11:22:33:44:55");
  Source.SetRealValue(kLong);
  TCCommonPropertyObject Target;

  int const Failures = FailEachAllocation([&] { Target = Source; },
                                          [&] {
                                            EXPECT_FALSE(Target.get_Defined());
                                            EXPECT_FALSE(Target.get_Loaded());
                                            EXPECT_EQ(&Target.get_ID(), &Property::Prop_Unassigned);
                                            EXPECT_TRUE(Target.get_Link().IsNull());
                                            EXPECT_TRUE(Target.get_MAC().Empty());
                                            EXPECT_TRUE(Target.IsEmpty());
                                          });

  EXPECT_EQ(Failures, 1);
  EXPECT_TRUE(Target == Source);
  EXPECT_TRUE(Target.get_Loaded());
  EXPECT_EQ(&Target.get_ID(), &Field);
  EXPECT_EQ(Target.get_Link(), TCRecordID(3));
}

TEST(ValueMemoryTest, LeavesAnEntryOfDependenciesAsItWas) {
  TCPropertyDependencyEntry Source(1, TText(kLong), true);
  Source.Add(TCPropertyDependencyEntry(2, TText(kLong), true));
  Source.Add(TCPropertyDependencyEntry(3, TText(kLong), true));
  TCPropertyDependencyEntry Target(7, TText("short"), false);
  Target.Add(TCPropertyDependencyEntry(8, TText("child"), false));

  int const Failures =
      FailEachAllocation([&] { Target = Source; },
                         [&] {
                           EXPECT_EQ(Target.get_ID(), TCNullTypes<int>(7));
                           EXPECT_EQ(Target.get_Value(), TText("short"));
                           EXPECT_FALSE(Target.get_Flag());
                           ASSERT_THAT(Target.get_Entries(), SizeIs(1));
                           EXPECT_EQ(Target.get_Entries().front().get_Value(), TText("child"));
                         });

  EXPECT_GE(Failures, 5);  // three texts, two entries
  EXPECT_THAT(Target.get_Entries(), SizeIs(2));
}

TEST(ValueMemoryTest, LeavesAMemberOfADependencyAsItWas) {
  TCPropertyID const First("First", 10, "", kNoParent, 0x20);
  TCPropertyID const Second("Second", 11, "", kNoParent, 0x20);
  TCPropertyDependency::TCMember const Source(&Second, TText(kLong), 1);
  TCPropertyDependency::TCMember Target(&First, TText(), 0);

  int const Failures = FailEachAllocation([&] { Target = Source; },
                                          [&] {
                                            EXPECT_EQ(Target.get_Target(), &First);
                                            EXPECT_TRUE(Target.get_Value().IsNull());
                                            EXPECT_EQ(Target.get_Flag(), 0);
                                          });

  EXPECT_EQ(Failures, 1);
  EXPECT_EQ(Target.get_Target(), &Second);
  EXPECT_EQ(Target.get_Value(), TText(kLong));
}
