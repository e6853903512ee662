// SPDX-License-Identifier: MIT
// The pass that completes the schema.
#include "CommonProperties/TCBasicPropertyID.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include "CapturedLog.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "RegistryNodes.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyContainer;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using ::testing::ElementsAre;

namespace {

/// A node that tells when it is initialised.
class TTellingNode : public TCBasicPropertyID {
 public:
  TTellingNode(int Number, std::function<void()> OnInitialize)
      : TCBasicPropertyID("Telling", Number, Property::eGroup, "", kNoNumber),
        m_OnInitialize(std::move(OnInitialize)) {}

  void DoInitialize() override {
    m_OnInitialize();
    TCBasicPropertyID::DoInitialize();
  }

 private:
  std::function<void()> m_OnInitialize;
};

}  // namespace

// ---- initialisation ----

TEST(TCBasicPropertyIDTest, InitialisesNodesInTheOrderOfTheirConstruction) {
  std::vector<int> Order;
  for (int Number : {30, 10, 20}) {
    new TTellingNode(Number, [&Order, Number] { Order.push_back(Number); });
  }

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Order, ElementsAre(30, 10, 20));
}

TEST(TCBasicPropertyIDTest, IsInitialisedOnce) {
  int Calls = 0;
  new TTellingNode(1, [&] { ++Calls; });
  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);

  TCBasicPropertyID::Initialize();
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Calls, 1);
}

TEST(TCBasicPropertyIDTest, ChangesNothingWhenInitialisedAgain) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCPropertyID const& Field = NewField(3, 1);
  TCBasicPropertyID::Initialize();
  auto const Classlist = TCBasicPropertyID::m_Classlist;
  TCBasicPropertyID& Late = *new TCPropertyContainer("Late", 2, "", 9);
  TCPropertyID const& LateField = NewField(4, 1);

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(OrderOf(Field), 0);
  EXPECT_EQ(OrderOf(LateField), 0);
  EXPECT_TRUE(LateField.get_ClassID().IsNull());
  EXPECT_EQ(TCBasicPropertyID::m_Classlist, Classlist);
  EXPECT_EQ(TCBasicPropertyID::Find(2), &Late);
}

TEST(TCBasicPropertyIDTest, HoldsTheLockWhileNodesInitialiseThemselves) {
  bool Free = true;
  new TTellingNode(1, [&] { Free = IsSchemaLockFree(); });

  TCBasicPropertyID::Initialize();

  EXPECT_FALSE(Free);
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCBasicPropertyIDTest, ResolvesTheClassIdBeforeTheOverrideRuns) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCBasicPropertyID& Group = NewNode(2, Property::eGroup, 1);
  TCNullTypes<int> Seen;
  new TCallingOverride(&Group, [&] { Seen = Group.get_ClassID(); });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Seen, TCNullTypes<int>(5));
}

TEST(TCBasicPropertyIDTest, RunsTheLastOfTwoOverrides) {
  TCBasicPropertyID& Group = NewNode(2, Property::eGroup);
  std::vector<int> Runs;
  TCallingOverride First(&Group, [&] { Runs.push_back(1); });
  TCallingOverride Second(&Group, [&] { Runs.push_back(2); });

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Runs, ElementsAre(2));
}

TEST(TCBasicPropertyIDTest, PassesOnWhatANodeThrowsAndIsNotInitialised) {
  new TTellingNode(1, [] { throw std::runtime_error("broken node"); });

  try {
    TCBasicPropertyID::Initialize();
    ADD_FAILURE() << "nothing was thrown";
  } catch (std::runtime_error const& Error) {
    EXPECT_STREQ(Error.what(), "broken node");
  }

  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCBasicPropertyIDTest, KeepsWhatWasSetBeforeANodeThrew) {
  new TCPropertyContainer("Container", 1, "", 5);
  NewField(2, 1);
  TCPropertyID const& Passed = NewField(3, 1);
  new TTellingNode(4, [] { throw std::runtime_error("broken node"); });
  TCPropertyID const& NotReached = NewField(5, 1);

  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);

  EXPECT_EQ(Passed.get_ClassID(), TCNullTypes<int>(5));
  EXPECT_EQ(OrderOf(Passed), 1);
  EXPECT_THAT(TCBasicPropertyID::m_Classlist, ElementsAre(kNoNumber, TCNullTypes<int>(5)));
  EXPECT_TRUE(NotReached.get_ClassID().IsNull());
}

TEST(TCBasicPropertyIDTest, CanBeInitialisedAfterAFailureThatHasGone) {
  bool Broken = true;
  NewField(3, 77);
  TCPropertyID const& Second = NewField(4, 77);
  new TTellingNode(5, [&] {
    if (Broken) {
      throw std::runtime_error("broken node");
    }
  });
  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);
  Broken = false;

  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(OrderOf(Second), 1);
}

TEST(TCBasicPropertyIDTest, FailsAgainUntilTheFailureHasGone) {
  TCapturedLog const Log;
  bool Broken = true;
  int Overrides = 0;
  TCBasicPropertyID& Group = *new TCPropertyGroup("Group", 2, "", false);
  new TCallingOverride(&Group, [&] { ++Overrides; });
  new TTellingNode(5, [&] {
    if (Broken) {
      throw std::runtime_error("broken node");
    }
  });

  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);
  EXPECT_THROW(TCBasicPropertyID::Initialize(), std::runtime_error);
  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  Broken = false;
  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(Overrides, 1);                   // an override runs once
  EXPECT_EQ(Log.get_Warnings().size(), 3U);  // the group is in no container, at each pass
}

TEST(TCBasicPropertyIDTest, InitialisesNodesThatAnOverrideConstructs) {
  new TCPropertyContainer("Container", 1, "", 5);
  TCBasicPropertyID& Group = NewNode(2, Property::eGroup, 1);
  TCPropertyID* Made = nullptr;
  new TCallingOverride(&Group, [&] { Made = &NewField(3, 1); });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Made->get_ClassID(), TCNullTypes<int>(5));
  EXPECT_EQ(OrderOf(*Made), 1);
}

TEST(TCBasicPropertyIDTest, DoesNothingWhenANodeAsksForTheInitialisationThatIsUnderWay) {
  int Calls = 0;
  new TTellingNode(1, [&] {
    ++Calls;
    TCBasicPropertyID::Initialize();
    EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  });
  new TTellingNode(2, [&] { ++Calls; });

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(Calls, 2);
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
}
