// SPDX-License-Identifier: MIT
// A caller that is compiled as C.
#include "tests/unit/Bindings/CCaller.h"

#include "tests/unit/Bindings/BindingFixture.h"

namespace {

using CCallerTest = TBindingFixture;

}  // namespace

TEST_F(CCallerTest, SetsAndReadsAValueAndHearsThatItIsStored) {
  std::int32_t Read = 0;
  EXPECT_EQ(SetFromC(m_Schema.c_str(), "Brightness", 60, &Read), PROPERTY_OK)
      << property_last_error();
  EXPECT_EQ(Read, 60);
  EXPECT_EQ(m_Server.FindValue(Field(kBrightness)), "60");
}

TEST_F(CCallerTest, IsToldWhatFails) {
  std::int32_t Read = 0;
  EXPECT_EQ(SetFromC(m_Schema.c_str(), "Mode", 60, &Read), PROPERTY_WRONG_TYPE);
  EXPECT_EQ(SetFromC(m_Schema.c_str(), "NoSuchName", 60, &Read), PROPERTY_NOT_FOUND);
  EXPECT_EQ(SetFromC("/nowhere", "Brightness", 60, &Read), PROPERTY_OTHER_STORE);
}
