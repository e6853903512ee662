// SPDX-License-Identifier: MIT
// What waits for a proxy's owner, and which thread hands it over.
#include "Platform/Messaging/Proxy/TCInbox.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using TEKind = TCInbox::TEKind;

constexpr TCOwnChanges::TCStream kInboxStream = 1;

TCInbox::TSReceived Received(TEKind Kind, std::uint64_t Number, bool Whole = false) {
  return {Kind, kInboxStream, Number, {TCNorvMailClassID("test", 1), 0, 0, nullptr}, Whole};
}

std::thread::id const kHere = std::this_thread::get_id();

struct Inbox : testing::Test {
  void Add(std::uint64_t Number) { m_Inbox.Add(Received(TEKind::eForeign, Number)); }

  TCInbox m_Inbox;
};

// Of a thread that has ended.
std::thread::id AnotherThread() {
  std::thread Thread([] {});
  std::thread::id const Other = Thread.get_id();
  Thread.join();
  return Other;
}

TEST_F(Inbox, HandsOverInOrder) {
  EXPECT_TRUE(m_Inbox.IsEmpty());
  Add(1);
  Add(2);
  EXPECT_EQ(m_Inbox.Take().Number, 1U);
  EXPECT_EQ(m_Inbox.Take().Number, 2U);
  EXPECT_TRUE(m_Inbox.IsEmpty());
}

TEST_F(Inbox, ForgetsWhatWaits) {
  Add(1);
  m_Inbox.Clear();
  EXPECT_TRUE(m_Inbox.IsEmpty());
}

TEST_F(Inbox, HasNothingBeforeWhatComesOnlyWhileItIsAtRest) {
  EXPECT_TRUE(m_Inbox.IsNextInLine());
  Add(1);
  EXPECT_FALSE(m_Inbox.IsNextInLine());
  m_Inbox.BeginDelivery(m_Inbox.Take(), kHere);
  EXPECT_FALSE(m_Inbox.IsNextInLine());
  EXPECT_FALSE(m_Inbox.IsDelivered());
  m_Inbox.EndDelivery();
  EXPECT_TRUE(m_Inbox.IsNextInLine());
  EXPECT_TRUE(m_Inbox.IsDelivered());
  m_Inbox.HoldFor(kHere);
  EXPECT_FALSE(m_Inbox.IsNextInLine());
  m_Inbox.Release(kHere);
  EXPECT_TRUE(m_Inbox.IsNextInLine());
}

TEST_F(Inbox, HandsOverOneAtATime) {
  Add(1);
  Add(2);
  EXPECT_FALSE(m_Inbox.TurnsAway());
  m_Inbox.BeginDelivery(m_Inbox.Take(), kHere);
  EXPECT_TRUE(m_Inbox.IsDelivering());
  EXPECT_TRUE(m_Inbox.IsDeliveredBy(kHere));
  EXPECT_FALSE(m_Inbox.IsDeliveredBy(AnotherThread()));
  EXPECT_TRUE(m_Inbox.TurnsAway());
  EXPECT_TRUE(m_Inbox.EndDelivery());  // somebody was turned away, and something waits
  EXPECT_FALSE(m_Inbox.TurnsAway());
}

TEST_F(Inbox, TellsNobodyWhereNothingWaitsAnyMore) {
  Add(1);
  m_Inbox.BeginDelivery(m_Inbox.Take(), kHere);
  EXPECT_TRUE(m_Inbox.TurnsAway());
  EXPECT_FALSE(m_Inbox.EndDelivery());
}

TEST_F(Inbox, TellsNobodyWhereNobodyWasTurnedAway) {
  Add(1);
  Add(2);
  m_Inbox.BeginDelivery(m_Inbox.Take(), kHere);
  EXPECT_FALSE(m_Inbox.EndDelivery());
}

TEST_F(Inbox, RemembersOnceThatSomebodyWasTurnedAway) {
  Add(1);
  Add(2);
  Add(3);
  m_Inbox.BeginDelivery(m_Inbox.Take(), kHere);
  EXPECT_TRUE(m_Inbox.TurnsAway());
  EXPECT_TRUE(m_Inbox.EndDelivery());
  m_Inbox.BeginDelivery(m_Inbox.Take(), kHere);
  EXPECT_FALSE(m_Inbox.EndDelivery());
}

TEST_F(Inbox, TurnsTheThreadAwayThatHasAnAnswerInHand) {
  Add(1);
  m_Inbox.HoldFor(kHere);
  EXPECT_TRUE(m_Inbox.TurnsAway());
  m_Inbox.Release(kHere);
  EXPECT_FALSE(m_Inbox.TurnsAway());
}

TEST_F(Inbox, TurnsNoThreadAwayForTheAnswerOfAnother) {
  Add(1);
  m_Inbox.HoldFor(AnotherThread());
  EXPECT_FALSE(m_Inbox.TurnsAway());
}

TEST_F(Inbox, CountsTheAnswersThatAThreadHasInHand) {
  std::thread::id const Other = AnotherThread();
  m_Inbox.HoldFor(kHere);
  m_Inbox.HoldFor(Other);
  m_Inbox.HoldFor(kHere);
  m_Inbox.Release(kHere);
  EXPECT_TRUE(m_Inbox.IsHeldBy(kHere));
  m_Inbox.Release(kHere);
  EXPECT_FALSE(m_Inbox.IsHeldBy(kHere));
  EXPECT_TRUE(m_Inbox.IsHeldBy(Other));
}

TEST_F(Inbox, IsReadyForAThreadThatWaitsForAMailWhenThereIsOne) {
  EXPECT_FALSE(m_Inbox.IsReady(true));
  EXPECT_TRUE(m_Inbox.IsReady(false));
  Add(1);
  EXPECT_TRUE(m_Inbox.IsReady(true));
}

TEST_F(Inbox, IsReadyForNobodyWhileAnAnswerIsInHand) {
  Add(1);
  m_Inbox.HoldFor(AnotherThread());
  EXPECT_FALSE(m_Inbox.IsReady(true));
  EXPECT_FALSE(m_Inbox.IsReady(false));
}

TEST_F(Inbox, KnowsWhichMailBringsUpToDateWhileItIsHandedOver) {
  TCInbox::TSReceived const OfOne = Received(TEKind::eCatchUp, 7);
  EXPECT_FALSE(m_Inbox.IsDelivering(kInboxStream, 7));
  m_Inbox.BeginDelivery(OfOne, kHere);
  EXPECT_TRUE(m_Inbox.IsDelivering(kInboxStream, 7));
  EXPECT_FALSE(m_Inbox.IsDelivering(kInboxStream, 8));
  EXPECT_FALSE(m_Inbox.IsDelivering(kInboxStream + 1, 7));
  m_Inbox.EndDelivery();
  EXPECT_FALSE(m_Inbox.IsDelivering(kInboxStream, 7));
}

TEST_F(Inbox, TakesNoOtherMailForOneThatBringsUpToDate) {
  for (auto const& Other : {Received(TEKind::eCatchUp, 7, true), Received(TEKind::eOwn, 7),
                            Received(TEKind::eForeign, 7)}) {
    m_Inbox.BeginDelivery(Other, kHere);
    EXPECT_FALSE(m_Inbox.IsDelivering(kInboxStream, 7));
    m_Inbox.EndDelivery();
  }
}

}  // namespace
