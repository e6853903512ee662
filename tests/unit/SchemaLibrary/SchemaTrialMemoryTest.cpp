// SPDX-License-Identifier: MIT
// A library that takes memory without end.
#include <gtest/gtest.h>

#include "tests/unit/SchemaLibrary/LibraryFixture.h"

namespace {

class SchemaTrialMemoryTest : public LibraryFixture {};

TEST_F(SchemaTrialMemoryTest, BoundsTheMemoryOfALibrary) {
  EXPECT_EQ(Outcome("Allocate"), "while it is loaded, more memory is needed than a trial may have");
}

}  // namespace
