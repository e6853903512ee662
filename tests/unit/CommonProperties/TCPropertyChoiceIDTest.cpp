// SPDX-License-Identifier: MIT
// References to choices by number, and their check against the schema.
#include "CommonProperties/TCPropertyChoiceID.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include <string>
#include <utility>
#include <vector>

#include "CapturedLog.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyID.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyChoiceID;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TCPropertyID& NewField(int Number = 10) {
  return *new TCPropertyID("Mode", Number, "", TCNullTypes<int>(), 0x10);
}

TCPropertyChoiceID& NewReference(int Number, std::string const& Name = "Ref") {
  return *new TCPropertyChoiceID("not kept", Number, Name);
}

bool g_LockFree = true;

void ProbeLock(int, std::string const&) {
  g_LockFree = IsSchemaLockFree();
}

}  // namespace

TEST(TCPropertyChoiceIDTest, FindsNullBeforeTheFirstReference) {
  ASSERT_EQ(TCPropertyChoiceID::m_List, nullptr);
  EXPECT_EQ(TCPropertyChoiceID::Find(11), nullptr);
}

TEST(TCPropertyChoiceIDTest, IsFoundByItsNumber) {
  TCPropertyChoiceID& Reference = NewReference(11);
  EXPECT_EQ(TCPropertyChoiceID::Find(11), &Reference);
  EXPECT_EQ(TCPropertyChoiceID::Find(12), nullptr);
}

TEST(TCPropertyChoiceIDTest, AnswersItsNumberAndName) {
  TCPropertyChoiceID const& Reference = NewReference(-11, "ModeOn");
  EXPECT_EQ(Reference.get_AsInteger(), -11);
  EXPECT_EQ(Reference.get_AsString(), "-11");
  EXPECT_EQ(Reference.Viewname(), "ModeOn(-11)");
}

TEST(TCPropertyChoiceIDTest, KeepsTheFirstOfTwoReferencesToANumber) {
  TCPropertyChoiceID& First = NewReference(11, "First");
  TCPropertyChoiceID const Second("", 11, "Second");

  EXPECT_EQ(TCPropertyChoiceID::Find(11), &First);
  EXPECT_EQ(Second.Viewname(), "Second(11)");
}

TEST(TCPropertyChoiceIDTest, StaysRegisteredWhenItIsDestroyed) {
  { TCPropertyChoiceID const Reference("", 11, "Ref"); }
  EXPECT_EQ(TCPropertyChoiceID::m_List->count(11), 1U);
}

TEST(TCPropertyChoiceIDTest, IsNotLookedUpAmongTheNodes) {
  NewReference(11);
  EXPECT_EQ(TCBasicPropertyID::Find(11), nullptr);
}

TEST(TCPropertyChoiceIDTest, TakesTheLockToRegister) {
  EXPECT_TRUE(TakesSchemaLock([] { NewReference(11); }));
}

TEST(TCPropertyChoiceIDTest, TakesNoLockToFind) {
  NewReference(11);
  EXPECT_TRUE(TakesNoSchemaLock([] { TCPropertyChoiceID::Find(11); }));
}

// ---- initialisation ----

TEST(TCPropertyChoiceIDTest, InitialisesWithoutReferences) {
  ASSERT_EQ(TCPropertyChoiceID::m_List, nullptr);
  TCBasicPropertyID::Initialize();
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(TCPropertyChoiceID::m_List, nullptr);
}

TEST(TCPropertyChoiceIDTest, KeepsReferencesToChoices) {
  TCapturedLog const Log;
  TCPropertyChoiceID& Reference = NewReference(11);
  new TCPropertyChoice("On", "", 11, false, &NewField(), "on");

  TCBasicPropertyID::Initialize();

  EXPECT_EQ(TCPropertyChoiceID::Find(11), &Reference);
  EXPECT_THAT(Log.get_Errors(), IsEmpty());
}

TEST(TCPropertyChoiceIDTest, DropsReferencesToMissingNodesWithAnError) {
  TCapturedLog const Log;
  TCPropertyChoiceID const Late("", 12, "Late");
  TCPropertyChoiceID const Early("", 9, "Early");
  TCPropertyChoiceID& Kept = NewReference(11);
  new TCPropertyChoice("On", "", 11, false, &NewField(), "on");

  TCBasicPropertyID::Initialize();

  EXPECT_THAT(Log.get_Errors(), ElementsAre("Property Choice Early(9) doens't exist anymore",
                                            "Property Choice Late(12) doens't exist anymore"));
  EXPECT_EQ(TCPropertyChoiceID::Find(9), nullptr);
  EXPECT_EQ(TCPropertyChoiceID::Find(12), nullptr);
  EXPECT_EQ(TCPropertyChoiceID::Find(11), &Kept);
  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
}

TEST(TCPropertyChoiceIDTest, FailsTheInitialisationWhenItRefersToAField) {
  NewField(10);
  TCPropertyChoiceID& Reference = NewReference(10, "Wrong");

  ExpectException(CaughtException([] { TCBasicPropertyID::Initialize(); }), "TCPropertyChoiceID",
                  "Property->get_Type() == eComboChoice",
                  "Property Choice reference Wrong(10) refer to a none property choice");

  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  EXPECT_TRUE(IsSchemaLockFree());
  EXPECT_EQ(TCPropertyChoiceID::Find(10), &Reference);
}

TEST(TCPropertyChoiceIDTest, IsCheckedAfterTheNodesAreComplete) {
  TCPropertyID const& Field = NewField(10);
  NewField(20);
  TCPropertyID const& Sibling = NewField(30);
  NewReference(10);

  CaughtException([] { TCBasicPropertyID::Initialize(); });

  TCBasicPropertyID const& Node = Sibling;
  EXPECT_EQ(Node.GetOrder(), static_cast<TCBasicPropertyID const&>(Field).GetOrder() + 2);
}

TEST(TCPropertyChoiceIDTest, HoldsTheLockWhileReferencesAreChecked) {
  TCPropertyChoiceID const Dropped("", 12, "Ref");
  TSyslogSink const Former = SetSyslogSink(&ProbeLock);

  TCPropertyChoiceID::Initialize();

  SetSyslogSink(Former);
  EXPECT_FALSE(g_LockFree);
  EXPECT_TRUE(IsSchemaLockFree());
}

// ---- the choice's value ----

TEST(TCPropertyChoiceIDTest, AnswersTheValueOfItsChoice) {
  TCPropertyID& Mode = NewField();
  new TCPropertyChoice("On", "", 11, false, &Mode, "on");
  EXPECT_EQ(NewReference(11).get_DefaultStringValue(), "on");
}

TEST(TCPropertyChoiceIDTest, AnswersTheValueOfItsChoiceAsANumber) {
  TCPropertyID& Mode = NewField();
  new TCPropertyChoice("Five", "", 11, false, &Mode, 5);
  new TCPropertyChoice("On", "", 12, false, &Mode, "on");
  EXPECT_EQ(NewReference(11).get_DefaultIntegerValue(), 5);
  EXPECT_EQ(NewReference(12).get_DefaultIntegerValue(), 0);
}

TEST(TCPropertyChoiceIDTest, RefusesTheValueOfAMissingChoice) {
  TCPropertyChoiceID const& Reference = NewReference(11);
  ExpectException(CaughtException([&] { Reference.get_DefaultStringValue(); }),
                  "TCPropertyChoiceID", "Choice!=__null", "");
  ExpectException(CaughtException([&] { Reference.get_DefaultIntegerValue(); }),
                  "TCPropertyChoiceID", "Choice!=__null", "");
}

TEST(TCPropertyChoiceIDTest, RefusesTheValueOfANodeThatIsNoChoice) {
  NewField(10);
  TCPropertyChoiceID const& Reference = NewReference(10);
  ExpectException(CaughtException([&] { Reference.get_DefaultStringValue(); }),
                  "TCPropertyChoiceID", "Choice!=__null", "");
  ExpectException(CaughtException([&] { Reference.get_DefaultIntegerValue(); }),
                  "TCPropertyChoiceID", "Choice!=__null", "");
}

TEST(TCPropertyChoiceIDTest, IsFoundItselfAndNotByItsCopies) {
  TCPropertyChoiceID const& Reference = *new TCPropertyChoiceID("", 11, "Off");

  {
    TCPropertyChoiceID const Copy = Reference;
    EXPECT_EQ(Copy.get_AsInteger(), 11);
    EXPECT_EQ(Copy.Viewname(), "Off(11)");
    EXPECT_EQ(TCPropertyChoiceID::Find(11), &Reference);
  }

  EXPECT_EQ(TCPropertyChoiceID::Find(11), &Reference);
}

TEST(TCPropertyChoiceIDTest, LeavesTheRegistryWhenItBecomesAnotherReference) {
  TCPropertyChoiceID First("", 11, "Off");
  TCPropertyChoiceID const& Second = *new TCPropertyChoiceID("", 12, "On");

  First = Second;

  EXPECT_EQ(First.Viewname(), "On(12)");
  EXPECT_EQ(TCPropertyChoiceID::Find(11), nullptr);
  EXPECT_EQ(TCPropertyChoiceID::Find(12), &Second);
}
