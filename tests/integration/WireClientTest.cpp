// SPDX-License-Identifier: MIT
// The example that speaks the wire protocol without any library, run with a real server.
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/ProcessFixture.h"

namespace {

class WireClient : public TProcessFixture {
 protected:
  std::unique_ptr<TProcess> StartPython(std::vector<std::string> Arguments) const {
    Arguments.insert(Arguments.begin(), {"python3", WIRE_CLIENT});
    return std::make_unique<TProcess>(
        Arguments, std::map<std::string, std::string>{{"MAILROUTER_ADDRESS", Address()}});
  }
};

}  // namespace

TEST_F(WireClient, SetsAValueThatTheLibraryGets) {
  auto const Server = StartServer();
  EXPECT_EQ(StartPython({"set", "201", "from Python"})->Hear(), "from Python");
  auto const Client = StartClient();
  EXPECT_EQ(Client->Ask("get 201 - -"), Hex("from Python"));
}

TEST_F(WireClient, GetsWhatTheLibraryHasSet) {
  auto const Server = StartServer();
  auto const Client = StartClient();
  Client->Ask("set 201 - - " + Hex("library"));
  EXPECT_EQ(Client->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(StartPython({"get", "201"})->Hear(), "library");
}

TEST_F(WireClient, WatchesWhatOthersChange) {
  auto const Server = StartServer();
  auto const Watching = StartPython({"watch", "2"});
  ASSERT_EQ(Watching->Hear(), "watching");
  auto const Client = StartClient();
  Client->Ask("set 201 - - " + Hex("first"));
  EXPECT_EQ(Watching->Hear(), "201 first");
  Client->Ask("set 201 - - " + Hex("second"));
  EXPECT_EQ(Watching->Hear(), "201 second");
  EXPECT_EQ(Watching->End(), 0);
}

TEST_F(WireClient, ReadsAValueThatComesInAMemoryFile) {
  auto const Server = StartServer();
  auto const Client = StartClient();
  Client->Ask("set 201 - - " + Hex(std::string(100000, 'x')));
  EXPECT_EQ(Client->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(StartPython({"get", "201"})->Hear().size(), 100000U);
}

TEST_F(WireClient, SaysWhyItIsRefused) {
  std::ofstream(File("server.toml")) << "[limits]\nconnections = 1\n";
  auto const Server = StartServer({"--config", File("server.toml")});
  auto const Client = StartClient();
  auto const Refused = StartPython({"get", "201"});
  EXPECT_EQ(Refused->End(), 1);
  EXPECT_NE(Refused->Errors().find("too many connections"), std::string::npos);
}
