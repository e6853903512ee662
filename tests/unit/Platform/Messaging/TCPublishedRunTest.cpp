// SPDX-License-Identifier: MIT
// Which published mails go together, and the frame that is made of them.
#include "Platform/Messaging/Router/TCPublishedRun.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "MessagingFixture.h"

namespace {

using ::testing::ElementsAre;

struct PublishedRun : testing::Test {
  static TSPublishedMail Mail(std::uint64_t Sequence, std::size_t Bytes = 0,
                              std::string const& Mailbox = "mailbox") {
    return {std::make_shared<std::string const>(Mailbox),
            Sequence,
            {},
            100 + Sequence,
            false,
            OneRecord(eNorvEvent, static_cast<int>(Sequence), std::string(Bytes, 'x'))};
  }

  bool Takes(TSPublishedMail const& Next, Wire::TEWhose Whose = kAnothers) const {
    return m_Run.Takes(m_Subscription, Whose, Next, *Next.Content.Body);
  }
  void Add(TSPublishedMail const& Next) { m_Run.Add(Next, Next.Content.Body); }

  // Begins with these mails, which go to `Subscription`.
  std::shared_ptr<Wire::TCFrame const> FrameOf(std::vector<TSPublishedMail const*> const& Mails,
                                               TSRouterSubscription& Subscription,
                                               Wire::TEWhose Whose = kAnothers) {
    m_Run.Begin(Subscription, Whose);
    for (TSPublishedMail const* const Next : Mails) {
      Add(*Next);
    }
    return m_Run.get_Frame(kEpoch);
  }

  // The numbers in the first records of a frame's mails.
  static std::vector<int> NumbersIn(Wire::TCFrame const& Frame) {
    std::vector<int> Numbers;
    Wire::TCFrameView View(Frame.get_Bytes(), -1);
    Wire::TSFrameMail Next;
    while (View.Next(Next)) {
      Numbers.push_back(FirstNumber(View.Read(Next, View.get_Class())));
    }
    return Numbers;
  }

  static constexpr Wire::TEWhose kAnothers = Wire::TEWhose::eAnothers;
  static constexpr std::uint64_t kEpoch = 9;

  TSRouterSubscription m_Subscription;
  TCPublishedRun m_Run;
};

TEST_F(PublishedRun, IsNotJoinedBeforeItHasAMail) {
  EXPECT_FALSE(Takes(Mail(1)));
  m_Run.Begin(m_Subscription, kAnothers);
  EXPECT_TRUE(m_Run.IsEmpty());
  EXPECT_FALSE(Takes(Mail(1)));
}

TEST_F(PublishedRun, TakesTheMailThatFollows) {
  TSPublishedMail const First = Mail(4);
  m_Run.Begin(m_Subscription, kAnothers);
  Add(First);
  EXPECT_EQ(m_Run.get_Last(), 4U);
  EXPECT_TRUE(Takes(Mail(5)));
  EXPECT_FALSE(Takes(Mail(4)));
  EXPECT_FALSE(Takes(Mail(6)));
}

TEST_F(PublishedRun, IsOfOneSubscription) {
  TSPublishedMail const First = Mail(1);
  TSPublishedMail const Second = Mail(2);
  TSRouterSubscription const Other;
  m_Run.Begin(m_Subscription, kAnothers);
  Add(First);
  EXPECT_EQ(&m_Run.get_Subscription(), &m_Subscription);
  EXPECT_FALSE(m_Run.Takes(Other, kAnothers, Second, *Second.Content.Body));
}

TEST_F(PublishedRun, IsOfOneMailbox) {
  TSPublishedMail const First = Mail(1);
  m_Run.Begin(m_Subscription, kAnothers);
  Add(First);
  EXPECT_FALSE(Takes(Mail(2, 0, "another")));
}

TEST_F(PublishedRun, IsOfRecordsWithTheSameFields) {
  TSPublishedMail const First = Mail(1);
  m_Run.Begin(m_Subscription, kAnothers);
  Add(First);
  TSPublishedMail const Next = Mail(2);
  auto const Others = TCNorvMailBody::TCWriter("i").Finish();
  EXPECT_FALSE(m_Run.Takes(m_Subscription, kAnothers, Next, *Others));
}

// Each has a number of its own, and a frame has one.
TEST_F(PublishedRun, LeavesMailsOfTheSubscriberAlone) {
  TSPublishedMail const First = Mail(1);
  for (Wire::TEWhose const Whose : {Wire::TEWhose::eOwn, Wire::TEWhose::eUpToDate}) {
    m_Run.Begin(m_Subscription, Whose);
    Add(First);
    EXPECT_FALSE(Takes(Mail(2), Whose));
    EXPECT_FALSE(Takes(Mail(2)));
  }
  m_Run.Begin(m_Subscription, kAnothers);
  Add(First);
  EXPECT_FALSE(Takes(Mail(2), Wire::TEWhose::eOwn));
}

TEST_F(PublishedRun, TakesAsManyMailsAsAFrameHas) {
  std::vector<TSPublishedMail> Mails;
  for (std::uint64_t Sequence = 1; Sequence <= Wire::kMailCountLimit; ++Sequence) {
    Mails.push_back(Mail(Sequence));
  }
  m_Run.Begin(m_Subscription, kAnothers);
  Add(Mails.front());
  for (std::size_t Next = 1; Next < Mails.size(); ++Next) {
    ASSERT_TRUE(Takes(Mails[Next]));
    Add(Mails[Next]);
  }
  EXPECT_FALSE(Takes(Mail(Wire::kMailCountLimit + 1)));
}

TEST_F(PublishedRun, TakesAsManyBytesAsAFrameHas) {
  TSPublishedMail const First = Mail(1, 30000);
  std::size_t const Room =
      Wire::kMailsLimit - 2 * Wire::kMailHeadSize - First.Content.Body->get_Size();
  std::size_t const Empty = Mail(2).Content.Body->get_Size();
  m_Run.Begin(m_Subscription, kAnothers);
  Add(First);
  EXPECT_TRUE(Takes(Mail(2, Room - Empty)));
  EXPECT_FALSE(Takes(Mail(2, Room - Empty + 1)));
  m_Run.Begin(m_Subscription, kAnothers);
  Add(First);
  EXPECT_TRUE(Takes(Mail(2, Room - Empty))) << "what the run before had counts still";
}

TEST_F(PublishedRun, BecomesAFrame) {
  TSPublishedMail const First = Mail(4);
  TSPublishedMail const Second = Mail(5);
  m_Subscription.Sent = 2;
  auto const Frame = FrameOf({&First, &Second}, m_Subscription);
  Wire::TCFrameView const View(Frame->get_Bytes(), -1);
  Wire::TSFrameHead const& Head = View.get_Head();
  EXPECT_EQ(Head.Kind, Wire::TEFrame::ePublished);
  EXPECT_EQ(Head.Whose, kAnothers);
  EXPECT_EQ(Head.Mailbox, "mailbox");
  EXPECT_EQ(View.get_Class(), TestClass());
  EXPECT_EQ(Head.Number, 0U) << "nobody is told the numbers of others";
  EXPECT_EQ(Head.Position.Epoch, kEpoch);
  EXPECT_EQ(Head.Position.Sequence, 4U);
  EXPECT_EQ(Head.Previous, 2U);
  EXPECT_THAT(NumbersIn(*Frame), ElementsAre(4, 5));
}

TEST_F(PublishedRun, TellsTheSubscriberTheNumberOfItsOwnMail) {
  TSPublishedMail const First = Mail(4);
  auto const Frame = FrameOf({&First}, m_Subscription, Wire::TEWhose::eOwn);
  Wire::TCFrameView const View(Frame->get_Bytes(), -1);
  EXPECT_EQ(View.get_Head().Whose, Wire::TEWhose::eOwn);
  EXPECT_EQ(View.get_Head().Number, 104U);
}

TEST_F(PublishedRun, HasTheRecordsThatTheSubscriberMayHave) {
  TSPublishedMail const First = Mail(4);
  m_Run.Begin(m_Subscription, kAnothers);
  m_Run.Add(First, OneRecord(eNorvEvent, 77).Body);
  EXPECT_THAT(NumbersIn(*m_Run.get_Frame(kEpoch)), ElementsAre(77));
}

TEST_F(PublishedRun, BecomesOneFrameForAllThatHaveHadTheSame) {
  TSPublishedMail const First = Mail(1);
  TSPublishedMail const Second = Mail(2);
  TSRouterSubscription Other;
  auto const Frame = FrameOf({&First, &Second}, m_Subscription);
  m_Run.End();
  EXPECT_TRUE(m_Run.IsEmpty());
  EXPECT_EQ(FrameOf({&First, &Second}, Other), Frame);
}

TEST_F(PublishedRun, BecomesAnotherFrameWhereAnythingDiffers) {
  TSPublishedMail const First = Mail(1);
  TSPublishedMail const Second = Mail(2);
  TSRouterSubscription Ahead;
  Ahead.Sent = 1;
  auto const Frame = FrameOf({&Second}, m_Subscription);
  std::string const Bytes(Frame->get_Bytes());
  EXPECT_NE(FrameOf({&Second}, Ahead), Frame);
  EXPECT_NE(FrameOf({&Second}, m_Subscription, Wire::TEWhose::eOwn), Frame);
  EXPECT_NE(FrameOf({&First, &Second}, m_Subscription), Frame);
  m_Run.Begin(m_Subscription, kAnothers);
  m_Run.Add(Second, OneRecord(eNorvEvent, 77).Body);
  EXPECT_NE(m_Run.get_Frame(kEpoch), Frame);
  EXPECT_EQ(Frame->get_Bytes(), Bytes) << "who keeps a frame finds it changed";
}

TEST_F(PublishedRun, DoesNotTakeALaterMailForOneThatWasForgotten) {
  TSPublishedMail Place = Mail(1);
  FrameOf({&Place}, m_Subscription);
  m_Run.Forget();
  EXPECT_TRUE(m_Run.IsEmpty());
  Place.Sequence = 2;
  auto const Frame = FrameOf({&Place}, m_Subscription);
  EXPECT_EQ(Wire::TCFrameView(Frame->get_Bytes(), -1).get_Head().Position.Sequence, 2U);
}

TEST_F(PublishedRun, KeepsNoLargeRecordsThatAreForgotten) {
  auto Large = std::make_unique<TSPublishedMail>(Mail(1, kLargeText));
  std::weak_ptr<TCNorvMailBody const> const Body = Large->Content.Body;
  EXPECT_NE(FrameOf({Large.get()}, m_Subscription)->get_Body(), nullptr);
  Large.reset();
  EXPECT_FALSE(Body.expired());
  m_Run.Forget();
  EXPECT_TRUE(Body.expired());
}

}  // namespace
