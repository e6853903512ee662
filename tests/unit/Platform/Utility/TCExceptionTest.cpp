// SPDX-License-Identifier: MIT
// What an exception carries, and that its copies keep it.
#include "Platform/Utility/TCException.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>
#include <utility>

namespace {

static_assert(std::is_base_of_v<std::exception, TCException>);
static_assert(std::is_nothrow_copy_constructible_v<TCException>);
static_assert(std::is_nothrow_copy_assignable_v<TCException>);

char const kSource[] = "../CommonProperties/TCPropertyID";

}  // namespace

TEST(TCException, CarriesSourceLineAndCondition) {
  TCException const Failure(kSource, 82, "m_Instance==__null");
  EXPECT_EQ(Failure.get_Source(), kSource);
  EXPECT_EQ(Failure.get_Line(), 82);
  EXPECT_EQ(Failure.get_Condition(), "m_Instance==__null");
  EXPECT_EQ(Failure.get_Message(), "");
}

TEST(TCException, HasNoConditionUnlessGiven) {
  TCException const Failure(kSource, 5);
  EXPECT_EQ(Failure.get_Line(), 5);
  EXPECT_EQ(Failure.get_Condition(), "");
  EXPECT_STREQ(Failure.what(), "");
}

TEST(TCException, FormatsItsMessage) {
  TCException Failure(kSource, 1, "a<b");
  EXPECT_EQ(&Failure.Format("%s has %d of %lld", "it", 3, 5000000000LL), &Failure);
  EXPECT_EQ(Failure.get_Message(), "it has 3 of 5000000000");
  EXPECT_EQ(Failure.get_Condition(), "a<b");
}

TEST(TCException, FormatsALongMessageWhole) {
  std::string const Long(100000, 'x');
  EXPECT_EQ(TCException(kSource, 1).Format("<%s>", Long.c_str()).get_Message(), "<" + Long + ">");
}

TEST(TCException, FormatsMessagesOfEveryLengthAroundOneBuffer) {
  for (std::size_t Length = 250; Length < 260; ++Length) {
    std::string const Text(Length, 'x');
    EXPECT_EQ(TCException(kSource, 1).Format("%s", Text.c_str()).get_Message(), Text);
  }
}

TEST(TCException, FormatsFromItsOwnMessage) {
  TCException Failure(kSource, 1);
  Failure.Format("inner");
  Failure.Format("outer: %s", Failure.what());
  EXPECT_EQ(Failure.get_Message(), "outer: inner");
}

TEST(TCException, WhatIsTheMessageElseTheCondition) {
  TCException Failure(kSource, 1, "a<b");
  EXPECT_STREQ(Failure.what(), "a<b");
  Failure.Format("too small");
  EXPECT_STREQ(Failure.what(), "too small");
}

TEST(TCException, IsFormattedAndThrownInOneExpression) {
  try {
    throw TCException(kSource, 7, "cond").Format("text %s", std::string("arg").c_str());
  } catch (std::exception const& Caught) {
    EXPECT_STREQ(Caught.what(), "text arg");
    auto const* const Failure = dynamic_cast<TCException const*>(&Caught);
    ASSERT_NE(Failure, nullptr);
    EXPECT_EQ(Failure->get_Source(), kSource);
    EXPECT_EQ(Failure->get_Line(), 7);
    EXPECT_EQ(Failure->get_Condition(), "cond");
    EXPECT_EQ(Failure->get_Message(), "text arg");
  }
}

TEST(TCException, ACopyKeepsItsMessageWhenTheOriginalIsFormattedAgain) {
  TCException Original(kSource, 1);
  Original.Format("first");
  TCException const Copy = Original;
  Original.Format("second");
  EXPECT_EQ(Copy.get_Message(), "first");
  EXPECT_EQ(Original.get_Message(), "second");
}

TEST(TCException, StaysWholeWhenMovedFrom) {
  TCException Original(kSource, 1, "a<b");
  TCException const Moved = std::move(Original);
  EXPECT_EQ(Original.get_Condition(), "a<b");
  EXPECT_EQ(Moved.get_Condition(), "a<b");
}
