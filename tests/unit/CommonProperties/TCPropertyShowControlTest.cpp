// SPDX-License-Identifier: MIT
// Visibilities that are fixed when the schema is initialised.
#include "CommonProperties/TCPropertyShowControl.h"

#include <gmock/gmock.h>

#include <vector>

#include "CapturedLog.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyShowControl;
using ::testing::ElementsAre;

namespace {

TCPropertyGroup& NewGroup(int Number, bool Hidden) {
  return *new TCPropertyGroup("Group", Number, "", Hidden);
}

/// Notes when it is applied.
class TNotingControl : public TCPropertyShowControl {
 public:
  TNotingControl(TCBasicPropertyID* Node, int Name, std::vector<int>& Notes)
      : TCPropertyShowControl(Node), m_Name(Name), m_Notes(Notes) {}

  void DoInitialize() override {
    m_Notes.push_back(m_Name);
    m_LockFree = IsSchemaLockFree();
  }

  bool m_LockFree = true;

 private:
  int m_Name;
  std::vector<int>& m_Notes;
};

class TGroupThatNotesItsVisibility : public TCPropertyGroup {
 public:
  explicit TGroupThatNotesItsVisibility(int Number) : TCPropertyGroup("Group", Number, "", false) {}

  void DoInitialize() override {
    m_ShownAtInitialisation = GetShow();
    TCPropertyGroup::DoInitialize();
  }

  bool m_ShownAtInitialisation = true;
};

/// The log takes the warnings about groups without container.
struct TCPropertyShowControlTest : ::testing::Test {
  TCapturedLog m_Log;
};

}  // namespace

TEST_F(TCPropertyShowControlTest, ChangesNothingBeforeTheInitialisation) {
  TCPropertyGroup& Group = NewGroup(1, false);
  new TCPropertyShowControl(&Group, false);
  EXPECT_TRUE(Group.GetShow());
}

TEST_F(TCPropertyShowControlTest, SetsTheVisibilityAtTheInitialisation) {
  TCPropertyGroup& Hidden = NewGroup(1, false);
  TCPropertyGroup& Shown = NewGroup(2, true);
  TCPropertyID& Field = *new TCPropertyID("Field", 3, "", TCNullTypes<int>(), 0x10);
  new TCPropertyShowControl(&Hidden, false);
  new TCPropertyShowControl(&Shown, true);
  new TCPropertyShowControl(&Field, false);

  TCBasicPropertyID::Initialize();

  EXPECT_FALSE(Hidden.GetShow());
  EXPECT_TRUE(Shown.GetShow());
  EXPECT_EQ(Field.GetShow(), 0);
}

TEST_F(TCPropertyShowControlTest, IsAppliedBeforeAnyNodeIsInitialised) {
  auto& First = *new TGroupThatNotesItsVisibility(1);
  NewGroup(2, false);
  new TCPropertyShowControl(&First, false);

  TCBasicPropertyID::Initialize();

  EXPECT_FALSE(First.m_ShownAtInitialisation);
}

TEST_F(TCPropertyShowControlTest, GivesTheFirstOfTwoControlsTheLastWord) {
  TCPropertyGroup& Group = NewGroup(1, false);
  new TCPropertyShowControl(&Group, false);
  new TCPropertyShowControl(&Group, true);

  TCBasicPropertyID::Initialize();

  EXPECT_FALSE(Group.GetShow());
}

TEST_F(TCPropertyShowControlTest, AppliesTheNewestControlFirst) {
  std::vector<int> Notes;
  TCPropertyGroup& Group = NewGroup(1, false);
  for (int Name = 1; Name <= 3; ++Name) {
    new TNotingControl(&Group, Name, Notes);
  }

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Notes, ElementsAre(3, 2, 1));
}

TEST_F(TCPropertyShowControlTest, IsAppliedUnderTheSchemasLock) {
  std::vector<int> Notes;
  auto const& Control = *new TNotingControl(&NewGroup(1, false), 1, Notes);

  TCBasicPropertyID::Initialize();

  EXPECT_FALSE(Control.m_LockFree);
}

TEST_F(TCPropertyShowControlTest, FailsTheInitialisationWithoutAValue) {
  TCPropertyGroup& Group = NewGroup(1, true);
  TCPropertyGroup& Other = NewGroup(2, false);
  new TCPropertyShowControl(&Other, false);
  new TCPropertyShowControl(&Group);

  ExpectException(CaughtException([] { TCBasicPropertyID::Initialize(); }), "TCPropertyShowControl",
                  "m_Show.IsNull()==false", "");

  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  EXPECT_TRUE(IsSchemaLockFree());
  EXPECT_FALSE(Group.GetShow());
  EXPECT_TRUE(Other.GetShow());  // older, so not reached
}

TEST_F(TCPropertyShowControlTest, SetsTheVisibilityAtOnceWhenAsked) {
  TCPropertyGroup& Group = NewGroup(1, false);
  auto& Control = *new TCPropertyShowControl(&Group);

  Control.SetShow(false);
  EXPECT_FALSE(Group.GetShow());

  Control.SetShow(true);
  EXPECT_TRUE(Group.GetShow());
}

TEST_F(TCPropertyShowControlTest, InitialisesASchemaWithoutControls) {
  TCPropertyShowControl::Initialize();
  EXPECT_TRUE(IsSchemaLockFree());
}
