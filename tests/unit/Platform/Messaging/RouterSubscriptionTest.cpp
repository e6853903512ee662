// SPDX-License-Identifier: MIT
// What the router sends to a subscriber, in the router's own frames.
#include <gmock/gmock.h>
#include <unistd.h>

#include <future>
#include <memory>
#include <thread>

#include "MessagingFixture.h"
#include "RouterPeer.h"
#include "tests/support/MailSender.h"

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
    auto const Frame = m_Peer.Hear();
    if (!Frame || Frame->Kind != WireKind::kPublished) {
      return -1;
    }
    return FirstNumber(
        {TestClass(), eNorvEvent, 1,
         TCNorvMailBody::FromBytes(Frame->Fields, Frame->get_Mails().at(0).Records)});
  }

  TTestServer m_Server;
  TRouterPeer m_Peer;
};

TEST_F(RouterWithoutOwner, WithholdsWhatASubscriberHasMissed) {
  m_Server.Publish(1, "secret");
  m_Server.m_Service.Close();
  m_Peer.Subscribe(m_Server.m_Router.get_Epoch(), 0);
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

// Kind, whose, number.
constexpr char kAnothers[] = "frame 8 0 0";
constexpr char kEverything[] = "frame 8 2 0";

struct RouterSubscription : TMessagingFixture {
  RouterSubscription() : m_Peer(Address()), m_Other(Address()) {
    EXPECT_EQ(m_Peer.Greet("peer"), "");
    EXPECT_EQ(m_Other.Greet("other"), "");
  }

  // What `Peer` is told next: for a published mail whose it is and its number.
  static std::string Hear(TRouterPeer& Peer) {
    auto const Frame = Peer.Hear();
    if (!Frame) {
      return "nothing";
    }
    if (Frame->Kind == WireKind::kPublished && Frame->Whose != WireWhose::kOwnKept) {
      EXPECT_EQ(Frame->Fields, TRouterPeer::kFields);
      EXPECT_EQ(Frame->get_Mails().size(), 1U);
    }
    return "frame " + std::to_string(Frame->Kind) + " " + std::to_string(Frame->Whose) + " " +
           std::to_string(Frame->Number);
  }

  // Has the service publish mail `Number` of the peer, or refuse it.
  void Publish(std::uint64_t Number, bool Refused = false) {
    m_Server.m_Router.Execute([&] {
      TSNorvReceivedMail Mail{{}, Number, OneRecord(eNorvEvent, 7)};
      Mail.Sender = NewSender("peer", geteuid());
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
  EXPECT_EQ(Hear(m_Other), kAnothers);
  m_Server.Publish(1);  // the service's own
  EXPECT_EQ(Hear(m_Other), kAnothers);
}

TEST_F(RouterSubscription, SendsAMissedOwnMailAsOwn) {
  Publish(5);
  m_Peer.Subscribe(m_Server.m_Router.get_Epoch(), 0);
  EXPECT_EQ(Hear(m_Peer), "frame 8 1 5");
}

TEST_F(RouterSubscription, GivesWhatStandsToItsSenderOnly) {
  m_Peer.Subscribe();
  m_Other.Subscribe();
  Publish(6, true);
  EXPECT_EQ(Hear(m_Peer), "frame 8 2 6");
  Publish(7);
  EXPECT_EQ(Hear(m_Other), kAnothers);
  m_Server.Publish(1);
  EXPECT_EQ(Hear(m_Peer), "frame 8 3 7");
  EXPECT_EQ(Hear(m_Peer), kAnothers);
}

TEST_F(RouterSubscription, MarksWhatBringsUpToDate) {
  m_Peer.Subscribe(m_Server.m_Router.get_Epoch() + 1, 3);
  EXPECT_EQ(Hear(m_Peer), kEverything);
}

TEST_F(RouterSubscription, BringsUpToDateWhoWasAwayWhenOthersWere) {
  m_Server.Publish(1);
  std::uint64_t Last = 0;
  m_Server.m_Router.Execute([&] {
    Last = m_Server.m_Service.get_Sequence();
    m_Server.m_Router.BringUpToDate([](TSNorvMailSender const& /*Sender*/) { return true; });
  });
  m_Peer.Subscribe(m_Server.m_Router.get_Epoch(), Last);
  EXPECT_EQ(Hear(m_Peer), kEverything);
}

TEST_F(RouterSubscription, BringsUpToDateTheOneThatWasAway) {
  m_Server.Publish(1);
  std::uint64_t Last = 0;
  m_Server.m_Router.Execute([&] {
    Last = m_Server.m_Service.get_Sequence();
    m_Server.m_Router.BringUpToDate(TSNorvSenderKey{geteuid(), "peer"});
  });
  m_Server.Publish(2);
  m_Other.Subscribe(m_Server.m_Router.get_Epoch(), Last);
  EXPECT_EQ(Hear(m_Other), kAnothers);
  m_Peer.Subscribe(m_Server.m_Router.get_Epoch(), Last);
  EXPECT_EQ(Hear(m_Peer), kEverything);
}

// ---- published mails and subscriptions that come at once ----

// Keeps the router from its sockets until its end: what has come until then it finds in one turn.
class TRouterAtWork {
 public:
  explicit TRouterAtWork(TCNorvMailRouter& Router)
      : m_Thread([this, &Router] {
          Router.Execute([this] {
            m_Begun.set_value();
            m_End.get_future().wait();
          });
        }) {
    m_Begun.get_future().wait();
  }
  ~TRouterAtWork() {
    m_End.set_value();
    m_Thread.join();
  }

 private:
  std::promise<void> m_Begun;
  std::promise<void> m_End;
  std::thread m_Thread;
};

// The numbers of its mails, behind the sequences of the mail before them and of the first.
std::string HearPublished(TRouterPeer& Peer) {
  auto const Frame = Peer.Hear();
  if (!Frame || Frame->Kind != WireKind::kPublished) {
    return "nothing";
  }
  std::string Result =
      std::to_string(Frame->Previous) + " " + std::to_string(Frame->Sequence) + ":";
  for (TSWireMail const& Mail : Frame->get_Mails()) {
    int const Number = FirstNumber(
        {TestClass(), eNorvEvent, 1, TCNorvMailBody::FromBytes(Frame->Fields, Mail.Records)});
    Result += " " + std::to_string(Number);
  }
  return Result;
}

using RouterTurn = TMessagingFixture;

// Told of the last one first, a subscriber that returns would take those before it for known.
TEST_F(RouterTurn, TellsWhoReturnsOfWhatItMissedBeforeWhatIsPublishedMeanwhile) {
  TTestServer Server(
      [](TTestService& Service) {
        Service.m_OnMail = [&Service](TSNorvReceivedMail const& Mail) {
          Service.Publish(Mail.Content, Mail);
        };
      },
      false);
  TRouterPeer Writer(Address());
  TRouterPeer Returning(Address());
  ASSERT_EQ(Writer.Greet("writer"), "");
  ASSERT_EQ(Returning.Greet("returning"), "");
  Server.Publish(1);
  {
    TRouterAtWork const Busy(Server.m_Router);
    ASSERT_TRUE(Writer.Send(TRouterPeer::NewChange(1, 2)));
    ASSERT_TRUE(Returning.Send(TRouterPeer::NewSubscription(Server.m_Router.get_Epoch(), 0)));
  }
  EXPECT_EQ(HearPublished(Returning), "0 1: 1 2");
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
    Mail.Sender = NewSender("peer", geteuid());
    m_Server.m_Service.Acknowledge(Mail);
    Mail.Number = 3;  // it was repeated, and is acknowledged again
    m_Server.m_Service.Acknowledge(Mail);
  });
  auto Frame = m_Peer.Hear();
  while (Frame && Frame->Kind != WireKind::kAcknowledged) {
    Frame = m_Peer.Hear();
  }
  ASSERT_TRUE(Frame);
  EXPECT_EQ(Frame->Number, 6U);
  EXPECT_EQ(Frame->Mailbox, kMailbox);
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(EndsWith(" does not read its mails; it will be brought up to date")));
}

}  // namespace
