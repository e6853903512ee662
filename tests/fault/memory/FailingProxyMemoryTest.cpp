// SPDX-License-Identifier: MIT
// Memory that runs out while a proxy is given a mail: it is not sent and its sender is told, or it
// is sent, once.
#include <gmock/gmock.h>

#include <new>
#include <string>
#include <vector>

#include "tests/unit/CommonProperties/FailingAllocations.h"
#include "tests/unit/Platform/Messaging/MessagingFixture.h"

namespace {

using ::testing::ElementsAreArray;
using FailingProxyMemory = TMessagingFixture;

// Marks what it changes, as a store does.
struct TChangingProxy : TTestProxy {
  ~TChangingProxy() override { Close(); }

  void Change(std::string const& Key, TSNorvMailContent const& Content) {
    PostChange(TestMailbox(), Content, MarkChange(TestMailbox(), TestClass(), {Key}));
  }
};

}  // namespace

TEST_F(FailingProxyMemory, HasAMailSentOnceOrRefused) {
  TTestServer Server;
  TChangingProxy Proxy;
  ASSERT_TRUE(Proxy.SendNumber(-1));  // allocates what is needed once
  std::vector<int> Sent{-1};
  Sent.reserve(100);  // what fails is the proxy's
  int Refused = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    TTestMail Mail(TestClass(), eNorvChange, 1);
    Append(Mail, Successes);
    TSNorvMailContent const Content = Mail.get_Content();
    std::string const Key =
        "a key that is longer than a text without memory of its own " + std::to_string(Successes);
    TFailingAllocation const Failing(Successes);
    try {
      Proxy.Change(Key, Content);
      Sent.push_back(Successes);
    } catch (std::bad_alloc const&) {
      ++Refused;
    }
    HasFailed = Failing.HasFailed();
  }
  EXPECT_GT(Refused, 2);
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(Sent.size()), ElementsAreArray(Sent));
}
