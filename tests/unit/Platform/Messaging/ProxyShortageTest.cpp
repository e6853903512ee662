// SPDX-License-Identifier: MIT
// Descriptors and memory that are short for a while: what could not be sent goes out by itself.
#include <gmock/gmock.h>

#include <cerrno>
#include <memory>

#include "FailingSends.h"
#include "ScriptedRouter.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct ProxyShortage : TMessagingFixture {
  bool SendToAnother(int Number) {
    TTestMail Mail(TestClass(), eNorvChange, 1);
    Append(Mail, Number);
    return Mail.Send(TCNorvServiceName::MakeLocalProcess("@another.mailbox", ""), &m_Proxy, 0);
  }

  std::string const m_Large = std::string(kLargeText, 'x');
  TTestProxy m_Proxy;
};

struct ProxySendError : ProxyShortage, ::testing::WithParamInterface<int> {};

}  // namespace

TEST_F(ProxyShortage, OfDescriptorsDelaysAMailAndThoseBehindIt) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  {
    TFailingMemoryFiles const NoDescriptors;
    ASSERT_TRUE(m_Proxy.SendNumber(1, m_Large));
    ASSERT_TRUE(m_Proxy.SendNumber(2));
    EXPECT_THAT(Warnings().WaitFor(1),
                ElementsAre("mail router at " + Address() +
                            ": a mail can not be sent now and is tried again: cannot make a "
                            "memory file: Too many open files"));
    EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
  }
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(2), ElementsAre(1, 2));
  EXPECT_TRUE(m_Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Warnings().WaitFor(2),
              ElementsAre(testing::_, "mail router at " + Address() +
                                          ": what could not be sent is on its way"));
}

TEST_F(ProxyShortage, OfDescriptorsDelaysARequest) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  auto NoDescriptors = std::make_unique<TFailingMemoryFiles>();
  bool IsAnswered = false;
  std::thread Other([&] {
    TTestMail Mail(TestClass(), eNorvRequest, 1);
    Append(Mail, 1, m_Large);
    IsAnswered = m_Proxy.Ask(Mail);
  });
  EXPECT_EQ(Warnings().WaitFor(1).size(), 1U);
  NoDescriptors.reset();
  Other.join();
  EXPECT_TRUE(IsAnswered);
}

TEST_F(ProxyShortage, OfOneMailboxDelaysNoOther) {
  TScriptedRouter Router(SocketPath());
  ASSERT_TRUE(m_Proxy.WaitForMailRouter(kPatienceMilliseconds));
  {
    TFailingMemoryFiles const NoDescriptors;
    ASSERT_TRUE(SendToAnother(1));
    EXPECT_THAT(Router.m_Values.WaitFor(1), ElementsAre(1));
    ASSERT_TRUE(m_Proxy.SendNumber(2, m_Large));
    EXPECT_EQ(Warnings().WaitFor(1).size(), 1U);
    ASSERT_TRUE(SendToAnother(3));
    EXPECT_THAT(Router.m_Values.WaitFor(2), ElementsAre(1, 3));
  }
  EXPECT_THAT(Router.m_Values.WaitFor(3), ElementsAre(1, 3, 2));
}

TEST_P(ProxySendError, DelaysAMail) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  {
    TFailingSends const Failing(Wire::TEFrame::eMails, GetParam());
    ASSERT_TRUE(m_Proxy.SendNumber(1));
    ASSERT_TRUE(m_Proxy.SendNumber(2));
    EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(HasSubstr("is tried again: ")));
  }
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(2), ElementsAre(1, 2));
}

TEST_P(ProxySendError, DelaysARequest) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  auto Failing = std::make_unique<TFailingSends>(Wire::TEFrame::eRequest, GetParam());
  bool IsAnswered = false;
  std::thread Other([&] { IsAnswered = m_Proxy.AskNumber(1); });
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(HasSubstr("a request can not be sent now")));
  Failing.reset();
  Other.join();
  EXPECT_TRUE(IsAnswered);
}

// What was missed is asked for before mails go out, whose acknowledgement says that it has come.
TEST_P(ProxySendError, DelaysASubscriptionAndTheMailsBehindIt) {
  TTestServer Server;
  ASSERT_TRUE(m_Proxy.AskNumber(0));
  {
    TFailingSends const Failing(Wire::TEFrame::eSubscribe, GetParam());
    m_Proxy.ConnectService(TestClass(), 3, false);
    ASSERT_TRUE(m_Proxy.SendNumber(1));
    EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(HasSubstr("a subscription can not be sent")));
    EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
  }
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ElementsAre(1));
  Server.Publish(7);
  EXPECT_THAT(m_Proxy.m_Mails.WaitFor(1), ElementsAre(7));
}

TEST_P(ProxySendError, DelaysAGreeting) {
  TTestServer Server;
  auto Failing = std::make_unique<TFailingSends>(Wire::TEFrame::eHello, GetParam());
  EXPECT_FALSE(m_Proxy.WaitForMailRouter(1));
  Failing.reset();
  EXPECT_TRUE(m_Proxy.WaitForMailRouter(kPatienceMilliseconds));
}

INSTANTIATE_TEST_SUITE_P(Errors, ProxySendError,
                         ::testing::Values(ENOMEM, ENOBUFS, ETOOMANYREFS, EMFILE));
