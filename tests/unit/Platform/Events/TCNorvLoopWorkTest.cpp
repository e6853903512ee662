// SPDX-License-Identifier: MIT
// When a loop does what it was given to do.
#include "Platform/Events/TCNorvLoopWork.h"

#include <gmock/gmock.h>
#include <sys/epoll.h>

#include <optional>
#include <string>
#include <vector>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "ReadyFile.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TEWhen = TCNorvLoopWork::TEWhen;

class TCNorvLoopWorkTest : public ::testing::Test {
 protected:
  auto Say(char const* Name) {
    return [this, Name] { m_Said.emplace_back(Name); };
  }
  bool TurnOnce() { return m_Loop.Turn(TCNorvEventLoop::TCTime::zero()); }

  TCNorvEventLoop m_Loop;
  std::vector<std::string> m_Said;
};

TEST_F(TCNorvLoopWorkTest, IsDoneOnceInTheNextTurn) {
  TCNorvLoopWork Work(m_Loop, TEWhen::eNextTurn, Say("work"));
  EXPECT_FALSE(TurnOnce());
  Work.Schedule();
  Work.Schedule();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_FALSE(Work.IsScheduled());
  EXPECT_FALSE(TurnOnce());
  EXPECT_THAT(m_Said, ElementsAre("work"));
}

TEST_F(TCNorvLoopWorkTest, WaitsForTheNextTurnWhenItIsScheduledInATurn) {
  std::optional<TCNorvLoopWork> Work;
  Work.emplace(m_Loop, TEWhen::eNextTurn, [&] {
    m_Said.emplace_back("work");
    Work->Schedule();
  });
  Work->Schedule();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("work"));
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("work", "work"));
}

TEST_F(TCNorvLoopWorkTest, ScheduledForThisTurnIsNotPutOffByBeingScheduledAgain) {
  TCNorvLoopWork Second(m_Loop, TEWhen::eNextTurn, Say("second"));
  TCNorvLoopWork First(m_Loop, TEWhen::eNextTurn, [&] { Second.Schedule(); });
  First.Schedule();
  Second.Schedule();
  m_Loop.Turn();
  EXPECT_THAT(m_Said, ElementsAre("second"));
  EXPECT_FALSE(TurnOnce());
}

TEST_F(TCNorvLoopWorkTest, IsNotDoneWhenItIsCancelled) {
  for (TEWhen const When : {TEWhen::eNextTurn, TEWhen::eIdle, TEWhen::eAfterTurns}) {
    TCNorvLoopWork Work(m_Loop, When, Say("work"));
    TCNorvLoopWork Other(m_Loop, TEWhen::eNextTurn, [&] { Work.Cancel(); });
    Other.Schedule();
    Work.Schedule();
    EXPECT_TRUE(Work.IsScheduled());
    EXPECT_TRUE(TurnOnce());
    EXPECT_FALSE(Work.IsScheduled());
    EXPECT_FALSE(TurnOnce());
  }
  EXPECT_THAT(m_Said, IsEmpty());
}

TEST_F(TCNorvLoopWorkTest, IsDoneIdlyOnlyWhenNothingElseIsReady) {
  TReadyFile File;
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, [this](std::uint32_t /*Events*/) {
    m_Said.emplace_back("file");
  });
  TCNorvLoopTimer Timer(m_Loop, CLOCK_MONOTONIC, Say("timer"));
  TCNorvLoopWork Idle(m_Loop, TEWhen::eIdle, Say("idle"));
  Idle.Schedule();
  m_Loop.Turn();
  EXPECT_THAT(m_Said, ElementsAre("file"));
  File.Read();
  Timer.SetAfter(TCNorvEventLoop::TCTime::zero());
  m_Loop.Turn();
  EXPECT_THAT(m_Said, ElementsAre("file", "timer"));
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("file", "timer", "idle"));
  EXPECT_FALSE(TurnOnce());
}

TEST_F(TCNorvLoopWorkTest, IsDoneAfterEachTurnInWhichAnythingHappened) {
  TCNorvLoopWork After(m_Loop, TEWhen::eAfterTurns, Say("after"));
  TCNorvLoopWork Next(m_Loop, TEWhen::eNextTurn, [] {});
  TCNorvLoopWork Idle(m_Loop, TEWhen::eIdle, [] {});
  TCNorvLoopTimer Timer(m_Loop, CLOCK_BOOTTIME, [] {});
  After.Schedule();
  EXPECT_FALSE(TurnOnce());
  EXPECT_THAT(m_Said, IsEmpty());
  Next.Schedule();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("after"));
  Idle.Schedule();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("after", "after"));
  Timer.SetAfter(TCNorvEventLoop::TCTime::zero());
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("after", "after", "after"));
  EXPECT_TRUE(After.IsScheduled());
  After.Cancel();
  Next.Schedule();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("after", "after", "after"));
}

TEST_F(TCNorvLoopWorkTest, IsDoneAfterTheTurnThatItWasScheduledIn) {
  TCNorvLoopWork After(m_Loop, TEWhen::eAfterTurns, Say("after"));
  TCNorvLoopWork Next(m_Loop, TEWhen::eNextTurn, [&] { After.Schedule(); });
  Next.Schedule();
  m_Loop.Turn();
  EXPECT_THAT(m_Said, ElementsAre("after"));
}

TEST_F(TCNorvLoopWorkTest, MayBeDestroyedByItsOwnOrAnothersCallback) {
  for (TEWhen const When : {TEWhen::eNextTurn, TEWhen::eIdle, TEWhen::eAfterTurns}) {
    std::optional<TCNorvLoopWork> First;
    std::optional<TCNorvLoopWork> Second;
    First.emplace(m_Loop, When, [&] {
      Second.reset();
      First.reset();
      m_Said.emplace_back("first");
    });
    Second.emplace(m_Loop, When, Say("second"));
    TCNorvLoopWork Something(m_Loop, TEWhen::eNextTurn, [] {});
    First->Schedule();
    Second->Schedule();
    if (When == TEWhen::eAfterTurns) {
      Something.Schedule();
    }
    EXPECT_TRUE(TurnOnce());
    EXPECT_FALSE(TurnOnce());
  }
  EXPECT_THAT(m_Said, ElementsAre("first", "first", "first"));
}

}  // namespace
