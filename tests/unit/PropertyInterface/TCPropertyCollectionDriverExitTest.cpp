// SPDX-License-Identifier: MIT
// The end of a process whose driver lives and is busy.
#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "PropertyTestServer.h"
#include "tests/support/ChildProcess.h"

using ::testing::ElementsAre;

namespace {

constexpr char kDeviceMAC[] = "00:11:22:33:44:55";

/// Runs the program that ends while its driver lives and returns its exit status.
int RunProgram(std::string const& Way) {
  return TChildProcess({{DRIVER_EXIT_PROGRAM, Way}, {}, STDERR_FILENO, "", nullptr}).End();
}

struct TCPropertyCollectionDriverExit : ::testing::TestWithParam<char const*> {
  TCPropertyCollectionDriverExit() { setenv("PROPERTY_OWN_MAC", kDeviceMAC, 1); }

  /// Makes the server publish `Count` changes once it has the program's first change.
  void PublishAfterTheFirstChange(int Count) {
    m_Server.OnMail([this, Count] {
      if (m_Published.exchange(true)) {
        return;
      }
      for (int Number = 1; Number <= Count; ++Number) {
        m_Server.PublishHere(4, 1, {{1002, std::to_string(Number), "", kDeviceMAC}});
      }
    });
  }

  std::atomic<bool> m_Published{false};
  TPropertyTestServer m_Server;
};

}  // namespace

TEST_P(TCPropertyCollectionDriverExit, IsCleanAndDeliversWhatWasSent) {
  PublishAfterTheFirstChange(1);

  EXPECT_EQ(RunProgram(GetParam()), 0);

  EXPECT_THAT(m_Server.get_Mails(),
              ElementsAre("property v2 Change 3: {id=1001 data=\"last words\" "
                          "mac=\"00:11:22:33:44:55\" loaded=0}",
                          "property v2 Change 3: {id=1001 data=\"afterthought\" "
                          "mac=\"00:11:22:33:44:55\" loaded=0}"));
}

TEST_P(TCPropertyCollectionDriverExit, IsCleanWhileChangesArrive) {
  PublishAfterTheFirstChange(2000);

  EXPECT_EQ(RunProgram(GetParam()), 0);

  EXPECT_EQ(m_Server.get_Mails().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Ways, TCPropertyCollectionDriverExit, ::testing::Values("return", "exit"),
                         [](auto const& Info) { return std::string("By") + Info.param; });
