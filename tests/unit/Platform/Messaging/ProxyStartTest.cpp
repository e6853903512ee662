// SPDX-License-Identifier: MIT
// The start of a proxy's thread, also where the system gives none.
#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "MessagingFixture.h"
#include "Platform/Utility/TCException.h"

namespace {

using ::testing::ElementsAre;

// While it lives, the system starts no thread for this process: of another user than root, whom no
// limit holds.
class TNoThreads {
 public:
  TNoThreads() {
    EXPECT_EQ(getrlimit(RLIMIT_NPROC, &m_Former), 0);
    rlimit Limit = m_Former;
    Limit.rlim_cur = 0;
    EXPECT_EQ(setrlimit(RLIMIT_NPROC, &Limit), 0);
    if (m_User == 0) {
      EXPECT_EQ(setresuid(kNobody, kNobody, 0), 0);
    }
  }
  ~TNoThreads() {
    if (m_User == 0) {
      EXPECT_EQ(setresuid(0, 0, 0), 0);
      prctl(PR_SET_DUMPABLE, 1);  // or nobody could look for leaks
    }
    EXPECT_EQ(setrlimit(RLIMIT_NPROC, &m_Former), 0);
  }
  TNoThreads(TNoThreads const&) = delete;
  TNoThreads& operator=(TNoThreads const&) = delete;

 private:
  static constexpr uid_t kNobody = 65534;

  uid_t const m_User = getuid();
  rlimit m_Former = {};
};

std::vector<int> BlockedSignals() {
  sigset_t Mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &Mask);
  std::vector<int> Blocked;
  for (int Signal = 1; Signal < SIGRTMIN; ++Signal) {
    if (sigismember(&Mask, Signal) > 0) {
      Blocked.push_back(Signal);
    }
  }
  return Blocked;
}

void Block(int Signal) {
  sigset_t Mask;
  sigemptyset(&Mask);
  sigaddset(&Mask, Signal);
  pthread_sigmask(SIG_SETMASK, &Mask, nullptr);
}

using ProxyStart = TMessagingFixture;

}  // namespace

TEST_F(ProxyStart, LeavesTheCallersSignalsAsTheyAre) {
  TTestServer Server;
  TTestProxy Proxy;
  Block(SIGUSR1);
  ASSERT_TRUE(Proxy.AskNumber(1));
  EXPECT_THAT(BlockedSignals(), ElementsAre(SIGUSR1));
}

TEST_F(ProxyStart, WithoutAThreadLeavesTheCallersSignalsAsTheyAre) {
  TTestServer Server;
  TTestProxy Proxy;
  Block(SIGUSR1);
  {
    TNoThreads const NoThreads;
    EXPECT_ANY_THROW(Proxy.SendNumber(1));
  }
  EXPECT_THAT(BlockedSignals(), ElementsAre(SIGUSR1));
}

TEST_F(ProxyStart, WithoutAThreadSendsNothingAndSaysWhy) {
  TTestServer Server;
  TTestProxy Proxy;
  {
    TNoThreads const NoThreads;
    try {
      Proxy.SendNumber(1);
      ADD_FAILURE() << "a thread was started";
    } catch (TCException const& Exception) {
      EXPECT_EQ(Exception.get_Message(),
                "cannot start the proxy's thread: Resource temporarily unavailable");
    }
  }
  ASSERT_TRUE(Proxy.SendNumber(2));
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ElementsAre(2));
}
