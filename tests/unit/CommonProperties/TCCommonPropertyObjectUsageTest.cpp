// SPDX-License-Identifier: MIT
// What clients write naturally with a value compiles and means what it says.
#include <gtest/gtest.h>

#include <limits>
#include <list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "CapturedLog.h"
#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyKey.h"
#include "TestStore.h"
#include "ValueSchema.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyDependency;
using Property::TCPropertyID;
using Property::TCPropertyKey;

namespace {

struct TCCommonPropertyObjectUsage : ::testing::Test {
  TCCommonPropertyObject NewText(std::string const& Data) const {
    TCCommonPropertyObject Result(m_Schema.m_String, 3, kMAC);
    Result.SetRealValue(Data);
    return Result;
  }

  TCCommonPropertyObject NewNumber(std::string const& Data) const {
    TCCommonPropertyObject Result(m_Schema.m_Integer, 3, kMAC);
    Result.SetRealValue(Data);
    return Result;
  }

  TCapturedLog m_Log;
  TValueSchema m_Schema;
};

template <class T, class = void>
struct TAcceptsAsBoolDefault : std::false_type {};
template <class T>
struct TAcceptsAsBoolDefault<T, std::void_t<decltype(std::declval<TCCommonPropertyObject const&>()
                                                         .get_AsBool(std::declval<T>()))>>
    : std::true_type {};

static_assert(!TAcceptsAsBoolDefault<char const (&)[2]>::value, "\"0\" would read as true");
static_assert(TAcceptsAsBoolDefault<bool>::value);
static_assert(TAcceptsAsBoolDefault<int>::value);
static_assert(!std::is_constructible_v<TCNullTypes<bool>, char const*>);
static_assert(!std::is_convertible_v<std::string, TCMACAddress>,
              "a text in place of a MAC must not be ambiguous");

}  // namespace

TEST_F(TCCommonPropertyObjectUsage, AssignsALiteralAsText) {
  TCCommonPropertyObject Value = NewText("");

  TCCommonPropertyObject& Result = Value = "abc";

  EXPECT_EQ(&Result, &Value);
  EXPECT_EQ(Value.GetRealValue(), "abc");
}

TEST_F(TCCommonPropertyObjectUsage, RefusesANullTextAndStaysUnchanged) {
  TCCommonPropertyObject Value = NewText("abc");
  char const* const Null = nullptr;

  EXPECT_THROW(Value = Null, std::logic_error);
  EXPECT_THROW((void)(Value == Null), std::logic_error);
  EXPECT_EQ(Value.GetRealValue(), "abc");
}

TEST_F(TCCommonPropertyObjectUsage, AssignsAnArrayAsText) {
  TCCommonPropertyObject Value = NewText("");
  char Text[] = "abc";

  Value = Text;

  EXPECT_EQ(Value.GetRealValue(), "abc");
}

TEST_F(TCCommonPropertyObjectUsage, ComparesALiteralAsText) {
  TCCommonPropertyObject const Value = NewText("abc");

  EXPECT_TRUE(Value == "abc");
  EXPECT_FALSE(Value == "abd");
  EXPECT_TRUE(Value != "abd");
  EXPECT_FALSE(Value != "abc");
}

TEST_F(TCCommonPropertyObjectUsage, ComparesALiteralOnTheLeftAsText) {
  TCCommonPropertyObject const Value = NewText("abc");

  EXPECT_TRUE("abc" == Value);
  EXPECT_FALSE("abd" == Value);
  EXPECT_TRUE("abd" != Value);
  EXPECT_FALSE("abc" != Value);
}

TEST_F(TCCommonPropertyObjectUsage, ComparesATextOnTheLeft) {
  TCCommonPropertyObject const Value = NewText("abc");
  std::string const Text = "abc";

  EXPECT_TRUE(Text == Value);
  EXPECT_FALSE(Text != Value);
  EXPECT_TRUE(Value == Text);
  EXPECT_FALSE(Value != Text);
}

TEST_F(TCCommonPropertyObjectUsage, ComparesAnIntOnTheLeft) {
  TCCommonPropertyObject const Value = NewNumber("5");

  EXPECT_TRUE(5 == Value);
  EXPECT_FALSE(6 == Value);
  EXPECT_TRUE(6 != Value);
  EXPECT_FALSE(5 != Value);
  EXPECT_TRUE(0 != Value);
}

TEST_F(TCCommonPropertyObjectUsage, ComparesABoolOnTheLeft) {
  TCCommonPropertyObject const Value = NewNumber("5");

  EXPECT_TRUE(true == Value);
  EXPECT_FALSE(false == Value);
  EXPECT_TRUE(false != Value);
  EXPECT_FALSE(true != Value);
}

TEST_F(TCCommonPropertyObjectUsage, ComparesTwoValues) {
  TCCommonPropertyObject Left = NewText("abc");
  TCCommonPropertyObject const Right = NewText("abc");

  EXPECT_TRUE(Left == Right);
  EXPECT_FALSE(Left != Right);
  EXPECT_TRUE(Right == Left);
  Left = "abd";
  EXPECT_FALSE(Left == Right);
}

TEST_F(TCCommonPropertyObjectUsage, TakesPlainDefaultsOfGetData) {
  TCCommonPropertyObject const Value = NewNumber("");

  EXPECT_EQ(Value.get_Data(5), "5");
  EXPECT_EQ(Value.get_Data(0), "0");
  EXPECT_EQ(Value.get_Data(true), "1");
  EXPECT_EQ(Value.get_Data(5000000000LL), "5000000000");
  EXPECT_EQ(Value.get_Data("x"), "x");
  EXPECT_EQ(Value.get_Data(std::string("x")), "x");
}

TEST_F(TCCommonPropertyObjectUsage, TakesPlainDefaultsOfTheTypedReads) {
  TCCommonPropertyObject const Value = NewNumber("");

  EXPECT_FALSE(Value.get_AsBool(false));
  EXPECT_FALSE(Value.get_AsBool(0));
  EXPECT_EQ(Value.get_AsInteger(7), 7);
  EXPECT_EQ(Value.get_AsBigInt(7), 7);
  EXPECT_EQ(Value.get_AsString("x"), "x");
  EXPECT_EQ(Value.get_AsString(std::string("x")), "x");
}

TEST_F(TCCommonPropertyObjectUsage, ReadsIntoVariablesOfEachType) {
  TCCommonPropertyObject const Value = NewNumber("5");

  bool const Boolean = Value;
  int const Integer = Value;
  long long const BigInt = Value;
  std::string const Text = Value;
  char const* const Pointer = Value;
  bool const InCondition = Value ? true : false;

  EXPECT_TRUE(Boolean);
  EXPECT_EQ(Integer, 5);
  EXPECT_EQ(BigInt, 5);
  EXPECT_EQ(Text, "5");
  EXPECT_STREQ(Pointer, "5");
  EXPECT_TRUE(InCondition);
}

TEST_F(TCCommonPropertyObjectUsage, AssignsEachType) {
  TCCommonPropertyObject Value = NewText("");

  EXPECT_EQ((Value = 5).GetRealValue(), "5");
  EXPECT_EQ((Value = true).GetRealValue(), "1");
  EXPECT_EQ((Value = 5LL).GetRealValue(), "5");
  EXPECT_EQ((Value = std::string("abc")).GetRealValue(), "abc");
  EXPECT_EQ((Value = "").GetRealValue(), "");
}

TEST_F(TCCommonPropertyObjectUsage, ChecksABoolOfTheNullableFromABoolOnly) {
  TCNullTypes<bool> const Default(false);

  EXPECT_FALSE(NewNumber("").get_AsBool(Default));
}

TEST_F(TCCommonPropertyObjectUsage, TakesALiteralAsTheTextOfADependency) {
  TCPropertyDependency const Dependency(&m_Schema.m_Integer, &m_Schema.m_String, "5", 1);

  ASSERT_EQ(Dependency.get_Members().size(), 1u);
  EXPECT_EQ(Dependency.get_Members().front().get_Value(), TCNullTypes<std::string>("5"));
}

TEST_F(TCCommonPropertyObjectUsage, AssignsALiteralToANullableText) {
  TCNullTypes<std::string> Text = "x";
  EXPECT_EQ(Text.get_Value(), "x");

  Text = "";

  EXPECT_FALSE(Text.IsNull());
  EXPECT_EQ(Text.get_Value(), "");
}

TEST_F(TCCommonPropertyObjectUsage, UpdatesByLiteralsUnderTheGivenMAC) {
  TTestStore Store;

  Store.UpdateProperty(m_Schema.m_String, 3, "x", kMAC);

  EXPECT_TRUE(Store.ExistProperty(m_Schema.m_String, 3, kMAC));
  EXPECT_EQ(Store.m_Properties.size(), 1u);
}

TEST_F(TCCommonPropertyObjectUsage, AsksAConstFieldForItsVisibilityAndOrder) {
  TCPropertyID const& Field = m_Schema.m_Integer;
  Property::TCPropertyChoice const& Choice = m_Schema.m_Off;

  EXPECT_TRUE(Field.GetShow());
  EXPECT_EQ(Choice.GetOrder(), 0);
  EXPECT_TRUE(m_Schema.m_Integer42.GetDefaultValue() == "42");
}

TEST_F(TCCommonPropertyObjectUsage, BuildsKeysAndValuesFromLiterals) {
  TCPropertyKey const Key(m_Schema.m_Integer, 3, "00:11:22:33:44:55");
  TCCommonPropertyObject const Value(m_Schema.m_Integer, TCRecordID(3), "00:11:22:33:44:55");

  EXPECT_EQ(Key.get_MAC(), Value.get_MAC());
}

TEST_F(TCCommonPropertyObjectUsage, LivesInContainers) {
  std::vector<TCCommonPropertyObject> Vector(2, NewText("abc"));
  std::list<TCCommonPropertyObject> List(Vector.begin(), Vector.end());
  Vector.erase(Vector.begin());

  EXPECT_EQ(Vector.front().GetRealValue(), "abc");
  EXPECT_EQ(List.back().GetRealValue(), "abc");
}

TEST_F(TCCommonPropertyObjectUsage, ComparesNumbersOfEveryWidth) {
  TCCommonPropertyObject const Value = NewNumber("5");
  std::size_t const Size = 5;

  EXPECT_TRUE(Value == 5LL);
  EXPECT_TRUE(Value == 5L);
  EXPECT_TRUE(Value == 5u);
  EXPECT_TRUE(Value == 5ul);
  EXPECT_TRUE(Value == 5ull);
  EXPECT_TRUE(Value == Size);
  EXPECT_TRUE(Value == 5.0);
  EXPECT_TRUE(Value == 5.0F);
  EXPECT_TRUE(5LL == Value);
  EXPECT_TRUE(Size == Value);
  EXPECT_FALSE(Value != 5u);
  EXPECT_TRUE(Value != 6u);
  EXPECT_TRUE(6ull != Value);
  EXPECT_FALSE(Value == 5.5);
}

TEST_F(TCCommonPropertyObjectUsage, ComparesNumbersByWhatTheyAreNotByTheirBits) {
  TCCommonPropertyObject const Value = NewNumber("-1");

  EXPECT_TRUE(Value == -1LL);
  EXPECT_FALSE(Value == std::numeric_limits<unsigned>::max());
  EXPECT_FALSE(Value == std::numeric_limits<std::size_t>::max());
}

TEST_F(TCCommonPropertyObjectUsage, ComparesAWideNumberWithWhatItReadsAs) {
  TCCommonPropertyObject const Value = NewNumber("4294967297");

  EXPECT_TRUE(Value == static_cast<long long>(Value));
  EXPECT_TRUE(Value == 1LL);
}

TEST_F(TCCommonPropertyObjectUsage, ReadsIntoADouble) {
  double const Fraction = NewText("2.5");
  double const Integer = NewNumber("-7");
  double const Wide = NewNumber("5000000000");
  double const SchemaDefault = TCCommonPropertyObject(m_Schema.m_Integer42, 3, kMAC);
  double const NoNumber = NewText("2.5 mm");
  double const Infinite = NewText("inf");

  EXPECT_EQ(Fraction, 2.5);
  EXPECT_EQ(Integer, -7.0);
  EXPECT_EQ(Wide, 5000000000.0);
  EXPECT_EQ(SchemaDefault, 42.0);
  EXPECT_EQ(NoNumber, 0.0);
  EXPECT_EQ(Infinite, 0.0);
}

TEST_F(TCCommonPropertyObjectUsage, IsWrittenToAStreamAsItsText) {
  TCCommonPropertyObject Choice(m_Schema.m_Choice, 3, kMAC);
  Choice = "off";
  std::ostringstream Stream;

  Stream << NewText("abc") << '|' << NewNumber("5") << '|' << Choice;

  EXPECT_EQ(Stream.str(), "abc|5|off");
}

TEST_F(TCCommonPropertyObjectUsage, IsSwitchedOverAsAnInteger) {
  TCCommonPropertyObject const Value = NewNumber("5");
  int Found = 0;

  switch (int(Value)) {
    case 5:
      Found = 1;
      break;
    default:
      break;
  }
  switch (Value.get_AsInteger()) {
    case 5:
      ++Found;
      break;
    default:
      break;
  }

  EXPECT_EQ(Found, 2);
}

TEST_F(TCCommonPropertyObjectUsage, SelectsByACopyOfAReference) {
  Property::TCPropertyChoiceID const Reference("", 101, "Off");
  TCCommonPropertyObject Value(m_Schema.m_Choice, 3, kMAC);
  auto const Pick = [](Property::TCPropertyChoiceID Which) { return Which; };

  Value = Pick(Reference);

  EXPECT_TRUE(Value == Reference);
}

TEST_F(TCCommonPropertyObjectUsage, BuildsNodesFromTextsOfEveryKind) {
  std::string const Name = "Name";
  char const* const Pointer = "Pointer";
  char Array[] = "Array";
  TCNullTypes<int> const Parent = 100;

  EXPECT_EQ(TCPropertyID("a", 1001, "", {}, 0x10).get_Parent(), TCNullTypes<int>());
  EXPECT_EQ(TCPropertyID("a", 1002, "b", 100, 0x10, 5).get_Parent(), Parent);
  EXPECT_EQ(TCPropertyID("a", 1003, "b", Parent, 0x10, 5).get_Parent(), Parent);
  EXPECT_EQ(TCPropertyID(Name, 1004, "b", Parent, 0x20, "x").get_Name(), "Name");
  EXPECT_EQ(TCPropertyID("a", 1005, Name, 5, 0x20, "x").get_Description(), "Name");
  EXPECT_EQ(TCPropertyID(Pointer, 1006, Array, {}, 0x20, Name).GetDefaultValue(),
            TCNullTypes<std::string>("Name"));
  EXPECT_EQ(TCPropertyID("a", 1007, "b", {}, 0x08, false).GetDefaultValue(),
            TCNullTypes<std::string>("0"));
  EXPECT_EQ(TCPropertyID("a", 1008, "b", {}, 0x10, 0).GetDefaultValue(),
            TCNullTypes<std::string>("0"));
}
