// SPDX-License-Identifier: MIT
// The choices, defaults and untyped values of field definitions.
#include "CommonProperties/TCPropertyID.h"

#include <gmock/gmock.h>

#include <atomic>
#include <boost/any.hpp>
#include <string>
#include <thread>
#include <vector>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "FieldNodes.h"
#include "SchemaLock.h"

using Accessories::TCNullTypes;
using Property::TCCommonPropertyObject;
using Property::TCPropertyChoice;
using Property::TCPropertyDBLookup;
using Property::TCPropertyID;
using ::testing::ElementsAre;

namespace {

using TText = TCNullTypes<std::string>;

TCCommonPropertyObject NewValue(TCPropertyID const& Field) {
  return TCCommonPropertyObject(Field, Accessories::TCRecordID(), "");
}

}  // namespace

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
