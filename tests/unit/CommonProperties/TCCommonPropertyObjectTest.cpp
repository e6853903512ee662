// SPDX-License-Identifier: MIT
// How a value is built, copied and compared, and what it points to.
#include "CommonProperties/TCCommonPropertyObject.h"

#include <gmock/gmock.h>

#include <string>
#include <type_traits>

#include "ValueFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::IsEmpty;

namespace {

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
