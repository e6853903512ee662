// SPDX-License-Identifier: MIT
// Sending and asking from handlers and from many threads at once.
#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>

#include "MessagingFixture.h"

namespace {

using ::testing::ElementsAre;
using ProxyThreads = TMessagingFixture;

void AskAndSubscribe(TTestProxy& Proxy) {
  ASSERT_TRUE(Proxy.AskNumber(0));
  Proxy.ConnectService(TestClass(), 3, false);
}

TEST_F(ProxyThreads, AHandlerMayAskAndSend) {
  TTestServer Server;
  TTestProxy Proxy;
  TLog<bool> Answers;
  Proxy.m_OnMail = [&](TCNorvMessage const&) {
    Answers.Add(Proxy.SendNumber(5));
    Answers.Add(Proxy.AskNumber(6));
  };
  AskAndSubscribe(Proxy);
  Server.Publish(1);
  EXPECT_THAT(Answers.WaitFor(2), ElementsAre(true, true));
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ElementsAre(5));
}

TEST_F(ProxyThreads, TheSignalItselfMayAskBeforeItProcesses) {
  TTestServer Server;
  TTestProxy Proxy;
  Proxy.m_OnSignal = [&] {
    EXPECT_TRUE(Proxy.AskNumber(6));
    Proxy.ProcessProxy(-1, false);
  };
  AskAndSubscribe(Proxy);
  Server.Publish(1);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(1), ElementsAre(1));
}

TEST_F(ProxyThreads, AHandlerMayWaitForAThreadThatAsks) {
  TTestServer Server;
  TTestProxy Proxy;
  TLog<bool> Answers;
  Proxy.m_OnMail = [&](TCNorvMessage const&) {
    Answers.Add(std::async(std::launch::async, [&] { return Proxy.AskNumber(6); }).get());
  };
  AskAndSubscribe(Proxy);
  Server.Publish(1);
  EXPECT_THAT(Answers.WaitFor(1), ElementsAre(true));
}

TEST_F(ProxyThreads, MailsThatArriveWhileAHandlerBlocksAreDeliveredAfterwards) {
  TTestServer Server;
  TTestProxy Proxy;
  TEvent Entered;
  TEvent Release;
  Proxy.m_OnMail = [&](TCNorvMessage const&) {
    Entered.Set();
    EXPECT_TRUE(Release.Wait());
  };
  AskAndSubscribe(Proxy);
  Server.Publish(1);
  ASSERT_TRUE(Entered.Wait());
  Server.Publish(2);
  Server.Publish(3);
  EXPECT_TRUE(Proxy.AskNumber(6));  // read behind the mails, on this thread
  Release.Set();
  EXPECT_THAT(Proxy.m_Mails.WaitFor(3), ElementsAre(1, 2, 3));
}

TEST_F(ProxyThreads, ManyThreadsGetTheirOwnAnswers) {
  TTestServer Server;
  TTestProxy Proxy;
  AskAndSubscribe(Proxy);
  std::vector<std::future<int>> Threads;
  for (int Thread = 0; Thread < 8; ++Thread) {
    Threads.push_back(std::async(std::launch::async, [&Proxy, Thread] {
      int Right = 0;
      for (int Round = 0; Round < 50; ++Round) {
        Proxy.SendNumber(Thread);
        Right += Proxy.AskNumber(Thread * 1000 + Round) ? 1 : 0;
      }
      return Right;
    }));
  }
  for (int Number = 1; Number <= 50; ++Number) {
    Server.Publish(Number);
  }
  for (std::future<int>& Thread : Threads) {
    EXPECT_EQ(Thread.get(), 50);
  }
  EXPECT_EQ(Proxy.m_Mails.WaitFor(50), Numbers(1, 50));
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(400).size(), 400U);
}

TEST_F(ProxyThreads, MailsThatASignalHasLeftAreSignalledAgainWithTheNextSubscription) {
  auto Server = std::make_unique<TTestServer>();
  TTestProxy Proxy;
  std::atomic<bool> Ready{false};
  TLog<bool> Signals;
  Proxy.m_OnSignal = [&] {
    Signals.Add(Ready);
    if (Ready) {
      Proxy.ProcessProxy(-1, false);
    }
  };
  AskAndSubscribe(Proxy);
  Server->Publish(1);
  EXPECT_THAT(Signals.WaitFor(1), ElementsAre(false));
  Server.reset();  // nothing else comes
  Ready = true;
  Proxy.ConnectService(TestClass(), 3, false);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(1), ElementsAre(1));
}

TEST_F(ProxyThreads, TheRouterExecutesForManyThreadsWhetherItRunsOrNot) {
  TCNorvMailRouter Router;
  int Sum = 0;  // only ever touched in turns
  auto const Add = [&] {
    for (int Round = 0; Round < 200; ++Round) {
      Router.Execute([&] { ++Sum; });
    }
  };
  std::thread First(Add);
  std::thread Runner([&] { Router.Run(); });
  std::thread Second(Add);
  First.join();
  Second.join();
  Router.Stop();
  Runner.join();
  EXPECT_EQ(Sum, 400);
}

}  // namespace
