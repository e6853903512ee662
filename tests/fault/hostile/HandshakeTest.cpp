// SPDX-License-Identifier: MIT
// Peers that do not get as far as a greeting: they are let go, and nobody waits for them.
#include <fcntl.h>
#include <sys/socket.h>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

using HostileHandshake = THostileFixture;

constexpr char kEndedEarly[] = " ended before its greeting";

TEST_F(HostileHandshake, OfRandomBytesEndsAtOnce) {
  StartAll();
  TFramePeer Peer(Address());
  EXPECT_TRUE(Peer.SendBytes(std::string(4096, '\xa5')));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EndAndExpectLogged(kEndedEarly);
}

TEST_F(HostileHandshake, OfAnEmptyPacketEndsAtOnce) {
  StartAll();
  TFramePeer Peer(Address());
  EXPECT_TRUE(Peer.SendBytes(""));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EndAndExpectLogged(kEndedEarly);
}

TEST_F(HostileHandshake, OfMoreThanAFrameEndsAtOnce) {
  StartAll();
  TFramePeer Peer(Address());
  EXPECT_TRUE(Peer.SendBytes(WireGreeting("peer").Encode() + std::string(kWireFrameLimit, 'x')));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EndAndExpectLogged(kEndedEarly);
}

// A socket of another kind does not get in at all.
TEST_F(HostileHandshake, OnAStreamIsNone) {
  StartAll();
  TCFileDescriptor const Stream(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  EXPECT_FALSE(ConnectTo(Stream.get(), SocketPath()));
  EXPECT_EQ(errno, EPROTOTYPE);
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

// Frames are whole or they are none: half of one ends its connection, silence does later.
TEST_F(HostileHandshake, ThatDoesNotComeToItsEndIsEndedAndKeepsNobodyWaiting) {
  StartAll();
  std::string const Greeting = WireGreeting("peer").Encode();
  std::vector<TFramePeer> Peers;
  for (std::size_t const Length : {0UL, 1UL, 55UL, 56UL, 60UL, Greeting.size() - 1}) {
    Peers.emplace_back(Address());
    if (Length > 0) {
      EXPECT_TRUE(Peers.back().SendBytes(Greeting.substr(0, Length)));
    }
  }
  ExpectServed();
  ExpectNewcomerServed();
  for (TFramePeer& Peer : Peers) {
    EXPECT_TRUE(Peer.HearEnd());
  }
  ExpectServed();
  EndAndExpectLogged(kEndedEarly, static_cast<int>(Peers.size()));
}

TEST_F(HostileHandshake, ThatComesTogetherWithTheFirstMailsIsAnsweredBeforeThem) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_TRUE(Peer.Send(WireGreeting("peer")));
  EXPECT_TRUE(Peer.Send(TWirePeer::NewChange(1, 201, "taken")));
  auto const First = Peer.Hear();
  ASSERT_TRUE(First);
  EXPECT_EQ(First->Kind, WireKind::kWelcome);
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileHandshake, ThatEndsInTheMiddleConcernsNobody) {
  StartAll();
  std::string const Greeting = WireGreeting("peer").Encode();
  ExpectServed();
  int const Files = ServerFiles();
  for (std::size_t Length = 1; Length < Greeting.size(); Length += 3) {
    TFramePeer Peer(Address());
    EXPECT_TRUE(Peer.SendBytes(Greeting.substr(0, Length)));
  }
  ExpectServed();
  ExpectNewcomerServed();
  EXPECT_LE(ServerFiles(), Files + 1);  // the newcomer's connection may not have ended yet
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileHandshake, ThatClosesHalfOfItsConnectionIsLetGo) {
  StartAll();
  int const Files = ServerFiles();
  for (int const Half : {SHUT_WR, SHUT_RDWR}) {
    TWirePeer Greeted(Address());
    EXPECT_EQ(Greeted.Greet(), "");
    EXPECT_EQ(shutdown(Greeted.get_Socket(), Half), 0);
    EXPECT_TRUE(Greeted.HearEnd());
    TWirePeer Silent(Address());
    EXPECT_EQ(shutdown(Silent.get_Socket(), Half), 0);
    EXPECT_TRUE(Silent.HearEnd());
  }
  ExpectServed();
  ExpectServed();
  EXPECT_LE(ServerFiles(), Files);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

// ---- what is sent before it costs nothing ----

TEST_F(HostileHandshake, WithDescriptorsBeforeItLeavesNoneBehind) {
  StartAll();
  ExpectServed();
  int const Files = ServerFiles();
  TCFileDescriptor const Null(open("/dev/null", O_RDONLY | O_CLOEXEC));
  for (std::size_t const Count : {1U, 2U, 253U}) {
    TWirePeer Peer(Address());
    EXPECT_TRUE(Peer.SendBytes(WireGreeting("peer").Encode(), std::vector<int>(Count, Null.get())));
    EXPECT_TRUE(Peer.HearEnd());
  }
  ExpectServed();
  EXPECT_EQ(ServerFiles(), Files);
  EndAndExpectLogged(kEndedEarly, 3);
}

// Each leaves as much as its socket takes.
TEST_F(HostileHandshake, ThatIsPrecededByTheLargestFramesTakesNoMemory) {
  StartAll();
  ExpectServed();
  long const Before = ServerMemory();
  std::string Largest = TWirePeer::NewOwnerlessMail().Encode();
  Largest.resize(kWireFrameLimit, 'x');
  std::vector<TWirePeer> Peers;
  for (int Number = 0; Number < 200 / kShare; ++Number) {
    Peers.emplace_back(Address());
    for (int Frame = 0; Frame < 5; ++Frame) {
      Peers.back().SendBytes(Largest);
    }
  }
  ExpectServed();
  ExpectNewcomerServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

}  // namespace
