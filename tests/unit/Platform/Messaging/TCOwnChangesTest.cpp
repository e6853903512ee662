// SPDX-License-Identifier: MIT
// Which changes are on their way, and whose published copies are to be applied.
#include "Platform/Messaging/Proxy/TCOwnChanges.h"

#include <gmock/gmock.h>

#include "Platform/Utility/TCException.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr TCOwnChanges::TCStream kStream = 0;
constexpr TCOwnChanges::TCStream kAnother = 1;
constexpr char kKey[] = "key";

TCNorvMailClassID const& Class() {
  static TCNorvMailClassID const Class("test", 1);
  return Class;
}

// With two streams.
struct TChanges : TCOwnChanges {
  TChanges() {
    EXPECT_EQ(StreamOf("mailbox", Class()), kStream);
    EXPECT_EQ(StreamOf("another", Class()), kAnother);
  }
};

// One change of `Key` in mail `Number`.
void Send(TCOwnChanges& Changes, std::uint64_t Number, std::string const& Key = kKey) {
  Changes.Sent(Changes.Mark(kStream, {Key}), Number);
}

// Whether the copy of mail `Number`, of one change, is applied.
bool EndOwn(TCOwnChanges& Changes, std::uint64_t Number) {
  std::set<std::string> Held;
  bool const Applied = Changes.EndOwn(kStream, Number, Held);
  EXPECT_THAT(Held, IsEmpty());
  return Applied;
}

}  // namespace

TEST(OwnChanges, AreOnTheirWayFromTheMomentTheyAreMade) {
  TChanges Changes;
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  Changes.Mark(kStream, {kKey});
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_FALSE(Changes.IsOnWay(kStream, "another"));
  EXPECT_FALSE(Changes.IsOnWay(kAnother, kKey));
}

TEST(OwnChanges, AreOfOneStreamWhoseMailboxAndClassAreTheSame) {
  TChanges Changes;
  EXPECT_EQ(Changes.StreamOf("mailbox", Class()), kStream);
  EXPECT_EQ(Changes.StreamOf("another", Class()), kAnother);
  EXPECT_EQ(Changes.StreamOf("mailbox", TCNorvMailClassID("test", 2)), 2U);
  EXPECT_EQ(Changes.StreamOf("mailbox", TCNorvMailClassID("other", 1)), 3U);
  EXPECT_EQ(Changes.StreamOf("mailbox", TCNorvMailClassID("test", 2)), 2U);
}

TEST(OwnChanges, AreOfNoStreamThatNoMailCanHave) {
  TChanges Changes;
  EXPECT_THROW(Changes.StreamOf("", Class()), TCException);
  EXPECT_THROW(Changes.StreamOf("mailbox", TCNorvMailClassID("", 1)), TCException);
  EXPECT_THROW(Changes.StreamOf("mailbox", TCNorvMailClassID("test", -1)), TCException);
}

TEST(OwnChanges, GoOnInACopyOfTheAccount) {
  TChanges Changes;
  Send(Changes, 1, "sent");
  Send(Changes, 2, "come");
  EXPECT_TRUE(Changes.EndOwnSilently(kStream, 2));
  TCOwnChanges::TCMark const Mark = Changes.Mark(kAnother, {"marked"});
  TCOwnChanges Copy(Changes);
  EXPECT_EQ(Copy.get_AsText(), Changes.get_AsText());
  Copy.Sent(Mark, 3);
  EXPECT_TRUE(Copy.EndOwnSilently(kStream, 1));
  EXPECT_TRUE(Copy.EndOwnSilently(kAnother, 3));
  EXPECT_TRUE(Copy.IsEmpty());
  EXPECT_TRUE(Changes.IsOnWay(kStream, "sent"));
  EXPECT_TRUE(Changes.IsOnWay(kAnother, "marked"));
  Changes.Unmark(Mark);
}

TEST(OwnChanges, EndTheirWayWithTheirCopyWhichIsNotApplied) {
  TChanges Changes;
  Send(Changes, 1);
  EXPECT_TRUE(Changes.EndOwnSilently(kStream, 1));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.IsEmpty());
}

TEST(OwnChanges, StayOnTheirWayUntilTheLastCopyOfAKey) {
  TChanges Changes;
  Send(Changes, 1);
  Send(Changes, 2);
  EXPECT_FALSE(EndOwn(Changes, 1));
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_FALSE(EndOwn(Changes, 2));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

TEST(OwnChanges, ThatAreNotSentAreForgotten) {
  TChanges Changes;
  Changes.Unmark(Changes.Mark(kStream, {kKey, "another"}));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.IsEmpty());
}

TEST(OwnChanges, ThatWereSentInAnotherOrderThanMadeAreAppliedFromTheLastCopy) {
  TChanges Changes;
  auto const First = Changes.Mark(kStream, {kKey});
  auto const Second = Changes.Mark(kStream, {kKey});
  Changes.Sent(Second, 1);
  Changes.Sent(First, 2);
  EndOwn(Changes, 1);
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_FALSE(Changes.EndOwnSilently(kStream, 2));
  EXPECT_TRUE(EndOwn(Changes, 2));
}

TEST(OwnChanges, WhoseWayHasEndedBeforeAreAppliedFromTheirCopy) {
  TChanges Changes;
  EXPECT_FALSE(Changes.EndOwnSilently(kStream, 1));
  EXPECT_TRUE(EndOwn(Changes, 1));
}

TEST(OwnChanges, AreIncludedInWhatBringsTheProcessUpToDateOrNot) {
  TChanges Changes;
  Send(Changes, 1, "included");
  Send(Changes, 2, "later");
  Changes.CatchUp(kStream, 1);
  EXPECT_FALSE(Changes.IsOnWay(kStream, "included"));
  EXPECT_TRUE(Changes.IsOnWay(kStream, "later"));
}

TEST(OwnChanges, ThatTheServiceHasLostAreOnTheirWayAgainAndAppliedFromTheirCopy) {
  TChanges Changes;
  Send(Changes, 1);
  EXPECT_TRUE(Changes.EndOwnSilently(kStream, 1));
  Changes.CatchUp(kStream, 0);
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(EndOwn(Changes, 1));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

TEST(OwnChanges, ThatAreAcknowledgedAreNotLostAnyMore) {
  TChanges Changes;
  Send(Changes, 1);
  EXPECT_TRUE(Changes.EndOwnSilently(kStream, 1));
  EXPECT_TRUE(Changes.HasUpTo(kStream, 1));
  Changes.Acknowledge(kStream, 1);
  EXPECT_FALSE(Changes.HasUpTo(kStream, 1));
  Changes.CatchUp(kStream, 0);
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

TEST(OwnChanges, EndTheirWayWithTheirAcknowledgementWhenNoCopyCame) {
  TChanges Changes;
  Send(Changes, 1);
  Send(Changes, 2, "later");
  EXPECT_FALSE(Changes.HasUpTo(kStream, 0));
  Changes.Acknowledge(kStream, 1);
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.IsOnWay(kStream, "later"));
}

TEST(OwnChanges, ThatAreGivenUpAreAppliedFromTheirCopy) {
  TChanges Changes;
  Send(Changes, 1, "given up");
  Send(Changes, 2, "held");
  Changes.GiveUp(kStream, {"given up", "unknown"});
  EXPECT_FALSE(Changes.IsHeld(kStream, "given up"));
  EXPECT_TRUE(Changes.IsOnWay(kStream, "given up"));
  EXPECT_TRUE(Changes.IsHeld(kStream, "held"));
  EXPECT_THAT(Changes.HeldKeys(kStream), ElementsAre("held"));
  EXPECT_TRUE(EndOwn(Changes, 1));
  EXPECT_FALSE(EndOwn(Changes, 2));
}

TEST(OwnChanges, ThatAreMadeAgainAreHeldAgain) {
  TChanges Changes;
  Send(Changes, 1);
  Changes.GiveUp(kStream, {kKey});
  Send(Changes, 2);
  EXPECT_TRUE(Changes.IsHeld(kStream, kKey));
  EXPECT_FALSE(EndOwn(Changes, 1));
  EXPECT_FALSE(EndOwn(Changes, 2));
}

TEST(OwnChanges, OfOneMailAreAppliedEachForItself) {
  TChanges Changes;
  Changes.Sent(Changes.Mark(kStream, {"given up", "held"}), 1);
  Changes.GiveUp(kStream, {"given up"});
  EXPECT_FALSE(Changes.EndOwnSilently(kStream, 1));
  std::set<std::string> Held;
  EXPECT_TRUE(Changes.EndOwn(kStream, 1, Held));
  EXPECT_THAT(Held, ElementsAre("held"));
}

// ---- changes that the service has decided on ----

TEST(OwnChanges, ThatWereDecidedAreOnTheirWayUntilWhatBringsUpToDate) {
  TChanges Changes;
  EXPECT_THAT(Changes.TakeDecided(kStream, 3, {kKey}, false), ElementsAre(kKey));
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.IsHeld(kStream, kKey));
  Changes.CatchUp(kStream, 2);
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  Changes.CatchUp(kStream, 3);
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

TEST(OwnChanges, ThatWereDecidedEndTheirWayWithTheAcknowledgementAtTheLatest) {
  TChanges Changes;
  Changes.TakeDecided(kStream, 3, {kKey}, false);
  EXPECT_TRUE(Changes.HasUpTo(kStream, 3));
  Changes.Acknowledge(kStream, 3);
  EXPECT_TRUE(Changes.IsEmpty());
  EXPECT_FALSE(Changes.HasUpTo(kStream, 3));
}

TEST(OwnChanges, ThatWereDecidedAreNotTakenOnceTheirCopyHasCome) {
  TChanges Changes;
  Changes.CatchUp(kStream, 3);
  EXPECT_THAT(Changes.TakeDecided(kStream, 3, {kKey}, false), IsEmpty());
  EXPECT_TRUE(Changes.IsEmpty());
}

TEST(OwnChanges, ThatWereDecidedAreTakenButNotOnTheirWayWhileTheirCopyIsApplied) {
  TChanges Changes;
  Changes.CatchUp(kStream, 3);
  EXPECT_THAT(Changes.TakeDecided(kStream, 3, {kKey}, true), ElementsAre(kKey));
  EXPECT_TRUE(Changes.IsEmpty());
}

TEST(OwnChanges, ThatWereDecidedLeaveLaterOnesAlone) {
  TChanges Changes;
  Send(Changes, 4, "sent later");
  Send(Changes, 2, "sent before");
  TCOwnChanges::TCMark const Mark = Changes.Mark(kStream, {"not sent"});
  EXPECT_THAT(
      Changes.TakeDecided(kStream, 3, {"sent later", "sent before", "not sent", kKey}, false),
      ElementsAre("sent before", kKey));
  Changes.Unmark(Mark);
}

TEST(OwnChanges, ThatWereDecidedHoldTheCopyOfAnEarlierOne) {
  TChanges Changes;
  Send(Changes, 2);
  Changes.TakeDecided(kStream, 3, {kKey}, false);
  EXPECT_FALSE(EndOwn(Changes, 2));
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  Changes.CatchUp(kStream, 3);
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

// A server that publishes before it stores may have lost what it had published.
TEST(OwnChanges, ThatWereDecidedOnceMoreAreTakenThoughALostCopyHadComeOfThem) {
  TChanges Changes;
  Changes.CatchUp(kStream, 5);
  Changes.CatchUp(kStream, 3);
  EXPECT_THAT(Changes.TakeDecided(kStream, 4, {kKey}, false), ElementsAre(kKey));
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
}
