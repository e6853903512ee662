// SPDX-License-Identifier: MIT
// Numbers to text and back, printf into a string, and bits kept as text.
#include "Platform/Utility/TextConversions.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

using Accessories::TCNullTypes;

namespace {

constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kGreatest = std::numeric_limits<int>::max();
constexpr long long kLeastBig = std::numeric_limits<long long>::min();
constexpr long long kGreatestBig = std::numeric_limits<long long>::max();

char const* const kNoNumbers[] = {"",    " ",  "+",   "-",   "+-5", "-+5",  "--5",
                                  "++5", " 5", "5 ",  "5x",  "x5",  "0x10", "1e3",
                                  "1.0", "5,", "1 2", "\n5", "true"};

// The bound's text is read; one more is not.
struct TCBound {
  char const* m_Inside;
  long long m_Value;
  char const* m_Outside;
};
TCBound const kBounds[] = {{"2147483647", kGreatest, "2147483648"},
                           {"-2147483648", kLeast, "-2147483649"}};
TCBound const kBigBounds[] = {{"9223372036854775807", kGreatestBig, "9223372036854775808"},
                              {"-9223372036854775808", kLeastBig, "-9223372036854775809"}};

}  // namespace

TEST(ToString, WritesIntegersInDecimal) {
  EXPECT_EQ(ToString(0), "0");
  EXPECT_EQ(ToString(-42), "-42");
  EXPECT_EQ(ToString(kGreatest), "2147483647");
  EXPECT_EQ(ToString(kLeast), "-2147483648");
}

TEST(ToString, WritesUnsignedNumbersOfSixtyFourBits) {
  EXPECT_EQ(ToString(0ULL), "0");
  EXPECT_EQ(ToString(static_cast<unsigned long long>(-1LL)), "18446744073709551615");
}

TEST(ToString, WritesNullableNumbers) {
  EXPECT_EQ(ToString(TCNullTypes<int>(-7)), "-7");
  EXPECT_EQ(ToString(TCNullTypes<long long>(kLeastBig)), "-9223372036854775808");
}

TEST(ToString, WritesNothingForNull) {
  EXPECT_EQ(ToString(TCNullTypes<int>()), "");
  EXPECT_EQ(ToString(TCNullTypes<long long>()), "");
}

TEST(ToInt, ReadsSignsAndLeadingZeros) {
  EXPECT_EQ(ToInt("5"), 5);
  EXPECT_EQ(ToInt("-5"), -5);
  EXPECT_EQ(ToInt("+5"), 5);
  EXPECT_EQ(ToInt("000000000000000000005"), 5);
  EXPECT_EQ(ToInt("-0"), 0);
}

TEST(ToInt, GivesZeroForAnyOtherText) {
  for (char const* const Text : kNoNumbers) {
    EXPECT_EQ(ToInt(Text), 0) << Text;
  }
}

TEST(ToInt, IsZeroBeyondThirtyTwoBits) {
  for (TCBound const& Bound : kBounds) {
    EXPECT_EQ(ToInt(Bound.m_Inside), Bound.m_Value);
    EXPECT_EQ(ToInt(Bound.m_Outside), 0);
  }
}

TEST(ToIntDef, GivesTheDefaultForAnyOtherText) {
  for (char const* const Text : kNoNumbers) {
    EXPECT_EQ(ToIntDef(Text, -9), -9) << Text;
  }
}

TEST(ToIntDef, ReadsThirtyTwoBits) {
  for (TCBound const& Bound : kBounds) {
    EXPECT_EQ(ToIntDef(Bound.m_Inside, 1), Bound.m_Value);
    EXPECT_EQ(ToIntDef(Bound.m_Outside, 1), 1);
  }
}

TEST(ToIntDef, DoesNotStopAtAZeroByte) {
  EXPECT_EQ(ToIntDef(std::string("5\0", 2), -9), -9);
}

TEST(StringToLong, ReadsThirtyTwoBitsOnEveryMachine) {
  for (TCBound const& Bound : kBounds) {
    bool OK = false;
    EXPECT_EQ(StringToLong(Bound.m_Inside, OK), Bound.m_Value);
    EXPECT_TRUE(OK);
    EXPECT_EQ(StringToLong(Bound.m_Outside, OK), 0);
    EXPECT_FALSE(OK);
  }
}

TEST(StringToLong, FailsForAnyOtherText) {
  for (char const* const Text : kNoNumbers) {
    bool OK = true;
    EXPECT_EQ(StringToLong(Text, OK), 0) << Text;
    EXPECT_FALSE(OK) << Text;
  }
}

TEST(StringToBigInt, ReadsSixtyFourBits) {
  for (TCBound const& Bound : kBigBounds) {
    bool OK = false;
    EXPECT_EQ(StringToBigInt(Bound.m_Inside, OK), Bound.m_Value);
    EXPECT_TRUE(OK);
    EXPECT_EQ(StringToBigInt(Bound.m_Outside, OK), 0);
    EXPECT_FALSE(OK);
  }
}

TEST(StringToBigInt, FailsForAnyOtherText) {
  for (char const* const Text : kNoNumbers) {
    bool OK = true;
    EXPECT_EQ(StringToBigInt(Text, OK), 0) << Text;
    EXPECT_FALSE(OK) << Text;
  }
}

TEST(SprintfIntoString, ReplacesTheTextAndReturnsIt) {
  std::string Text = "before";
  EXPECT_EQ(&sprintf(Text, "%d-%s", 5, "x"), &Text);
  EXPECT_EQ(Text, "5-x");
}

TEST(SprintfIntoString, TakesArgumentsFromTheStringItself) {
  std::string Text(300, 'x');
  std::string const Expected = "<" + Text + ">";
  EXPECT_EQ(sprintf(Text, "<%s>", Text.c_str()), Expected);
}

TEST(SprintfIntoString, LeavesTheOneOfTheCLibraryAlone) {
  char Buffer[8];
  EXPECT_EQ(sprintf(Buffer, "%d", 12), 2);
  EXPECT_STREQ(Buffer, "12");
}

TEST(BitString, ReadsTheCharacterAtTheIndex) {
  EXPECT_TRUE(IsBitSetInStringVector("0110", 1));
  EXPECT_TRUE(IsBitSetInStringVector("0110", 2));
  EXPECT_FALSE(IsBitSetInStringVector("0110", 0));
  EXPECT_FALSE(IsBitSetInStringVector("0110", 3));
}

TEST(BitString, IsFalseOutside) {
  EXPECT_FALSE(IsBitSetInStringVector("", 0));
  EXPECT_FALSE(IsBitSetInStringVector("1", 1));
  EXPECT_FALSE(IsBitSetInStringVector("1", -1));
  EXPECT_FALSE(IsBitSetInStringVector("1", kGreatest));
  EXPECT_FALSE(IsBitSetInStringVector("1", kLeast));
}

TEST(BitString, IsFalseForAnyOtherCharacter) {
  EXPECT_FALSE(IsBitSetInStringVector("x", 0));
  EXPECT_FALSE(IsBitSetInStringVector(std::string(1, '\1'), 0));
}

TEST(BitString, SetsAndClearsOneBit) {
  std::string Bits = "0101";
  SetBitInStringVector(Bits, 0, true);
  EXPECT_EQ(Bits, "1101");
  SetBitInStringVector(Bits, 3, false);
  EXPECT_EQ(Bits, "1100");
}

TEST(BitString, FillsUpWithZeros) {
  std::string Bits = "1";
  SetBitInStringVector(Bits, 4, true);
  EXPECT_EQ(Bits, "10001");
  SetBitInStringVector(Bits, 6, false);
  EXPECT_EQ(Bits, "1000100");
}

TEST(BitString, ANegativeBitChangesNothing) {
  std::string Bits = "01";
  SetBitInStringVector(Bits, -1, true);
  SetBitInStringVector(Bits, kLeast, true);
  EXPECT_EQ(Bits, "01");
}
