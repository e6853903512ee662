// SPDX-License-Identifier: MIT
// Subscribers that have missed more than the router keeps are brought up to date by the service.
#include <gmock/gmock.h>

#include <optional>

#include "MessagingFixture.h"

namespace {

using ::testing::ElementsAre;
using ProxyCatchUp = TMessagingFixture;

constexpr int kEverything = 1000000;
constexpr int kKeptMails = 1024;

void PrepareCatchUp(TTestService& Service) {
  Service.m_CatchUp = kEverything;
}

TEST_F(ProxyCatchUp, FollowsTheRestartOfTheRouter) {
  std::optional<TTestServer> Server;
  Server.emplace(PrepareCatchUp);
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.AskNumber(0));
  Proxy.ConnectService(TestClass(), 3, false);
  Server.reset();
  Server.emplace(PrepareCatchUp);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(1), ElementsAre(kEverything));
}

TEST_F(ProxyCatchUp, StandsForMailsThatAreNoLongerKept) {
  TTestServer Server(PrepareCatchUp);
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.AskNumber(0));
  for (int Number = 1; Number <= kKeptMails + 1; ++Number) {
    Server.Publish(Number);
  }
  Proxy.ConnectService(TestClass(), 3, false);
  ASSERT_TRUE(Proxy.AskNumber(0));
  Server.Publish(7);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(2), ElementsAre(kEverything, 7));
}

TEST_F(ProxyCatchUp, IsNotSentWhenTheKeptMailsReachBack) {
  TTestServer Server(PrepareCatchUp);
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.AskNumber(0));
  for (int Number = 1; Number <= kKeptMails; ++Number) {
    Server.Publish(Number);
  }
  Proxy.ConnectService(TestClass(), 3, false);
  EXPECT_EQ(Proxy.m_Mails.WaitFor(kKeptMails), Numbers(1, kKeptMails));
}

// What the process sent while it was brought up to date may have been overwritten by that.
TEST_F(ProxyCatchUp, IsFollowedByTheOwnMailsThatWereUnderWay) {
  auto const Prepare = [](TTestService& Service) {
    PrepareCatchUp(Service);
    Service.m_OnMail = [&Service](TSNorvReceivedMail const& Mail) {
      TSNorvMailContent Published = Mail.Content;
      Published.SignalType = eNorvEvent;
      Service.Publish(Published, Mail);
    };
  };
  std::optional<TTestServer> Server;
  Server.emplace(Prepare);
  TTestProxy Proxy;
  Proxy.m_OnMail = [&Proxy](TCNorvMessage const& Mail) {
    if (FirstNumber(Mail.get_Content()) == kEverything) {
      Proxy.SendNumber(1);
    }
  };
  ASSERT_TRUE(Proxy.AskNumber(0));
  Proxy.ConnectService(TestClass(), 3, false);
  Server.reset();
  Server.emplace(Prepare);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(2), ElementsAre(kEverything, 1));
  Proxy.SendNumber(2);
  ASSERT_TRUE(Proxy.AskNumber(0));
  Server->Publish(3);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(3), ElementsAre(kEverything, 1, 3));
}

}  // namespace
