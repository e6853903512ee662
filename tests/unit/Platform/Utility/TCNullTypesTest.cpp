// SPDX-License-Identifier: MIT
// A nullable value: presence, order, and what converts to it.
#include "Platform/Utility/TCNullTypes.h"

#include <gmock/gmock.h>

#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using Accessories::TCNullTypes;

namespace {

using TCNullInt = TCNullTypes<int>;
using TCNullBool = TCNullTypes<bool>;
using TCNullBigInt = TCNullTypes<long long>;
using TCNullText = TCNullTypes<std::string>;

static_assert(std::has_virtual_destructor_v<TCNullInt>);
static_assert(std::is_convertible_v<int, TCNullInt>);
static_assert(std::is_convertible_v<bool, TCNullBool>);
static_assert(std::is_convertible_v<int, TCNullBool>);
static_assert(std::is_convertible_v<long long, TCNullBigInt>);
static_assert(std::is_convertible_v<std::string, TCNullText>);
static_assert(std::is_convertible_v<char const*, TCNullText>);
static_assert(std::is_convertible_v<char*, TCNullText>);
static_assert(std::is_assignable_v<TCNullText&, char const*>);
static_assert(std::is_assignable_v<TCNullText&, char const (&)[1]>);

// A pointer must never become a truth value or a number.
static_assert(!std::is_constructible_v<TCNullBool, char const*>);
static_assert(!std::is_constructible_v<TCNullBool, char const (&)[2]>);
static_assert(!std::is_constructible_v<TCNullBool, void*>);
static_assert(!std::is_assignable_v<TCNullBool&, char const*>);
static_assert(!std::is_constructible_v<TCNullInt, char const*>);
static_assert(!std::is_constructible_v<TCNullText, int const*>);

// A conversion back would collide with those of the types that use this one.
static_assert(!std::is_convertible_v<TCNullInt, int>);
static_assert(!std::is_convertible_v<TCNullBool, bool>);
static_assert(!std::is_convertible_v<TCNullText, std::string>);

// Returns what a function with a nullable parameter receives.
TCNullBool PassBool(TCNullBool const& Value) {
  return Value;
}
TCNullText PassText(TCNullText const& Value) {
  return Value;
}

template <class T>
class TCNullTypesOf : public testing::Test {};
using TCInstantiations = testing::Types<int, bool, long long, std::string>;

struct TCInstantiationNames {
  template <class T>
  static std::string GetName(int Index) {
    char const* const kNames[] = {"Int", "Bool", "BigInt", "Text"};
    return kNames[Index];
  }
};

TYPED_TEST_SUITE(TCNullTypesOf, TCInstantiations, TCInstantiationNames);

}  // namespace

TYPED_TEST(TCNullTypesOf, IsNullWithTheInitialValueAtFirst) {
  TCNullTypes<TypeParam> const Value;
  EXPECT_TRUE(Value.IsNull());
  EXPECT_EQ(Value.get_Value(), TypeParam());
}

TYPED_TEST(TCNullTypesOf, IsNotNullWithTheInitialValueGiven) {
  TCNullTypes<TypeParam> const Value{TypeParam()};
  EXPECT_FALSE(Value.IsNull());
  EXPECT_EQ(Value.get_Value(), TypeParam());
}

TYPED_TEST(TCNullTypesOf, TellsNullFromTheInitialValue) {
  EXPECT_TRUE(TCNullTypes<TypeParam>() != TCNullTypes<TypeParam>(TypeParam()));
  EXPECT_TRUE(TCNullTypes<TypeParam>() < TCNullTypes<TypeParam>(TypeParam()));
}

TYPED_TEST(TCNullTypesOf, TwoNullsAreEqualAndUnordered) {
  TCNullTypes<TypeParam> const Left;
  TCNullTypes<TypeParam> const Right;
  EXPECT_TRUE(Left == Right);
  EXPECT_FALSE(Left != Right);
  EXPECT_FALSE(Left < Right);
  EXPECT_FALSE(Right < Left);
}

TEST(TCNullTypes, HoldsTheGivenValue) {
  EXPECT_EQ(TCNullInt(7).get_Value(), 7);
  EXPECT_EQ(TCNullBool(true).get_Value(), true);
  EXPECT_EQ(TCNullBigInt(std::numeric_limits<long long>::min()).get_Value(),
            std::numeric_limits<long long>::min());
  EXPECT_EQ(TCNullText(std::string("abc")).get_Value(), "abc");
}

TEST(TCNullTypes, KeepsZeroBytesOfAText) {
  std::string const Bytes("a\0b", 3);
  EXPECT_EQ(TCNullText(Bytes).get_Value(), Bytes);
}

TEST(TCNullTypes, TakesALiteralAsText) {
  TCNullText const Value = "abc";
  EXPECT_FALSE(Value.IsNull());
  EXPECT_EQ(Value.get_Value(), "abc");
  EXPECT_EQ(PassText("x").get_Value(), "x");
}

TEST(TCNullTypes, TakesZeroAsFalse) {
  TCNullBool const Value = PassBool(0);
  EXPECT_FALSE(Value.IsNull());
  EXPECT_FALSE(Value.get_Value());
}

TEST(TCNullTypes, AssigningAValueClearsTheNullFlag) {
  TCNullInt Value;
  Value = 0;
  EXPECT_FALSE(Value.IsNull());
  EXPECT_EQ(Value.get_Value(), 0);
}

TEST(TCNullTypes, AssignmentReturnsTheObject) {
  TCNullInt Number;
  EXPECT_EQ(&(Number = 3), &Number);
  TCNullText Text;
  EXPECT_EQ(&(Text = "x"), &Text);
  EXPECT_EQ(&(Text = std::string("y")), &Text);
  EXPECT_EQ(&(Text = TCNullText()), &Text);
}

TEST(TCNullTypes, AssigningTheEmptyTextLeavesItNotNull) {
  TCNullText Value;
  Value = "";
  EXPECT_FALSE(Value.IsNull());
  EXPECT_EQ(Value.get_Value(), "");
}

TEST(TCNullTypes, ANullPointerIsNoText) {
  char const* const Nothing = nullptr;
  EXPECT_THROW(TCNullText{Nothing}, std::logic_error);
}

TEST(TCNullTypes, AssigningANullPointerLeavesTheTextUnchanged) {
  TCNullText Value = "abc";
  char const* const Nothing = nullptr;
  EXPECT_THROW(Value = Nothing, std::logic_error);
  EXPECT_EQ(Value, TCNullText("abc"));
}

TEST(TCNullTypes, SetNullForgetsTheValue) {
  TCNullText Text = "abc";
  Text.SetNull();
  EXPECT_TRUE(Text.IsNull());
  EXPECT_EQ(Text.get_Value(), "");
  TCNullInt Number = 5;
  Number.SetNull();
  EXPECT_TRUE(Number.IsNull());
  EXPECT_EQ(Number.get_Value(), 0);
}

TEST(TCNullTypes, CopiesFlagAndValue) {
  TCNullText const Source = "abc";
  TCNullText Copy(Source);
  EXPECT_EQ(Copy, Source);
  Copy = TCNullText();
  EXPECT_TRUE(Copy.IsNull());
  EXPECT_EQ(Copy.get_Value(), "");
  EXPECT_EQ(Source.get_Value(), "abc");
}

TEST(TCNullTypes, AssigningItselfChangesNothing) {
  TCNullText Value = "a text that is too long to be kept inside a string";
  TCNullText const& Same = Value;
  Value = Same;
  EXPECT_EQ(Value, TCNullText("a text that is too long to be kept inside a string"));
}

TEST(TCNullTypes, OrdersByValue) {
  EXPECT_TRUE(TCNullInt(-1) < TCNullInt(1));
  EXPECT_FALSE(TCNullInt(1) < TCNullInt(-1));
  EXPECT_FALSE(TCNullInt(1) < TCNullInt(1));
  EXPECT_TRUE(TCNullBool(false) < TCNullBool(true));
  EXPECT_TRUE(TCNullText("a") < TCNullText("b"));
}

TEST(TCNullTypes, NullIsLessThanTheLeastValue) {
  TCNullInt const Least = std::numeric_limits<int>::min();
  EXPECT_TRUE(TCNullInt() < Least);
  EXPECT_FALSE(Least < TCNullInt());
}

TEST(TCNullTypes, ASetHoldsOneNullAndHoldsItFirst) {
  std::set<TCNullInt> Numbers = {5, TCNullInt(), 3};
  EXPECT_FALSE(Numbers.insert(TCNullInt()).second);
  EXPECT_THAT(std::vector<TCNullInt>(Numbers.begin(), Numbers.end()),
              testing::ElementsAre(TCNullInt(), TCNullInt(3), TCNullInt(5)));
}

TEST(TCNullTypes, ComparesWithAPlainValueOnEitherSide) {
  EXPECT_TRUE(TCNullInt(5) == 5);
  EXPECT_TRUE(5 == TCNullInt(5));
  EXPECT_TRUE(TCNullInt(5) != 6);
  EXPECT_TRUE(TCNullText("x") == "x");
  EXPECT_TRUE("y" != TCNullText("x"));
}

TYPED_TEST(TCNullTypesOf, IsNullWhenItIsAssignedEmptyBraces) {
  TCNullTypes<TypeParam> Value{TypeParam()};

  Value = {};

  EXPECT_TRUE(Value.IsNull());
  EXPECT_EQ(Value.get_Value(), TypeParam());
}
