// SPDX-License-Identifier: MIT
// Published mails by their places: the next one, one that was had, and one before which others are
// missing.
#include "Platform/Messaging/Proxy/TCSubscription.h"

#include <gtest/gtest.h>

#include <ostream>

namespace {

using TEVerdict = TCSubscription::TEVerdict;

constexpr std::uint64_t kEpoch = 7;
constexpr std::uint64_t kOtherEpoch = 8;

struct Subscription : testing::Test {
  // One that has received everything up to mail 5 of the epoch.
  Subscription() {
    m_Subscription.Want();
    m_Subscription.NoteRequested();
    EXPECT_EQ(Admit(5, 0), TEVerdict::eNext);
  }

  TEVerdict Admit(std::uint64_t Sequence, std::uint64_t Previous, bool StandsForAll = false) {
    return m_Subscription.Admit({kEpoch, Sequence}, Previous, StandsForAll);
  }
  void ExpectReceived(std::uint64_t Epoch, std::uint64_t Sequence) const {
    EXPECT_EQ(m_Subscription.get_Received().Epoch, Epoch);
    EXPECT_EQ(m_Subscription.get_Received().Sequence, Sequence);
  }

  TCSubscription m_Subscription;
};

TEST(NewSubscription, IsNotRequestedUntilItIsWanted) {
  TCSubscription New;
  EXPECT_FALSE(New.IsToBeRequested());
  New.Restart();
  EXPECT_FALSE(New.IsToBeRequested());
  New.Want();
  EXPECT_TRUE(New.IsToBeRequested());
  EXPECT_EQ(New.get_Received().Epoch, 0U);
  New.NoteRequested();
  EXPECT_FALSE(New.IsToBeRequested());
}

TEST(NewSubscription, AsksForWhatIsRememberedFromAnEpochOfNoRun) {
  TCSubscription New;
  New.WantRemembered();
  EXPECT_TRUE(New.IsToBeRequested());
  EXPECT_EQ(New.get_Received().Epoch, 1U);
}

TEST(NewSubscription, BeginsAtTheFirstAnswerOfARun) {
  TCSubscription New;
  EXPECT_TRUE(New.BeginAt({kEpoch, 3}));
  EXPECT_EQ(New.get_Received().Sequence, 3U);
  EXPECT_FALSE(New.BeginAt({kEpoch, 4}));
  EXPECT_EQ(New.get_Received().Sequence, 3U);
  EXPECT_TRUE(New.BeginAt({kOtherEpoch, 1}));
  New.Want();
  EXPECT_FALSE(New.BeginAt({kEpoch, 9}));
}

TEST_F(Subscription, TakesTheNextMail) {
  EXPECT_EQ(Admit(6, 5), TEVerdict::eNext);
  ExpectReceived(kEpoch, 6);
}

TEST_F(Subscription, TakesAMailAfterOnesOfOtherClasses) {
  EXPECT_EQ(Admit(9, 5), TEVerdict::eNext);
  ExpectReceived(kEpoch, 9);
}

TEST_F(Subscription, LeavesWhatItHasHad) {
  EXPECT_EQ(Admit(5, 4), TEVerdict::eHad);
  EXPECT_EQ(Admit(1, 0), TEVerdict::eHad);
  ExpectReceived(kEpoch, 5);
}

TEST_F(Subscription, TakesAMailWhoseFormerItHasLeftBehind) {
  EXPECT_EQ(Admit(7, 3), TEVerdict::eNext);
}

TEST_F(Subscription, AsksOnceForWhatIsMissing) {
  EXPECT_EQ(Admit(8, 7), TEVerdict::eGap);
  ExpectReceived(kEpoch, 5);
  EXPECT_TRUE(m_Subscription.IsMissing());
  EXPECT_TRUE(m_Subscription.IsToBeRequested());
  EXPECT_EQ(Admit(9, 8), TEVerdict::eStillGap);
  m_Subscription.NoteRequested();
  EXPECT_FALSE(m_Subscription.IsToBeRequested());
  EXPECT_EQ(Admit(10, 9), TEVerdict::eStillGap);
  EXPECT_TRUE(m_Subscription.IsMissing());
}

TEST_F(Subscription, GoesOnWhenWhatWasMissingHasCome) {
  Admit(8, 7);
  m_Subscription.NoteRequested();
  EXPECT_EQ(Admit(7, 5), TEVerdict::eNext);
  EXPECT_FALSE(m_Subscription.IsMissing());
  EXPECT_FALSE(m_Subscription.IsToBeRequested());
  EXPECT_EQ(Admit(8, 7), TEVerdict::eNext);
}

TEST_F(Subscription, AsksStillWhenWhatWasMissingCameUnasked) {
  Admit(8, 7);
  EXPECT_EQ(Admit(7, 5), TEVerdict::eNext);
  EXPECT_TRUE(m_Subscription.IsToBeRequested());
}

TEST_F(Subscription, TakesWhatStandsForAllWhateverIsMissing) {
  Admit(8, 7);
  EXPECT_EQ(Admit(9, 0, true), TEVerdict::eNext);
  ExpectReceived(kEpoch, 9);
  EXPECT_FALSE(m_Subscription.IsMissing());
  EXPECT_EQ(Admit(3, 0, true), TEVerdict::eNext);  // the router says what counts
  ExpectReceived(kEpoch, 3);
}

TEST_F(Subscription, TakesEveryMailOfAnotherRun) {
  EXPECT_EQ(m_Subscription.Admit({kOtherEpoch, 2}, 1, false), TEVerdict::eNext);
  ExpectReceived(kOtherEpoch, 2);
}

TEST_F(Subscription, IsRequestedFromItsPlaceOnTheNextConnection) {
  m_Subscription.Restart();
  EXPECT_TRUE(m_Subscription.IsToBeRequested());
  ExpectReceived(kEpoch, 5);
}

TEST_F(Subscription, HasNoGapOnTheNextConnection) {
  Admit(8, 7);
  m_Subscription.Restart();
  EXPECT_FALSE(m_Subscription.IsMissing());
  EXPECT_TRUE(m_Subscription.IsToBeRequested());
}

TEST_F(Subscription, AsksAgainForAMailThatCouldNotBeTaken) {
  Wire::TSPosition const Former = m_Subscription.get_Received();
  EXPECT_EQ(Admit(6, 5), TEVerdict::eNext);
  m_Subscription.TakeBack(Former);
  m_Subscription.AskAgain();
  EXPECT_TRUE(m_Subscription.IsToBeRequested());
  ExpectReceived(kEpoch, 5);
  m_Subscription.NoteRequested();
  EXPECT_EQ(Admit(6, 5), TEVerdict::eNext);
}

TEST_F(Subscription, AsksOnceForAMailThatIsMissingAlready) {
  Admit(8, 7);
  m_Subscription.NoteRequested();
  m_Subscription.AskAgain();
  EXPECT_FALSE(m_Subscription.IsToBeRequested());
}

TEST_F(Subscription, TakesTheHighestPlaceAndNothingAfterIt) {
  EXPECT_EQ(Admit(UINT64_MAX, 5), TEVerdict::eNext);
  EXPECT_EQ(Admit(6, 5), TEVerdict::eHad);
}

}  // namespace
