// SPDX-License-Identifier: MIT
// Waiting until what has arrived has been handed over.
#include <thread>

#include "MessagingFixture.h"

namespace {

constexpr int kShort = 50;  // milliseconds, for what does not come

// A proxy that has subscribed; the test decides when its hook returns.
struct ProxyDelivery : TMessagingFixture {
  ProxyDelivery() {
    m_Proxy.m_OnMail = [this](TCNorvMessage const& Mail) {
      m_Inside.Set();
      EXPECT_TRUE(m_MayReturn.Wait());
      m_Handed.Add(FirstNumber(Mail.get_Content()));
    };
    m_Proxy.ConnectService(TestClass(), 3, false);
    EXPECT_TRUE(m_Proxy.AskNumber(0));  // answered behind the subscription
  }
  ~ProxyDelivery() override { m_MayReturn.Set(); }

  // Arrived when it returns.
  void Publish(int Number) {
    m_Server.Publish(Number);
    EXPECT_TRUE(m_Proxy.AskNumber(Number));
  }

  TEvent m_Inside;
  TEvent m_MayReturn;
  TLog<int> m_Handed;
  TTestServer m_Server;
  TTestProxy m_Proxy;
};

TEST_F(ProxyDelivery, IsOverWhereNothingHasArrived) {
  EXPECT_TRUE(m_Proxy.WaitForDelivery(0));
  EXPECT_TRUE(m_Proxy.WaitForDelivery());
}

TEST_F(ProxyDelivery, IsOverWhenTheLastHookHasReturned) {
  Publish(1);
  Publish(2);
  ASSERT_TRUE(m_Inside.Wait());
  EXPECT_FALSE(m_Proxy.WaitForDelivery(0));
  EXPECT_FALSE(m_Proxy.WaitForDelivery(kShort));
  std::thread Releasing([this] { m_MayReturn.Set(); });
  EXPECT_TRUE(m_Proxy.WaitForDelivery());
  EXPECT_EQ(m_Handed.WaitFor(0).size(), 2U);
  Releasing.join();
}

TEST_F(ProxyDelivery, IsNotWaitedForInAHook) {
  TLog<bool> Waited;
  m_Proxy.m_OnMail = [&](TCNorvMessage const& /*Mail*/) { Waited.Add(m_Proxy.WaitForDelivery()); };
  Publish(1);
  EXPECT_EQ(Waited.WaitFor(1), std::vector<bool>{false});
}

TEST_F(ProxyDelivery, IsNotWaitedForWithAnAnswerInHand) {
  m_MayReturn.Set();
  {
    TTestMail Mail(TestClass(), eNorvRequest, 1);
    Append(Mail, 1);
    TCNorvServiceProxy::TCAnswerInHand const Answer(m_Proxy, Mail);
    ASSERT_TRUE(m_Proxy.Ask(Mail));
    EXPECT_FALSE(m_Proxy.WaitForDelivery());
  }
  EXPECT_TRUE(m_Proxy.WaitForDelivery());
}

TEST_F(ProxyDelivery, IsNotWaitedForWhenTheProxyCloses) {
  Publish(1);
  ASSERT_TRUE(m_Inside.Wait());
  std::thread Closing([this] { m_Proxy.Close(); });
  EXPECT_FALSE(m_Proxy.WaitForDelivery());
  m_MayReturn.Set();
  Closing.join();
}

}  // namespace
