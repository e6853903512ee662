// SPDX-License-Identifier: MIT
// What is kept of the published mails, and how far back.
#include "Platform/Messaging/Router/TCRecentMails.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "MessagingFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct RecentMails : testing::Test {
  // Keeps the next mail of the sequence, with so many bytes of text.
  void Add(std::size_t Bytes = 0) {
    m_Mails.Add(std::make_shared<TSPublishedMail const>(
        TSPublishedMail{m_Mailbox,
                        ++m_Last,
                        {},
                        0,
                        false,
                        OneRecord(eNorvEvent, static_cast<int>(m_Last), std::string(Bytes, 'x'))}));
  }

  // The mails after `Sequence`, at most `Count`.
  std::vector<std::uint64_t> After(std::uint64_t Sequence, std::size_t Count = 10000) const {
    std::vector<std::uint64_t> Result;
    m_Mails.ForEachAfter(Sequence, [&](TSPublishedMail const& Mail) {
      Result.push_back(Mail.Sequence);
      return Result.size() < Count;
    });
    return Result;
  }

  bool ReachBackTo(std::uint64_t Sequence) const { return m_Mails.ReachBackTo(Sequence, m_Last); }

  static constexpr std::size_t kCount = 1024;
  static constexpr std::size_t kMegabyte = std::size_t{1} << 20;

  std::shared_ptr<std::string const> const m_Mailbox =
      std::make_shared<std::string const>("mailbox");
  TCRecentMails m_Mails;
  std::uint64_t m_Last = 0;
};

TEST_F(RecentMails, LackNothingBeforeAnythingWasPublished) {
  EXPECT_TRUE(ReachBackTo(0));
  EXPECT_THAT(After(0), IsEmpty());
}

TEST_F(RecentMails, AreHandedOverFromAPlaceOnInTheirOrder) {
  for (int Mail = 0; Mail < 4; ++Mail) {
    Add();
  }
  EXPECT_THAT(After(0), ElementsAre(1, 2, 3, 4));
  EXPECT_THAT(After(2), ElementsAre(3, 4));
  EXPECT_THAT(After(4), IsEmpty());
}

TEST_F(RecentMails, AreHandedOverUntilNoMoreIsWanted) {
  for (int Mail = 0; Mail < 4; ++Mail) {
    Add();
  }
  EXPECT_THAT(After(1, 2), ElementsAre(2, 3));
}

TEST_F(RecentMails, ReachBackToTheMailBeforeTheOldestKept) {
  for (std::size_t Mail = 0; Mail < kCount + 2; ++Mail) {
    Add();
  }
  EXPECT_EQ(After(0).front(), 3U);
  EXPECT_TRUE(ReachBackTo(2));
  EXPECT_FALSE(ReachBackTo(1));
}

TEST_F(RecentMails, LackNothingForWhoHasHadTheLast) {
  Add(17 * kMegabyte);  // more than is kept
  EXPECT_THAT(After(0), IsEmpty());
  EXPECT_TRUE(ReachBackTo(1));
  EXPECT_FALSE(ReachBackTo(0));
}

TEST_F(RecentMails, LackNothingForWhoClaimsAPlaceThatIsNotReached) {
  Add();
  EXPECT_TRUE(ReachBackTo(UINT64_MAX));
  EXPECT_THAT(After(UINT64_MAX), IsEmpty());
}

TEST_F(RecentMails, AreKeptUpToTheirNumber) {
  for (std::size_t Mail = 0; Mail < kCount + 1; ++Mail) {
    Add();
  }
  EXPECT_EQ(After(0).size(), kCount);
  EXPECT_EQ(After(0).front(), 2U);
}

TEST_F(RecentMails, AreKeptUpToTheirBytes) {
  for (int Mail = 0; Mail < 4; ++Mail) {
    Add(5 * kMegabyte);
  }
  EXPECT_THAT(After(0), ElementsAre(2, 3, 4));
  Add();
  EXPECT_THAT(After(0), ElementsAre(2, 3, 4, 5));
  Add(15 * kMegabyte);
  EXPECT_THAT(After(0), ElementsAre(5, 6));
}

TEST_F(RecentMails, OutliveWhoeverPublishedThem) {
  Add(100);
  Add();
  std::weak_ptr<TCNorvMailBody const> Kept;
  m_Mails.ForEachAfter(0, [&](TSPublishedMail const& Mail) {
    Kept = Mail.Content.Body;
    return false;
  });
  EXPECT_FALSE(Kept.expired());
  m_Mails = TCRecentMails();
  EXPECT_TRUE(Kept.expired());
}

}  // namespace
