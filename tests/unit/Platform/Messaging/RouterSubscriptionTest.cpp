// SPDX-License-Identifier: MIT
// What the router sends to a subscriber, in the router's own messages.
#include <gmock/gmock.h>
#include <unistd.h>

#include "MessagingFixture.h"
#include "RouterPeer.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;

// Who may have a published mail is for the mailbox's owner to say, so nobody gets one without it.
struct RouterWithoutOwner : TMessagingFixture {
  RouterWithoutOwner()
      : m_Server([](TTestService& Service) {
          Service.m_OnForward = [](auto const& /*Subscriber*/, auto const& /*Body*/) {
            return nullptr;
          };
          Service.m_CatchUp = 9;
        }),
        m_Peer(Address()) {
    EXPECT_EQ(m_Peer.Greet(), "");
  }

  // The first number of the next published mail.
  int HearNumber() {
    TCBusMessage const Signal = m_Peer.HearSignal();
    EXPECT_TRUE(Signal);
    EXPECT_STREQ(sd_bus_message_get_member(Signal.get()), MailWire::kPublished);
    EXPECT_GE(sd_bus_message_skip(Signal.get(), "tttyt"), 0);
    return FirstNumber(MailWire::ReadMail(Signal.get(), TestClass()));
  }

  TTestServer m_Server;
  TRouterPeer m_Peer;
};

TEST_F(RouterWithoutOwner, WithholdsWhatASubscriberHasMissed) {
  m_Server.Publish(1, "secret");
  m_Server.m_Service.Close();
  m_Peer.Subscribe({m_Server.m_Router.get_Epoch(), 0});
  m_Server.m_Service.Open();
  EXPECT_EQ(HearNumber(), 9);
}

TEST_F(RouterWithoutOwner, WithholdsWhatIsPublished) {
  m_Peer.Subscribe();
  m_Server.m_Service.Close();
  m_Server.Publish(1, "secret");
  m_Server.m_Service.Open();
  EXPECT_EQ(HearNumber(), 9);
}

// ---- whose a published mail is ----

struct RouterSubscription : TMessagingFixture {
  RouterSubscription() : m_Peer(Address()), m_Other(Address()) {
    EXPECT_EQ(m_Peer.Greet("peer"), "");
    EXPECT_EQ(m_Other.Greet("other"), "");
  }

  // What `Peer` is told next: for a published mail whose it is and its number.
  static std::string Hear(TRouterPeer& Peer) {
    TCBusMessage const Signal = Peer.HearSignal();
    if (!Signal) {
      return "nothing";
    }
    std::string const Member = sd_bus_message_get_member(Signal.get());
    if (Member != MailWire::kPublished) {
      return Member;
    }
    std::uint8_t Whose = 0;
    std::uint64_t Number = 0;
    EXPECT_STREQ(sd_bus_message_get_signature(Signal.get(), 1), "tttytiia(uisv)");
    EXPECT_GE(sd_bus_message_skip(Signal.get(), "ttt"), 0);
    EXPECT_GE(sd_bus_message_read(Signal.get(), "yt", &Whose, &Number), 0);
    return Member + " " + std::to_string(Whose) + " " + std::to_string(Number);
  }

  // Has the service publish mail `Number` of the peer, or refuse it.
  void Publish(std::uint64_t Number, bool Refused = false) {
    m_Server.m_Router.Execute([&] {
      TSNorvReceivedMail Mail{{}, Number, OneRecord(eNorvEvent, 7)};
      Mail.Sender.User = geteuid();
      Mail.Sender.Identity = "peer";
      Refused ? m_Server.m_Service.Restore(Mail, Mail.Content)
              : m_Server.m_Service.Publish(Mail.Content, Mail);
    });
  }

  TTestServer m_Server{[](TTestService& Service) { Service.m_CatchUp = 9; }};
  TRouterPeer m_Peer;
  TRouterPeer m_Other;
};

TEST_F(RouterSubscription, TellsNobodyWhoseAnothersMailIs) {
  m_Other.Subscribe();
  Publish(5);
  EXPECT_EQ(Hear(m_Other), "Published 0 0");
  m_Server.Publish(1);  // the service's own
  EXPECT_EQ(Hear(m_Other), "Published 0 0");
}

TEST_F(RouterSubscription, SendsAMissedOwnMailAsOwn) {
  Publish(5);
  m_Peer.Subscribe({m_Server.m_Router.get_Epoch(), 0});
  EXPECT_EQ(Hear(m_Peer), "Published 1 5");
}

TEST_F(RouterSubscription, GivesWhatStandsToItsSenderOnly) {
  m_Peer.Subscribe();
  m_Other.Subscribe();
  Publish(6, true);
  EXPECT_EQ(Hear(m_Peer), "Published 2 6");
  Publish(7);
  EXPECT_EQ(Hear(m_Other), "Published 0 0");
  m_Server.Publish(1);
  EXPECT_EQ(Hear(m_Peer), "PublishedOwn");
  EXPECT_EQ(Hear(m_Peer), "Published 0 0");
}

TEST_F(RouterSubscription, MarksWhatBringsUpToDate) {
  m_Peer.Subscribe({m_Server.m_Router.get_Epoch() + 1, 3});
  EXPECT_EQ(Hear(m_Peer), "Published 2 0");
}

TEST_F(RouterSubscription, BringsUpToDateWhoWasAwayWhenOthersWere) {
  m_Server.Publish(1);
  std::uint64_t Last = 0;
  m_Server.m_Router.Execute([&] {
    Last = m_Server.m_Service.get_Sequence();
    m_Server.m_Router.BringUpToDate([](TSNorvMailSender const& /*Sender*/) { return true; });
  });
  m_Peer.Subscribe({m_Server.m_Router.get_Epoch(), Last});
  EXPECT_EQ(Hear(m_Peer), "Published 2 0");
}

TEST_F(RouterSubscription, BringsUpToDateTheOneThatWasAway) {
  m_Server.Publish(1);
  std::uint64_t Last = 0;
  m_Server.m_Router.Execute([&] {
    Last = m_Server.m_Service.get_Sequence();
    m_Server.m_Router.BringUpToDate(TSNorvSenderKey{geteuid(), "peer"});
  });
  m_Server.Publish(2);
  m_Other.Subscribe({m_Server.m_Router.get_Epoch(), Last});
  EXPECT_EQ(Hear(m_Other), "Published 0 0");
  m_Peer.Subscribe({m_Server.m_Router.get_Epoch(), Last});
  EXPECT_EQ(Hear(m_Peer), "Published 2 0");
}

// ---- subscribers that do not keep up ----

TEST_F(RouterSubscription, KnowsThatASubscriberIsBehindUntilItIsUpToDate) {
  TCNorvMailRouter& Router = m_Server.m_Router;
  m_Peer.Subscribe();
  Router.Execute([&] {
    EXPECT_FALSE(Router.IsBehind(getpid()));
    Router.BringUpToDate([](auto const& /*Sender*/) { return true; });
    EXPECT_TRUE(Router.IsBehind(getpid()));
    EXPECT_FALSE(Router.IsBehind(getpid() + 1));
  });
  m_Peer.AwaitRouter();
  m_Peer.AwaitRouter();
  Router.Execute([&] { EXPECT_FALSE(Router.IsBehind(getpid())); });
}

TEST_F(RouterSubscription, KeepsTheHighestAcknowledgementForASubscriberThatIsBehind) {
  m_Peer.Subscribe();
  m_Server.m_Router.Execute([this] {
    for (int Number = 1; Number <= 600; ++Number) {  // more than the system and the router keep
      m_Server.Publish(Number, std::string(60000, 'x'));
    }
    TSNorvReceivedMail Mail{{}, 6, OneRecord(eNorvEvent, 7)};
    Mail.Sender.User = geteuid();
    Mail.Sender.Identity = "peer";
    m_Server.m_Service.Acknowledge(Mail);
    Mail.Number = 3;  // it was repeated, and is acknowledged again
    m_Server.m_Service.Acknowledge(Mail);
  });
  TCBusMessage Signal = m_Peer.HearSignal();
  while (Signal && sd_bus_message_is_signal(Signal.get(), nullptr, MailWire::kAcknowledged) <= 0) {
    Signal = m_Peer.HearSignal();
  }
  ASSERT_TRUE(Signal);
  std::uint64_t Number = 0;
  EXPECT_GE(sd_bus_message_read(Signal.get(), "t", &Number), 0);
  EXPECT_EQ(Number, 6U);
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(EndsWith(" does not read its mails; it will be brought up to date")));
}

}  // namespace
