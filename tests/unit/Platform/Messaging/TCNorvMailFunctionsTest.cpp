// SPDX-License-Identifier: MIT
// Dispatch of mails by their class.
#include "Platform/Messaging/TCNorvMailFunctions.h"

#include <gmock/gmock.h>

namespace {

using ::testing::ElementsAre;

TCNorvMailClassID const kKnown("known", 1);
TCNorvMailClassID const kOther("other", 1);

struct TTarget {
  void OnFirst(TCNorvMessage const& Mail) { m_First.push_back(Mail.get_SignalName()); }
  void OnSecond(TCNorvMessage const& Mail) { m_Second.push_back(Mail.get_SignalName()); }
  std::vector<int> m_First, m_Second;
};

TEST(MailFunctions, CallsTheHandlerOfTheClass) {
  TTarget Target;
  TCNorvMailFunctions<TTarget> Functions(&Target);
  Functions.Add(kKnown.get_ID(), &TTarget::OnFirst);
  Functions.Add(kOther.get_ID(), &TTarget::OnSecond);
  EXPECT_TRUE(Functions.Parse(TCNorvMessage(kKnown, 1, 7)));
  EXPECT_THAT(Target.m_First, ElementsAre(7));
  EXPECT_TRUE(Target.m_Second.empty());
}

TEST(MailFunctions, IgnoresAnUnknownClass) {
  TTarget Target;
  TCNorvMailFunctions<TTarget> Functions(&Target);
  Functions.Add(kKnown.get_ID(), &TTarget::OnFirst);
  EXPECT_FALSE(Functions.Parse(TCNorvMessage(kOther, 1, 7)));
  EXPECT_TRUE(Target.m_First.empty());
}

TEST(MailFunctions, ReplacesAnEarlierHandler) {
  TTarget Target;
  TCNorvMailFunctions<TTarget> Functions(&Target);
  Functions.Add(kKnown.get_ID(), &TTarget::OnFirst);
  Functions.Add(kKnown.get_ID(), &TTarget::OnSecond);
  EXPECT_TRUE(Functions.Parse(TCNorvMessage(kKnown, 1, 7)));
  EXPECT_THAT(Target.m_Second, ElementsAre(7));
}

}  // namespace
