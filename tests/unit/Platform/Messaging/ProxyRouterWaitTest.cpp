// SPDX-License-Identifier: MIT
// A proxy without a router: what it says while it waits, and where waiting is of no use.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>

#include "MessagingFixture.h"
#include "Platform/Utility/TCException.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct ProxyRouterWait : TMessagingFixture {
  static std::string MakeProxyAt(std::string const& RouterAddress) {
    setenv("MAILROUTER_ADDRESS", RouterAddress.c_str(), 1);
    try {
      TTestProxy const Proxy;
    } catch (TCException const& Exception) {
      return Exception.get_Message();
    }
    return "waits";
  }

  static std::string NoAddress(std::string const& RouterAddress) {
    return "no mail router can be at " + RouterAddress + ": the address must be unix:path=FILE";
  }
};

}  // namespace

TEST_F(ProxyRouterWait, ThatTakesLongIsLoggedOnceAndSoIsItsEnd) {
  TTestProxy Proxy;
  Proxy.ConnectService(TestClass(), 3, false);
  std::string const Waiting = "mail router at " + Address() +
                              ": not reached for 2 seconds (No such file or directory); it is "
                              "tried until it is";
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(Waiting));
  EXPECT_EQ(Proxy.get_Failure(), "No such file or directory");
  TTestServer Server;
  ASSERT_TRUE(Proxy.WaitForMailRouter(kPatienceMilliseconds));
  EXPECT_THAT(Warnings().WaitFor(2),
              ElementsAre(Waiting, "mail router at " + Address() + ": reached"));
  EXPECT_EQ(Proxy.get_Failure(), "");
}

TEST_F(ProxyRouterWait, ThatIsShortIsNotLogged) {
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.WaitForMailRouter(1));
  TTestServer Server;
  EXPECT_TRUE(Proxy.AskNumber(1));
  EXPECT_THAT(Warnings().WaitFor(0), IsEmpty());
}

TEST_F(ProxyRouterWait, ForARouterThatWasLostIsLogged) {
  TTestProxy Proxy;
  {
    TTestServer Server;
    ASSERT_TRUE(Proxy.AskNumber(1));
  }
  EXPECT_EQ(Warnings().WaitFor(1).size(), 1U);
  TTestServer Server;
  EXPECT_TRUE(Proxy.AskNumber(2));
  EXPECT_EQ(Warnings().WaitFor(2).size(), 2U);
}

TEST_F(ProxyRouterWait, ForARouterThatRefusesSaysWhyOnce) {
  TTestServer Server;
  Server.m_Router.Execute([&] {
    Server.m_Router.SetAdmission(
        [](TSNorvMailSender const& /*Sender*/) { return std::string("it lacks a right"); });
  });
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.WaitForMailRouter(500));
  EXPECT_EQ(Proxy.get_Refusal(),
            "user " + std::to_string(getuid()) + " may not connect: it lacks a right");
  std::vector<std::string> Own;
  for (std::string const& Line : Errors().WaitFor(2)) {
    if (Line == "mail router at " + Address() + ": " + Proxy.get_Refusal()) {
      Own.push_back(Line);  // the others are the router's
    }
  }
  EXPECT_EQ(Own.size(), 1U);
}

TEST_F(ProxyRouterWait, AtAnAddressThatCanNeverWorkIsRefusedAtOnce) {
  for (std::string const Bad :
       {"nonsense", "unix:", "unix:path=", "unix:path=/a%2", "unix:path=/a%zz", "tcp:host=a,port=1",
        "unix:path=/a;tcp:host=a,port=1", "unix:path=/a;", "unix:runtime=yes",
        "unix:path=%2fa,guid=0123", "unix:abstract=a", "unix:path=/a;unix:path=/b", "/a"}) {
    EXPECT_EQ(MakeProxyAt(Bad), NoAddress(Bad));
  }
}

TEST_F(ProxyRouterWait, AtAPathThatNoSocketCanHaveIsRefusedAtOnce) {
  std::string const Longest = "unix:path=/" + std::string(106, 'x');
  EXPECT_EQ(MakeProxyAt(Longest), "waits");
  EXPECT_EQ(MakeProxyAt(Longest + "x"),
            "no mail router can be at " + Longest +
                "x: the path is longer than the 107 bytes of a socket's name");
}

TEST_F(ProxyRouterWait, AtAnAddressThatMayWorkIsAllowed) {
  for (std::string const Good : {"unix:path=/a", "unix:path=a", "unix:path=/a b=c:d"}) {
    EXPECT_EQ(MakeProxyAt(Good), "waits");
  }
}
