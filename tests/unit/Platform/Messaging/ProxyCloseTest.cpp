// SPDX-License-Identifier: MIT
// The end of proxies: closing, closing from inside a handler, process exit.
#include <gmock/gmock.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <future>

#include "MessagingFixture.h"

namespace {

using ::testing::ElementsAre;
using ProxyClose = TMessagingFixture;

TEST_F(ProxyClose, EndsAWaitingRequest) {
  TEvent Asked;
  TEvent Closed;
  TTestServer Server([&](TTestService& Service) {
    Service.m_OnRequest = [&](TSNorvMailContent&) {
      Asked.Set();
      return Closed.Wait();
    };
  });
  TTestProxy Proxy;
  auto Answer = std::async(std::launch::async, [&] { return Proxy.AskNumber(1, -1); });
  ASSERT_TRUE(Asked.Wait());
  Proxy.Close();
  EXPECT_FALSE(Answer.get());
  Closed.Set();
}

TEST_F(ProxyClose, EndsWaitingForARouter) {
  TTestProxy Proxy;
  EXPECT_FALSE(Proxy.WaitForMailRouter(1));
  auto Reached = std::async(std::launch::async, [&] { return Proxy.WaitForMailRouter(-1); });
  Proxy.Close();
  EXPECT_FALSE(Reached.get());
}

TEST_F(ProxyClose, RefusesWhatIsSentAfterwards) {
  TTestProxy Proxy;
  Proxy.Close();
  EXPECT_FALSE(Proxy.SendNumber(1));
  EXPECT_FALSE(Proxy.AskNumber(1, -1));
  EXPECT_FALSE(Proxy.WaitForMailRouter(-1));
}

TEST_F(ProxyClose, MayBeRepeatedByTwoThreads) {
  TTestServer Server;
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.AskNumber(1));
  std::thread Other([&] { Proxy.Close(); });
  Proxy.Close();
  Other.join();
  EXPECT_FALSE(Proxy.SendNumber(1));
}

TEST_F(ProxyClose, WorksInsideAHandler) {
  TTestServer Server;
  TTestProxy Proxy;
  Proxy.m_OnMail = [&](TCNorvMessage const&) { Proxy.Close(); };
  ASSERT_TRUE(Proxy.AskNumber(0));
  Proxy.ConnectService(TestClass(), 3, false);
  Server.Publish(1);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(1), ElementsAre(1));
  EXPECT_FALSE(Proxy.SendNumber(2));
}

TEST_F(ProxyClose, DestructionWaitsForTheHandlerThatHasClosedTheProxy) {
  TTestServer Server;
  TTestProxy Other;
  TEvent Closed;
  std::atomic<bool> HasReturned{false};
  {
    TTestProxy Proxy;
    Proxy.m_OnMail = [&](TCNorvMessage const&) {
      Proxy.Close();
      Closed.Set();
      EXPECT_TRUE(Other.AskNumber(1));
      HasReturned = true;
    };
    ASSERT_TRUE(Proxy.AskNumber(0));
    Proxy.ConnectService(TestClass(), 3, false);
    Server.Publish(1);
    EXPECT_TRUE(Closed.Wait());
  }
  EXPECT_TRUE(HasReturned);
}

TEST_F(ProxyClose, DestructionDoesNotWaitForAnAnswer) {
  { TTestProxy Proxy; }
  {
    TTestProxy Proxy;
    Proxy.SendNumber(1);
  }
  TTestServer Server;
  TTestProxy Proxy;
  Proxy.SendNumber(2);
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ElementsAre(2));
}

// Runs `Action` in a child that starts when the parent says so, and ends with its result.
class TChild {
 public:
  template <class TAction>
  explicit TChild(TAction const& Action) {
    EXPECT_EQ(pipe(m_Start), 0);
    m_Process = fork();
    if (m_Process == 0) {
      char Byte = 0;
      close(m_Start[1]);
      bool const Told = read(m_Start[0], &Byte, 1) == 1;
      std::exit(Told ? Action() : 99);
    }
    close(m_Start[0]);
  }
  int Run() {
    EXPECT_EQ(write(m_Start[1], "s", 1), 1);
    close(m_Start[1]);
    int Status = 0;
    EXPECT_EQ(waitpid(m_Process, &Status, 0), m_Process);
    return WIFEXITED(Status) ? WEXITSTATUS(Status) : 1000 + WTERMSIG(Status);
  }

 private:
  int m_Start[2] = {-1, -1};
  pid_t m_Process = -1;
};

TTestProxy& KeptProxy() {
  static auto* const Proxy = new TTestProxy;  // never destroyed
  return *Proxy;
}

TEST_F(ProxyClose, AProcessThatExitsDeliversItsLastMails) {
  TChild Child([] {
    KeptProxy().ConnectService(TestClass(), 3, false);
    for (int Number = 1; Number <= 100; ++Number) {
      KeptProxy().SendNumber(Number);
    }
    return 0;
  });
  TTestServer Server;
  EXPECT_EQ(Child.Run(), 0);
  EXPECT_EQ(Server.m_Service.m_Mails.WaitFor(100), Numbers(1, 100));
}

TEST_F(ProxyClose, AProcessMayExitFromAHandler) {
  TChild Child([] {
    KeptProxy().m_OnMail = [](TCNorvMessage const&) { std::exit(0); };
    KeptProxy().AskNumber(0);
    KeptProxy().ConnectService(TestClass(), 3, false);
    KeptProxy().SendNumber(1);
    TEvent().Wait();
    return 98;
  });
  TTestServer Server([](TTestService& Service) {
    Service.m_OnMail = [&Service](TSNorvReceivedMail const& Mail) {
      Service.Publish(Mail.Content, {{}, 0, Mail.Content});
    };
  });
  EXPECT_EQ(Child.Run(), 0);
}

TEST_F(ProxyClose, AnotherUserMayConnectWhereTheRouterAdmitsIt) {
  uid_t const User = geteuid() == 0 ? 65534 : geteuid();
  TChild Child([User] {
    bool const Changed = setuid(User) == 0;
    bool const Served = Changed && KeptProxy().AskNumber(1) && KeptProxy().SendNumber(1) &&
                        KeptProxy().WaitForAcknowledgements(kPatienceMilliseconds);
    std::_Exit(Served ? 0 : 1);  // another user's process can not be looked through for leaks
    return 1;
  });
  TTestServer Server;
  Server.m_Router.Execute([&] {
    Server.m_Router.SetAdmission([](TSNorvMailSender const& /*Sender*/) { return std::string(); });
  });
  ASSERT_EQ(chmod(m_Folder.c_str(), 0755), 0);
  EXPECT_EQ(Child.Run(), 0);
  EXPECT_EQ(Server.m_Service.m_Senders.WaitFor(1).at(0).User, User);
}

}  // namespace
