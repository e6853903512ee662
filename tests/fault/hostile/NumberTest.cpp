// SPDX-License-Identifier: MIT
// Mail numbers that no proxy would use: what was taken is taken once, and only their sender
// suffers.
#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

constexpr int kMotto = 201;  // system-wide
constexpr std::uint64_t kHighest = UINT64_MAX;

struct HostileNumbers : THostileFixture {
  // Sends mails of these numbers, each with its place as value, and hears them acknowledged.
  void Take(TWirePeer& Peer, std::vector<std::uint64_t> const& Numbers) {
    int Place = 0;
    for (std::uint64_t const Number : Numbers) {
      EXPECT_TRUE(Peer.Send(Peer.NewChange(Number, kMotto, std::to_string(++Place))));
      EXPECT_EQ(Peer.HearAcknowledged(), Number);
    }
  }
  std::string Stored() const { return StartClient()->Ask("get 201 - -"); }
};

TEST_F(HostileNumbers, ThatRepeatAreTakenOnce) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Take(Peer, {1, 1, 1});
  ExpectServed();
  EXPECT_EQ(Stored(), Hex("1"));
}

TEST_F(HostileNumbers, ThatGoBackAreRepeats) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Take(Peer, {1, 2, 1});
  ExpectServed();
  EXPECT_EQ(Stored(), Hex("2"));
}

TEST_F(HostileNumbers, WithGapsAreTakenInTheirOrder) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Take(Peer, {5, 3, 700, 6});
  ExpectServed();
  EXPECT_EQ(Stored(), Hex("3"));
}

TEST_F(HostileNumbers, OfNothingAreNotTaken) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Take(Peer, {0});
  ExpectServed();
  EXPECT_EQ(Stored(), "-");
}

TEST_F(HostileNumbers, AtTheHighestEndConcernTheirSenderOnly) {
  StartAll();
  {
    TWirePeer Peer(Address());
    EXPECT_EQ(Peer.Greet(), "");
    Take(Peer, {kHighest - 1, kHighest, 1, kHighest});
  }
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  m_Server = StartServer();
  TWirePeer Same(Address());
  EXPECT_EQ(Same.Greet(), "");
  Take(Same, {1});
  TWirePeer Other(Address());
  EXPECT_EQ(Other.Greet("other"), "");
  ExpectServed();
  EXPECT_EQ(Stored(), Hex("2"));
  Take(Other, {1});
  EXPECT_EQ(Stored(), Hex("1"));
}

TEST_F(HostileNumbers, OfMailsInOneFrameThatOverlapAreTakenOnce) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(Peer.NewChanges(1, kMotto, {"1", "2", "3"})));
  EXPECT_EQ(Peer.HearAcknowledged(), 3U);
  EXPECT_TRUE(Peer.Send(Peer.NewChanges(2, kMotto, {"again 2", "again 3", "4"})));
  while (Peer.HearAcknowledged() != 4U && !HasFailure()) {
  }
  EXPECT_EQ(Stored(), Hex("4"));
  EXPECT_TRUE(Peer.Send(Peer.NewChanges(1, kMotto, {"again 1", "again 2"})));
  while (Peer.HearAcknowledged() != 2U && !HasFailure()) {
  }
  ExpectServed();
  EXPECT_EQ(Stored(), Hex("4"));
}

TEST_F(HostileNumbers, OfMoreMailsThanThereAreConcernTheirSenderOnly) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  std::string const Mail = TWirePeer::PackedChange(kMotto, "1");
  EXPECT_TRUE(Peer.Send(Peer.NewMails(1, UINT16_MAX, TWirePeer::kChangeFields, Mail)));
  EXPECT_EQ(Peer.HearAcknowledged(), UINT16_MAX);
  Take(Peer, {2});  // a repeat, as far as anybody can know
  ExpectServed();
  EXPECT_EQ(Stored(), "-");
  EXPECT_TRUE(Peer.Send(Peer.NewMails(kHighest - 1, 2, TWirePeer::kChangeFields, Mail + Mail)));
  EXPECT_EQ(Peer.HearAcknowledged(), kHighest);
  ExpectServed();
  EXPECT_EQ(Stored(), Hex("1"));
}

}  // namespace
