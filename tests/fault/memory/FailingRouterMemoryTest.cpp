// SPDX-License-Identifier: MIT
// Memory that runs out while the router takes mails costs their sender its connection at most: what
// is not taken comes again.
#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <new>
#include <string>

#include "Platform/Events/TCNorvEventLoop.h"
#include "tests/support/MailSender.h"
#include "tests/unit/CommonProperties/FailingAllocations.h"
#include "tests/unit/Platform/Messaging/MessagingFixture.h"
#include "tests/unit/Platform/Messaging/RouterPeer.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The test turns the router's loop, so that it knows when all is done.
struct FailingRouterMemory : TMessagingFixture {
  FailingRouterMemory() {
    TSNorvRouterLimits Limits;
    Limits.MailsPerSecond = 1;  // the second is one too many, and its sender is slowed down
    m_Router.SetLimits(Limits);
  }

  // Turns the loop until nothing is to do. Returns whether an allocation failed.
  bool Turn(int Successes) {
    bool HasFailed = false;
    m_Router.Execute([&] {
      TFailingAllocation const Failing(Successes);
      while (m_Router.get_Loop().Turn(TCNorvEventLoop::TCTime::zero())) {
      }
      HasFailed = Failing.HasFailed();
    });
    return HasFailed;
  }
  void Turn() { Turn(kNever); }

  TRouterPeer NewGreetedPeer(std::string const& Identity = "peer") {
    TRouterPeer Peer(Address());
    EXPECT_TRUE(Peer.Send(WireGreeting(Identity)));
    Turn();
    std::vector<TSWireFrame> const Heard = Peer.TakeHeard();
    EXPECT_EQ(Heard.size(), 1U);
    return Peer;
  }

  static void SendTwo(TRouterPeer& Peer) {
    EXPECT_TRUE(Peer.Send(TRouterPeer::NewChange(1, 1)));
    EXPECT_TRUE(Peer.Send(TRouterPeer::NewChange(2, 2)));
  }

  // Whether the router has ended the connection; `Acknowledged` is the last mail acknowledged.
  static bool HasEnded(TRouterPeer& Peer, std::uint64_t& Acknowledged) {
    for (TSWireFrame const& Frame : Peer.TakeHeard()) {
      if (Frame.Kind == WireKind::kAcknowledged) {
        Acknowledged = Frame.Number;
      }
    }
    return Peer.HasEnded();
  }

  static constexpr int kNever = 1 << 30;
  static constexpr std::chrono::seconds kPatience{10};
  static constexpr int kRounds = 10;
  TCNorvMailRouter m_Router;
};

TEST_F(FailingRouterMemory, CostsNoMailThatWaitsForItsMailbox) {
  int Ended = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    TRouterPeer Peer = NewGreetedPeer();
    SendTwo(Peer);
    HasFailed = Turn(Successes);
    TTestService Service(m_Router);
    Service.Open();
    Turn();
    std::uint64_t Acknowledged = 0;
    if (HasEnded(Peer, Acknowledged)) {
      EXPECT_THAT(Service.m_Mails.WaitFor(0), IsEmpty()) << Successes;
      ++Ended;
    } else {
      EXPECT_THAT(Service.m_Mails.WaitFor(0), ElementsAre(1, 2)) << Successes;
    }
  }
  EXPECT_GT(Ended, 3);
}

TEST_F(FailingRouterMemory, CostsNoMailOfAnOpenMailbox) {
  int Ended = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    std::uint64_t Taken = 0;
    TTestService Service(m_Router);
    Service.m_OnMail = [&Taken](TSNorvReceivedMail const& Mail) {
      EXPECT_EQ(Mail.Number, Taken + 1);
      Taken = Mail.Number;
    };
    Service.Open();
    // A name of its own: former peers are there until they would be read from again.
    TRouterPeer Peer = NewGreetedPeer("peer " + std::to_string(Successes));
    SendTwo(Peer);
    HasFailed = Turn(Successes);
    std::uint64_t Acknowledged = 0;
    bool const HasPeerEnded = HasEnded(Peer, Acknowledged);
    EXPECT_LE(Acknowledged, Taken) << Successes;
    EXPECT_TRUE(HasPeerEnded || Acknowledged == 2) << Successes;
    Ended += HasPeerEnded ? 1 : 0;
  }
  EXPECT_GT(Ended, 3);
}

// A greeting that fails ends the connection: its proxy greets again.
TEST_F(FailingRouterMemory, LeavesNobodyWithoutAnAnswerToItsGreeting) {
  int Ended = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    TRouterPeer Peer(Address());
    Turn();
    EXPECT_TRUE(Peer.Send(WireGreeting("a peer with an identity of some length")));
    HasFailed = Turn(Successes);
    bool IsGreeted = false;
    for (TSWireFrame const& Frame : Peer.TakeHeard()) {
      IsGreeted = IsGreeted || Frame.Kind == WireKind::kWelcome;
    }
    bool const HasPeerEnded = Peer.HasEnded();
    EXPECT_TRUE(HasPeerEnded || IsGreeted) << Successes;
    Ended += HasPeerEnded ? 1 : 0;
  }
  EXPECT_GT(Ended, 1);
}

// A mail is published once or not at all; who could not be told of it at once is told soon.
TEST_F(FailingRouterMemory, HasAMailPublishedOnceToEverybody) {
  TTestService Service(m_Router);
  Service.Open();
  TRouterPeer Subscriber = NewGreetedPeer();
  EXPECT_TRUE(Subscriber.Send(TRouterPeer::NewSubscription()));
  Turn();
  std::uint64_t Published = 0;
  bool HasFailedAfterPublishing = false;
  auto const PublishWith = [&](int Successes, std::size_t Bytes) {
    TSNorvMailContent const Content = OneRecord(eNorvEvent, 7, std::string(Bytes, 'x'));
    TSNorvReceivedMail Cause{{}, 1, Content};
    Cause.Sender = NewSender("another", geteuid());
    bool HasFailed = false;
    m_Router.Execute([&] {
      TFailingAllocation const Failing(Successes);
      try {
        Service.Publish(Content, Cause);
        ++Published;
        EXPECT_FALSE(Failing.HasFailed());
        Service.Acknowledge(Cause);  // before which everybody is told
        HasFailedAfterPublishing = HasFailedAfterPublishing || Failing.HasFailed();
      } catch (std::bad_alloc const&) {
        EXPECT_TRUE(Failing.HasFailed());
      }
      HasFailed = Failing.HasFailed();
    });
    EXPECT_EQ(Service.get_Sequence(), Published) << Successes;
    return HasFailed;
  };
  std::size_t Bytes = 100;
  PublishWith(kNever, Bytes);  // allocates what is needed once
  for (int Successes = 0; PublishWith(Successes, Bytes); ++Successes) {
    Bytes *= 3;  // what was allocated for the last frame is too small for the next one
  }
  EXPECT_TRUE(HasFailedAfterPublishing);
  std::uint64_t Told = 0;
  for (int Round = 0; Round < kRounds && Told < Published; ++Round) {
    m_Router.Execute([&] { m_Router.get_Loop().Turn(kPatience); });
    for (TSWireFrame const& Frame : Subscriber.TakeHeard()) {
      bool const Is = Frame.Kind == WireKind::kPublished;
      Told = Is ? Frame.Sequence + Frame.get_Mails().size() - 1 : Told;
    }
  }
  EXPECT_EQ(Told, Published);
}

}  // namespace
