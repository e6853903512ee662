// SPDX-License-Identifier: MIT
// Schemas whose static objects are older, and younger, than the library's own.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "CapturedLog.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCPropertyShowControl.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"

// Older than every static object without such a priority, the library's own among them.
#define EARLY __attribute__((init_priority(101)))

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyChoice;
using Property::TCPropertyChoiceID;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyDependency;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyInitOverride;
using Property::TCPropertyLink;
using Property::TCPropertyShowControl;
using Property::TCValidRegexPropertySettings;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

using TText = TCNullTypes<std::string>;

class TDefaultOfSeven : public TCPropertyInitOverride {
 public:
  using TCPropertyInitOverride::TCPropertyInitOverride;
  void DoInitialize() override { SetDefaultValue(7); }
};

EARLY TCPropertyContainer EarlyDevice("EarlyDevice", 100, "", 1);
EARLY TCPropertyGroup EarlyGroup("EarlyGroup", 101, "", false);
EARLY TCPropertyLink EarlyLink(EarlyGroup, EarlyDevice);
EARLY TCPropertyID EarlyCount("EarlyCount", 102, "", 101, 0x10, 5);
EARLY TDefaultOfSeven EarlyOverride(&EarlyCount);
EARLY TCPropertyShowControl EarlyShowControl(&EarlyGroup, false);
EARLY TCPropertyID EarlyMode("EarlyMode", 110, "", 101, 0x10);
EARLY TCPropertyChoice EarlyOff("EarlyOff", "", 111, false, &EarlyMode, "off");
EARLY TCPropertyChoice EarlyOn("EarlyOn", "", 112, true, &EarlyMode, 1);
EARLY TCPropertyChoiceID EarlyReference("", 112, "EarlyReference");
EARLY TCPropertyDBLookup EarlyLookup("EarlyLookup", 120, "", 101, 0x20, 1, "users", true);
EARLY TCValidRegexPropertySettings EarlyPattern(&EarlyLookup, "^x$");
EARLY TCPropertyDependency EarlyDependency(&EarlyMode, &EarlyOn, 0);
EARLY TCCommonPropertyObject EarlyValue;
EARLY std::string EarlyViewname(EarlyValue.get_ID().Viewname(false));
EARLY TCNullTypes<int> EarlyClassID(EarlyCount.get_classid());
EARLY std::vector<bool> EarlyFound{TCPropertyID::Find(102) == &EarlyCount,
                                   TCPropertyChoiceID::Find(112) == &EarlyReference,
                                   EarlyMode.HaveChoice(112)};

TCPropertyContainer LateDevice("LateDevice", 200, "", 7);
TCPropertyID LateCount("LateCount", 202, "", 200, 0x10);
TCPropertyID LateMode("LateMode", 210, "", 200, 0x10);
TCPropertyChoice LateOn("LateOn", "", 212, false, &LateMode, 1);
TCPropertyChoiceID LateReference("", 212, "LateReference");
TCPropertyDependency LateDependency(&EarlyMode, &LateCount, "5", 1);
TCCommonPropertyObject LateValue;

}  // namespace

TEST(SchemaStaticOrderTest, RegistersEarlyAndLateNodes) {
  EXPECT_EQ(TCBasicPropertyID::Find(100), &EarlyDevice);
  EXPECT_EQ(TCBasicPropertyID::Find(120), &EarlyLookup);
  EXPECT_EQ(TCBasicPropertyID::Find(202), &LateCount);
  EXPECT_EQ(TCBasicPropertyID::m_List->size(), 12U);  // and the unassigned property
}

TEST(SchemaStaticOrderTest, FindsEarlyNodesAndReferencesEarly) {
  EXPECT_THAT(EarlyFound, ElementsAre(true, true, true));
}

TEST(SchemaStaticOrderTest, InheritsClassIdsEarly) {
  EXPECT_EQ(EarlyClassID, TCNullTypes<int>(1));
}

TEST(SchemaStaticOrderTest, RegistersTheUnassignedPropertyOnceForEarlyAndLateValues) {
  EXPECT_EQ(EarlyViewname, "unassigned(0) Integer Field");
  EXPECT_EQ(&EarlyValue.get_ID(), &Property::Prop_Unassigned);
  EXPECT_EQ(&LateValue.get_ID(), &Property::Prop_Unassigned);
  EXPECT_EQ(TCPropertyID::Find(0), &Property::Prop_Unassigned);
}

TEST(SchemaStaticOrderTest, InitialisesEarlyAndLateNodes) {
  TCapturedLog const Log;

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(EarlyCount.get_ClassID(), TCNullTypes<int>(1));
  EXPECT_EQ(EarlyCount.GetDefaultValue(), TText("7"));
  EXPECT_FALSE(EarlyGroup.GetShow());
  EXPECT_EQ(LateCount.get_ClassID(), TCNullTypes<int>(7));
  EXPECT_THAT(TCBasicPropertyID::m_Classlist,
              ElementsAre(TCNullTypes<int>(), TCNullTypes<int>(1), TCNullTypes<int>(7)));
  EXPECT_EQ(TCPropertyChoiceID::Find(112), &EarlyReference);
  EXPECT_EQ(TCPropertyChoiceID::Find(212), &LateReference);
  EXPECT_THAT(Log.get_Errors(), IsEmpty());
  EXPECT_THAT(Log.get_Warnings(), IsEmpty());
}

TEST(SchemaStaticOrderTest, KeepsWhatEarlyDeclarationsSet) {
  EXPECT_EQ(EarlyMode.GetDefaultChoice(false), &EarlyOn);
  EXPECT_EQ(EarlyLookup.get_Regex(), "^x$");
  EXPECT_EQ(EarlyReference.get_DefaultIntegerValue(), 1);
}

TEST(SchemaStaticOrderTest, GathersDependenciesInTheEarliestDeclaration) {
  EXPECT_EQ(TCPropertyDependency::m_List->at(&EarlyMode), &EarlyDependency);
  EXPECT_THAT(EarlyDependency.get_Members(), SizeIs(2));
  EXPECT_THAT(LateDependency.get_Members(), IsEmpty());
}
