// SPDX-License-Identifier: MIT
// Which changes are on their way, and whose published copies are to be applied.
#include "Platform/Messaging/TCOwnChanges.h"

#include <gtest/gtest.h>

namespace {

constexpr char kStream[] = "stream";
constexpr char kKey[] = "key";

// One change of `Key` in mail `Number`.
void Send(TCOwnChanges& Changes, std::uint64_t Number, std::string const& Key = kKey) {
  Changes.Sent(Changes.Mark(kStream, {Key}), Number);
}

}  // namespace

TEST(OwnChanges, AreOnTheirWayFromTheMomentTheyAreMade) {
  TCOwnChanges Changes;
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  Changes.Mark(kStream, {kKey});
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_FALSE(Changes.IsOnWay(kStream, "another"));
  EXPECT_FALSE(Changes.IsOnWay("another", kKey));
}

TEST(OwnChanges, EndTheirWayWithTheirCopyWhichIsNotApplied) {
  TCOwnChanges Changes;
  Send(Changes, 1);
  EXPECT_TRUE(Changes.EndOwnSilently(kStream, 1));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.IsEmpty());
}

TEST(OwnChanges, StayOnTheirWayUntilTheLastCopyOfAKey) {
  TCOwnChanges Changes;
  Send(Changes, 1);
  Send(Changes, 2);
  EXPECT_FALSE(Changes.EndOwn(kStream, 1));
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_FALSE(Changes.EndOwn(kStream, 2));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

TEST(OwnChanges, ThatAreNotSentAreForgotten) {
  TCOwnChanges Changes;
  Changes.Unmark(Changes.Mark(kStream, {kKey, "another"}));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.IsEmpty());
}

TEST(OwnChanges, ThatWereSentInAnotherOrderThanMadeAreAppliedFromTheLastCopy) {
  TCOwnChanges Changes;
  auto const First = Changes.Mark(kStream, {kKey});
  auto const Second = Changes.Mark(kStream, {kKey});
  Changes.Sent(Second, 1);
  Changes.Sent(First, 2);
  Changes.EndOwn(kStream, 1);
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_FALSE(Changes.EndOwnSilently(kStream, 2));
  EXPECT_TRUE(Changes.EndOwn(kStream, 2));
}

TEST(OwnChanges, WhoseWayHasEndedBeforeAreAppliedFromTheirCopy) {
  TCOwnChanges Changes;
  EXPECT_FALSE(Changes.EndOwnSilently(kStream, 1));
  EXPECT_TRUE(Changes.EndOwn(kStream, 1));
}

TEST(OwnChanges, AreIncludedInWhatBringsTheProcessUpToDateOrNot) {
  TCOwnChanges Changes;
  Send(Changes, 1, "included");
  Send(Changes, 2, "later");
  Changes.CatchUp(kStream, 1);
  EXPECT_FALSE(Changes.IsOnWay(kStream, "included"));
  EXPECT_TRUE(Changes.IsOnWay(kStream, "later"));
}

TEST(OwnChanges, ThatTheServiceHasLostAreOnTheirWayAgainAndAppliedFromTheirCopy) {
  TCOwnChanges Changes;
  Send(Changes, 1);
  EXPECT_TRUE(Changes.EndOwnSilently(kStream, 1));
  Changes.CatchUp(kStream, 0);
  EXPECT_TRUE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.EndOwn(kStream, 1));
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

TEST(OwnChanges, ThatAreAcknowledgedAreNotLostAnyMore) {
  TCOwnChanges Changes;
  Send(Changes, 1);
  EXPECT_TRUE(Changes.EndOwnSilently(kStream, 1));
  EXPECT_TRUE(Changes.HasUpTo(kStream, 1));
  Changes.Acknowledge(kStream, 1);
  EXPECT_FALSE(Changes.HasUpTo(kStream, 1));
  Changes.CatchUp(kStream, 0);
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
}

TEST(OwnChanges, EndTheirWayWithTheirAcknowledgementWhenNoCopyCame) {
  TCOwnChanges Changes;
  Send(Changes, 1);
  Send(Changes, 2, "later");
  EXPECT_FALSE(Changes.HasUpTo(kStream, 0));
  Changes.Acknowledge(kStream, 1);
  EXPECT_FALSE(Changes.IsOnWay(kStream, kKey));
  EXPECT_TRUE(Changes.IsOnWay(kStream, "later"));
}

TEST(OwnChanges, ThatAnAnswerMayHaveReplacedAreAppliedFromTheirCopy) {
  TCOwnChanges Changes;
  Send(Changes, 1, "before");
  Changes.BeginAnswer();
  Send(Changes, 2, "meanwhile");
  Changes.EndAnswer();
  Send(Changes, 3, "after");
  EXPECT_TRUE(Changes.EndOwn(kStream, 1));
  EXPECT_TRUE(Changes.EndOwn(kStream, 2));
  EXPECT_FALSE(Changes.EndOwn(kStream, 3));
}
