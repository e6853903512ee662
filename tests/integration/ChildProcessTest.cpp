// SPDX-License-Identifier: MIT
// The processes of the tests are started like a user's.
#include <csignal>

#include "tests/integration/ProcessFixture.h"

namespace {

TEST(ChildProcess, DiesOfTheSignalThatTheTestsThemselvesIgnore) {
  TProcess Child({"/bin/sh", "-c", "kill -PIPE $$"}, {});
  EXPECT_EQ(Child.End(), -SIGPIPE);
}

}  // namespace
