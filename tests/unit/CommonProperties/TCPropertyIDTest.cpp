// SPDX-License-Identifier: MIT
// Field definitions: types, defaults, choices, visibility and the unassigned property.
#include "CommonProperties/TCPropertyID.h"

#include <gmock/gmock.h>

#include <atomic>
#include <boost/any.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "SchemaException.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCBasicPropertyID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyChoice;
using Property::TCPropertyContainer;
using Property::TCPropertyDBLookup;
using Property::TCPropertyGroup;
using Property::TCPropertyID;
using Property::TCPropertyInitOverride;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using TText = TCNullTypes<std::string>;

TCNullTypes<int> const kNoParent;
char const* const kDigits = "^([0-9]\\d*)$";

TCPropertyID& NewField(int Flags, int Number = 10) {
  return *new TCPropertyID("Field", Number, "", kNoParent, Flags);
}

TCPropertyChoice& NewChoice(TCPropertyID& Owner, int Number, bool Default,
                            std::string const& Value = "value") {
  return *new TCPropertyChoice("Choice", "", Number, Default, &Owner, Value);
}

TCCommonPropertyObject NewValue(TCPropertyID const& Field) {
  return TCCommonPropertyObject(Field, Accessories::TCRecordID(), "");
}

/// Choices 11, 12 and 13 with the values "a", "b" and "c", of which 12 is the default.
struct TChoiceField {
  TCPropertyID& m_Field = NewField(0x10);
  TCPropertyChoice& m_A = NewChoice(m_Field, 11, false, "a");
  TCPropertyChoice& m_B = NewChoice(m_Field, 12, true, "b");
  TCPropertyChoice& m_C = NewChoice(m_Field, 13, false, "c");
};

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

// ---- choices ----

TEST(TCPropertyIDTest, BecomesAChoiceFieldWithItsFirstChoice) {
  TCPropertyID& Field = NewField(0x20);
  NewChoice(Field, 11, false);

  EXPECT_EQ(Field.get_Type(), Property::eComboField);
  EXPECT_EQ(Field.get_Flags(), 0x30);
}

TEST(TCPropertyIDTest, HasNoPatternWhenOnlyItsChoicesMadeItAnInteger) {
  TCPropertyID& Field = NewField(0x20);
  NewChoice(Field, 11, false);
  EXPECT_EQ(Field.get_Regex(), "");
}

TEST(TCPropertyIDTest, KeepsChoicesInTheOrderInWhichTheyWereAdded) {
  TChoiceField const Mode;
  EXPECT_THAT(Mode.m_Field.get_Choices(), ElementsAre(&Mode.m_A, &Mode.m_B, &Mode.m_C));
}

TEST(TCPropertyIDTest, AnswersTheZeroBasedPlaceOfAnAddedChoice) {
  TCPropertyID& Field = NewField(0x10, 10);
  TCPropertyChoice& Choice = NewChoice(NewField(0x10, 20), 21, false);

  EXPECT_EQ(Field.AddChoice(&Choice), 0);
  EXPECT_EQ(Field.AddChoice(&Choice), 1);
}

TEST(TCPropertyIDTest, TellsWhetherAChoiceNumberIsOneOfItsOwn) {
  TChoiceField const Mode;
  EXPECT_TRUE(Mode.m_Field.HaveChoice(11));
  EXPECT_TRUE(Mode.m_Field.HaveChoice(13));
  EXPECT_FALSE(Mode.m_Field.HaveChoice(10));
  EXPECT_FALSE(NewField(0x10, 20).HaveChoice(0));
}

TEST(TCPropertyIDTest, HasTheMarkedChoiceAsDefault) {
  TChoiceField const Mode;
  EXPECT_EQ(Mode.m_Field.GetDefaultChoice(false), &Mode.m_B);
  EXPECT_EQ(Mode.m_Field.GetDefaultChoice(true), &Mode.m_B);
}

TEST(TCPropertyIDTest, HasTheFirstChoiceAsDefaultWhenNoneIsMarked) {
  TCPropertyID& Field = NewField(0x10);
  TCPropertyChoice const& First = NewChoice(Field, 11, false);
  NewChoice(Field, 12, false);
  EXPECT_EQ(Field.GetDefaultChoice(false), &First);
}

TEST(TCPropertyIDTest, HasTheFirstChoiceAsDefaultWhenOnlyThatIsMarked) {
  TCPropertyID& Field = NewField(0x10);
  TCPropertyChoice const& First = NewChoice(Field, 11, true);
  NewChoice(Field, 12, false);
  EXPECT_EQ(Field.GetDefaultChoice(false), &First);
}

TEST(TCPropertyIDTest, HasTheLastMarkedChoiceAsDefault) {
  TCPropertyID& Field = NewField(0x10);
  NewChoice(Field, 11, true);
  NewChoice(Field, 12, false);
  TCPropertyChoice const& Third = NewChoice(Field, 13, true);
  NewChoice(Field, 14, false);
  EXPECT_EQ(Field.GetDefaultChoice(false), &Third);
}

TEST(TCPropertyIDTest, HasNoDefaultChoiceWithoutChoices) {
  EXPECT_EQ(NewField(0x10).GetDefaultChoice(false), nullptr);
}

TEST(TCPropertyIDTest, FindsAChoiceByItsValueAndClearsTheFlag) {
  TChoiceField const Mode;
  bool NotFound = true;
  EXPECT_EQ(Mode.m_Field.FindChoiceByValue("c", NotFound), &Mode.m_C);
  EXPECT_FALSE(NotFound);
}

TEST(TCPropertyIDTest, FindsTheFirstOfTwoChoicesWithOneValue) {
  TCPropertyID& Field = NewField(0x10);
  TCPropertyChoice const& First = NewChoice(Field, 11, false, "same");
  NewChoice(Field, 12, true, "same");
  bool NotFound = true;
  EXPECT_EQ(Field.FindChoiceByValue("same", NotFound), &First);
}

TEST(TCPropertyIDTest, FindsTheDefaultChoiceForAnUnknownValueAndSetsTheFlag) {
  TChoiceField const Mode;
  for (char const* Value : {"x", "C", "c ", "", "12"}) {
    bool NotFound = false;
    EXPECT_EQ(Mode.m_Field.FindChoiceByValue(Value, NotFound), &Mode.m_B) << Value;
    EXPECT_TRUE(NotFound) << Value;
  }
}

TEST(TCPropertyIDTest, FindsAChoiceByItsNumberAndClearsTheFlag) {
  TChoiceField const Mode;
  bool NotFound = true;
  EXPECT_EQ(Mode.m_Field.FindChoiceByID(11, NotFound), &Mode.m_A);
  EXPECT_FALSE(NotFound);
  EXPECT_EQ(Mode.m_Field.FindChoiceByID(13, NotFound), &Mode.m_C);
  EXPECT_FALSE(NotFound);
}

TEST(TCPropertyIDTest, FindsTheDefaultChoiceForAnUnknownNumberAndSetsTheFlag) {
  TChoiceField const Mode;
  bool NotFound = false;
  EXPECT_EQ(Mode.m_Field.FindChoiceByID(10, NotFound), &Mode.m_B);
  EXPECT_TRUE(NotFound);
}

TEST(TCPropertyIDTest, FindsNullAndSetsTheFlagWithoutChoices) {
  TCPropertyID const& Field = NewField(0x10);
  bool NoNumber = false;
  bool NoValue = false;
  EXPECT_EQ(Field.FindChoiceByID(0, NoNumber), nullptr);
  EXPECT_EQ(Field.FindChoiceByValue("", NoValue), nullptr);
  EXPECT_TRUE(NoNumber);
  EXPECT_TRUE(NoValue);
}

TEST(TCPropertyIDTest, TakesTheLockForEverySearchAmongItsChoices) {
  TChoiceField const Mode;
  bool NotFound = false;
  EXPECT_TRUE(TakesSchemaLock([&] { Mode.m_Field.HaveChoice(11); }));
  EXPECT_TRUE(TakesSchemaLock([&] { Mode.m_Field.GetDefaultChoice(false); }));
  EXPECT_TRUE(TakesSchemaLock([&] { Mode.m_Field.FindChoiceByValue("a", NotFound); }));
  EXPECT_TRUE(TakesSchemaLock([&] { Mode.m_Field.FindChoiceByID(11, NotFound); }));
  EXPECT_TRUE(IsSchemaLockFree());
}

TEST(TCPropertyIDTest, SearchesItsChoicesOnManyThreadsWhileOthersAreAdded) {
  TCPropertyID& Field = NewField(0x10);
  TCPropertyChoice const& First = NewChoice(Field, 100, false, "first");
  std::atomic<int> Wrong{0};
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < 3; ++Thread) {
    Threads.emplace_back([&] {
      for (int Search = 0; Search < 200; ++Search) {
        bool NotFound = true;
        if (Field.FindChoiceByID(100, NotFound) != &First || NotFound ||
            Field.FindChoiceByValue("nothing", NotFound) != &First || !NotFound) {
          ++Wrong;
        }
      }
    });
  }
  for (int Number = 101; Number < 201; ++Number) {
    NewChoice(Field, Number, false);
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }

  EXPECT_EQ(Wrong, 0);
  EXPECT_EQ(Field.get_Choices().size(), 101U);
}

// ---- default values ----

TEST(TCPropertyIDTest, AnswersTheNumberOfTheDefaultChoiceAsDefault) {
  TCPropertyID& Field = *new TCPropertyID("Mode", 10, "", kNoParent, 0x10, "ignored");
  NewChoice(Field, 11, false);
  NewChoice(Field, 12, true);
  EXPECT_EQ(Field.GetDefaultValue(), TText("12"));
}

TEST(TCPropertyIDTest, AnswersNoDefaultForAChoiceFieldWithoutChoices) {
  TCPropertyID& Field = *new TCPropertyID("Mode", 10, "", kNoParent, 0x10, "ignored");
  Field.set_Type(Property::eComboField);
  EXPECT_TRUE(Field.GetDefaultValue().IsNull());
}

TEST(TCPropertyIDTest, GivesAChoiceValueItsDefaultChoice) {
  TChoiceField const Mode;
  TCCommonPropertyObject Value = NewValue(Mode.m_Field);

  Mode.m_Field.SetDefaultValue(Value);

  EXPECT_EQ(Value.GetRealValue(), "12");
  EXPECT_FALSE(Value.get_Loaded());
}

TEST(TCPropertyIDTest, GivesIntegerStringAndBooleanValuesTheirDefaults) {
  std::vector<std::string> Texts;
  int Number = 10;
  for (int Flags : {0x10, 0x20, 0x08}) {
    TCPropertyID const& Field = *new TCPropertyID("Field", Number++, "", kNoParent, Flags, "7");
    TCCommonPropertyObject Value = NewValue(Field);
    Field.SetDefaultValue(Value);
    Texts.push_back(Value.GetRealValue());
    EXPECT_TRUE(Value.get_Loaded());
  }
  EXPECT_THAT(Texts, ElementsAre("7", "7", "7"));
}

TEST(TCPropertyIDTest, GivesAnEmptyDefaultAsALoadedValue) {
  TCPropertyID const& Field = *new TCPropertyID("Name", 10, "", kNoParent, 0x20, "");
  TCCommonPropertyObject Value = NewValue(Field);
  Value = "old";

  Field.SetDefaultValue(Value);

  EXPECT_EQ(Value.GetRealValue(), "");
  EXPECT_TRUE(Value.get_Loaded());
}

TEST(TCPropertyIDTest, LeavesAValueAloneWithoutADefault) {
  TCPropertyID const& Field = NewField(0x20);
  TCCommonPropertyObject Value = NewValue(Field);
  Value = "old";

  Field.SetDefaultValue(Value);

  EXPECT_EQ(Value.GetRealValue(), "old");
  EXPECT_FALSE(Value.get_Loaded());
}

TEST(TCPropertyIDTest, LeavesAValueOfAnotherTypeAlone) {
  TCPropertyID const& Untyped = *new TCPropertyID("Untyped", 10, "", kNoParent, 0x00, "7");
  TCPropertyID const& Lookup =
      *new TCPropertyDBLookup("Lookup", 11, "", kNoParent, 0x20, 1, "", true);
  for (TCPropertyID const* Field : {&Untyped, &Lookup}) {
    TCCommonPropertyObject Value = NewValue(*Field);
    Value = "old";
    Field->SetDefaultValue(Value);
    EXPECT_EQ(Value.GetRealValue(), "old") << Field->Viewname(false);
    EXPECT_FALSE(Value.get_Loaded()) << Field->Viewname(false);
  }
}

// ---- untyped values ----

TEST(TCPropertyIDTest, WritesAnUntypedIntegerInDecimal) {
  EXPECT_EQ(NewField(0x10, 10).BoostCast(boost::any(7)), TText("7"));
  EXPECT_EQ(NewField(0x10, 11).BoostCast(boost::any(-7)), TText("-7"));
  EXPECT_EQ(NewField(0x08, 12).BoostCast(boost::any(1)), TText("1"));
}

TEST(TCPropertyIDTest, WritesAnUntypedChoiceInDecimal) {
  TChoiceField const Mode;
  EXPECT_EQ(Mode.m_Field.BoostCast(boost::any(12)), TText("12"));
}

TEST(TCPropertyIDTest, TakesAnUntypedStringAsItIs) {
  TCPropertyID const& Lookup =
      *new TCPropertyDBLookup("Lookup", 11, "", kNoParent, 0x10, 1, "", true);
  EXPECT_EQ(NewField(0x20, 10).BoostCast(boost::any(std::string("a b"))), TText("a b"));
  EXPECT_EQ(Lookup.BoostCast(boost::any(std::string())), TText(""));
}

TEST(TCPropertyIDTest, RefusesAnUntypedValueOfTheWrongType) {
  EXPECT_THROW(NewField(0x20, 20).BoostCast(boost::any(7)), boost::bad_any_cast);
  EXPECT_THROW(NewField(0x10, 21).BoostCast(boost::any(std::string("7"))), boost::bad_any_cast);
  EXPECT_THROW(NewField(0x08, 22).BoostCast(boost::any(true)), boost::bad_any_cast);
  EXPECT_THROW(TChoiceField().m_Field.BoostCast(boost::any(12LL)), boost::bad_any_cast);
}

TEST(TCPropertyIDTest, AnswersNullForAnEmptyUntypedValue) {
  EXPECT_TRUE(NewField(0x10, 10).BoostCast(boost::any()).IsNull());
  EXPECT_TRUE(NewField(0x20, 11).BoostCast(boost::any()).IsNull());
}

TEST(TCPropertyIDTest, AnswersNullForAnUntypedValueWhenItHasNoType) {
  EXPECT_TRUE(NewField(0x00).BoostCast(boost::any(7)).IsNull());
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
