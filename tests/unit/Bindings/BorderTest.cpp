// SPDX-License-Identifier: MIT
// What is thrown inside does not come out.
#include "Bindings/C/Border.h"

#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "Platform/Utility/TCException.h"

namespace {

using Property::C::Cross;
using Property::C::LastFailure;
using Property::C::TCBorderFailure;

}  // namespace

TEST(BorderTest, LetsWhatGoesWellPass) {
  EXPECT_EQ(Cross([] {}), PROPERTY_OK);
  EXPECT_STREQ(LastFailure(), "");
}

TEST(BorderTest, TurnsEachExceptionIntoAStatusAndAText) {
  EXPECT_EQ(Cross([] { throw TCBorderFailure(PROPERTY_ENDED, "over"); }), PROPERTY_ENDED);
  EXPECT_STREQ(LastFailure(), "over");
  EXPECT_EQ(Cross([] { throw TCException("test", 1).Format("broken"); }), PROPERTY_FAILED);
  EXPECT_STREQ(LastFailure(), "broken");
  EXPECT_EQ(Cross([] { throw std::logic_error("wrong"); }), PROPERTY_FAILED);
  EXPECT_STREQ(LastFailure(), "wrong");
  EXPECT_EQ(Cross([] { throw std::bad_alloc(); }), PROPERTY_NO_MEMORY);
  EXPECT_STREQ(LastFailure(), "memory has run out");
  EXPECT_EQ(Cross([] { throw 7; }), PROPERTY_FAILED);
  EXPECT_STREQ(LastFailure(), "something was thrown that is no exception");
}

TEST(BorderTest, MakesTextsFitForATerminalAndBounded) {
  EXPECT_EQ(Cross([] { throw std::logic_error("a\n\x1b" + std::string(100000, 'b')); }),
            PROPERTY_FAILED);
  std::string const Text = LastFailure();
  EXPECT_EQ(Text.substr(0, 8), "a\\n\\x1bb");
  EXPECT_LT(Text.size(), 4400U);
}
