// SPDX-License-Identifier: MIT
// What is kept of changes that nobody has asked for yet.
#include "CommonProperties/TCUntoldChanges.h"

#include "StoreFixture.h"

using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::eNotifyDeleted;
using Property::TCCommonPropertyObject;
using Property::TCUntoldChanges;
using Property::TENotificationType;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCUntoldChangesTest : TSchemaFixture {
  void Keep(Property::TCPropertyID const& ID, std::string const& Text,
            TENotificationType Type = eNotifyChanged, int Link = 0) {
    TCUntoldChanges::TCChanges One;
    One.emplace_back(TCCommonPropertyObject(ID, TCRecordID(Link), kOwnMAC), Type);
    One.front().first.SetRealValue(Text);
    m_Pending.Keep(One);
    EXPECT_TRUE(One.empty());
  }

  /// All that waits, oldest first, removals with a minus.
  std::vector<std::string> TakeAll() {
    TCUntoldChanges::TCChanges Taken;
    while (!m_Pending.IsEmpty()) {
      m_Pending.Take(Taken);
    }
    std::vector<std::string> Texts;
    for (auto const& [Value, Type] : Taken) {
      Texts.push_back((Type == eNotifyDeleted ? "-" : "") + Value.GetRealValue());
    }
    return Texts;
  }

  TCUntoldChanges m_Pending;
};

}  // namespace

TEST_F(TCUntoldChangesTest, KeepsTheChangesOfSeveralValuesInTheirOrder) {
  Keep(m_Schema.m_Name, "name");
  Keep(m_Schema.m_Count, "1");
  Keep(m_Schema.m_Count, "2", eNotifyChanged, 7);
  EXPECT_EQ(m_Pending.get_Count(), 3U);
  EXPECT_EQ(m_Pending.get_Oldest().GetRealValue(), "name");
  EXPECT_THAT(TakeAll(), ElementsAre("name", "1", "2"));
}

TEST_F(TCUntoldChangesTest, KeepsTheLastChangeOfAValueInTheLastOnesPlace) {
  Keep(m_Schema.m_Name, "first");
  Keep(m_Schema.m_Count, "1");
  Keep(m_Schema.m_Name, "last");
  EXPECT_THAT(TakeAll(), ElementsAre("1", "last"));
}

TEST_F(TCUntoldChangesTest, KeepsOfAValueThatIsGoneTheRemovalAlone) {
  Keep(m_Schema.m_Name, "changed");
  Keep(m_Schema.m_Name, "gone", eNotifyDeleted);
  EXPECT_THAT(TakeAll(), ElementsAre("-gone"));
}

TEST_F(TCUntoldChangesTest, KeepsARemovalBeforeTheChangeThatBroughtTheValueBack) {
  Keep(m_Schema.m_Name, "gone", eNotifyDeleted);
  Keep(m_Schema.m_Name, "back");
  Keep(m_Schema.m_Name, "changed");
  EXPECT_THAT(TakeAll(), ElementsAre("-gone", "changed"));
}

TEST_F(TCUntoldChangesTest, KeepsOneRemovalOfSeveral) {
  Keep(m_Schema.m_Name, "gone", eNotifyDeleted);
  Keep(m_Schema.m_Name, "back");
  Keep(m_Schema.m_Name, "gone again", eNotifyDeleted);
  EXPECT_THAT(TakeAll(), ElementsAre("-gone again"));
}

TEST_F(TCUntoldChangesTest, HoldsNoMoreThanTwoOfAValue) {
  for (int Round = 0; Round < 1000; ++Round) {
    Keep(m_Schema.m_Name, "changed");
    Keep(m_Schema.m_Name, "gone", eNotifyDeleted);
    Keep(m_Schema.m_Name, "back");
    ASSERT_LE(m_Pending.get_Count(), 2U);
  }
}

TEST_F(TCUntoldChangesTest, ForgetsAValueThatWasTaken) {
  Keep(m_Schema.m_Name, "first");
  EXPECT_THAT(TakeAll(), ElementsAre("first"));
  EXPECT_THAT(TakeAll(), IsEmpty());
  Keep(m_Schema.m_Name, "second");
  EXPECT_THAT(TakeAll(), ElementsAre("second"));
}

TEST_F(TCUntoldChangesTest, KeepsAChangeWhoseRemovalWasTaken) {
  Keep(m_Schema.m_Name, "gone", eNotifyDeleted);
  Keep(m_Schema.m_Name, "back");
  TCUntoldChanges::TCChanges Taken;
  m_Pending.Take(Taken);
  EXPECT_EQ(Taken.front().second, eNotifyDeleted);
  Keep(m_Schema.m_Name, "changed");
  EXPECT_THAT(TakeAll(), ElementsAre("changed"));
}
