// SPDX-License-Identifier: MIT
// Which peers are slowed down, and for how long. The peers have no connection: nothing is read.
#include "Platform/Messaging/Router/TCRouterThrottle.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <utility>

#include "MessagingFixture.h"
#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Messaging/Router/TCRouterWork.h"
#include "tests/support/MailSender.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct TCRouterThrottleTest : TMessagingFixture {
  TCRouterThrottleTest() { m_Limits.MailsPerSecond = kLimit; }

  TCRouterPeer& NewPeer(std::string const& Name) {
    TSNorvMailSender Sender = NewSender(Name, 1000);
    Sender.ProcessName = Name;
    Sender.Process = 7;
    return m_Peers.Add(TCFileDescriptor(), std::move(Sender), m_User);
  }

  static constexpr unsigned kLimit = 100;
  static constexpr std::uint64_t kStart = 5000000;  // microseconds
  static constexpr TCNorvEventLoop::TCTime kLong{60000000};

  TCNorvEventLoop m_Loop;
  TSNorvRouterLimits m_Limits;
  std::shared_ptr<TCRouterUser> const m_User = std::make_shared<TCRouterUser>();
  TCRouterPeers m_Peers{m_Loop, [](TCRouterPeer& /*Peer*/) {}};
  TCRouterThrottle m_Throttle{m_Peers, m_Limits};
  TCRouterPeer& m_Peer = NewPeer("writer");

  // Whether the peer is read from; from then on it is not.
  bool IsRead() {
    return m_Peer.Pause(kLong, [] {});
  }
};

TEST_F(TCRouterThrottleTest, LeavesAPeerAloneThatKeepsToTheLimit) {
  m_Throttle.CountMails(m_Peer, kLimit, kStart);
  m_Throttle.CountMails(m_Peer, kLimit, kStart + 1000000);
  EXPECT_THAT(Warnings().WaitFor(0), IsEmpty());
  EXPECT_TRUE(IsRead());
}

TEST_F(TCRouterThrottleTest, SlowsAPeerDownThatSendsTooMuch) {
  m_Throttle.CountMails(m_Peer, kLimit, kStart);
  m_Throttle.CountMails(m_Peer, 1, kStart + 999999);
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre("mail router: writer (process 7, user 1000) sends more than 100 mails a "
                          "second and is slowed down"));
  EXPECT_FALSE(IsRead());
}

TEST_F(TCRouterThrottleTest, CountsEachPeerByItself) {
  TCRouterPeer& Other = NewPeer("other");
  m_Throttle.CountMails(Other, kLimit, kStart);
  m_Throttle.CountMails(m_Peer, kLimit, kStart);
  EXPECT_TRUE(IsRead());
}

TEST_F(TCRouterThrottleTest, LeavesAUserAloneThatHasHadLittle) {
  m_User->Charge(2000, TCRouterWork::Now());
  EXPECT_EQ(TCRouterThrottle::PauseOf(*m_User), 0U);
  EXPECT_FALSE(m_Throttle.Postpone(m_Peer));
  EXPECT_TRUE(IsRead());
}

TEST_F(TCRouterThrottleTest, SlowsAPeerDownWhoseUserHasHadItsShare) {
  m_User->Charge(3600000000, TCRouterWork::Now());
  EXPECT_GT(TCRouterThrottle::PauseOf(*m_User), 3600000000U);
  EXPECT_TRUE(m_Throttle.Postpone(m_Peer));
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre("mail router: writer (process 7, user 1000) makes more work than its "
                          "user's share of the router's time and is slowed down"));
  EXPECT_FALSE(IsRead());
}

TEST_F(TCRouterThrottleTest, SlowsAPeerDownOfWhichNothingMoreCanBeStored) {
  m_Throttle.WaitABit(m_Peer);
  EXPECT_THAT(
      Warnings().WaitFor(1),
      ElementsAre("mail router: writer (process 7, user 1000) sends more than can be stored "
                  "at once and is slowed down"));
  EXPECT_FALSE(IsRead());
}

TEST_F(TCRouterThrottleTest, SaysOnceThatAPeerIsSlowedDown) {
  m_Throttle.WaitABit(m_Peer);
  m_Throttle.WaitABit(m_Peer);
  m_Throttle.CountMails(m_Peer, kLimit + 1, kStart);
  EXPECT_EQ(Warnings().WaitFor(1).size(), 1U);
}

TEST_F(TCRouterThrottleTest, ReadsFromThePeerAgainWhenItsTimeIsOver) {
  m_Throttle.WaitABit(m_Peer);
  EXPECT_TRUE(m_Loop.Turn(kLong));
  EXPECT_TRUE(IsRead());
}

TEST_F(TCRouterThrottleTest, LetsThePeerWaitForTheLongestOfItsTimes) {
  m_Throttle.WaitABit(m_Peer);
  EXPECT_FALSE(m_Peer.Pause(kLong, [] {}));
  m_Throttle.WaitABit(m_Peer);
  bool IsLater = false;
  TCNorvLoopTimer Later(m_Loop, CLOCK_MONOTONIC, [&IsLater] { IsLater = true; });
  Later.SetAfter(TCNorvEventLoop::TCTime(20000));  // when the shorter time would be over
  while (!IsLater) {
    m_Loop.Turn();
  }
  EXPECT_FALSE(IsRead());
}

}  // namespace
