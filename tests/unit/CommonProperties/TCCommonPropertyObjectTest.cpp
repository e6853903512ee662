// SPDX-License-Identifier: MIT
// How a value is built, copied, compared, read by type and written.
#include "CommonProperties/TCCommonPropertyObject.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "CapturedLog.h"
#include "CaughtException.h"
#include "ValueSchema.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

char const* const kSource = "../CommonProperties/TCCommonPropertyObject";

struct TCCommonPropertyObjectTest : ::testing::Test {
  static TCCommonPropertyObject NewValue(TCPropertyID const& ID, std::string const& Data = "") {
    TCCommonPropertyObject Result(ID, 3, kMAC);
    if (!Data.empty()) {
      Result.SetRealValue(Data);
    }
    return Result;
  }

  TCapturedLog m_Log;
  TValueSchema m_Schema;
};

/// A file-scope value that is there before the library's own static objects.
TCCommonPropertyObject g_EarlyValue __attribute__((init_priority(101)));

static_assert(std::has_virtual_destructor_v<TCCommonPropertyObject>);
static_assert(std::is_nothrow_move_constructible_v<TCCommonPropertyObject>);
static_assert(sizeof(void*) != 8 || sizeof(TCCommonPropertyObject) <= 88,
              "a stored value is one small allocation");

}  // namespace

// ---- construction and copying ----

TEST_F(TCCommonPropertyObjectTest, IsAnEmptyValueOfNoPropertyByDefault) {
  TCCommonPropertyObject const Value;

  EXPECT_FALSE(Value.get_Defined());
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_TRUE(Value.IsEmpty());
  EXPECT_EQ(&Value.get_ID(), &Property::Prop_Unassigned);
  EXPECT_TRUE(Value.get_MAC().Empty());
  EXPECT_TRUE(Value.get_Link().IsNull());
}

TEST_F(TCCommonPropertyObjectTest, IsOfTheUnassignedPropertyWhenBuiltBeforeTheLibrarysStatics) {
  EXPECT_EQ(&g_EarlyValue.get_ID(), &Property::Prop_Unassigned);
  EXPECT_EQ(TCPropertyID::Find(0), &Property::Prop_Unassigned);
}

TEST_F(TCCommonPropertyObjectTest, IsDefinedAndEmptyWhenBuiltForAProperty) {
  TCCommonPropertyObject const Value(m_Schema.m_Integer42, 3, std::string("00:aa:22:33:44:55"));

  EXPECT_TRUE(Value.get_Defined());
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_TRUE(Value.IsEmpty());
  EXPECT_EQ(&Value.get_ID(), &m_Schema.m_Integer42);
  EXPECT_EQ(Value.get_MAC().get_AsString(':'), "00:AA:22:33:44:55");
  EXPECT_EQ(Value.get_Link(), TCRecordID(3));
}

TEST_F(TCCommonPropertyObjectTest, TakesTheDeviceAsAnAddress) {
  TCCommonPropertyObject const Value(m_Schema.m_Integer, 3, TCMACAddress(kMAC));

  EXPECT_TRUE(Value.get_Defined());
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_TRUE(Value.IsEmpty());
  EXPECT_EQ(&Value.get_ID(), &m_Schema.m_Integer);
  EXPECT_EQ(Value.get_MAC(), TCMACAddress(kMAC));
  EXPECT_EQ(Value.get_Link(), TCRecordID(3));
}

TEST_F(TCCommonPropertyObjectTest, TakesBracesInPlaceOfLinkAndMACAsNone) {
  TCCommonPropertyObject const Value(m_Schema.m_Integer, {}, {});

  EXPECT_TRUE(Value.get_MAC().Empty());
  EXPECT_TRUE(Value.get_Link().IsNull());
}

TEST_F(TCCommonPropertyObjectTest, CopiesEveryMember) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);
  Value.SetRealValue("text");

  TCCommonPropertyObject const Copy(Value);

  EXPECT_TRUE(Copy.get_Defined());
  EXPECT_TRUE(Copy.get_Loaded());
  EXPECT_EQ(Copy.GetRealValue(), "text");
  EXPECT_EQ(&Copy.get_ID(), &m_Schema.m_String);
  EXPECT_EQ(Copy.get_MAC(), TCMACAddress(kMAC));
  EXPECT_EQ(Copy.get_Link(), TCRecordID(3));
}

TEST_F(TCCommonPropertyObjectTest, AssignsEveryMember) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);
  Value.SetRealValue("text");
  TCCommonPropertyObject Target(m_Schema.m_Integer, 4, "");

  TCCommonPropertyObject& Result = Target = Value;

  EXPECT_EQ(&Result, &Target);
  EXPECT_TRUE(Target.get_Defined());
  EXPECT_TRUE(Target.get_Loaded());
  EXPECT_EQ(Target.GetRealValue(), "text");
  EXPECT_EQ(&Target.get_ID(), &m_Schema.m_String);
  EXPECT_EQ(Target.get_MAC(), TCMACAddress(kMAC));
  EXPECT_EQ(Target.get_Link(), TCRecordID(3));
}

TEST_F(TCCommonPropertyObjectTest, BecomesUndefinedByAssignmentOfAnUndefinedValue) {
  TCCommonPropertyObject Target(m_Schema.m_Integer, 4, kMAC);
  Target.SetRealValue("1");

  Target = TCCommonPropertyObject();

  EXPECT_FALSE(Target.get_Defined());
  EXPECT_FALSE(Target.get_Loaded());
  EXPECT_TRUE(Target.IsEmpty());
  EXPECT_EQ(&Target.get_ID(), &Property::Prop_Unassigned);
}

// ---- comparison of values ----

TEST_F(TCCommonPropertyObjectTest, EqualsAValueWithEqualTextOfAnotherPropertyLinkAndMAC) {
  TCCommonPropertyObject Left(m_Schema.m_Integer, 1, kMAC);
  TCCommonPropertyObject Right(m_Schema.m_String, 2, "");
  Left.SetRealValue("5");
  Right.set_Data("5");

  EXPECT_FALSE(Left != Right);
  EXPECT_TRUE(Left == Right);
}

TEST_F(TCCommonPropertyObjectTest, DiffersFromAValueWithAnotherText) {
  TCCommonPropertyObject const Left = NewValue(m_Schema.m_String, "a");
  TCCommonPropertyObject const Right = NewValue(m_Schema.m_String, "b");

  EXPECT_TRUE(Left != Right);
  EXPECT_FALSE(Left == Right);
}

TEST_F(TCCommonPropertyObjectTest, DiffersFromAnUndefinedValueWithEqualText) {
  TCCommonPropertyObject const Defined = NewValue(m_Schema.m_String);
  TCCommonPropertyObject const Undefined;

  EXPECT_TRUE(Defined != Undefined);
  EXPECT_FALSE(Defined == Undefined);
}

// ---- stored text ----

TEST_F(TCCommonPropertyObjectTest, IsNotEmptyWhenAChoiceFieldStoresZero) {
  TCPropertyID& Field = *new TCPropertyID("Zero", 600, "", TCNullTypes<int>(), 0x10);
  TCPropertyID::m_List->erase(0);
  new Property::TCPropertyChoice("Naught", "Naught", 0, false, &Field, "y");
  TCCommonPropertyObject Value = NewValue(Field);
  Value.SetRealValue("0");

  EXPECT_FALSE(Value.IsEmpty());
  EXPECT_EQ(Value.GetRealValue(), "0");
}

TEST_F(TCCommonPropertyObjectTest, GivesTheStoredTextUntranslated) {
  EXPECT_EQ(NewValue(m_Schema.m_Choice, "102").GetRealValue(), "102");
}

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

// ---- the pointer to the text ----

TEST_F(TCCommonPropertyObjectTest, KeepsThePointedToTextOverLaterWrites) {
  TCCommonPropertyObject Value = NewValue(m_Schema.m_String, "a text that is not short");
  char const* Text = Value;

  Value = std::string("another one");
  Value = NewValue(m_Schema.m_Choice, "101");

  EXPECT_STREQ(Text, "a text that is not short");
}

TEST_F(TCCommonPropertyObjectTest, RefreshesThePointedToTextAtEachConversion) {
  TCCommonPropertyObject Value = NewValue(m_Schema.m_String, "first");
  EXPECT_STREQ(static_cast<char const*>(Value), "first");

  Value = std::string("second");

  EXPECT_STREQ(static_cast<char const*>(Value), "second");
}

TEST_F(TCCommonPropertyObjectTest, DoesNotShareThePointedToTextWithACopy) {
  TCCommonPropertyObject Value = NewValue(m_Schema.m_String, "original");
  char const* Text = Value;

  TCCommonPropertyObject Copy(Value);
  Copy = std::string("changed copy");
  char const* CopysText = Copy;
  TCCommonPropertyObject const Moved(std::move(Copy));

  EXPECT_STREQ(Text, "original");
  EXPECT_STREQ(CopysText, "changed copy");
  EXPECT_STREQ(static_cast<char const*>(Moved), "changed copy");
}

TEST_F(TCCommonPropertyObjectTest, PointsToTheValueTextOfAChoice) {
  EXPECT_STREQ(static_cast<char const*>(NewValue(m_Schema.m_Choice, "101")), "off");
}

// ---- comparison with plain values ----

TEST_F(TCCommonPropertyObjectTest, ComparesAsBoolean) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Boolean, "1");

  EXPECT_TRUE(Value == true);
  EXPECT_FALSE(Value == false);
  EXPECT_TRUE(Value != false);
  EXPECT_FALSE(Value != true);
}

TEST_F(TCCommonPropertyObjectTest, ComparesAsInteger) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Integer, "007");

  EXPECT_TRUE(Value == 7);
  EXPECT_FALSE(Value == 8);
  EXPECT_TRUE(Value != 8);
  EXPECT_FALSE(Value != 7);
}

TEST_F(TCCommonPropertyObjectTest, ComparesAsTextByteForByte) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_String, "text");

  EXPECT_TRUE(Value == std::string("text"));
  EXPECT_FALSE(Value == std::string("Text"));
  EXPECT_TRUE(Value != std::string("text "));
  EXPECT_FALSE(Value != std::string("text"));
}

TEST_F(TCCommonPropertyObjectTest, ComparesAChoiceByItsValueTextNotItsNumber) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice, "101");

  EXPECT_TRUE(Value == std::string("off"));
  EXPECT_FALSE(Value == std::string("101"));
}

TEST_F(TCCommonPropertyObjectTest, ComparesTextWithoutTheSchemaDefault) {
  EXPECT_TRUE(NewValue(m_Schema.m_StringBob) == std::string());
}

// ---- bits ----

TEST_F(TCCommonPropertyObjectTest, ReadsTheBitsOfTheStoredText) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_String, "01");

  EXPECT_FALSE(Value.GetStringBit(0));
  EXPECT_TRUE(Value.GetStringBit(1));
  EXPECT_FALSE(Value.GetStringBit(2));
  EXPECT_FALSE(Value.GetStringBit(-1));
}

TEST_F(TCCommonPropertyObjectTest, WritesOneBitWithoutTraceAndLoadedMark) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);
  m_Log.EnableTraces();

  Value.SetStringBit(2, true);
  EXPECT_EQ(Value.GetRealValue(), "001");
  Value.SetStringBit(2, false);
  EXPECT_EQ(Value.GetRealValue(), "000");

  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, WritesABitOfABooleanFieldWithoutNormalisingIt) {
  TCCommonPropertyObject Value(m_Schema.m_Boolean, 3, kMAC);

  Value.SetStringBit(1, true);

  EXPECT_EQ(Value.GetRealValue(), "01");
}

TEST_F(TCCommonPropertyObjectTest, RefusesToReadABitOfAChoice) {
  TCCommonPropertyObject const Value = NewValue(m_Schema.m_Choice, "101");

  TCException const Exception = CaughtException([&] { (void)Value.GetStringBit(0); });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "m_ID->get_Type() != eComboField");
  EXPECT_EQ(Exception.get_Message(), "");
}

TEST_F(TCCommonPropertyObjectTest, RefusesToWriteABitOfAChoiceAndStaysUnchanged) {
  TCCommonPropertyObject Value = NewValue(m_Schema.m_Choice, "101");

  TCException const Exception = CaughtException([&] { Value.SetStringBit(0, false); });

  EXPECT_EQ(Exception.get_Source(), kSource);
  EXPECT_EQ(Exception.get_Condition(), "m_ID->get_Type() != eComboField");
  EXPECT_EQ(Exception.get_Message(), "");
  EXPECT_EQ(Value.GetRealValue(), "101");
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

// ---- writing ----

TEST_F(TCCommonPropertyObjectTest, StoresTextOfStringIntegerAndLookupFieldsUnchanged) {
  TCCommonPropertyObject Text(m_Schema.m_String, 3, kMAC);
  TCCommonPropertyObject Number(m_Schema.m_Integer, 3, kMAC);
  TCCommonPropertyObject Lookup(m_Schema.m_Lookup, 3, kMAC);

  Text.set_Data(" x ");
  Number.set_Data("abc");
  Lookup.set_Data("y");

  EXPECT_EQ(Text.GetRealValue(), " x ");
  EXPECT_EQ(Number.GetRealValue(), "abc");
  EXPECT_EQ(Lookup.GetRealValue(), "y");
}

TEST_F(TCCommonPropertyObjectTest, StoresOnlyOneAndZeroInABooleanField) {
  TCCommonPropertyObject Value(m_Schema.m_Boolean, 3, kMAC);

  EXPECT_EQ((Value = true).GetRealValue(), "1");
  EXPECT_EQ((Value = false).GetRealValue(), "0");
  EXPECT_EQ((Value = std::string("5")).GetRealValue(), "1");
  EXPECT_EQ((Value = std::string("abc")).GetRealValue(), "0");
  EXPECT_EQ((Value = -1).GetRealValue(), "1");
  EXPECT_EQ((Value = std::string()).GetRealValue(), "0");
}

TEST_F(TCCommonPropertyObjectTest, StoresAnIntAsSignedDecimal) {
  TCCommonPropertyObject Value(m_Schema.m_Integer, 3, kMAC);

  Value = -1;

  EXPECT_EQ(Value.GetRealValue(), "-1");
}

TEST_F(TCCommonPropertyObjectTest, StoresALongLongAsUnsignedDecimal) {
  TCCommonPropertyObject Value(m_Schema.m_Integer, 3, kMAC);

  EXPECT_EQ((Value = 5000000000LL).GetRealValue(), "5000000000");
  EXPECT_EQ((Value = -1LL).GetRealValue(), "18446744073709551615");
}

TEST_F(TCCommonPropertyObjectTest, StoresABoolInAnIntegerFieldAsOneOrZero) {
  TCCommonPropertyObject Value(m_Schema.m_Integer, 3, kMAC);

  EXPECT_EQ((Value = true).GetRealValue(), "1");
  EXPECT_EQ((Value = false).GetRealValue(), "0");
}

TEST_F(TCCommonPropertyObjectTest, StoresTheNumberOfTheChoiceWithTheGivenValueText) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, 3, kMAC);

  EXPECT_EQ((Value = std::string("off")).GetRealValue(), "101");
  EXPECT_EQ((Value = 5).GetRealValue(), "103");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, StoresTheDefaultChoiceForAnUnknownValueTextAndWarns) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, 3, kMAC);
  m_Log.EnableTraces();

  Value = std::string("101");

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_FALSE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Property Value [101] assigned to Mode(100) Choice Field"));
  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Mode(100) Choice Field link(3) is set to default because of invalid "
                          "choice [101].",
                          "Mode(100) Choice Field link(3) is changed from [] to [102]"));
}

TEST_F(TCCommonPropertyObjectTest, LeavesTheLoadedMarkAloneWhenWriting) {
  TCCommonPropertyObject Loaded = NewValue(m_Schema.m_Choice, "101");
  TCCommonPropertyObject Fresh(m_Schema.m_String, 3, kMAC);

  Loaded = std::string("unknown");
  Fresh = std::string("x");

  EXPECT_TRUE(Loaded.get_Loaded());
  EXPECT_FALSE(Fresh.get_Loaded());
}

TEST_F(TCCommonPropertyObjectTest, TracesAWriteOfAChoiceOnlyWhenItChanges) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, TCRecordID(), kMAC);
  m_Log.EnableTraces();

  Value.set_Data("off");
  Value.set_Data("off");

  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Mode(100) Choice Field link() is changed from [] to [101]"));
}

TEST_F(TCCommonPropertyObjectTest, TracesEveryWriteOfAnyOtherFieldWithTheGivenText) {
  TCCommonPropertyObject Value(m_Schema.m_Boolean, 3, kMAC);
  m_Log.EnableTraces();

  Value.set_Data("yes");
  Value.set_Data("0");

  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Flag(10) Boolean Field link(3) is changed from [] to [yes]",
                          "Flag(10) Boolean Field link(3) is changed from [0] to [0]"));
}

TEST_F(TCCommonPropertyObjectTest, TracesNothingWhileTheChannelIsOff) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);

  Value.set_Data("x");
  Value.Trace("Get");

  EXPECT_THAT(m_Log.get_Traces(), IsEmpty());
}

TEST_F(TCCommonPropertyObjectTest, KeepsItsTextWhenWrittenFromItself) {
  TCCommonPropertyObject Value = NewValue(m_Schema.m_String, "a text that is not short");

  Value.set_Data(Value.GetRealValue());
  Value.SetRealValue(Value.GetRealValue());

  EXPECT_EQ(Value.GetRealValue(), "a text that is not short");
}

TEST_F(TCCommonPropertyObjectTest, ClearsAValueToTheEmptyLoadedText) {
  TCCommonPropertyObject Value(m_Schema.m_String, 3, kMAC);
  Value.set_Data("x");

  Value.Clear();

  EXPECT_TRUE(Value.IsEmpty());
  EXPECT_TRUE(Value.get_Loaded());
}

TEST_F(TCCommonPropertyObjectTest, ClearsAChoiceToItsDefaultWithoutTheLoadedMark) {
  TCCommonPropertyObject Value(m_Schema.m_Choice, 3, kMAC);
  Value.set_Data("off");

  Value.Clear();

  EXPECT_EQ(Value.GetRealValue(), "102");
  EXPECT_FALSE(Value.get_Loaded());
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

TEST_F(TCCommonPropertyObjectTest, KeepsTheTextOfAFieldWithoutChoicesWhenWritten) {
  TCPropertyID& Field = *new TCPropertyID("Late", 600, "", TCNullTypes<int>(), 0x10);
  TCCommonPropertyObject Value = NewValue(Field, "7");
  Field.set_Type(Property::eComboField);

  Value.set_Data("x");
  Value.SetDefaultChoice();
  Value.Clear();
  bool const Differed = Value.SetRealValue("8");

  EXPECT_EQ(Value.GetRealValue(), "7");
  EXPECT_TRUE(Differed);
}

TEST_F(TCCommonPropertyObjectTest, MarksAValueWithoutChoicesAsLoaded) {
  TCCommonPropertyObject Value(m_Schema.m_NoChoices, 3, kMAC);

  Value.SetRealValue("8");

  EXPECT_TRUE(Value.IsEmpty());
  EXPECT_TRUE(Value.get_Loaded());
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Value [8] assigned to NoChoices(400) Choice Field. Default is "
                          "chosen []"));
}
