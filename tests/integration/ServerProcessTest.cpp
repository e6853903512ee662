// SPDX-License-Identifier: MIT
// The server as a program: options, refusals to start, traces, its end.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "tests/integration/ProcessFixture.h"

namespace {

using testing::HasSubstr;
using ServerProcess = TProcessFixture;

TEST_F(ServerProcess, PrintsHelpAndVersion) {
  auto const Help = Start({SERVER_PROGRAM, "--help"});
  EXPECT_EQ(Help->Hear(),
            "Keeps the properties of this device and tells its processes what changes.");
  EXPECT_EQ(Help->End(), 0);
  auto const Version = Start({SERVER_PROGRAM, "--version"});
  EXPECT_THAT(Version->Hear(), testing::MatchesRegex("property-server [0-9]+.[0-9]+.[0-9]+"));
  EXPECT_EQ(Version->End(), 0);
}

TEST_F(ServerProcess, RefusesAnUnknownOption) {
  auto const Server = Start({SERVER_PROGRAM, "--colour"});
  EXPECT_EQ(Server->End(), 2);
  EXPECT_THAT(Server->Errors(), HasSubstr("--colour"));
}

TEST_F(ServerProcess, RefusesAFileThatIsNoDatabaseAndLeavesItAlone) {
  std::string const Text(5000, 'x');
  std::ofstream(File("values.db")) << Text;
  auto const Server = Start(ServerCommand());
  EXPECT_EQ(Server->End(), 1);
  EXPECT_THAT(Server->Errors(), HasSubstr(File("values.db")));
  EXPECT_EQ(std::filesystem::file_size(File("values.db")), Text.size());
}

TEST_F(ServerProcess, DoesNotShareItsDatabase) {
  auto const First = StartServer();
  auto const Second = Start({SERVER_PROGRAM, "--address", "unix:path=" + File("second"),
                             "--database", File("values.db")});
  EXPECT_EQ(Second->End(), 1);
  EXPECT_THAT(Second->Errors(), HasSubstr(File("values.db")));
}

TEST_F(ServerProcess, ReplacesTheSocketOfOneThatWasKilled) {
  StartServer()->End(SIGKILL);
  EXPECT_TRUE(std::filesystem::exists(File("socket")));
  auto const Second = StartServer();
  EXPECT_EQ(StartClient()->Ask("get 102 - -"), Hex("5"));
}

TEST_F(ServerProcess, LeavesAFileAloneThatIsInTheSocketsPlace) {
  std::ofstream(File("socket")) << "text";
  auto const Server = Start(ServerCommand());
  EXPECT_EQ(Server->End(), 1);
  EXPECT_EQ(Server->Errors(), "property-server: cannot listen at " + File("socket") +
                                  ": a file that is no socket is in the way\n");
  EXPECT_EQ(std::filesystem::file_size(File("socket")), 4U);
}

TEST_F(ServerProcess, EndsCleanlyOnSigterm) {
  auto const Server = StartServer();
  auto const Client = StartClient();
  EXPECT_EQ(Server->End(SIGTERM), 0);
  EXPECT_FALSE(std::filesystem::exists(File("socket")));
  EXPECT_EQ(Client->Ask("get 102 - -"), Hex("5"));
}

TEST_F(ServerProcess, TracesEveryMail) {
  auto const Server = StartServer({"--trace"});
  auto const Client = StartClient();
  Client->Ask("set 102 4 - " + Hex("6"));
  EXPECT_THAT(Server->Hear(), HasSubstr("property v2 Request 1: {action=1}"));
  EXPECT_THAT(Server->Hear(), HasSubstr("property v2 Change 1:"));
  std::string const Record = "{id=102 data=\"6\" link=\"4\" mac=\"02:00:00:00:00:01\" loaded=0}";
  EXPECT_THAT(Server->Hear(), HasSubstr("property v2 Change 3: " + Record));
  EXPECT_THAT(Server->Hear(), HasSubstr("property v2 Event 1: " + Record));
}

}  // namespace
