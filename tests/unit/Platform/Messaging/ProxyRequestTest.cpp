// SPDX-License-Identifier: MIT
// Requests: answers large and small, refusals, time-outs and restarts.
#include <gmock/gmock.h>

#include <unistd.h>
#include <filesystem>
#include <iterator>

#include <future>
#include <optional>

#include "MessagingFixture.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using ProxyRequest = TMessagingFixture;

auto OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

TEST_F(ProxyRequest, IsReplacedByItsAnswer) {
  TTestServer Server;
  TTestProxy Proxy;
  TTestMail Mail(TestClass(), eNorvRequest, 1);
  Append(Mail, 7, "seven");
  ASSERT_TRUE(Proxy.Ask(Mail));
  EXPECT_EQ(Mail.get_SignalType(), eNorvChange);
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(7, "seven")));
}

TEST_F(ProxyRequest, FollowsTheMailsSentBeforeIt) {
  TTestServer Server;
  TTestProxy Proxy;
  for (int Number = 1; Number <= 50; ++Number) {
    Proxy.SendNumber(Number);
  }
  ASSERT_TRUE(Proxy.AskNumber(51));
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(0), Numbers(1, 50));
}

TEST_F(ProxyRequest, TakesAnAnswerAsLargeAsAMemoryFile) {
  std::string const Large(std::size_t{5} << 20, 'y');
  TTestServer Server([&](TTestService& Service) {
    Service.m_OnRequest = [&](TSNorvMailContent& Answer) {
      Answer = OneRecord(eNorvChange, 1, Large);
      return true;
    };
  });
  TTestProxy Proxy;
  TTestMail Mail(TestClass(), eNorvRequest, 1);
  Append(Mail, 1);
  ASSERT_TRUE(Proxy.Ask(Mail));
  EXPECT_TRUE(Records(Mail).at(0).second == Large);
}

TEST_F(ProxyRequest, LeavesNoDescriptorOfAMemoryFileOpen) {
  TTestServer Server;
  TTestProxy Proxy;
  std::string const Large(kLargeText, 'y');
  auto const Ask = [&] {
    TTestMail Mail(TestClass(), eNorvRequest, 1);
    Append(Mail, 1, Large);
    EXPECT_TRUE(Proxy.Ask(Mail));
  };
  Ask();
  auto const Before = OpenDescriptors();
  for (int Round = 0; Round < 20; ++Round) {
    Ask();
  }
  // The router may still be about to close those of the last round.
  EXPECT_LE(OpenDescriptors(), Before + 2);
}

TEST_F(ProxyRequest, ThatIsRefusedStaysAsItWas) {
  TTestServer Server([](TTestService& Service) {
    Service.m_OnRequest = [](TSNorvMailContent&) { return false; };
  });
  TTestProxy Proxy;
  TTestMail Mail(TestClass(), eNorvRequest, 1);
  Append(Mail, 7, "seven");
  EXPECT_FALSE(Proxy.Ask(Mail));
  EXPECT_EQ(Mail.get_SignalType(), eNorvRequest);
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(7, "seven")));
  EXPECT_EQ(Proxy.get_Refusal(), "the service refuses");
  EXPECT_THAT(Warnings().WaitFor(0), ::testing::IsEmpty());  // who asked logs it
}

TEST_F(ProxyRequest, ThatIsAnsweredHasNoRefusal) {
  TTestServer Server([](TTestService& Service) {
    Service.m_OnRequest = [](TSNorvMailContent& Answer) { return FirstNumber(Answer) != 1; };
  });
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.AskNumber(1));
  EXPECT_TRUE(Proxy.AskNumber(2));
  EXPECT_EQ(Proxy.get_Refusal(), "");
}

TEST_F(ProxyRequest, ThatIsRefusedIsNoRefusalOfAnotherProxys) {
  TTestServer Server([](TTestService& Service) {
    Service.m_OnRequest = [](TSNorvMailContent&) { return false; };
  });
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.AskNumber(1));
  TTestProxy const Other;
  EXPECT_EQ(Other.get_Refusal(), "");
  EXPECT_EQ(Proxy.get_Refusal(), "the service refuses");
}

TEST_F(ProxyRequest, ThatTheServiceThrowsForIsRefusedAndTheNextAnswered) {
  TTestServer Server([](TTestService& Service) {
    Service.m_OnRequest = [](TSNorvMailContent& Answer) -> bool {
      if (FirstNumber(Answer) == 1) {
        throw std::runtime_error("no idea");
      }
      return true;
    };
  });
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.AskNumber(1));
  EXPECT_TRUE(Proxy.AskNumber(2));
  EXPECT_THAT(Errors().WaitFor(1), ElementsAre(::testing::EndsWith(" refused: no idea")));
}

TEST_F(ProxyRequest, EndsWhenItsTimeHasPassedAndNobodyAnswers) {
  TTestProxy Proxy;
  auto const Before = std::chrono::steady_clock::now();
  EXPECT_FALSE(Proxy.AskNumber(1, 30));
  EXPECT_GE(std::chrono::steady_clock::now() - Before, std::chrono::milliseconds(30));
}

TEST_F(ProxyRequest, DropsAnAnswerThatComesTooLate) {
  TEvent Release;
  TTestServer Server([&](TTestService& Service) {
    Service.m_OnRequest = [&](TSNorvMailContent& Answer) {
      return FirstNumber(Answer) != 1 || Release.Wait();
    };
  });
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.AskNumber(1, 20));
  Release.Set();
  EXPECT_TRUE(Proxy.AskNumber(2));
}

TEST_F(ProxyRequest, WaitsWithoutLimitForARouterThatStartsLater) {
  TTestProxy Proxy;
  auto Asked = std::async(std::launch::async, [&] { return Proxy.AskNumber(1, -1); });
  TTestServer Server;
  EXPECT_TRUE(Asked.get());
}

TEST_F(ProxyRequest, WaitsWithoutLimitForAnOwnerThatAppearsLater) {
  TCNorvMailRouter Router;
  std::thread Thread([&] { Router.Run(); });
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.AskNumber(1, 10));
  auto Asked = std::async(std::launch::async, [&] { return Proxy.AskNumber(2, -1); });
  {
    TTestService Service(Router);
    Service.Open();
    EXPECT_TRUE(Asked.get());
  }
  Router.Stop();
  Thread.join();
}

TEST_F(ProxyRequest, IsSentAgainWhenItsServerEndsWithoutAnswering) {
  auto Router = std::make_unique<TCNorvMailRouter>();  // nobody owns the mailbox here
  std::thread Thread([&] { Router->Run(); });
  TTestProxy Proxy;
  Proxy.WaitForMailRouter(kPatienceMilliseconds);
  auto Asked = std::async(std::launch::async, [&] { return Proxy.AskNumber(1, -1); });
  Router->Stop();
  Thread.join();
  Router.reset();
  TTestServer Server;
  EXPECT_TRUE(Asked.get());
  EXPECT_THAT(Server.m_Service.m_Requests.WaitFor(1), ElementsAre(1));
}

TEST_F(ProxyRequest, WithAnAnswerOfAnotherLayoutThrows) {
  TTestServer Server([](TTestService& Service) {
    Service.m_OnRequest = [](TSNorvMailContent& Answer) {
      TCNorvMailBody::TCWriter Writer("b");
      Writer.BeginRecord(0);
      Writer.AppendField({false, 'b', 0, {}});
      Answer.Body = Writer.Finish();
      return true;
    };
  });
  TTestProxy Proxy;
  TTestMail Mail(TestClass(), eNorvRequest, 1);
  Append(Mail, 7, "seven");
  TCException const Exception = CaughtException([&] { Proxy.Ask(Mail); });
  EXPECT_EQ(Exception.get_Message(), "Malformed mail: records of type (b) where (isv) is expected");
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(7, "seven")));
}

TEST_F(ProxyRequest, TellsWhenTheRouterIsReachedAndLost) {
  std::optional<TTestServer> Server;
  Server.emplace();
  TTestProxy Proxy;
  EXPECT_TRUE(Proxy.WaitForMailRouter());
  EXPECT_THAT(Proxy.m_States.WaitFor(1), ElementsAre(true));
  Server.reset();
  EXPECT_THAT(Proxy.m_States.WaitFor(2), ElementsAre(true, false));
  EXPECT_FALSE(Proxy.WaitForMailRouter(1));
}

}  // namespace
