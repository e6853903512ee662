// SPDX-License-Identifier: MIT
// The end of a process whose driver lives and is busy.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <future>

#include "PropertyTesting/TCTestServer.h"
#include "tests/support/ChildProcess.h"
#include "tests/unit/CommonProperties/StoreSchema.h"

using Property::Testing::TCTestServer;

namespace {

struct TCPropertyCollectionDriverExit : ::testing::TestWithParam<char const*> {
  TCPropertyCollectionDriverExit() { setenv("PROPERTY_OWN_MAC", TCTestServer::kDevice, 1); }

  /// Runs the program that ends while its driver lives, changes a value `Count` times once it has
  /// set one, and returns its exit status.
  int RunProgramAndChange(int Count) {
    auto Status = std::async(std::launch::async, [] {
      return TChildProcess({{DRIVER_EXIT_PROGRAM, GetParam()}, {}, STDERR_FILENO, "", nullptr})
          .End();
    });
    m_Server.WaitForValue(m_Schema.m_Name, "last words");
    for (int Number = 1; Number <= Count; ++Number) {
      m_Server.SetValue(m_Schema.m_Count, Number);
    }
    return Status.get();
  }

  TStoreSchema m_Schema;
  TCTestServer m_Server;
};

}  // namespace

TEST_P(TCPropertyCollectionDriverExit, IsCleanAndDeliversWhatWasSent) {
  EXPECT_EQ(RunProgramAndChange(1), 0);

  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "afterthought");
}

TEST_P(TCPropertyCollectionDriverExit, IsCleanWhileChangesArrive) {
  EXPECT_EQ(RunProgramAndChange(2000), 0);

  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "afterthought");
}

INSTANTIATE_TEST_SUITE_P(Ways, TCPropertyCollectionDriverExit, ::testing::Values("return", "exit"),
                         [](auto const& Info) { return std::string("By") + Info.param; });
