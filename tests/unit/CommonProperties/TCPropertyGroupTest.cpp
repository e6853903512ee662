// SPDX-License-Identifier: MIT
// Groups: visibility, and the warning about one without a container.
#include "CommonProperties/TCPropertyGroup.h"

#include <gmock/gmock.h>

#include "CapturedLog.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "Platform/Utility/SystemLog.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyContainer;
using Property::TCPropertyGroup;
using Property::TCPropertyInitOverride;
using Property::TCPropertyLink;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(TCPropertyGroupTest, KeepsWhatItWasBuiltFrom) {
  TCPropertyGroup const& Group = *new TCPropertyGroup("Network", 10, "Network settings", false);

  EXPECT_EQ(Group.get_Name(), "Network");
  EXPECT_EQ(Group.get_Number(), 10);
  EXPECT_EQ(Group.get_Description(), "Network settings");
  EXPECT_EQ(Group.get_Type(), Property::eGroup);
  EXPECT_TRUE(Group.get_Parent().IsNull());
  EXPECT_TRUE(Group.get_ClassID().IsNull());
}

TEST(TCPropertyGroupTest, IsShownUnlessItStartsHidden) {
  EXPECT_TRUE((new TCPropertyGroup("Shown", 10, "", false))->GetShow());
  EXPECT_FALSE((new TCPropertyGroup("Hidden", 11, "", true))->GetShow());
}

TEST(TCPropertyGroupTest, IsShownAndHiddenAsItIsTold) {
  TCPropertyGroup& Group = *new TCPropertyGroup("Network", 10, "", true);

  Group.SetShow(true);
  EXPECT_TRUE(Group.GetShow());

  Group.SetShow(false);
  EXPECT_FALSE(Group.GetShow());
}

TEST(TCPropertyGroupTest, WarnsOnceWhenItIsInNoContainer) {
  TCapturedLog const Log;
  new TCPropertyGroup("Network", 10, "", false);

  TCBasicPropertyID::Initialize();
  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Log.get_Warnings(),
              ElementsAre("Property Group Network(10) Group is not linked to a container"));
}

TEST(TCPropertyGroupTest, IsInitialisedAndNumberedWithoutAContainer) {
  TCapturedLog const Log;
  TCPropertyGroup const& First = *new TCPropertyGroup("First", 10, "", false);
  TCPropertyGroup const& Second = *new TCPropertyGroup("Second", 11, "", false);

  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(Second.GetOrder(), First.GetOrder() + 1);
  EXPECT_TRUE(First.get_ClassID().IsNull());
}

TEST(TCPropertyGroupTest, WarnsOfNothingInsideItsContainer) {
  TCapturedLog const Log;
  TCPropertyContainer const& Device = *new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyGroup& Group = *new TCPropertyGroup("Network", 10, "", false);
  TCPropertyLink const Link(Group, Device);

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Log.get_Warnings(), IsEmpty());
  EXPECT_EQ(Group.get_ClassID(), TCNullTypes<int>(5));
  EXPECT_EQ(Group.GetOrder(), 0);
}

namespace {

class TLoggingOverride : public TCPropertyInitOverride {
 public:
  using TCPropertyInitOverride::TCPropertyInitOverride;
  void DoInitialize() override { SyslogWarning("the override runs"); }
};

}  // namespace

TEST(TCPropertyGroupTest, WarnsBeforeItsOverrideRuns) {
  TCapturedLog const Log;
  TCPropertyGroup& Group = *new TCPropertyGroup("Network", 10, "", false);
  TLoggingOverride const Override(&Group);

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Log.get_Warnings(),
              ElementsAre("Property Group Network(10) Group is not linked to a container",
                          "the override runs"));
}
