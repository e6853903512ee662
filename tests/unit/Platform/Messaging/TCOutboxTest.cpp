// SPDX-License-Identifier: MIT
// Mails from their sending until they are acknowledged: their numbers, frames and returns.
#include "Platform/Messaging/Proxy/TCOutbox.h"

#include <gmock/gmock.h>

#include "MessagingFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr TCOwnChanges::TCStream kClassStream = 3;
constexpr TCOwnChanges::TCStream kOther = 4;
constexpr std::size_t kFrameMails = 256;    // mails of a frame
constexpr std::size_t kWorthAFrame = 32;    // mails
constexpr std::size_t kWorthBytes = 16384;  // of mails, with their heads

struct Outbox : testing::Test {
  void Add(int Count, std::string const& Text = std::string()) {
    for (int Mail = 0; Mail < Count; ++Mail) {
      m_Outbox.Add(OneRecord(eNorvChange, 7, Text), kClassStream);
    }
  }

  // Number of the first mail of the next frame, and how many there are in it; they are sent.
  std::pair<std::uint64_t, std::size_t> Send() {
    TCOutbox::TSNext const Next = m_Outbox.NextFrame();
    Wire::TCFrameView const Frame(Next.Frame.get_Bytes(), Next.Frame.get_Body() ? 0 : -1);
    EXPECT_EQ(Frame.get_Count(), Next.Count);
    EXPECT_EQ(Frame.get_Head().Kind, Wire::TEFrame::eMails);
    EXPECT_EQ(Frame.get_Head().Mailbox, "mailbox");
    m_Outbox.NoteSent(Next.Count);
    return {Frame.get_Head().Number, Next.Count};
  }

  std::vector<std::uint64_t> TakePublished(std::uint64_t Number) {
    std::vector<std::uint64_t> Taken;
    m_Outbox.TakePublished(TestClass(), kClassStream, Number,
                           [&Taken](std::uint64_t Mail, TSNorvMailContent const& /*Content*/) {
                             Taken.push_back(Mail);
                           });
    return Taken;
  }

  TCOutbox m_Outbox{"mailbox"};
};

TEST_F(Outbox, NumbersItsMailsFromOne) {
  EXPECT_EQ(m_Outbox.get_LastNumber(), 0U);
  EXPECT_EQ(m_Outbox.Add(OneRecord(eNorvChange, 7), kClassStream), 1U);
  EXPECT_EQ(m_Outbox.Add(OneRecord(eNorvChange, 7), kClassStream), 2U);
  EXPECT_EQ(m_Outbox.get_LastNumber(), 2U);
}

TEST_F(Outbox, SendsNothingWithoutMails) {
  EXPECT_FALSE(m_Outbox.HasUnsent());
  EXPECT_FALSE(m_Outbox.HasUnsentUpTo(UINT64_MAX));
  EXPECT_FALSE(m_Outbox.IsWorthAFrame());
}

TEST_F(Outbox, PutsMailsOfOneClassIntoAFrame) {
  Add(3);
  EXPECT_THAT(Send(), Pair(1U, 3U));
  EXPECT_FALSE(m_Outbox.HasUnsent());
  EXPECT_EQ(m_Outbox.get_OnWay(), 3U);
  Add(1);
  EXPECT_THAT(Send(), Pair(4U, 1U));
}

TEST_F(Outbox, EndsAFrameWithAnotherClass) {
  Add(2);
  TSNorvMailContent Other = OneRecord(eNorvChange, 7);
  Other.MailClass = TCNorvMailClassID("test", 2);
  m_Outbox.Add(Other, kOther);
  Add(1);
  EXPECT_THAT(Send(), Pair(1U, 2U));
  EXPECT_THAT(Send(), Pair(3U, 1U));
  EXPECT_THAT(Send(), Pair(4U, 1U));
}

TEST_F(Outbox, EndsAFrameWithTheNumberOfItsMails) {
  Add(static_cast<int>(kFrameMails) + 1);
  EXPECT_THAT(Send(), Pair(1U, kFrameMails));
  EXPECT_THAT(Send(), Pair(kFrameMails + 1, 1U));
}

TEST_F(Outbox, EndsAFrameBeforeALargeMail) {
  Add(1);
  Add(1, std::string(kLargeText, 'x'));
  Add(1);
  EXPECT_THAT(Send(), Pair(1U, 1U));
  EXPECT_THAT(Send(), Pair(2U, 1U));
  EXPECT_THAT(Send(), Pair(3U, 1U));
}

TEST_F(Outbox, KnowsUpToWhichMailAllAreOnTheirWay) {
  Add(2);
  EXPECT_TRUE(m_Outbox.HasUnsentUpTo(1));
  EXPECT_FALSE(m_Outbox.HasUnsentUpTo(0));
  m_Outbox.NoteSent(1);
  EXPECT_FALSE(m_Outbox.HasUnsentUpTo(1));
  EXPECT_TRUE(m_Outbox.HasUnsentUpTo(2));
}

TEST_F(Outbox, ForgetsWhatIsAcknowledged) {
  Add(3);
  Send();
  std::size_t const Size = TCOutbox::KeptSize(OneRecord(eNorvChange, 7));
  EXPECT_EQ(m_Outbox.get_LastAcknowledged(), 0U);
  EXPECT_EQ(m_Outbox.Acknowledge(2), 2 * Size);
  EXPECT_EQ(m_Outbox.get_LastAcknowledged(), 2U);
  EXPECT_EQ(m_Outbox.Acknowledge(2), 0U);
  EXPECT_EQ(m_Outbox.Acknowledge(1), 0U);
  EXPECT_EQ(m_Outbox.Acknowledge(UINT64_MAX), Size);
  EXPECT_EQ(m_Outbox.get_LastAcknowledged(), 3U);
  EXPECT_EQ(m_Outbox.get_OnWay(), 0U);
}

TEST_F(Outbox, ForgetsNothingThatIsNotOnItsWay) {
  Add(2);
  EXPECT_EQ(m_Outbox.Acknowledge(2), 0U);
  m_Outbox.NoteSent(1);
  m_Outbox.Acknowledge(2);
  EXPECT_EQ(m_Outbox.get_LastAcknowledged(), 1U);
  EXPECT_THAT(Send(), Pair(2U, 1U));
}

TEST_F(Outbox, SendsAgainFromTheFirstMailThatIsNotAcknowledged) {
  Add(5);
  Send();
  m_Outbox.Acknowledge(2);
  m_Outbox.Restart();
  EXPECT_EQ(m_Outbox.get_OnWay(), 0U);
  EXPECT_THAT(Send(), Pair(3U, 3U));
}

TEST_F(Outbox, GivesTheNumberOfAMailThatIsTakenBackToTheNext) {
  Add(2);
  m_Outbox.RemoveNewest();
  EXPECT_EQ(m_Outbox.get_LastNumber(), 1U);
  EXPECT_EQ(m_Outbox.Add(OneRecord(eNorvChange, 7), kClassStream), 2U);
}

TEST_F(Outbox, HasWhatIsWorthAFrameWithSoManyMails) {
  Add(static_cast<int>(kWorthAFrame) - 1);
  EXPECT_FALSE(m_Outbox.IsWorthAFrame());
  Add(1);
  EXPECT_TRUE(m_Outbox.IsWorthAFrame());
  m_Outbox.NoteSent(1);
  EXPECT_FALSE(m_Outbox.IsWorthAFrame());
}

TEST_F(Outbox, HasWhatIsWorthAFrameWithSoManyBytes) {
  std::size_t const Overhead = Wire::kMailHeadSize + OneRecord(eNorvChange, 7).Body->get_Size();
  Add(1, std::string(kWorthBytes - Overhead - 1, 'x'));
  EXPECT_FALSE(m_Outbox.IsWorthAFrame());
  m_Outbox.RemoveNewest();
  Add(1, std::string(kWorthBytes - Overhead, 'x'));
  EXPECT_TRUE(m_Outbox.IsWorthAFrame());
}

TEST_F(Outbox, HandsOutEachPublishedMailOnce) {
  Add(4);
  Send();
  EXPECT_THAT(TakePublished(2), ElementsAre(1, 2));
  EXPECT_THAT(TakePublished(2), IsEmpty());
  EXPECT_THAT(TakePublished(4), ElementsAre(3, 4));
}

TEST_F(Outbox, HandsOutNoMailThatCameOtherwise) {
  Add(3);
  Send();
  m_Outbox.NotePublished(kClassStream, 2);
  EXPECT_THAT(TakePublished(3), ElementsAre(3));
}

TEST_F(Outbox, HandsOutNoMailOfAnotherClass) {
  Add(1);
  TSNorvMailContent Other = OneRecord(eNorvChange, 7);
  Other.MailClass = TCNorvMailClassID("test", 2);
  m_Outbox.Add(Other, kOther);
  Add(1);
  EXPECT_THAT(TakePublished(3), ElementsAre(1, 3));
  EXPECT_THAT(m_Outbox.get_Streams(), ElementsAre(Pair(kClassStream, 3U), Pair(kOther, 0U)));
}

TEST_F(Outbox, HandsOutNoMailBeyondItsLast) {
  Add(2);
  EXPECT_THAT(TakePublished(UINT64_MAX), ElementsAre(1, 2));
}

}  // namespace
