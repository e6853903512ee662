// SPDX-License-Identifier: MIT
// How a value is read, selected and compared by choice.
#include <gmock/gmock.h>

#include "CaughtException.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "ValidationFixture.h"

using Accessories::TCNullTypes;
using Property::TCCommonPropertyObject;
using ::testing::IsEmpty;

namespace {

char const* const kSource = "../CommonProperties/TCCommonPropertyObject";

}  // namespace

// ---- the default choice and the reads of a choice ----

TEST_F(TCCommonPropertyObjectValidation, SetsTheDefaultChoiceWithoutTraceAndLoadedMark) {
  TCCommonPropertyObject Value = NewChoice();
  m_Log.EnableTraces();

  Value.SetDefaultChoice();

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectValidation, RefusesADefaultChoiceForAnyOtherFieldAndStaysUnchanged) {
  TCCommonPropertyObject Value = NewText("x");

  TCException const Exception = CaughtException([&] { Value.SetDefaultChoice(); });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "m_ID->get_Type() == eComboField");
  EXPECT_EQ(Exception.get_Message(), "Property Name(30) String Field is not a choice type");
  EXPECT_EQ(Value.GetRealValue(), "x");
}

TEST_F(TCCommonPropertyObjectValidation, ReadsNumberValueAndNameOfTheChoice) {
  TCCommonPropertyObject const Value = NewChoice("103");

  EXPECT_EQ(Value.get_ChoiceID(), 103);
  EXPECT_EQ(Value.get_ChoiceValue(), 5);
  EXPECT_EQ(Value.get_ChoiceName(), "Five times");
}

TEST_F(TCCommonPropertyObjectValidation, ReadsZeroForAChoiceValueThatIsNoNumber) {
  EXPECT_EQ(NewChoice("101").get_ChoiceValue(), 0);
}

TEST_F(TCCommonPropertyObjectValidation, ReadsTheDefaultChoiceForAnUnknownNumberNotTheArgument) {
  TCCommonPropertyObject const Value = NewChoice();

  EXPECT_EQ(Value.get_ChoiceID(TCNullTypes<int>(5)), 102);
  EXPECT_EQ(Value.get_ChoiceValue(TCNullTypes<int>(5)), 0);
  EXPECT_EQ(Value.get_ChoiceName(TCNullTypes<int>(5)), "Switched on");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectValidation, RefusesToReadAChoiceOfAnyOtherField) {
  TCCommonPropertyObject const Value = NewText("101");

  TCException const ID = CaughtException([&] { (void)Value.get_ChoiceID(); });
  TCException const Number = CaughtException([&] { (void)Value.get_ChoiceValue(); });
  TCException const Name = CaughtException([&] { (void)Value.get_ChoiceName(); });

  for (TCException const* Exception : {&ID, &Number, &Name}) {
    EXPECT_EQ(Exception->get_Source(), kSource);
    EXPECT_EQ(Exception->get_Condition(), "get_ID().get_Type() == eComboField");
    EXPECT_EQ(Exception->get_Message(), "");
  }
}

// ---- assigning and comparing a choice reference ----

TEST_F(TCCommonPropertyObjectValidation, SelectsTheReferencedChoiceAndIsLoaded) {
  TCCommonPropertyObject Value = NewChoice();

  TCCommonPropertyObject& Result = Value = m_OffID;

  EXPECT_EQ(&Result, &Value);
  EXPECT_EQ(Value.GetRealValue(), "101");
  EXPECT_TRUE(Value.get_Loaded());
}

TEST_F(TCCommonPropertyObjectValidation, RefusesAReferenceForAnyOtherFieldAndStaysUnchanged) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);
  Value.set_Data("x");

  TCException const Exception = CaughtException([&] { Value = m_OffID; });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "m_ID->get_Type() == eComboField");
  EXPECT_EQ(Exception.get_Message(), "Property Name(30) String Field is not a choice field");
  EXPECT_EQ(Value.GetRealValue(), "x");
  EXPECT_FALSE(Value.get_Loaded());
}

TEST_F(TCCommonPropertyObjectValidation, RefusesAReferenceToAnotherFieldsChoiceAndStaysUnchanged) {
  TCCommonPropertyObject Value = NewChoice();
  Value.set_Data("off");

  TCException const Exception = CaughtException([&] { Value = m_StrangerID; });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "m_ID->HaveChoice(right.get_AsInteger())==true");
  EXPECT_EQ(Exception.get_Message(),
            "Property Mode(100) Choice Field is assigned to choice which are not valid choice");
  EXPECT_EQ(Value.GetRealValue(), "101");
  EXPECT_FALSE(Value.get_Loaded());
}

TEST_F(TCCommonPropertyObjectValidation, EqualsTheReferenceToItsChoice) {
  TCCommonPropertyObject const Value = NewChoice("101");

  EXPECT_TRUE(Value == m_OffID);
  EXPECT_FALSE(Value != m_OffID);
  EXPECT_FALSE(Value == m_OnID);
  EXPECT_TRUE(Value != m_OnID);
}

TEST_F(TCCommonPropertyObjectValidation, DiffersFromAReferenceWithAnotherSpellingOfItsNumber) {
  TCCommonPropertyObject const Value = NewChoice("0101");

  EXPECT_FALSE(Value == m_OffID);
  EXPECT_TRUE(Value != m_OffID);
}

TEST_F(TCCommonPropertyObjectValidation, RefusesToCompareAnyOtherFieldWithAReference) {
  TCCommonPropertyObject const Value = NewText("101");

  TCException const Equal = CaughtException([&] { (void)(Value == m_OffID); });
  TCException const Unequal = CaughtException([&] { (void)(Value != m_OffID); });

  for (TCException const* Exception : {&Equal, &Unequal}) {
    EXPECT_EQ(Exception->get_Source(), kSource);
    EXPECT_EQ(Exception->get_Condition(), "m_ID->get_Type() == eComboField");
    EXPECT_EQ(Exception->get_Message(), "Property Name(30) String Field is not a choice field");
  }
}

TEST_F(TCCommonPropertyObjectValidation, RefusesToCompareWithAReferenceToAnotherFieldsChoice) {
  TCCommonPropertyObject const Value = NewChoice("101");

  TCException const Equal = CaughtException([&] { (void)(Value == m_StrangerID); });
  TCException const Unequal = CaughtException([&] { (void)(Value != m_StrangerID); });

  EXPECT_EQ(Equal.get_Source(), kSource);
  EXPECT_EQ(Equal.get_Condition(), "m_ID->HaveChoice(ChoiceID.get_AsInteger())==true");
  EXPECT_EQ(Equal.get_Message(),
            "Property Mode(100) Choice Field is comparing to choice which are not valid choice");
  EXPECT_EQ(Unequal.get_Source(), kSource);
  EXPECT_EQ(Unequal.get_Condition(), "m_ID->HaveChoice(ChoiceID.get_AsInteger())==true");
  EXPECT_EQ(Unequal.get_Message(),
            "Mode(100) Choice Field is comparing to choice which are not valid choice");
}
