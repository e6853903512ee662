// SPDX-License-Identifier: MIT
// A proxy that misses a published mail asks for it, whatever comes next.
#include <gmock/gmock.h>

#include "ScriptedRouter.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct ProxyGap : TMessagingFixture {};

struct TWitnessingProxy : TTestProxy {
  ~TWitnessingProxy() override { Close(); }

  void Witness(TLog<int>& Heard) {
    SubscribeFirst(TestClass(), [&Heard](TSNorvMailContent const& Content, std::uint64_t) {
      Heard.Add(FirstNumber(Content));
    });
  }
};

}  // namespace

TEST_F(ProxyGap, BeforeWhatStandsInPlaceOfARefusedMailIsFilled) {
  using Wire::TEWhose;
  int Subscriptions = 0;
  TScriptedRouter Router(SocketPath(), [&](auto& Self, auto const& Message) {
    if (Message.Kind != Wire::TEFrame::eSubscribe) {
      return;
    }
    if (++Subscriptions == 1) {
      Self.Publish(0, 1, TEWhose::eAnothers, 1);
      Self.Publish(2, 3, TEWhose::eUpToDate, 3);
    } else {
      Self.Publish(1, 2, TEWhose::eAnothers, 2);
      Self.Publish(2, 3, TEWhose::eUpToDate, 3);
    }
  });
  TTestProxy Proxy;
  Proxy.ConnectService(TestClass(), 3, false);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(3), ElementsAre(1, 2, 3));
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr("mails 2 to 2 are missing and are asked for")));
}

TEST_F(ProxyGap, BeforeWhatBringsItUpToDateAsAWholeIsNone) {
  using Wire::TEWhose;
  TScriptedRouter Router(SocketPath(), [&](auto& Self, auto const& Message) {
    if (Message.Kind == Wire::TEFrame::eSubscribe) {
      Self.Publish(0, 1, TEWhose::eAnothers, 1);
      Self.Publish(0, 5, TEWhose::eUpToDate, 5);
      Self.Publish(5, 6, TEWhose::eAnothers, 6);
    }
  });
  TTestProxy Proxy;
  Proxy.ConnectService(TestClass(), 3, false);
  EXPECT_THAT(Proxy.m_Mails.WaitFor(3), ElementsAre(1, 5, 6));
}

TEST_F(ProxyGap, OfWhatIsHeardFirstKeepsAnAcknowledgementFromCounting) {
  using Wire::TEWhose;
  TEvent MayFill;
  int Subscriptions = 0;
  TScriptedRouter Router(SocketPath(), [&](auto& Self, auto const& Message) {
    if (Message.Kind == Wire::TEFrame::eSubscribe && ++Subscriptions == 1) {
      Self.Publish(0, 1, TEWhose::eAnothers, 1);
    } else if (Message.Kind == Wire::TEFrame::eMails) {
      Self.Publish(2, 3, TEWhose::eAnothers, 3);
      Self.Acknowledge(1);
    } else if (Message.Kind == Wire::TEFrame::eSubscribe) {
      EXPECT_TRUE(MayFill.Wait());
      Self.Publish(1, 2, TEWhose::eAnothers, 2);
      Self.Publish(2, 3, TEWhose::eAnothers, 3);
    }
  });
  TLog<int> Heard;
  TWitnessingProxy Proxy;
  Proxy.Witness(Heard);
  EXPECT_THAT(Heard.WaitFor(1), ElementsAre(1));
  EXPECT_TRUE(Proxy.SendNumber(10));
  EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatienceMilliseconds));
  EXPECT_EQ(Proxy.WaitForMail(TestMailbox(), 1, 0), eNorvTimePassed);
  MayFill.Set();
  EXPECT_EQ(Proxy.WaitForMail(TestMailbox(), 1, kPatienceMilliseconds), eNorvAcknowledged);
  EXPECT_THAT(Heard.WaitFor(3), ElementsAre(1, 2, 3));
}
