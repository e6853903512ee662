// SPDX-License-Identifier: MIT
// The examples of event loops, run with a real server: each is told of its own and others' changes.
#include <memory>
#include <string>

#include "tests/integration/ProcessFixture.h"

namespace {

/// The parameter is the program of the loop.
class EventLoop : public TProcessFixture, public testing::WithParamInterface<std::string> {
 protected:
  std::unique_ptr<TProcess> StartLoop() const {
    auto Program = std::make_unique<TProcess>(
        std::vector<std::string>{GetParam()},
        std::map<std::string, std::string>{{"MAILROUTER_ADDRESS", Address()},
                                           {"PROPERTY_OWN_MAC", kThisDevice}});
    EXPECT_EQ(Program->Hear(), "ready");
    return Program;
  }
};

std::vector<std::string> const& Programs() {
  static std::vector<std::string> const Built = {
      SETTINGS_EPOLL,
#ifdef SETTINGS_GLIB
      SETTINGS_GLIB,
#endif
  };
  return Built;
}

INSTANTIATE_TEST_SUITE_P(Programs, EventLoop, testing::ValuesIn(Programs()),
                         [](testing::TestParamInfo<std::string> const& Program) {
                           std::string const Name = Program.param;
                           return Name.substr(Name.rfind('-') + 1);
                         });

TEST_P(EventLoop, TellsAChangeOfItsOwnAndOfAnotherProcess) {
  auto const Server = StartServer();
  auto const First = StartLoop();
  auto const Second = StartLoop();
  First->Say("70");
  EXPECT_EQ(First->Hear(), "brightness 70");
  EXPECT_EQ(Second->Hear(), "brightness 70");
  Second->Say("80");
  EXPECT_EQ(First->Hear(), "brightness 80");
  EXPECT_EQ(Second->Hear(), "brightness 80");
}

TEST_P(EventLoop, TellsATransactionOnce) {
  auto const Server = StartServer();
  auto const First = StartLoop();
  auto const Second = StartLoop();
  First->Say("192.0.2.7 255.255.255.0");
  EXPECT_EQ(First->Hear(), "static 192.0.2.7/255.255.255.0");
  First->Say("70");
  EXPECT_EQ(First->Hear(), "brightness 70");
  std::string Line;
  while ((Line = Second->Hear()) != "brightness 70") {
    EXPECT_EQ(Line, "static 192.0.2.7/255.255.255.0");  // whole also where it is told in two turns
  }
}

TEST_P(EventLoop, EndsWithItsInput) {
  auto const Server = StartServer();
  EXPECT_EQ(StartLoop()->End(), 0);
}

}  // namespace
