// SPDX-License-Identifier: MIT
// Forked children of a process with a proxy: they leave it to the parent.
#include <gmock/gmock.h>

#include <future>
#include <memory>

#include "Platform/Utility/TCException.h"
#include "ScriptedRouter.h"
#include "tests/support/ForkedChild.h"

namespace {

using ::testing::ElementsAre;

// The text of a refusal to a child of this process.
std::string Refusal() {
  return "the proxy and its store belong to process " + std::to_string(getpid()) +
         ", which this one was forked from: here values can be read, but nothing is sent, asked "
         "for or received";
}

template <class TAction>
std::string Refused(TAction const& Action) {
  return ThrownText<TCException>(Action);
}

struct ProxyFork : TMessagingFixture {
  TTestProxy m_Proxy;
};

}  // namespace

TEST_F(ProxyFork, LeavesTheChildAProxyThatRefusesToSend) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  TForkedChild Child([this] { return Refused([this] { m_Proxy.SendNumber(1); }); });
  EXPECT_EQ(Child.Wait(), Refusal());
  ASSERT_TRUE(m_Proxy.SendNumber(2));
  EXPECT_TRUE(m_Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ElementsAre(2));
}

TEST_F(ProxyFork, LeavesTheChildAProxyThatRefusesToWait) {
  TTestServer Server(nullptr, false);
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  ASSERT_TRUE(m_Proxy.SendNumber(1));
  EXPECT_EQ(TForkedChild([this] { return Refused([this] { m_Proxy.AskNumber(1, -1); }); }).Wait(),
            Refusal());
  EXPECT_EQ(
      TForkedChild([this] { return Refused([this] { m_Proxy.WaitForDelivery(-1); }); }).Wait(),
      Refusal());
  EXPECT_EQ(
      TForkedChild([this] { return Refused([this] { m_Proxy.WaitForMailRouter(-1); }); }).Wait(),
      Refusal());
  EXPECT_EQ(TForkedChild([this] {
              return Refused([this] { m_Proxy.WaitForAcknowledgements(-1); });
            }).Wait(),
            Refusal());
  EXPECT_EQ(TForkedChild([this] {
              return Refused([this] { m_Proxy.ConnectService(TestClass(), 3, false); });
            }).Wait(),
            Refusal());
}

TEST_F(ProxyFork, LeavesTheChildAProxyThatItMayCloseAndProcess) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  TForkedChild Child([this] {
    m_Proxy.ProcessProxy(-1, false);
    m_Proxy.Close();
    m_Proxy.Close();
    return Refused([this] { m_Proxy.SendNumber(1); });
  });
  EXPECT_EQ(Child.Wait(), Refusal());
  EXPECT_TRUE(m_Proxy.AskNumber(1));
}

// A proxy that has not been used before the fork is the parent's as well.
TEST_F(ProxyFork, LeavesTheChildNoUnusedProxyEither) {
  TForkedChild Child([this] { return Refused([this] { m_Proxy.SendNumber(1); }); });
  EXPECT_EQ(Child.Wait(), Refusal());
  TTestServer Server;
  EXPECT_TRUE(m_Proxy.AskNumber(1));
}

TEST_F(ProxyFork, WhileAThreadWaitsForAnAnswerDisturbsNeither) {
  TEvent Asked;
  TEvent Forked;
  TTestServer Server([&](TTestService& Service) {
    Service.m_OnRequest = [&](TSNorvMailContent&) {
      Asked.Set();
      return Forked.Wait();
    };
  });
  auto Answer = std::async(std::launch::async, [&] { return m_Proxy.AskNumber(1); });
  ASSERT_TRUE(Asked.Wait());
  TForkedChild Child([this] {
    m_Proxy.Close();
    return std::string("closed");
  });
  EXPECT_EQ(Child.Wait(), "closed");
  Forked.Set();
  EXPECT_TRUE(Answer.get());
}

// The router hears of the end of the parent's connection while a child lives on. It serves one
// connection after the other.
TEST_F(ProxyFork, DoesNotKeepTheConnectionOpenInTheChild) {
  TScriptedRouter Router(SocketPath());
  TTestProxy Next;
  ASSERT_TRUE(m_Proxy.WaitForMailRouter(kPatienceMilliseconds));
  int Pipe[2] = {-1, -1};
  ASSERT_EQ(pipe(Pipe), 0);
  TForkedChild Child([&] {
    char Byte = 0;
    close(Pipe[1]);
    return std::string(read(Pipe[0], &Byte, 1) == 1 ? "lived on" : "ended");
  });
  m_Proxy.Close();
  EXPECT_TRUE(Next.WaitForMailRouter(kPatienceMilliseconds));
  EXPECT_EQ(write(Pipe[1], "s", 1), 1);
  EXPECT_EQ(Child.Wait(), "lived on");
}

// A lock that another thread holds when the process forks would stay taken in the child.
TEST_F(ProxyFork, FindsNoLockTakenInTheChild) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  std::atomic<bool> Ending{false};
  std::thread Sender([&] {
    while (!Ending) {
      EXPECT_TRUE(m_Proxy.SendNumber(1));
      EXPECT_TRUE(m_Proxy.SendNumber(2));
      EXPECT_TRUE(m_Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
    }
  });
  std::thread Asker([&] {
    while (!Ending) {
      EXPECT_TRUE(m_Proxy.AskNumber(1));
    }
  });
  for (int Fork = 0; Fork < 50; ++Fork) {
    TForkedChild Child([this] { return Refused([this] { m_Proxy.SendNumber(1); }); }, std::_Exit);
    EXPECT_EQ(Child.Wait(), Refusal());
  }
  Ending = true;
  Sender.join();
  Asker.join();
  EXPECT_TRUE(m_Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
}
