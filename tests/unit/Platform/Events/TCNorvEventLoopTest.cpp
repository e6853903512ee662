// SPDX-License-Identifier: MIT
// The order of a turn, what comes between, and what happens to callbacks that throw.
#include "Platform/Events/TCNorvEventLoop.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/epoll.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CountedCalls.h"
#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Events/TCNorvLoopWork.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "Platform/Utility/SystemLog.h"
#include "ReadyFile.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using TCTime = TCNorvEventLoop::TCTime;
using TEOrder = TCNorvLoopTimer::TEOrder;
using TEWhen = TCNorvLoopWork::TEWhen;

constexpr TCTime kAtOnce = TCTime::zero();

std::vector<std::string> Logged;

void Keep(int /*Priority*/, std::string const& Text) {
  Logged.push_back(Text);
}

class TCNorvEventLoopTest : public ::testing::Test {
 protected:
  // What is called says its name.
  auto Say(char const* Name) {
    return [this, Name] { m_Said.emplace_back(Name); };
  }
  auto SayReady(char const* Name) {
    return [this, Name](std::uint32_t /*Events*/) { m_Said.emplace_back(Name); };
  }

  TCNorvEventLoop m_Loop;
  std::vector<std::string> m_Said;
};

TEST_F(TCNorvEventLoopTest, CallsNothingWithoutAnythingReady) {
  TReadyFile const File(false);
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, SayReady("file"));
  EXPECT_FALSE(m_Loop.Turn(kAtOnce));
  EXPECT_FALSE(m_Loop.Turn(std::chrono::milliseconds(1)));
  EXPECT_THAT(m_Said, IsEmpty());
}

TEST_F(TCNorvEventLoopTest, KeepsTheOrderOfATurn) {
  TReadyFile const File;
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, SayReady("file"));
  TCNorvLoopTimer Usual(m_Loop, CLOCK_MONOTONIC, Say("timer"));
  TCNorvLoopTimer Important(m_Loop, CLOCK_MONOTONIC, Say("important"), TEOrder::eImportant);
  TCNorvLoopWork Deferred(m_Loop, TEWhen::eNextTurn, Say("next turn"));
  TCNorvLoopWork Idle(m_Loop, TEWhen::eIdle, Say("idle"));
  TCNorvLoopWork After(m_Loop, TEWhen::eAfterTurns, Say("after"));
  Usual.SetAfter(kAtOnce);
  Important.SetAfter(kAtOnce);
  Deferred.Schedule();
  Idle.Schedule();
  After.Schedule();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("important", "next turn", "file", "timer", "after"));
}

TEST_F(TCNorvEventLoopTest, CallsEachReadyFileOnceInATurn) {
  TReadyFile const First;
  TReadyFile const Second;
  TCNorvWatchedFile const Watched(m_Loop, First.get(), EPOLLIN, SayReady("first"));
  TCNorvWatchedFile const Other(m_Loop, Second.get(), EPOLLIN, SayReady("second"));
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ::testing::UnorderedElementsAre("first", "second"));
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, SizeIs(4));
}

TEST_F(TCNorvEventLoopTest, CallsEachOfVeryManyFilesWithinSomeTurns) {
  constexpr std::size_t kMany = 600;
  std::vector<TReadyFile> Files(kMany);
  std::vector<int> Calls(kMany);
  std::vector<std::unique_ptr<TCNorvWatchedFile>> Watched;
  for (std::size_t Place = 0; Place < kMany; ++Place) {
    Watched.push_back(std::make_unique<TCNorvWatchedFile>(
        m_Loop, Files[Place].get(), EPOLLIN,
        [&Calls, Place](std::uint32_t /*Events*/) { ++Calls[Place]; }));
  }
  for (int Turns = 0; Turns < 3; ++Turns) {
    EXPECT_TRUE(m_Loop.Turn());
  }
  EXPECT_THAT(Calls, ::testing::Each(::testing::Ge(1)));
  EXPECT_THAT(Calls, ::testing::Each(::testing::Le(2)));
}

// However many files are ready, and however long each takes.
TEST_F(TCNorvEventLoopTest, CallsAnImportantTimerBetweenTwoFiles) {
  TReadyFile const First;
  TReadyFile const Second;
  TCNorvLoopTimer Timer(m_Loop, CLOCK_MONOTONIC, Say("important"), TEOrder::eImportant);
  TCNorvLoopTimer Usual(m_Loop, CLOCK_MONOTONIC, Say("usual"));
  auto const Serve = [&](std::uint32_t /*Events*/) {
    m_Said.emplace_back("file");
    if (m_Said.size() == 1) {
      Timer.SetAfter(kAtOnce);
      Usual.SetAfter(kAtOnce);
      timespec Time = {};
      do {  // until it is due
        clock_gettime(CLOCK_MONOTONIC, &Time);
      } while (std::chrono::seconds(Time.tv_sec) + std::chrono::nanoseconds(Time.tv_nsec) <=
               Timer.get_Deadline() + TCTime(1));
    }
  };
  TCNorvWatchedFile const Watched(m_Loop, First.get(), EPOLLIN, Serve);
  TCNorvWatchedFile const Other(m_Loop, Second.get(), EPOLLIN, Serve);
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_THAT(m_Said, ElementsAre("file", "important", "file", "usual"));
}

TEST_F(TCNorvEventLoopTest, HasOneTimeForAllOfATurn) {
  TReadyFile const File;
  std::vector<TCTime> Times;
  auto const Ask = [&] { Times.push_back(m_Loop.Now()); };
  TCNorvLoopWork After(m_Loop, TEWhen::eAfterTurns, Ask);
  After.Schedule();
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, [&](std::uint32_t /*Events*/) {
    Ask();
    TCNorvEventLoop const Other;
    while (Other.Now() == Times.front()) {
    }
  });
  TCTime const Before = m_Loop.Now();
  m_Loop.Turn();
  ASSERT_THAT(Times, SizeIs(2));
  EXPECT_EQ(Times[0], Times[1]);
  EXPECT_LE(Before, Times[0]);
  EXPECT_LT(Times[0], m_Loop.Now());
}

TEST_F(TCNorvEventLoopTest, LogsWhatACallbackThrowsAndGoesOn) {
  TSyslogSink const Former = SetSyslogSink(Keep);
  TReadyFile const File;
  TCNorvLoopWork First(m_Loop, TEWhen::eNextTurn, [] { throw std::runtime_error("no luck"); });
  TCNorvLoopWork Second(m_Loop, TEWhen::eNextTurn, [] { throw 7; });
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, [this](std::uint32_t /*Events*/) {
    m_Said.emplace_back("file");
    throw std::runtime_error("file");
  });
  First.Schedule();
  Second.Schedule();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_TRUE(m_Loop.Turn());
  SetSyslogSink(Former);
  EXPECT_THAT(m_Said, ElementsAre("file", "file"));
  EXPECT_THAT(Logged,
              ElementsAre("event loop: a callback has failed: no luck",
                          "event loop: a callback has failed: an exception of an unknown type",
                          "event loop: a callback has failed: file",
                          "event loop: a callback has failed: file"));
}

TEST_F(TCNorvEventLoopTest, LogsOnlySoMuchOfACallbackThatFailsForEver) {
  TSyslogSink const Former = SetSyslogSink(Keep);
  TReadyFile const File;
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, [](std::uint32_t /*Events*/) {
    throw std::runtime_error("again");
  });
  for (int Turns = 0; Turns < 1000; ++Turns) {
    m_Loop.Turn();
  }
  SetSyslogSink(Former);
  EXPECT_LT(Logged.size(), 100U);
  EXPECT_GE(Logged.size(), 20U);
}

TEST_F(TCNorvEventLoopTest, IsNotTurnedByACallback) {
  std::string Message;
  TCNorvLoopWork Work(m_Loop, TEWhen::eNextTurn, [&] {
    Message = CaughtException([&] { m_Loop.Turn(kAtOnce); }).get_Message();
  });
  Work.Schedule();
  m_Loop.Turn();
  EXPECT_EQ(Message, "a callback cannot turn the loop that calls it");
}

TEST_F(TCNorvEventLoopTest, StopsWaitingWhenASignalIsHandled) {
  struct sigaction Action = {};
  Action.sa_handler = [](int) {};
  sigaction(SIGUSR1, &Action, nullptr);
  TReadyFile File(false);
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, SayReady("file"));
  std::atomic<bool> Turned{false};
  pthread_t const Waiting = pthread_self();
  std::thread Signals([&] {
    while (!Turned) {  // one that comes before the wait is no reason to stop it
      pthread_kill(Waiting, SIGUSR1);
      std::this_thread::yield();
    }
  });
  bool const Called = m_Loop.Turn();
  Turned = true;
  Signals.join();
  EXPECT_FALSE(Called);
}

TEST_F(TCNorvEventLoopTest, SaysWhenTheSystemHasNoDescriptorsLeft) {
  TRefusingSystem const Refusing(EMFILE);
  TCException const Exception = CaughtException([] { TCNorvEventLoop const Loop; });
  EXPECT_EQ(Exception.get_Source(), "../Platform/Events/TCNorvEventLoop");
  EXPECT_EQ(Exception.get_Message(), "cannot make an event loop: Too many open files");
}

}  // namespace
