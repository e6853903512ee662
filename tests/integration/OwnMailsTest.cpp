// SPDX-License-Identifier: MIT
// What a process is told of the mails that are its own.
#include <gmock/gmock.h>

#include "tests/integration/ProcessFixture.h"
#include "tests/support/WirePeer.h"

namespace {

using testing::Each;
using testing::Not;
using testing::StartsWith;

constexpr int kProperty = 201;

struct OwnMails : TProcessFixture {
  // What `Peer` hears, up to `Last`.
  static std::vector<std::string> HearUntil(TWirePeer& Peer, std::string const& Last) {
    std::vector<std::string> Heard;
    do {
      Heard.push_back(Peer.HearOfMail());
    } while (!Heard.back().empty() && Heard.back() != Last);
    return Heard;
  }
};

TEST_F(OwnMails, AreToldByTheirLastNumberBeforeTheirAcknowledgement) {
  auto const Server = StartServer();
  TWirePeer Peer(Address());
  ASSERT_EQ(Peer.Greet(), "");
  ASSERT_TRUE(Peer.Subscribe());
  for (std::uint64_t Number = 1; Number <= 3; ++Number) {
    ASSERT_TRUE(Peer.Send(Peer.NewChange(Number, kProperty, std::to_string(Number))));
  }
  auto const Heard = HearUntil(Peer, "Acknowledged 3");
  EXPECT_THAT(Heard, Each(Not(StartsWith("Published "))));
  ASSERT_GE(Heard.size(), 2U);
  EXPECT_EQ(Heard[Heard.size() - 2], "PublishedOwn 3");
}

TEST_F(OwnMails, AreToldBeforeAnothersThatCameLater) {
  auto const Server = StartServer({"--durability", "relaxed"});
  TWirePeer Peer(Address());
  TWirePeer Other(Address());
  ASSERT_EQ(Peer.Greet(), "");
  ASSERT_EQ(Other.Greet("other"), "");
  ASSERT_TRUE(Peer.Subscribe());
  // The first value of a property is published when it is stored, later ones at once.
  ASSERT_TRUE(Peer.Send(Peer.NewChange(1, kProperty, "first")));
  EXPECT_EQ(HearUntil(Peer, "Acknowledged 1").front(), "PublishedOwn 1");
  ASSERT_TRUE(Peer.Send(Peer.NewChange(2, kProperty, "mine")));
  ASSERT_EQ(Peer.Call(Peer.NewRequestForAll()), "");  // the server has taken the change
  ASSERT_TRUE(Other.Send(Other.NewChange(1, kProperty, "theirs")));
  EXPECT_EQ(Peer.HearOfMail(), "PublishedOwn 2");
  auto const Heard = HearUntil(Peer, "Published another's 0");
  EXPECT_EQ(Heard.back(), "Published another's 0");
}

TEST_F(OwnMails, ComeThemselvesWhenTheyWereMissed) {
  auto const Server = StartServer();
  std::uint64_t Epoch = 0;
  {
    TWirePeer Peer(Address());
    ASSERT_EQ(Peer.Greet(), "");
    ASSERT_TRUE(Peer.Subscribe());
    ASSERT_TRUE(Peer.Send(Peer.NewChange(1, kProperty, "1")));
    ASSERT_EQ(Peer.HearAcknowledged(), 1U);
    Epoch = Peer.AskEpoch();
  }
  TWirePeer Returned(Address());
  ASSERT_EQ(Returned.Greet(), "");
  ASSERT_TRUE(Returned.Subscribe(Epoch, 0));
  EXPECT_EQ(Returned.HearOfMail(), "Published own 1");
}

}  // namespace
