// SPDX-License-Identifier: MIT
// Published mails: order, subscribers, origins, and what late subscribers have missed.
#include <gmock/gmock.h>

#include <map>
#include <optional>
#include <vector>

#include "MessagingFixture.h"
#include "Platform/Messaging/TCNorvMailFunctions.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using ProxyPublish = TMessagingFixture;

// An answer proves that the router has taken the subscription, which was sent before it.
void Subscribe(TTestProxy& Proxy) {
  Proxy.ConnectService(TestClass(), 3, false);
  ASSERT_TRUE(Proxy.AskNumber(0));
  ASSERT_TRUE(Proxy.AskNumber(0));
}

TEST_F(ProxyPublish, ReachesEverySubscriberInTheOrderOfPublishing) {
  TTestServer Server;
  TTestProxy First;
  TTestProxy Second;
  Subscribe(First);
  Subscribe(Second);
  for (int Number = 1; Number <= 200; ++Number) {
    Server.Publish(Number);
  }
  EXPECT_EQ(First.m_Mails.WaitFor(200), Numbers(1, 200));
  EXPECT_EQ(Second.m_Mails.WaitFor(200), Numbers(1, 200));
}

TEST_F(ProxyPublish, DoesNotReachAProxyThatHasNotSubscribed) {
  TTestServer Server;
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.AskNumber(0));
  Server.Publish(1);
  ASSERT_TRUE(Proxy.AskNumber(0));
  EXPECT_THAT(Proxy.m_Mails.WaitFor(0), IsEmpty());
}

TEST_F(ProxyPublish, DoesNotReachItsOrigin) {
  TTestServer Server([](TTestService& Service) {
    Service.m_OnMail = [&Service](TSNorvReceivedMail const& Mail) {
      Service.Publish(Mail.Content, Mail);
    };
  });
  TTestProxy Origin;
  TTestProxy Other;
  Subscribe(Origin);
  Subscribe(Other);
  Origin.SendNumber(1);
  Other.SendNumber(2);
  EXPECT_THAT(Other.m_Mails.WaitFor(1), ElementsAre(1));
  EXPECT_THAT(Origin.m_Mails.WaitFor(1), ElementsAre(2));
}

// What is made for one subscriber is gone when the next one's is made, perhaps at the same place.
TEST_F(ProxyPublish, GivesEverySubscriberWhatIsSelectedForIt) {
  constexpr std::size_t kSubscribers = 4;
  TTestServer Server([](TTestService& Service) {
    Service.m_OnForward = [Places = std::map<std::string, std::size_t>()](
                              TSNorvMailSender const& Subscriber,
                              TCNorvMailBody const& Body) mutable {
      std::size_t const Place = Places.emplace(Subscriber.Identity, Places.size()).first->second;
      std::vector<bool> Taken(static_cast<std::size_t>(Body.get_Count()));
      Taken.at(Place) = true;
      return TCNorvMailBody::Selected(Body, Taken);
    };
  });
  std::vector<TTestProxy> Subscribers(kSubscribers);
  for (TTestProxy& Subscriber : Subscribers) {
    Subscribe(Subscriber);
  }
  Server.m_Router.Execute([&Server] {
    TTestMail Mail(TestClass(), eNorvEvent, 1);
    for (int Number = 1; Number <= static_cast<int>(kSubscribers); ++Number) {
      Append(Mail, Number, "for one only");
    }
    Server.m_Service.Publish(Mail.get_Content(), {{}, 0, Mail.get_Content()});
  });
  std::vector<int> Received;
  for (TTestProxy& Subscriber : Subscribers) {
    auto const Mails = Subscriber.m_Mails.WaitFor(1);
    ASSERT_EQ(Mails.size(), 1U);
    Received.push_back(Mails[0]);
  }
  EXPECT_THAT(Received, UnorderedElementsAre(1, 2, 3, 4));
}

TEST_F(ProxyPublish, CarriesALargeMailToSeveralSubscribers) {
  TTestServer Server;
  TTestProxy First;
  TTestProxy Second;
  TLog<std::size_t> Sizes;
  First.m_OnMail = Second.m_OnMail = [&Sizes](TCNorvMessage const& Mail) {
    Sizes.Add(Records(Mail).at(0).second.size());
  };
  Subscribe(First);
  Subscribe(Second);
  Server.Publish(1, std::string(kLargeText, 'x'));
  EXPECT_THAT(Sizes.WaitFor(2), ElementsAre(kLargeText, kLargeText));
}

TEST_F(ProxyPublish, CatchesUpFromThePositionOfAnEarlierAnswer) {
  TTestServer Server;
  TTestProxy Proxy;
  Server.Publish(1);
  ASSERT_TRUE(Proxy.AskNumber(0));
  Server.Publish(2);
  Server.Publish(3);
  Proxy.ConnectService(TestClass(), 3, false);
  Server.Publish(4);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(3), ElementsAre(2, 3, 4));
}

TEST_F(ProxyPublish, CatchesUpFromTheFirstOfSeveralAnswers) {
  TTestServer Server;
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.AskNumber(0));
  Server.Publish(1);
  ASSERT_TRUE(Proxy.AskNumber(0));
  Proxy.ConnectService(TestClass(), 3, false);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(1), ElementsAre(1));
}

TEST_F(ProxyPublish, ContinuesWithANewRouter) {
  std::optional<TTestServer> Server;
  Server.emplace();
  TTestProxy Proxy;
  Subscribe(Proxy);
  Server->Publish(1);
  Proxy.m_Mails.WaitFor(1);
  Server.reset();
  Server.emplace();
  ASSERT_TRUE(Proxy.AskNumber(0));
  ASSERT_TRUE(Proxy.AskNumber(0));
  Server->Publish(2);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(2), ElementsAre(1, 2));
}

TEST_F(ProxyPublish, IsDeliveredAfterAHandlerHasThrown) {
  TTestServer Server;
  TTestProxy Proxy;
  Proxy.m_OnMail = [](TCNorvMessage const& Mail) {
    int const Number = Records(Mail).at(0).first;
    if (Number == 1) {
      throw std::runtime_error("handler failed");
    }
    if (Number == 2) {
      throw 2;
    }
  };
  Subscribe(Proxy);
  Server.Publish(1);
  Server.Publish(2);
  Server.Publish(3);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(1), ElementsAre(3));
  EXPECT_THAT(Errors().WaitFor(2), ElementsAre("mail handler: handler failed",
                                               "mail handler: an exception of an unknown type"));
}

TEST_F(ProxyPublish, IsHandedToTheInstalledFunctions) {
  struct THandler {
    void OnMail(TCNorvMessage const& Mail) { m_Numbers.Add(Records(Mail).at(0).first); }
    TLog<int> m_Numbers;
  } Handler;
  TCNorvMailFunctions<THandler> Functions(&Handler);
  Functions.Add(TestClass().get_ID(), &THandler::OnMail);
  TTestServer Server;
  TCNorvServiceProxy Proxy;
  Proxy.SetMailParse(Functions);
  TTestMail Request(TestClass(), eNorvRequest, 1);
  Append(Request, 0);
  ASSERT_TRUE(Proxy.SendAndWait(TestMailbox(), Request, kPatienceMilliseconds));
  Proxy.ConnectService(TestClass(), 3, false);
  Server.Publish(1);
  EXPECT_THAT(Handler.m_Numbers.WaitFor(1), ElementsAre(1));
}

TEST_F(ProxyPublish, IsTakenOneByOneAsTheLimitSays) {
  TTestServer Server;
  TTestProxy Proxy;
  Proxy.m_OnSignal = [] {};
  Subscribe(Proxy);
  Server.Publish(1);
  Server.Publish(2);
  Proxy.ProcessProxy(1, true);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(0), ElementsAre(1));
  Proxy.ProcessProxy(1, true);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(0), ElementsAre(1, 2));
}

TEST_F(ProxyPublish, CountsTheMailsOfTheEpoch) {
  TTestServer Server;
  Server.Publish(1);
  Server.Publish(2);
  std::uint64_t Sequence = 0;
  Server.m_Router.Execute([&] { Sequence = Server.m_Service.get_Sequence(); });
  EXPECT_EQ(Sequence, 2U);
}

}  // namespace
