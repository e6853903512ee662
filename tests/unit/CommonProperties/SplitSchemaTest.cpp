// SPDX-License-Identifier: MIT
// A schema in two files is the same in whatever order the linker has them constructed.
#include <gmock/gmock.h>

#include <string>

#include "CapturedLog.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "SplitSchema.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using TNumber = TCNullTypes<int>;
using TText = TCNullTypes<std::string>;

struct SplitSchemaTest : ::testing::Test {
  SplitSchemaTest() { TCBasicPropertyID::Initialize(); }

  TCapturedLog m_Log;
};

}  // namespace

TEST_F(SplitSchemaTest, IsCompleteAndSilent) {
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_THAT(*TCBasicPropertyID::m_List, SizeIs(11U));  // and the unassigned property
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_THAT(m_Log.get_Errors(), IsEmpty());
}

TEST_F(SplitSchemaTest, HasTheChoicesOfAFieldInTheOrderOfTheirDeclaration) {
  EXPECT_EQ(SplitMode.get_Type(), Property::eComboField);
  EXPECT_EQ(SplitMode.get_Flags(), 0x30);
  EXPECT_EQ(SplitMode.get_Regex(), "");
  EXPECT_THAT(SplitMode.get_Choices(), ElementsAre(&SplitOff, &SplitOn));
  EXPECT_EQ(SplitOff.GetOrder(), 0);
  EXPECT_EQ(SplitOn.GetOrder(), 1);
  EXPECT_EQ(SplitMode.GetDefaultChoice(false), &SplitOn);
}

TEST_F(SplitSchemaTest, PutsChoicesUnderTheirField) {
  EXPECT_EQ(SplitOff.get_Parent(), TNumber(110));
  EXPECT_EQ(SplitOn.get_Parent(), TNumber(110));
  EXPECT_EQ(SplitOn.get_ClassID(), TNumber(3));
}

TEST_F(SplitSchemaTest, MakesALookupWithAChoiceAChoiceField) {
  EXPECT_EQ(SplitLookup.get_Type(), Property::eComboField);
  EXPECT_THAT(SplitLookup.get_Choices(), ElementsAre(&SplitOfLookup));
}

TEST_F(SplitSchemaTest, LinksNodesAndParentsOfBothFiles) {
  EXPECT_EQ(SplitGroup.get_Parent(), TNumber(100));
  EXPECT_EQ(SplitLateGroup.get_Parent(), TNumber(100));
  EXPECT_EQ(SplitName.get_Parent(), TNumber(102));
  EXPECT_EQ(SplitName.get_ClassID(), TNumber(3));
  EXPECT_EQ(SplitCount.get_ClassID(), TNumber(3));
}

TEST_F(SplitSchemaTest, AppliesTheLastOverrideOfANode) {
  EXPECT_EQ(SplitCount.GetDefaultValue(), TText("7"));
}

TEST_F(SplitSchemaTest, AppliesShowControls) {
  EXPECT_FALSE(SplitGroup.GetShow());
}

TEST_F(SplitSchemaTest, KeepsTheLastPatternOfAField) {
  EXPECT_EQ(SplitName.get_Regex(), "^[a-z]+$");
  EXPECT_EQ(SplitCount.get_Regex(), "^[0-7]$");
}

TEST_F(SplitSchemaTest, AnswersDependencies) {
  auto const Entries = SplitDependency.GetDependency().get_Entries();

  ASSERT_THAT(Entries, SizeIs(1));
  EXPECT_EQ(Entries.front().get_Value(), TText("111"));
}

TEST_F(SplitSchemaTest, HoldsValuesOfChoices) {
  TCCommonPropertyObject Value(SplitMode, 1, "");

  Value = "off";

  EXPECT_EQ(Value.GetRealValue(), "111");
  EXPECT_EQ(Value.get_AsString(), "off");
}
