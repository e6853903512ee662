// SPDX-License-Identifier: MIT
// Memory that runs out while a proxy is given a mail: it is not sent and its sender is told, or it
// is sent, once.
#include <gmock/gmock.h>

#include <new>
#include <vector>

#include "tests/unit/CommonProperties/FailingAllocations.h"
#include "tests/unit/Platform/Messaging/MessagingFixture.h"

namespace {

using ::testing::ElementsAreArray;
using FailingProxyMemory = TMessagingFixture;

}  // namespace

TEST_F(FailingProxyMemory, HasAMailSentOnceOrRefused) {
  TTestServer Server;
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.SendNumber(-1));  // allocates what is needed once
  std::vector<int> Sent{-1};
  Sent.reserve(100);  // what fails is the proxy's
  int Refused = 0;
  bool HasFailed = true;
  for (int Successes = 0; HasFailed; ++Successes) {
    TTestMail Mail(TestClass(), eNorvChange, 1);
    Append(Mail, Successes);
    TSNorvMailContent const Content = Mail.get_Content();
    TFailingAllocation const Failing(Successes);
    try {
      Proxy.Post(TestMailbox(), Content);
      Sent.push_back(Successes);
    } catch (std::bad_alloc const&) {
      ++Refused;
    }
    HasFailed = Failing.HasFailed();
  }
  EXPECT_GT(Refused, 0);
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(Sent.size()), ElementsAreArray(Sent));
}
