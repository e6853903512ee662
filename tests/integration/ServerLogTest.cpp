// SPDX-License-Identifier: MIT
// What the server writes for people to read: on one line each, harmless, and without secrets.
#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

#include "tests/integration/ProcessFixture.h"
#include "tests/support/WirePeer.h"

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char kNastyText[] = "a\nb\x1b[31m\xff";
constexpr char kNastyTextAsShown[] = "a\\nb\\x1b[31m\\xff";

class ServerLog : public TProcessFixture {
 protected:
  std::vector<std::string> Configure(std::string const& Text) const {
    std::ofstream(File("server.toml")) << Text;
    return {"--trace", "--config", File("server.toml")};
  }

  // The server's next line, if it is about `What`.
  static std::string Traced(TProcess& Server, std::string const& What) {
    std::string const Line = Server.Hear();
    EXPECT_THAT(Line, testing::StartsWith(What));
    return Line;
  }
};

TEST_F(ServerLog, TracesTextsOnOneLineAndHarmless) {
  auto const Server = StartServer({"--trace"});
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(Peer.NewChange(1, 201, "a\nb\x1b[31m\xe2\x80\xae\xc3\xa9\\n")));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  std::string const Shown = "data=\"a\\nb\\x1b[31m\\xe2\\x80\\xae\xc3\xa9\\n\"";
  EXPECT_THAT(Traced(*Server, "received "), HasSubstr(Shown));
  EXPECT_THAT(Traced(*Server, "published "), HasSubstr(Shown));
}

TEST_F(ServerLog, NamesAProcessHarmlessly) {
  ASSERT_EQ(prctl(PR_SET_NAME, "a\x1b[31m\xff\tb"), 0);
  auto const Server = StartServer(Configure("[limits]\nvalue_bytes = 4\n"));
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(Peer.NewChange(1, 201, "12345")));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  // As the system's library or this one writes a character that is obeyed.
  std::string const Shown = R"(a\\(033|x1b)\[31m\\(377|xff)\\tb)";
  EXPECT_THAT(Traced(*Server, "received "), testing::ContainsRegex("^received " + Shown));
  EXPECT_EQ(Server->End(SIGTERM), 0);
  EXPECT_THAT(Server->Errors(), testing::ContainsRegex("Change of " + Shown + " \\(process " +
                                                       std::to_string(getpid()) + ", user "));
}

TEST_F(ServerLog, ShowsNoTextOfASecret) {
  std::ofstream(File("server.toml")) << "secret = [201]\n[limits]\nvalue_bytes = 12\n";
  TProcess Server(ServerCommand({"--trace", "--config", File("server.toml")}),
                  {{"PROPERTY_DEBUG", "all"}});
  Traced(Server, "ready: ");
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Subscribe());
  EXPECT_TRUE(Peer.Send(Peer.NewChange(1, 201, "hidden")));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  EXPECT_TRUE(Peer.Send(Peer.NewChange(2, 201, "hidden and too large")));
  EXPECT_EQ(Peer.HearAcknowledged(), 2U);
  EXPECT_EQ(Peer.Call(Peer.NewRequestForAll()), "");
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), Hex("hidden"));
  EXPECT_EQ(Server.End(SIGTERM), 0);
  std::string const Traces = Server.Rest();
  EXPECT_THAT(Traces, HasSubstr("id=201 data=\"(secret)\""));
  for (char const* const What : {"received ", "published ", "restored ", "answered "}) {
    EXPECT_THAT(Traces, HasSubstr(What));
  }
  EXPECT_THAT(Traces, Not(HasSubstr("hidden")));
  EXPECT_THAT(Server.Errors(), HasSubstr("refused: property 201 has 20 bytes"));
  EXPECT_THAT(Server.Errors(), Not(HasSubstr("hidden")));
}

// A request may carry a text as well, although no server looks at it.
TEST_F(ServerLog, ShowsNoTextOfASecretThatIsAskedFor) {
  auto const Server = StartServer(Configure("secret = [201]\n"));
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  constexpr unsigned kNumberDataLinkAndMAC = 15;
  TSWireFrame Request = Peer.NewRequest();
  Request.Add(1, 2, TWirePeer::ChangeRecord(201, "hidden", "", "", kNumberDataLinkAndMAC));
  EXPECT_EQ(Peer.Call(Request), "");
  EXPECT_THAT(Traced(*Server, "received "), HasSubstr("{id=201 data=\"(secret)\""));
}

TEST_F(ServerLog, SaysOfAFileWithANastyNameWhatIsWrong) {
  auto const Check = Start({SERVER_PROGRAM, "--check", File(kNastyText)});
  EXPECT_EQ(Check->End(), 1);
  EXPECT_THAT(Check->Errors(), HasSubstr(File(kNastyTextAsShown)));
  EXPECT_THAT(Check->Errors(), Not(HasSubstr(kNastyText)));
}

TEST_F(ServerLog, SaysOfAnOptionWithANastyNameWhatIsWrong) {
  auto const Server = Start({SERVER_PROGRAM, std::string("--") + kNastyText});
  EXPECT_EQ(Server->End(), 2);
  EXPECT_THAT(Server->Errors(), HasSubstr(kNastyTextAsShown));
}

TEST_F(ServerLog, PrintsAStatusOfHarmlessTexts) {
  auto const Server =
      Start({SERVER_PROGRAM, "--address", Address(), "--database", File(kNastyText)});
  EXPECT_THAT(Traced(*Server, "ready: "), HasSubstr(kNastyTextAsShown));
  auto const Status = Start({SERVER_PROGRAM, "--address", Address(), "--status"});
  EXPECT_EQ(Status->End(), 0);
  EXPECT_THAT(Status->Rest(), HasSubstr(File(kNastyTextAsShown) + "\n"));
}

}  // namespace
