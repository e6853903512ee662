// SPDX-License-Identifier: MIT
// The recursive lock: exclusion, recursion, time limits and its scoped form.
#include "Platform/Utility/TCCriticalSection.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

static_assert(std::is_trivially_destructible_v<TCCriticalSection>);
static_assert(!std::is_copy_constructible_v<TCCriticalSection>);
static_assert(!std::is_copy_assignable_v<TCCriticalSection>);
static_assert(!std::is_copy_constructible_v<TCCriticalSectionLock>);
static_assert(!std::is_convertible_v<TCCriticalSection&, TCCriticalSectionLock>);

constexpr int kLong = 60000;

// Whether another thread would get in now.
bool IsFree(TCCriticalSection& Section) {
  bool Entered = false;
  std::thread([&] {
    Entered = Section.Enter(0);
    if (Entered) {
      Section.Leave();
    }
  }).join();
  return Entered;
}

// Enters on another thread after `Section`, held by the caller, was left; returns the result.
bool EnterAfterLeave(TCCriticalSection& Section, int Timeout) {
  Section.Enter();
  std::promise<void> Started;
  std::future<bool> Entered = std::async(std::launch::async, [&] {
    Started.set_value();
    bool const Result = Section.Enter(Timeout);
    if (Result) {
      Section.Leave();
    }
    return Result;
  });
  Started.get_future().wait();
  Section.Leave();
  return Entered.get();
}

// Of this process, by what the system says of each.
int SleepingThreads() {
  int Sleeping = 0;
  for (auto const& Task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::string Text;
    std::getline(std::ifstream(Task.path() / "stat"), Text);
    Sleeping += Text.find(") S ") != std::string::npos ? 1 : 0;
  }
  return Sleeping;
}

}  // namespace

TEST(TCCriticalSection, IsFreeAtFirst) {
  TCCriticalSection Section;
  EXPECT_TRUE(IsFree(Section));
}

TEST(TCCriticalSection, KeepsOtherThreadsOut) {
  TCCriticalSection Section;
  ASSERT_TRUE(Section.Enter());
  EXPECT_FALSE(IsFree(Section));
  Section.Leave();
  EXPECT_TRUE(IsFree(Section));
}

TEST(TCCriticalSection, IsLeftAsOftenAsEntered) {
  TCCriticalSection Section;
  ASSERT_TRUE(Section.Enter());
  ASSERT_TRUE(Section.Enter(0));
  ASSERT_TRUE(Section.Enter(kLong));
  Section.Leave();
  Section.Leave();
  EXPECT_FALSE(IsFree(Section));
  Section.Leave();
  EXPECT_TRUE(IsFree(Section));
}

TEST(TCCriticalSection, GivesUpWhenTheTimeHasPassed) {
  constexpr int kTimeout = 30;
  TCCriticalSection Section;
  TCCriticalSectionLock Lock(Section);
  std::chrono::steady_clock::duration Waited{};
  bool Entered = true;
  std::thread([&] {
    auto const Start = std::chrono::steady_clock::now();
    Entered = Section.Enter(kTimeout);
    Waited = std::chrono::steady_clock::now() - Start;
  }).join();
  EXPECT_FALSE(Entered);
  EXPECT_GE(Waited, std::chrono::milliseconds(kTimeout));
}

TEST(TCCriticalSection, EntersWithinTheTime) {
  TCCriticalSection Section;
  EXPECT_TRUE(EnterAfterLeave(Section, kLong));
}

TEST(TCCriticalSection, WaitsWithoutLimitForANegativeTime) {
  TCCriticalSection Section;
  EXPECT_TRUE(EnterAfterLeave(Section, -1));
  EXPECT_TRUE(EnterAfterLeave(Section, -5));
}

TEST(TCCriticalSection, GuardsWhatManyThreadsChange) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 2000;
  TCCriticalSection Section;
  int Count = 0;
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < kThreads; ++Thread) {
    Threads.emplace_back([&, Timeout = Thread % 2 == 0 ? -1 : kLong] {
      for (int Round = 0; Round < kRounds; ++Round) {
        ASSERT_TRUE(Section.Enter(Timeout));
        ++Count;
        Section.Leave();
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  EXPECT_EQ(Count, kThreads * kRounds);
}

// Longer than anybody looks before sleeping: what is left has to wake who sleeps, one by one.
TEST(TCCriticalSection, WakesAllThatSleep) {
  constexpr int kThreads = 6;
  TCCriticalSection Section;
  std::vector<std::thread> Threads;
  std::vector<int> Order;
  Section.Enter();
  for (int Thread = 0; Thread < kThreads; ++Thread) {
    Threads.emplace_back([&, Thread] {
      TCCriticalSectionLock const Lock(Section);
      std::this_thread::yield();
      Order.push_back(Thread);
    });
  }
  while (SleepingThreads() < kThreads) {
    std::this_thread::yield();
  }
  Section.Leave();
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  EXPECT_EQ(Order.size(), static_cast<std::size_t>(kThreads));
  EXPECT_TRUE(IsFree(Section));
}

TEST(TCCriticalSection, IsFreeAfterAThreadHasWaitedInVain) {
  TCCriticalSection Section;
  Section.Enter();
  std::thread([&] { EXPECT_FALSE(Section.Enter(1)); }).join();
  Section.Leave();
  EXPECT_TRUE(IsFree(Section));
}

TEST(TCCriticalSection, IsNotLeftByAThreadThatDoesNotHoldIt) {
  TCCriticalSection Section;
  ASSERT_TRUE(Section.Enter());
  bool Entered = true;
  std::thread([&] {
    Section.Leave();
    Entered = Section.Enter(0);
  }).join();
  EXPECT_FALSE(Entered);
  Section.Leave();
}

TEST(TCCriticalSection, StaysUsableAfterALeaveTooMany) {
  TCCriticalSection Section;
  Section.Leave();
  ASSERT_TRUE(Section.Enter());
  bool Entered = true;
  std::thread([&] { Entered = Section.Enter(0); }).join();
  EXPECT_FALSE(Entered);
  Section.Leave();
}

TEST(TCCriticalSection, LeavesErrnoAlone) {
  TCCriticalSection Section;
  Section.Enter();
  std::thread([&] {
    errno = EXDEV;
    EXPECT_FALSE(Section.Enter(1));
    EXPECT_EQ(errno, EXDEV);
  }).join();
}

TEST(TCCriticalSectionLock, HoldsWhileItLives) {
  TCCriticalSection Section;
  {
    TCCriticalSectionLock Lock(Section);
    EXPECT_FALSE(IsFree(Section));
  }
  EXPECT_TRUE(IsFree(Section));
}

TEST(TCCriticalSectionLock, LeavesWhenAnExceptionPasses) {
  TCCriticalSection Section;
  EXPECT_THROW(
      {
        TCCriticalSectionLock Lock(Section);
        throw std::runtime_error("passing");
      },
      std::runtime_error);
  EXPECT_TRUE(IsFree(Section));
}

TEST(TCCriticalSectionLock, LeavesEarlyAndOnlyOnce) {
  TCCriticalSection Section;
  TCCriticalSectionLock Outer(Section);
  {
    TCCriticalSectionLock Inner(Section);
    Inner.Leave();
    Inner.Leave();
  }
  EXPECT_FALSE(IsFree(Section));
  Outer.Leave();
  EXPECT_TRUE(IsFree(Section));
}
