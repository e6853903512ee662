// SPDX-License-Identifier: MIT
// Mails that are sent without waiting: order, acknowledgement, restarts of the router, limits.
#include <gmock/gmock.h>

#include <unistd.h>

#include <optional>

#include "MessagingFixture.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ProxyMail = TMessagingFixture;

TEST_F(ProxyMail, ReachesTheServiceInTheOrderOfSending) {
  TTestServer Server;
  TTestProxy Proxy;
  for (int Number = 1; Number <= 500; ++Number) {
    ASSERT_TRUE(Proxy.SendNumber(Number));
  }
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(500), Numbers(1, 500));
}

TEST_F(ProxyMail, IsAcknowledgedByTheService) {
  TTestServer Server;
  TTestProxy Proxy;
  Proxy.SendNumber(1);
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ElementsAre(1));
}

TEST_F(ProxyMail, StaysUnacknowledgedWhileTheServiceKeepsSilent) {
  TTestServer Server(nullptr, false);
  TTestProxy Proxy;
  Proxy.SendNumber(1);
  Server.m_Service.m_Mails.WaitFor(1);
  EXPECT_FALSE(Proxy.WaitForAcknowledgements(1));
}

TEST_F(ProxyMail, WaitsForARouterThatStartsLater) {
  TTestProxy Proxy;
  Proxy.SendNumber(1);
  Proxy.SendNumber(2);
  TTestServer Server;
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(2), ElementsAre(1, 2));
}

TEST_F(ProxyMail, ReachesAServiceThatOpensLater) {
  TCNorvMailRouter Router;
  std::thread Thread([&] { Router.Run(); });
  TTestProxy Proxy;
  Proxy.SendNumber(1);
  EXPECT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
  {
    TTestService Service(Router);
    Service.Open();
    EXPECT_THAT(Service.m_Mails.WaitFor(1), ElementsAre(1));
  }
  Router.Stop();
  Thread.join();
}

TEST_F(ProxyMail, IsSentAgainInOrderToANewRouter) {
  std::optional<TTestServer> Server;
  Server.emplace(nullptr, false);
  TTestProxy Proxy;
  for (int Number = 1; Number <= 20; ++Number) {
    Proxy.SendNumber(Number);
  }
  Server->m_Service.m_Mails.WaitFor(20);
  Server.reset();
  Proxy.SendNumber(21);
  Server.emplace();
  EXPECT_EQ(Server->m_Service.m_Mails.WaitFor(21), Numbers(1, 21));
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
}

TEST_F(ProxyMail, CarriesAnyBytes) {
  TTestServer Server;
  TTestProxy Proxy;
  std::string const Bytes("\xff\xfe\0 zero \xc3", 9);
  Proxy.SendNumber(1, Bytes);
  EXPECT_THAT(Server.m_Service.m_Texts.WaitFor(1), ElementsAre(Bytes));
}

TEST_F(ProxyMail, CarriesManyMemoryFiles) {
  TTestServer Server;
  TTestProxy Proxy;
  std::string const Large(kLargeText, 'x');
  for (int Number = 1; Number <= 100; ++Number) {
    Proxy.SendNumber(Number, Large);
  }
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(100), Numbers(1, 100));
}

TEST_F(ProxyMail, NamesItsSender) {
  TTestServer Server;
  TTestProxy Proxy;
  Proxy.SendNumber(1);
  TSNorvMailSender const Sender = Server.m_Service.m_Senders.WaitFor(1).at(0);
  EXPECT_EQ(Sender.Process, getpid());
  EXPECT_EQ(Sender.User, geteuid());
  EXPECT_EQ(Sender.Group, getegid());
  EXPECT_EQ(Sender.ProcessName, "platform_messag");  // the system keeps 15 characters
  EXPECT_EQ(Sender.Identity.size(), 32U);
  EXPECT_EQ(Sender.Device, TCMACAddress::Own(""));
}

TEST_F(ProxyMail, IsRefusedPastTheLimitOfUnacknowledgedMail) {
  TTestProxy Proxy;
  std::string const Half(std::size_t{33} << 20, 'x');
  ASSERT_TRUE(Proxy.SendNumber(1, Half));
  TCException const Exception = CaughtException([&] { Proxy.SendNumber(2, Half); });
  EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/Proxy/TCNorvProxyConnection");
  // With what is kept of each beside its text.
  EXPECT_THAT(Exception.get_Message(),
              MatchesRegex("cannot send a mail of 3460[0-9]{4} bytes: 3460[0-9]{4} bytes wait for "
                           "acknowledgement, at most 67108864 are kept"));
}

// What sending to `Mailbox` is refused with.
std::string SendingRefused(std::string const& Mailbox, TCNorvMailClassID const& MailClass) {
  TTestProxy Proxy;
  TCNorvMessage Mail(MailClass, eNorvChange, 1);
  return CaughtException(
             [&] { Mail.Send(TCNorvServiceName::MakeLocalProcess(Mailbox, ""), &Proxy, 0); })
      .get_Message();
}

TEST_F(ProxyMail, IsRefusedForAClassWithoutAVersion) {
  EXPECT_EQ(SendingRefused(kMailbox, TCNorvMailClassID("test", -1)),
            "mail class test cannot have the version -1");
}

TEST_F(ProxyMail, IsRefusedForNamesThatNoFrameHolds) {
  std::string const Text = "the name of a mailbox or mail class has 1 to 255 bytes, not ";
  EXPECT_EQ(SendingRefused(kMailbox, TCNorvMailClassID("", 1)), Text + "0");
  EXPECT_EQ(SendingRefused(kMailbox, TCNorvMailClassID(std::string(256, 'x'), 1)), Text + "256");
  EXPECT_EQ(SendingRefused("", TestClass()), Text + "0");
  EXPECT_EQ(SendingRefused(std::string(256, 'x'), TestClass()), Text + "256");
}

TEST_F(ProxyMail, IsTakenForTheLongestNames) {
  TTestProxy Proxy;
  TCNorvMessage Mail(TCNorvMailClassID(std::string(255, 'x'), 1), eNorvChange, 1);
  EXPECT_TRUE(Mail.Send(TCNorvServiceName::MakeLocalProcess(std::string(255, 'y'), ""), &Proxy, 0));
}

TEST_F(ProxyMail, IsNotTakenWithoutProxy) {
  TCNorvMessage Mail(TestClass(), eNorvChange, 1);
  EXPECT_FALSE(Mail.Send(TestMailbox(), nullptr, 0));
}

std::string ThisProcess() {
  return "platform_messag (process " + std::to_string(getpid()) + ", user " +
         std::to_string(geteuid()) + ")";
}

TEST_F(ProxyMail, ThatTheServiceRefusesIsLoggedAndTheNextIsDelivered) {
  TTestServer Server([](TTestService& Service) {
    Service.m_OnMail = [](TSNorvReceivedMail const& Mail) {
      if (FirstNumber(Mail.Content) == 1) {
        throw TCException("service", 1).Format("not wanted");
      }
    };
  });
  TTestProxy Proxy;
  Proxy.SendNumber(1);
  Proxy.SendNumber(2);
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ElementsAre(2));
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre("Mail of " + ThisProcess() + " refused: not wanted"));
}

TEST_F(ProxyMail, ThatTheServiceCannotTakeNowComesAgainInOrder) {
  bool Room = false;
  TTestServer Server([&Room](TTestService& Service) {
    Service.m_OnMail = [&Room](TSNorvReceivedMail const& Mail) {
      if (FirstNumber(Mail.Content) == 1 && !std::exchange(Room, true)) {
        throw std::bad_alloc();
      }
    };
  });
  TTestProxy Proxy;
  Proxy.SendNumber(1);
  Proxy.SendNumber(2);
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(2), ElementsAre(1, 2));
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Errors().WaitFor(1), ElementsAre("A mail of " + ThisProcess() +
                                               " cannot be taken now: std::bad_alloc; its "
                                               "connection is ended"));
}

TEST_F(ProxyMail, WaitsWhenTheRouterIsGoneWithoutRaisingASignal) {
  std::optional<TTestServer> Server;
  Server.emplace();
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
  Server.reset();
  for (int Number = 1; Number <= 100; ++Number) {
    EXPECT_TRUE(Proxy.SendNumber(Number));
  }
  Server.emplace();
  EXPECT_EQ(Server->m_Service.m_Mails.WaitFor(100), Numbers(1, 100));
}

}  // namespace
