// SPDX-License-Identifier: MIT
// Field definitions: types, visibility, initialisation and the unassigned property.
#include "CommonProperties/TCPropertyID.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "FieldNodes.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyInitOverride;
using ::testing::ElementsAre;

namespace {

using TText = TCNullTypes<std::string>;

char const* const kDigits = "^([0-9]\\d*)$";

class TMoveDefault : public TCPropertyInitOverride {
 public:
  TMoveDefault(TCPropertyID* Field, int Choice) : TCPropertyInitOverride(Field), m_Choice(Choice) {}
  void DoInitialize() override { SetDefaultChoice(m_Choice); }

 private:
  int m_Choice;
};

class TTakeTypeFlags : public TCPropertyInitOverride {
 public:
  using TCPropertyInitOverride::TCPropertyInitOverride;
  void DoInitialize() override { SetFlags(0x20); }
};

}  // namespace

// ---- construction ----

TEST(TCPropertyIDTest, TakesItsTypeFromItsFlagsIntegerBeforeStringBeforeBoolean) {
  std::vector<int> Types;
  int Number = 10;
  for (int Flags : {0x08, 0x10, 0x18, 0x20, 0x28, 0x30, 0x38, 0x00, 0x07}) {
    Types.push_back(NewField(Flags, Number++).get_Type());
  }

  EXPECT_THAT(
      Types,
      ElementsAre(Property::eBooleanField, Property::eIntegerField, Property::eIntegerField,
                  Property::eStringField, Property::eStringField, Property::eIntegerField,
                  Property::eIntegerField, Property::eUndefinedField, Property::eUndefinedField));
}

TEST(TCPropertyIDTest, ExpectsDigitsWhenItIsAnIntegerField) {
  EXPECT_EQ(NewField(0x30, 10).get_Regex(), kDigits);
  EXPECT_EQ(NewField(0x28, 11).get_Regex(), "");
  EXPECT_EQ(NewField(0x08, 12).get_Regex(), "");
  EXPECT_EQ(NewField(0x00, 13).get_Regex(), "");
}

TEST(TCPropertyIDTest, KeepsItsFlags) {
  EXPECT_EQ(NewField(0x75).get_Flags(), 0x75);
}

TEST(TCPropertyIDTest, KeepsNameNumberDescriptionAndParent) {
  TCPropertyID const& Field = *new TCPropertyID("Count", 10, "How many", 7, 0x10);

  EXPECT_EQ(Field.get_Name(), "Count");
  EXPECT_EQ(Field.get_Number(), 10);
  EXPECT_EQ(Field.get_Description(), "How many");
  EXPECT_EQ(Field.get_Parent(), TCNullTypes<int>(7));
}

TEST(TCPropertyIDTest, HasNoDefaultWhenNoneIsGiven) {
  EXPECT_TRUE(NewField(0x10).GetDefaultValue().IsNull());
}

TEST(TCPropertyIDTest, KeepsABooleanDefaultAsOneOrZero) {
  EXPECT_EQ((new TCPropertyID("On", 10, "", kNoParent, 0x08, true))->GetDefaultValue(), TText("1"));
  EXPECT_EQ((new TCPropertyID("Off", 11, "", kNoParent, 0x08, false))->GetDefaultValue(),
            TText("0"));
}

TEST(TCPropertyIDTest, KeepsAnIntegerDefaultInDecimal) {
  EXPECT_EQ((new TCPropertyID("Low", 10, "", kNoParent, 0x10, -42))->GetDefaultValue(),
            TText("-42"));
}

TEST(TCPropertyIDTest, KeepsATextDefault) {
  EXPECT_EQ((new TCPropertyID("A", 10, "", kNoParent, 0x20, "text"))->GetDefaultValue(),
            TText("text"));
  EXPECT_EQ((new TCPropertyID("B", 11, "", kNoParent, 0x20, ""))->GetDefaultValue(), TText(""));
  EXPECT_EQ(
      (new TCPropertyID("C", 12, "", kNoParent, 0x20, std::string("string")))->GetDefaultValue(),
      TText("string"));
}

TEST(TCPropertyIDTest, RefusesANullTextDefaultAndRegistersNothing) {
  char const* const Null = nullptr;

  EXPECT_THROW(new TCPropertyID("Name", 10, "", kNoParent, 0x20, Null), std::logic_error);

  EXPECT_EQ(TCBasicPropertyID::Find(10), nullptr);
}

TEST(TCPropertyIDTest, DerivesItsTypeAgainWhenAsked) {
  TCPropertyID& Field = NewField(0x10);
  Field.set_Type(Property::eGroup);

  Field.SetFieldType();

  EXPECT_EQ(Field.get_Type(), Property::eIntegerField);
}

TEST(TCPropertyIDTest, KeepsItsTypeWhenAskedToDeriveItWithoutATypeFlag) {
  TCPropertyID& Field = NewField(0x00);
  Field.set_Type(Property::eDBLookupField);

  Field.SetFieldType();

  EXPECT_EQ(Field.get_Type(), Property::eDBLookupField);
}

// ---- finding ----

TEST(TCPropertyIDTest, IsFoundByItsNumber) {
  TCPropertyID& Field = NewField(0x10, 10);
  EXPECT_EQ(TCPropertyID::Find(10), &Field);
}

TEST(TCPropertyIDTest, FindsFieldsOfEveryType) {
  TCPropertyID& Choice = NewField(0x20, 10);
  NewChoice(Choice, 20, false);
  TCPropertyID& Boolean = NewField(0x08, 11);
  TCPropertyID& Lookup = *new TCPropertyDBLookup("Lookup", 12, "", kNoParent, 0x20, 1, "", true);

  EXPECT_EQ(TCPropertyID::Find(10), &Choice);
  EXPECT_EQ(TCPropertyID::Find(11), &Boolean);
  EXPECT_EQ(TCPropertyID::Find(12), &Lookup);
}

TEST(TCPropertyIDTest, FindsNullForAnUnknownNumber) {
  EXPECT_EQ(TCPropertyID::Find(99), nullptr);
}

TEST(TCPropertyIDTest, RefusesToFindAContainer) {
  new TCPropertyContainer("Device", 10, "", 1);
  ExpectException(CaughtException([] { TCPropertyID::Find(10); }), "TCPropertyID", "",
                  "Changing none property field Device(10) Container is not allowed");
}

TEST(TCPropertyIDTest, RefusesToFindAGroup) {
  new TCPropertyGroup("Network", 10, "", false);
  ExpectException(CaughtException([] { TCPropertyID::Find(10); }), "TCPropertyID", "",
                  "Changing none property field Network(10) Group is not allowed");
}

TEST(TCPropertyIDTest, RefusesToFindAChoice) {
  new TCPropertyChoice("On", "Switched on", 11, false, &NewField(0x10, 10), 1);
  ExpectException(CaughtException([] { TCPropertyID::Find(11); }), "TCPropertyID", "",
                  "Changing none property field On(Switched on) Choice is not allowed");
}

TEST(TCPropertyIDTest, RefusesToFindAFieldWithoutAType) {
  NewField(0x00, 10);
  ExpectException(CaughtException([] { TCPropertyID::Find(10); }), "TCPropertyID", "",
                  "Changing none property field Field(10) Field is not allowed");
}

TEST(TCPropertyIDTest, RefusesToFindAPlainNodeWithTheTypeOfAField) {
  new TCBasicPropertyID("Plain", 10, Property::eIntegerField, "", kNoParent);
  ExpectException(CaughtException([] { TCPropertyID::Find(10); }), "TCPropertyID", "",
                  "Changing none property field Plain(10) Integer Field is not allowed");
}

// ---- visibility ----

TEST(TCPropertyIDTest, ShowsALevelByItsFlags) {
  std::vector<int> Levels;
  for (int Flags = 0; Flags < 8; ++Flags) {
    Levels.push_back(NewField(0x10 | Flags, 10 + Flags).GetShow());
  }
  EXPECT_THAT(Levels, ElementsAre(1, 0, 1, 0, 2, 0, 1, 0));
}

TEST(TCPropertyIDTest, IsHiddenAndShownByItsFirstFlag) {
  TCPropertyID& Field = NewField(0x14);

  Field.SetShow(false);
  EXPECT_EQ(Field.GetShow(), 0);
  EXPECT_EQ(Field.get_Flags(), 0x15);

  Field.SetShow(true);
  EXPECT_EQ(Field.GetShow(), 2);
  EXPECT_EQ(Field.get_Flags(), 0x14);
}

TEST(TCPropertyIDTest, IsShownAsANodeEvenWhenItIsHidden) {
  TCPropertyID& Field = NewField(0x11);
  TCPropertyID const& Constant = Field;
  TCBasicPropertyID const& Node = Field;

  static_assert(std::is_same_v<decltype(Field.GetShow()), int>);
  static_assert(std::is_same_v<decltype(Constant.GetShow()), bool>);
  EXPECT_EQ(Field.GetShow(), 0);
  EXPECT_TRUE(Constant.GetShow());
  EXPECT_TRUE(Node.GetShow());
}

TEST(TCPropertyIDTest, IsHiddenThroughANode) {
  TCPropertyID& Field = NewField(0x10);
  static_cast<TCBasicPropertyID&>(Field).SetShow(false);
  EXPECT_EQ(Field.GetShow(), 0);
}

// ---- initialisation ----

TEST(TCPropertyIDTest, FailsTheInitialisationWithoutAFieldType) {
  NewField(0x07);

  ExpectException(CaughtException([] { TCBasicPropertyID::Initialize(); }), "TCPropertyID",
                  "(m_Flags & (0x08|0x10|0x20)) != 0",
                  "Property Field(10) Field does not specify Field Type");

  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCPropertyIDTest, IsUnchangedWhenItsInitialisationFailsWithoutAFieldType) {
  new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyID& Field = *new TCPropertyID("Field", 10, "", 1, 0x00);
  TTakeTypeFlags Override(&Field);

  CaughtException([&] { Field.DoInitialize(); });

  EXPECT_TRUE(Field.get_ClassID().IsNull());
  EXPECT_EQ(Field.get_Flags(), 0x00);
}

TEST(TCPropertyIDTest, FailsTheInitialisationWhenAnOverrideSuppliesTheMissingFieldType) {
  TCPropertyID& Field = NewField(0x00);
  TTakeTypeFlags Override(&Field);

  EXPECT_EQ(CaughtException([] { TCBasicPropertyID::Initialize(); }).get_Message(),
            "Property Field(10) Field does not specify Field Type");
}

TEST(TCPropertyIDTest, FailsTheInitialisationWithTwoNeighbouringDefaultChoices) {
  TCPropertyID& Field = NewField(0x10);
  NewChoice(Field, 11, true);
  NewChoice(Field, 12, true);
  NewChoice(Field, 13, false);

  ExpectException(CaughtException([] { TCBasicPropertyID::Initialize(); }), "TCPropertyID",
                  "Default == false || (*Itr)->get_Default() == false",
                  "Property Field(10) Choice Field have multiple default choices");

  EXPECT_FALSE(TCBasicPropertyID::m_Initialized);
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCPropertyIDTest, FailsTheInitialisationWhenTheLastTwoChoicesAreDefault) {
  TCPropertyID& Field = NewField(0x10);
  NewChoice(Field, 11, false);
  NewChoice(Field, 12, true);
  NewChoice(Field, 13, true);

  EXPECT_EQ(CaughtException([&] { Field.DoInitialize(); }).get_Message(),
            "Property Field(10) Choice Field have multiple default choices");
}

TEST(TCPropertyIDTest, InitialisesWithTwoDefaultChoicesThatAreNoNeighbours) {
  TCPropertyID& Field = NewField(0x10);
  NewChoice(Field, 11, true);
  NewChoice(Field, 12, false);
  TCPropertyChoice const& Third = NewChoice(Field, 13, true);

  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(Field.GetDefaultChoice(false), &Third);
}

TEST(TCPropertyIDTest, ChecksTheDefaultChoicesAfterTheOverrideRan) {
  TCPropertyID& Field = NewField(0x10);
  NewChoice(Field, 11, true);
  TCPropertyChoice const& Second = NewChoice(Field, 12, true);
  TMoveDefault Override(&Field, 12);

  TCBasicPropertyID::Initialize();

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(Field.GetDefaultChoice(false), &Second);
}

TEST(TCPropertyIDTest, TakesTheLockToInitialiseItself) {
  TCPropertyID& Field = NewField(0x10);
  EXPECT_TRUE(TakesSchemaLock([&] { Field.DoInitialize(); }));
}

TEST(TCPropertyIDTest, TakesItsClassIdFromItsParentWhenItInitialisesItself) {
  new TCPropertyContainer("Device", 1, "", 5);
  TCPropertyID& Field = *new TCPropertyID("Field", 10, "", 1, 0x10);

  Field.DoInitialize();

  EXPECT_EQ(Field.get_ClassID(), TCNullTypes<int>(5));
}

// ---- the unassigned property ----

TEST(TCPropertyIDTest, KnowsTheUnassignedPropertyByNumberZero) {
  EXPECT_EQ(TCPropertyID::Find(0), &Property::Prop_Unassigned);
  EXPECT_EQ(&Property::UnassignedProperty(), &Property::Prop_Unassigned);
}

TEST(TCPropertyIDTest, DeclaresTheUnassignedPropertyAsAnIntegerFieldWithAnEmptyDefault) {
  TCPropertyID& Unassigned = Property::Prop_Unassigned;

  EXPECT_EQ(Unassigned.get_Name(), "unassigned");
  EXPECT_EQ(Unassigned.get_Description(), "unassigned");
  EXPECT_TRUE(Unassigned.get_Parent().IsNull());
  EXPECT_EQ(Unassigned.get_Type(), Property::eIntegerField);
  EXPECT_EQ(Unassigned.get_Flags(), 0x12);
  EXPECT_EQ(Unassigned.GetShow(), 1);
  EXPECT_EQ(Unassigned.GetDefaultValue(), TText(""));
}

TEST(TCPropertyIDTest, RefusesAnotherFieldOfNumberZero) {
  EXPECT_EQ(CaughtException([] { NewField(0x10, 0); }).get_Message(),
            "Property Field(0) is already defined as unassigned(0) Integer Field");
}
