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

}  // namespace
