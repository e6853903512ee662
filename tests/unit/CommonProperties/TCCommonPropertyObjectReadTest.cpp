// SPDX-License-Identifier: MIT
// How a value is read by type, with and without a default.
#include "CommonProperties/TCCommonPropertyObject.h"

#include <gmock/gmock.h>

#include <limits>
#include <string>

#include "ValueFixture.h"

using Accessories::TCNullTypes;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- get_Data without a default ----

TEST_F(TCCommonPropertyObjectTest, ReadsTheValueTextOfAChoice) {
  EXPECT_EQ(NewValue(m_Schema.m_Choice, "103").get_Data(), "5");
}

TEST_F(TCCommonPropertyObjectTest, ReadsAnUnknownChoiceAsTheDefaultChoiceSilently) {
  EXPECT_EQ(NewValue(m_Schema.m_Choice).get_Data(), "on");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheStoredTextOfAnyOtherField) {
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "007").get_Data(), "007");
  EXPECT_EQ(NewValue(m_Schema.m_String, " text ").get_Data(), " text ");
  EXPECT_EQ(NewValue(m_Schema.m_Boolean, "yes").get_Data(), "yes");
  EXPECT_EQ(NewValue(m_Schema.m_Lookup, "12").get_Data(), "12");
}

TEST_F(TCCommonPropertyObjectTest, DoesNotReadTheSchemaDefaultWithoutADefaultArgument) {
  EXPECT_EQ(NewValue(m_Schema.m_StringBob).get_Data(), "");
}

// ---- get_Data with a boolean default ----

TEST_F(TCCommonPropertyObjectTest, ReadsAChoiceWithoutBooleanDefaultByItsNumber) {
  EXPECT_EQ(NewValue(m_Schema.m_Choice, "101").get_Data(TCNullTypes<bool>()), "off");
}

TEST_F(TCCommonPropertyObjectTest, ReadsAChoiceWithBooleanDefaultAsThatDefaultWhateverIsStored) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_YesNo, "201");

  EXPECT_EQ(Value.get_Data(TCNullTypes<bool>(true)), "1");
  EXPECT_EQ(Value.get_Data(TCNullTypes<bool>(false)), "0");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, WarnsOfABooleanDefaultThatIsNoChoiceAndReadsTheDefaultChoice) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice, "101");

  EXPECT_EQ(Value.get_Data(TCNullTypes<bool>(true)), "on");
  EXPECT_EQ(Value.get_Data(TCNullTypes<bool>(false)), "on");
  EXPECT_THAT(
      m_Log.get_Warnings(),
      ElementsAre(
          "Property Mode(100) Choice Field tried to specifies an invalid choice value (true)",
          "Property Mode(100) Choice Field tried to specifies an invalid choice value (false)"));
}

TEST_F(TCCommonPropertyObjectTest, ReadsAnyStoredNumberButZeroAsOne) {
  TCNullTypes<bool> const Default(true);

  EXPECT_EQ(NewValue(m_Schema.m_Integer, "-3").get_Data(Default), "1");
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "000").get_Data(Default), "0");
  EXPECT_EQ(NewValue(m_Schema.m_String, "true").get_Data(Default), "0");
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheBooleanDefaultWhenEmpty) {
  EXPECT_EQ(NewValue(m_Schema.m_BooleanTrue).get_Data(TCNullTypes<bool>(false)), "0");
  EXPECT_EQ(NewValue(m_Schema.m_BooleanFalse).get_Data(TCNullTypes<bool>(true)), "1");
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheSchemaDefaultAsBooleanWhenThereIsNothingElse) {
  EXPECT_EQ(NewValue(m_Schema.m_BooleanFalse).get_Data(TCNullTypes<bool>()), "0");
  EXPECT_EQ(NewValue(m_Schema.m_BooleanTrue).get_Data(TCNullTypes<bool>()), "1");
  EXPECT_EQ(NewValue(m_Schema.m_StringBob).get_Data(TCNullTypes<bool>()), "1");
}

TEST_F(TCCommonPropertyObjectTest, ReadsAsTrueWithoutDataDefaultAndSchemaDefault) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Boolean);

  EXPECT_EQ(Value.get_Data(TCNullTypes<bool>()), "1");
  EXPECT_TRUE(static_cast<bool>(Value));
}

TEST_F(TCCommonPropertyObjectTest, ReadsASchemaDefaultThatOnlyMeansZeroAsTrue) {
  TCPropertyID& Field = *new TCPropertyID("Zeros", 600, "", TCNullTypes<int>(), 0x20, "00");

  EXPECT_EQ(NewValue(Field).get_Data(TCNullTypes<bool>()), "1");
}

// ---- get_Data with a number or text as default ----

TEST_F(TCCommonPropertyObjectTest, ReadsAKnownChoiceWhateverTheDefault) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice, "101");

  EXPECT_EQ(Value.get_Data(TCNullTypes<int>(5)), "off");
  EXPECT_EQ(Value.get_Data(TCNullTypes<long long>(5)), "off");
  EXPECT_EQ(Value.get_Data(TCNullTypes<std::string>("5")), "off");
  EXPECT_EQ(Value.get_Data("5"), "off");
}

TEST_F(TCCommonPropertyObjectTest, ReadsAnUnknownChoiceAsTheChoiceThatTheDefaultNames) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice);

  EXPECT_EQ(Value.get_Data(TCNullTypes<int>(5)), "5");
  EXPECT_EQ(Value.get_Data(TCNullTypes<long long>(5)), "5");
  EXPECT_EQ(Value.get_Data(TCNullTypes<std::string>("off")), "off");
  EXPECT_EQ(Value.get_Data("off"), "off");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, ReadsAnUnknownChoiceWithoutDefaultAsTheDefaultChoiceSilently) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice);

  EXPECT_EQ(Value.get_Data(TCNullTypes<int>()), "on");
  EXPECT_EQ(Value.get_Data(TCNullTypes<long long>()), "on");
  EXPECT_EQ(Value.get_Data(TCNullTypes<std::string>()), "on");
  EXPECT_EQ(Value.get_Data(static_cast<char const*>(nullptr)), "on");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, WarnsOfADefaultThatIsNoChoiceAndReadsTheDefaultChoice) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice);

  EXPECT_EQ(Value.get_Data(TCNullTypes<int>(-6)), "on");
  EXPECT_EQ(Value.get_Data(TCNullTypes<long long>(5000000000)), "on");
  EXPECT_EQ(Value.get_Data(TCNullTypes<std::string>("OFF")), "on");
  EXPECT_EQ(Value.get_Data("O"), "on");
  EXPECT_EQ(Value.get_Data(""), "on");
  EXPECT_THAT(
      m_Log.get_Warnings(),
      ElementsAre(
          "Property Mode(100) Choice Field tried to specifies an invalid choice value (-6)",
          "Property Mode(100) Choice Field tried to specifies an invalid choice value (5000000000)",
          "Property Mode(100) Choice Field tried to specifies an invalid choice value (OFF)",
          "Property Mode(100) Choice Field tried to specifies an invalid choice value (O)",
          "Property Mode(100) Choice Field tried to specifies an invalid choice value ()"));
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheStoredTextBeforeAnyDefault) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_StringBob, "x");

  EXPECT_EQ(Value.get_Data(TCNullTypes<int>(5)), "x");
  EXPECT_EQ(Value.get_Data(TCNullTypes<long long>(5)), "x");
  EXPECT_EQ(Value.get_Data(TCNullTypes<std::string>("5")), "x");
  EXPECT_EQ(Value.get_Data("5"), "x");
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheDefaultBeforeTheSchemaDefaultWhenEmpty) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_StringBob);

  EXPECT_EQ(Value.get_Data(TCNullTypes<int>(-5)), "-5");
  EXPECT_EQ(Value.get_Data(TCNullTypes<long long>(5000000000)), "5000000000");
  EXPECT_EQ(Value.get_Data(TCNullTypes<std::string>("x")), "x");
  EXPECT_EQ(Value.get_Data("x"), "x");
}

TEST_F(TCCommonPropertyObjectTest, TakesAnEmptyTextAsAPresentDefault) {
  EXPECT_EQ(NewValue(m_Schema.m_StringBob).get_Data(TCNullTypes<std::string>("")), "");
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheSchemaDefaultWhenEmptyAndTheDefaultIsNull) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_StringBob);

  EXPECT_EQ(Value.get_Data(TCNullTypes<int>()), "bob");
  EXPECT_EQ(Value.get_Data(TCNullTypes<long long>()), "bob");
  EXPECT_EQ(Value.get_Data(TCNullTypes<std::string>()), "bob");
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheEmptyTextWhenThereIsNoSchemaDefault) {
  EXPECT_EQ(NewValue(m_Schema.m_String).get_Data(TCNullTypes<std::string>()), "");
}

TEST_F(TCCommonPropertyObjectTest, DoesNotAskTheSchemaForANullTextPointer) {
  EXPECT_EQ(NewValue(m_Schema.m_StringBob).get_Data(static_cast<char const*>(nullptr)), "");
}

// ---- typed reads ----

TEST_F(TCCommonPropertyObjectTest, ReadsAChoiceAsBooleanByItsValueText) {
  EXPECT_TRUE(NewValue(m_Schema.m_YesNo, "202").get_AsBool());
  EXPECT_FALSE(NewValue(m_Schema.m_YesNo, "201").get_AsBool());
  EXPECT_FALSE(NewValue(m_Schema.m_Choice, "102").get_AsBool());
}

TEST_F(TCCommonPropertyObjectTest, ReadsAChoiceWithABooleanDefaultAsThatDefault) {
  EXPECT_TRUE(NewValue(m_Schema.m_YesNo, "201").get_AsBool(true));
  EXPECT_FALSE(NewValue(m_Schema.m_YesNo, "202").get_AsBool(false));
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheBooleanDefaultWhenTheChoicesTextIsEmpty) {
  EXPECT_TRUE(NewValue(m_Schema.m_Blank, "301").get_AsBool(true));
  EXPECT_FALSE(NewValue(m_Schema.m_Blank, "301").get_AsBool(false));
  EXPECT_FALSE(NewValue(m_Schema.m_Blank, "301").get_AsBool());
}

TEST_F(TCCommonPropertyObjectTest, ReadsABooleanFromTextDefaultAndSchema) {
  EXPECT_TRUE(NewValue(m_Schema.m_Boolean, "1").get_AsBool(false));
  EXPECT_FALSE(NewValue(m_Schema.m_Boolean, "0").get_AsBool(true));
  EXPECT_FALSE(NewValue(m_Schema.m_Boolean).get_AsBool(false));
  EXPECT_FALSE(NewValue(m_Schema.m_BooleanFalse).get_AsBool());
}

TEST_F(TCCommonPropertyObjectTest, ReadsANumber) {
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "-12").get_AsInteger(7), -12);
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "+12").get_AsInteger(7), 12);
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheDefaultWhenTheTextIsNoNumber) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Integer, "abc");

  EXPECT_EQ(static_cast<int>(Value), 0);
  EXPECT_EQ(Value.get_AsInteger(), 0);
  EXPECT_EQ(Value.get_AsInteger(7), 7);
}

TEST_F(TCCommonPropertyObjectTest, ReadsTheDefaultWhenTheNumberIsOutOf32Bits) {
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "2147483648").get_AsInteger(7), 7);
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "-2147483649").get_AsInteger(), 0);
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "2147483647").get_AsInteger(7),
            std::numeric_limits<int>::max());
}

TEST_F(TCCommonPropertyObjectTest, ReadsDefaultOrSchemaDefaultAsIntegerWhenEmpty) {
  EXPECT_EQ(NewValue(m_Schema.m_Integer).get_AsInteger(7), 7);
  EXPECT_EQ(NewValue(m_Schema.m_Integer42).get_AsInteger(7), 7);
  EXPECT_EQ(NewValue(m_Schema.m_Integer42).get_AsInteger(), 42);
  EXPECT_EQ(static_cast<int>(NewValue(m_Schema.m_Integer42)), 42);
  EXPECT_EQ(NewValue(m_Schema.m_Integer).get_AsInteger(), 0);
}

TEST_F(TCCommonPropertyObjectTest, ReadsAChoiceAsIntegerByItsValueText) {
  EXPECT_EQ(NewValue(m_Schema.m_Choice, "103").get_AsInteger(), 5);
  EXPECT_EQ(NewValue(m_Schema.m_Choice, "101").get_AsInteger(7), 7);
}

TEST_F(TCCommonPropertyObjectTest, ReadsALargeNumberAsItsLow32BitsSignExtended) {
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "4294967296").get_AsBigInt(9), 0);
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "4294967295").get_AsBigInt(9), -1);
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "2147483648").get_AsBigInt(9), -2147483648LL);
  EXPECT_EQ(NewValue(m_Schema.m_Integer, "-5").get_AsBigInt(9), -5);
}

TEST_F(TCCommonPropertyObjectTest, ReadsABigIntDefaultInFullWhenTheTextIsNoNumber) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Integer, "abc");

  EXPECT_EQ(Value.get_AsBigInt(5000000000), 5000000000);
  EXPECT_EQ(Value.get_AsBigInt(), 0);
  EXPECT_EQ(static_cast<long long>(Value), 0);
}

TEST_F(TCCommonPropertyObjectTest, ReadsANegativeBigIntDefault) {
  TCCommonPropertyObject const NoNumber = NewValue(m_Schema.m_Integer, "abc");
  TCCommonPropertyObject const Empty = NewValue(m_Schema.m_Integer);

  EXPECT_EQ(NoNumber.get_AsBigInt(-1), -1);
  EXPECT_EQ(NoNumber.get_AsBigInt(-5000000000), -5000000000);
  EXPECT_EQ(Empty.get_AsBigInt(-1), -1);
  EXPECT_EQ(Empty.get_AsBigInt(-5000000000), -705032704);  // its low 32 bits
}

TEST_F(TCCommonPropertyObjectTest, NarrowsABigIntDefaultThatStandsInForAnEmptyText) {
  EXPECT_EQ(NewValue(m_Schema.m_Integer).get_AsBigInt(5000000000), 705032704);
}

TEST_F(TCCommonPropertyObjectTest, ReadsAsTextLikeGetData) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_StringBob);

  EXPECT_EQ(Value.get_AsString(), "bob");
  EXPECT_EQ(Value.get_AsString(TCNullTypes<std::string>("x")), "x");
  EXPECT_EQ(Value.get_AsString("x"), "x");
  EXPECT_EQ(Value.get_AsString(static_cast<char const*>(nullptr)), "");
}

TEST_F(TCCommonPropertyObjectTest, ConvertsByNullDefaults) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Integer, "42");

  EXPECT_TRUE(static_cast<bool>(Value));
  EXPECT_EQ(static_cast<int>(Value), 42);
  EXPECT_EQ(static_cast<long long>(Value), 42);
  EXPECT_EQ(Value.operator std::string(), "42");
  EXPECT_STREQ(static_cast<char const*>(Value), "42");
}

TEST_F(TCCommonPropertyObjectTest, ConvertsToTextWithoutTheSchemaDefault) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_StringBob);

  EXPECT_EQ(Value.operator std::string(), "");
  EXPECT_STREQ(static_cast<char const*>(Value), "");
}

// ---- the untyped value ----

TEST_F(TCCommonPropertyObjectTest, GivesAnIntForChoiceIntegerAndBooleanFields) {
  EXPECT_EQ(boost::any_cast<int>(NewValue(m_Schema.m_Choice, "103").get_AsBoostAny()), 5);
  EXPECT_EQ(boost::any_cast<int>(NewValue(m_Schema.m_Integer42).get_AsBoostAny()), 42);
  EXPECT_EQ(boost::any_cast<int>(NewValue(m_Schema.m_Boolean, "1").get_AsBoostAny()), 1);
}

TEST_F(TCCommonPropertyObjectTest, GivesATextForStringAndLookupFields) {
  EXPECT_EQ(boost::any_cast<std::string>(NewValue(m_Schema.m_StringBob).get_AsBoostAny()), "bob");
  EXPECT_EQ(boost::any_cast<std::string>(NewValue(m_Schema.m_Lookup, "7").get_AsBoostAny()), "7");
}

TEST_F(TCCommonPropertyObjectTest, GivesNothingForAnUntypedField) {
  TCPropertyID& Field = *new TCPropertyID("Untyped", 600, "", TCNullTypes<int>(), 0x01);

  EXPECT_TRUE(NewValue(Field, "7").get_AsBoostAny().empty());
}

// ---- a choice field without choices ----

TEST_F(TCCommonPropertyObjectTest, ReadsAFieldWithoutChoicesAsEmptyAndZero) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_NoChoices, "7");

  EXPECT_EQ(Value.get_Data(), "");
  EXPECT_EQ(Value.get_AsString(), "");
  EXPECT_EQ(Value.get_AsInteger(), 0);
  EXPECT_EQ(Value.get_AsBigInt(), 0);
  EXPECT_FALSE(Value.get_AsBool());
  EXPECT_EQ(Value.get_ChoiceID(), 0);
  EXPECT_EQ(Value.get_ChoiceValue(), 0);
  EXPECT_EQ(Value.get_ChoiceName(), "");
  EXPECT_EQ(boost::any_cast<int>(Value.get_AsBoostAny()), 0);
}
