// SPDX-License-Identifier: MIT
// When timers are called, by either clock.
#include "Platform/Events/TCNorvLoopTimer.h"

#include <gmock/gmock.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <memory>
#include <optional>
#include <vector>

#include "CountedCalls.h"
#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "ReadyFile.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using TCTime = TCNorvEventLoop::TCTime;

TCTime PresentOf(clockid_t Clock) {
  timespec Time = {};
  clock_gettime(Clock, &Time);
  return std::chrono::seconds(Time.tv_sec) +
         std::chrono::duration_cast<TCTime>(std::chrono::nanoseconds(Time.tv_nsec));
}

class LoopTimer : public ::testing::TestWithParam<clockid_t> {
 protected:
  auto Say(int Number) {
    return [this, Number] { m_Said.push_back(Number); };
  }

  TCNorvEventLoop m_Loop;
  std::vector<int> m_Said;
};

TEST_P(LoopTimer, IsCalledOnceAndNotTooEarly) {
  TCTime Called{};
  TCNorvLoopTimer Timer(m_Loop, GetParam(), [&] { Called = PresentOf(GetParam()); });
  Timer.SetAfter(milliseconds(2));
  EXPECT_TRUE(Timer.IsSet());
  TCTime const Deadline = Timer.get_Deadline();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_GE(Called, Deadline);
  EXPECT_FALSE(Timer.IsSet());
  EXPECT_FALSE(m_Loop.Turn(TCTime::zero()));
}

TEST_P(LoopTimer, IsNotTooEarlyWhereWaitsAreCoarse) {
  TCoarseWaits const Coarse;
  TCTime Called{};
  TCNorvLoopTimer Timer(m_Loop, GetParam(), [&] { Called = PresentOf(GetParam()); });
  Timer.SetAfter(TCTime(1500));
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_GE(Called, Timer.get_Deadline());
}

TEST_P(LoopTimer, IsCalledAtATimeThatHasPassed) {
  TCNorvLoopTimer Timer(m_Loop, GetParam(), Say(1));
  Timer.SetAt(TCTime::zero());
  EXPECT_TRUE(m_Loop.Turn());
  Timer.SetAfter(TCTime::min());
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre(1, 1));
}

TEST_P(LoopTimer, IsCalledInTheOrderOfTheTimes) {
  TCNorvLoopTimer First(m_Loop, GetParam(), Say(1));
  TCNorvLoopTimer Second(m_Loop, GetParam(), Say(2));
  TCNorvLoopTimer Third(m_Loop, GetParam(), Say(3));
  TCTime const Past = PresentOf(GetParam()) - TCTime(10);
  Third.SetAt(Past + TCTime(3));
  First.SetAt(Past + TCTime(1));
  Second.SetAt(Past + TCTime(2));
  m_Loop.Turn();
  EXPECT_THAT(m_Said, ElementsAre(1, 2, 3));
}

TEST_P(LoopTimer, CountsTheTimeItWasSetToLast) {
  TCNorvLoopTimer Timer(m_Loop, GetParam(), Say(1));
  TCNorvLoopTimer Other(m_Loop, GetParam(), Say(2));
  Timer.SetAt(TCTime::zero());
  Timer.SetAfter(hours(1));
  Other.SetAt(TCTime::zero());
  m_Loop.Turn();
  EXPECT_THAT(m_Said, ElementsAre(2));
  EXPECT_TRUE(Timer.IsSet());
  Timer.SetAfter(TCTime::zero());
  m_Loop.Turn();
  EXPECT_THAT(m_Said, ElementsAre(2, 1));
}

TEST_P(LoopTimer, IsNotCalledWhenItIsSwitchedOff) {
  TCNorvLoopTimer Timer(m_Loop, GetParam(), Say(1));
  Timer.SetAfter(TCTime::zero());
  Timer.SwitchOff();
  Timer.SwitchOff();
  EXPECT_FALSE(m_Loop.Turn(TCTime::zero()));
  EXPECT_FALSE(m_Loop.Turn(milliseconds(1)));
}

TEST_P(LoopTimer, MayWaitForEver) {
  TCNorvLoopTimer Timer(m_Loop, GetParam(), Say(1));
  Timer.SetAfter(TCTime::max());
  EXPECT_FALSE(m_Loop.Turn(milliseconds(1)));
  EXPECT_TRUE(Timer.IsSet());
}

TEST_P(LoopTimer, IsCalledOnceATurnHoweverEarlyItIsSetAgain) {
  std::optional<TCNorvLoopTimer> Timer;
  Timer.emplace(m_Loop, GetParam(), [&] {
    m_Said.push_back(1);
    Timer->SetAt(TCTime::zero());
  });
  Timer->SetAt(TCTime::zero());
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre(1));
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre(1, 1));
}

TEST_P(LoopTimer, TakesItsTurnAmongTheFilesThatAreReady) {
  TReadyFile const File;
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN,
                                  [this](std::uint32_t /*Events*/) { m_Said.push_back(0); });
  std::optional<TCNorvLoopTimer> Timer;
  Timer.emplace(m_Loop, GetParam(), [&] {
    m_Said.push_back(1);
    Timer->SetAfter(TCTime::zero());
  });
  Timer->SetAfter(TCTime::zero());
  while (m_Said.size() < 6) {
    m_Loop.Turn();
  }
  for (std::size_t Place = 1; Place < m_Said.size(); ++Place) {
    EXPECT_FALSE(m_Said[Place] == 1 && m_Said[Place - 1] == 1) << Place;
  }
  EXPECT_GE(std::count(m_Said.begin(), m_Said.end(), 1), 2);
}

TEST_P(LoopTimer, MayBeDestroyedByItsOwnCallback) {
  auto const Held = std::make_shared<int>(7);
  std::optional<TCNorvLoopTimer> Timer;
  Timer.emplace(m_Loop, GetParam(), [this, &Timer, Held] {
    Timer.reset();
    m_Said.push_back(*Held);
  });
  Timer->SetAfter(TCTime::zero());
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre(7));
  EXPECT_EQ(Held.use_count(), 1);
}

TEST_P(LoopTimer, IsNotCalledWhenAnotherCallbackHasDestroyedIt) {
  std::optional<TCNorvLoopTimer> Second;
  TCNorvLoopTimer First(m_Loop, GetParam(), [&] { Second.reset(); });
  Second.emplace(m_Loop, GetParam(), Say(2));
  First.SetAt(TCTime(1));
  Second->SetAt(TCTime(2));
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_FALSE(m_Loop.Turn(TCTime::zero()));
  EXPECT_TRUE(m_Said.empty());
}

INSTANTIATE_TEST_SUITE_P(Clocks, LoopTimer, ::testing::Values(CLOCK_MONOTONIC, CLOCK_BOOTTIME),
                         [](auto const& Info) {
                           return Info.param == CLOCK_MONOTONIC ? "Monotonic" : "Boottime";
                         });

TEST(LoopTimers, AskNothingOfTheSystemWhileTheEarliestStaysTheSame) {
  TCNorvEventLoop Loop;
  TCNorvLoopTimer Monotonic(Loop, CLOCK_MONOTONIC, [] {});
  TCNorvLoopTimer First(Loop, CLOCK_BOOTTIME, [] {});
  TCNorvLoopTimer Second(Loop, CLOCK_BOOTTIME, [] {});
  TCountedCalls const Calls;
  First.SetAfter(hours(1));
  EXPECT_FALSE(Loop.Turn(TCTime::zero()));
  EXPECT_EQ(Calls.get_Count(), 1);
  Second.SetAfter(hours(2));
  Monotonic.SetAfter(hours(1));
  EXPECT_FALSE(Loop.Turn(TCTime::zero()));
  EXPECT_EQ(Calls.get_Count(), 1);
  First.SwitchOff();
  EXPECT_FALSE(Loop.Turn(TCTime::zero()));
  EXPECT_EQ(Calls.get_Count(), 2);
}

TEST(LoopTimers, KnowNoOtherClock) {
  TCNorvEventLoop Loop;
  TCException const Exception =
      CaughtException([&] { TCNorvLoopTimer const Timer(Loop, CLOCK_REALTIME, [] {}); });
  EXPECT_EQ(Exception.get_Message(), "an event loop has no timers of clock 0");
}

TEST(LoopTimers, SayWhenTheSystemHasNoDescriptorsLeft) {
  TCNorvEventLoop Loop;
  {
    TRefusingSystem const Refusing(EMFILE);
    TCException const Exception =
        CaughtException([&] { TCNorvLoopTimer const Timer(Loop, CLOCK_BOOTTIME, [] {}); });
    EXPECT_EQ(Exception.get_Message(), "cannot make a timer: Too many open files");
    TCNorvLoopTimer const NeedsNone(Loop, CLOCK_MONOTONIC, [] {});
  }
  TCNorvLoopTimer Timer(Loop, CLOCK_BOOTTIME, [] {});
  Timer.SetAfter(TCTime::zero());
  EXPECT_TRUE(Loop.Turn());
}

}  // namespace
