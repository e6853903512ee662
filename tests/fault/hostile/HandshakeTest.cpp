// SPDX-License-Identifier: MIT
// Peers that do not get as far as a greeting: they are let go, and nobody waits for them.
#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/RawPeer.h"

namespace {

using HostileHandshake = THostileFixture;

constexpr char kEndedEarly[] = " ended before its greeting";

TEST_F(HostileHandshake, OfRandomBytesEndsAtOnce) {
  StartAll();
  TRawPeer Peer(Connect(SocketPath()));
  EXPECT_TRUE(Peer.Send(std::string(4096, '\xa5')));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EndAndExpectLogged(kEndedEarly);
}

TEST_F(HostileHandshake, OfALineWithoutEndEndsAtOnce) {
  StartAll();
  TRawPeer Peer(Connect(SocketPath()));
  Peer.Send(std::string(1, '\0') + "AUTH EXTERNAL " + std::string(std::size_t{1} << 20, '3'));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EndAndExpectLogged(kEndedEarly);
}

TEST_F(HostileHandshake, ThatDoesNotComeToItsEndIsEndedAndKeepsNobodyWaiting) {
  StartAll();
  std::string const Zero(1, '\0');
  std::vector<TRawPeer> Peers;
  for (std::string const& Bytes :
       {std::string(), Zero, Zero + "AUTH ANONYMOUS\r\n", Zero + "AUTH EXTERNAL 3432\r\n",
        Zero + "AUTH KERBEROS\r\n", Zero + "AUTH EXTERNAL\r\n", Authentication(),
        Authentication() + RawGreeting("peer").substr(0, 40)}) {
    Peers.emplace_back(Connect(SocketPath()));
    EXPECT_TRUE(Peers.back().Send(Bytes));
  }
  ExpectServed();
  ExpectNewcomerServed();
  for (TRawPeer& Peer : Peers) {
    EXPECT_TRUE(Peer.HearEnd());
  }
  ExpectServed();
  EndAndExpectLogged(kEndedEarly, static_cast<int>(Peers.size()));
}

TEST_F(HostileHandshake, ThatComesTogetherWithTheGreetingIsAnswered) {
  StartAll();
  TRawPeer Peer(Connect(SocketPath()));
  EXPECT_TRUE(Peer.GreetAtOnce("peer"));
  EXPECT_TRUE(Peer.Send(RawChange("peer", "taken").Encode()));
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileHandshake, ThatEndsInTheMiddleConcernsNobody) {
  StartAll();
  std::string const Bytes = Authentication() + RawGreeting("peer");
  int const Files = ServerFiles();
  for (std::size_t Length = 0; Length < Bytes.size(); Length += 7) {
    TRawPeer Peer(Connect(SocketPath()));
    EXPECT_TRUE(Peer.Send(Bytes.substr(0, Length)));
  }
  ExpectServed();
  ExpectNewcomerServed();
  EXPECT_LE(ServerFiles(), Files + 1);  // the newcomer's connection may not have ended yet
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

}  // namespace
