// SPDX-License-Identifier: MIT
// Processes of another user: they get what the configuration says, by default nothing.
#include <fcntl.h>
#include <sys/stat.h>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/fault/hostile/RawPeer.h"
#include "tests/integration/WirePeer.h"

namespace {

constexpr uid_t kNobody = 65534;

struct OtherUser : THostileFixture {
  // The test's folder is private; the server's socket is not.
  void OpenFolder() const { EXPECT_EQ(chmod(m_Folder.c_str(), 0755), 0); }
  TCFileDescriptor ConnectAsNobody() const { return ConnectAs(SocketPath(), kNobody); }
};

TEST_F(OtherUser, WhoConnectsIsRefusedAndToldWhoCanHelp) {
  StartAll();
  OpenFolder();
  TWirePeer Peer(ConnectAsNobody());
  std::string const Answer = Peer.Greet();
  EXPECT_EQ(Answer.substr(0, Answer.find(':')), "mailrouter.Error.Refused");
  EXPECT_NE(Answer.find("user 65534) may not use this router; its administrator can allow it"),
            std::string::npos)
      << Answer;
  EXPECT_EQ(Peer.Call(Peer.NewRequestForAll()),
            "mailrouter.Error.Refused: a mail before the greeting");
  ExpectServed();
  EndAndExpectLogged("user 65534) may not use this router; its administrator can allow it");
}

TEST_F(OtherUser, WhoClaimsToBeRootIsNotBelieved) {
  StartAll();
  OpenFolder();
  TRawPeer Peer(ConnectAsNobody());
  EXPECT_TRUE(Peer.Send(std::string(1, '\0') + "AUTH EXTERNAL 30\r\nBEGIN\r\n" +
                        RawGreeting("peer") + RawChange("peer", "taken").Encode()));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
  EndAndExpectLogged("user 65534) ended before its greeting");
}

TEST_F(OtherUser, WhoSendsDescriptorsLeavesNoneBehind) {
  StartAll();
  OpenFolder();
  ExpectServed();
  int const Files = ServerFiles();
  TCFileDescriptor const Null(open("/dev/null", O_RDONLY | O_CLOEXEC));
  TSRawCall Call = RawChange("peer", "taken");
  Call.Files = 1;
  for (int Number = 0; Number < 3; ++Number) {
    TRawPeer Peer(ConnectAsNobody());
    EXPECT_TRUE(Peer.Authenticate());
    Peer.Send(Call.Encode(), std::vector<int>(250, Null.get()));
    EXPECT_TRUE(Peer.HearEnd());
  }
  ExpectServed();
  EXPECT_EQ(ServerFiles(), Files);
}

TEST_F(OtherUser, WhoOpensAThousandConnectionsKeepsNobodyOut) {
  StartAll();
  OpenFolder();
  {
    std::vector<TRawPeer> Peers;
    for (int Number = 0; Number < 1000; ++Number) {
      Peers.emplace_back(ConnectAsNobody());
    }
    ExpectServed();
    ExpectNewcomerServed();
    EXPECT_TRUE(Peers.back().HearEnd());
  }
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  int const Lines =
      CountLines(m_Server->Errors(), "too many connections: 16 of user 65534 (at most 16)");
  EXPECT_GE(Lines, 1) << m_Server->Errors();
  EXPECT_LE(Lines, 100);
}

TEST_F(OtherUser, WritesWhatARuleAllowsAndNothingElse) {
  StartAll(
      Configure("[[rule]]\nproperties = [201]\nread = [\"user:65534\"]\n"
                "write = [\"user:65534\"]\n"));
  OpenFolder();
  TWirePeer Peer(ConnectAsNobody());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(Peer.NewChange(1, 101, "not allowed", "1", kThisDevice)));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  EXPECT_TRUE(Peer.Send(Peer.NewChange(2, 201, "allowed")));
  EXPECT_EQ(Peer.HearAcknowledged(), 2U);
  EXPECT_EQ(m_Reader->Ask("await"), "201 - - " + Hex("allowed"));
  EXPECT_EQ(StartClient()->Ask("exist 101 1 -"), "no");
  ExpectServed();
  EndAndExpectLogged("user 65534) refused: user 65534 may not write property 101");
}

}  // namespace
