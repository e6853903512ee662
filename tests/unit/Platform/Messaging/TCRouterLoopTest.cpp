// SPDX-License-Identifier: MIT
// Whose turn it is, and how others have something done in it.
#include "Platform/Messaging/Router/TCRouterLoop.h"

#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Events/TCNorvLoopWork.h"

namespace {

// A loop that another thread turns.
class TRunningLoop {
 public:
  TRunningLoop() {
    std::promise<std::thread::id> Running;
    std::optional<TCNorvLoopWork> Work;
    Work.emplace(m_Loop.get_Loop(), TCNorvLoopWork::TEWhen::eNextTurn,
                 [&Running] { Running.set_value(std::this_thread::get_id()); });
    Work->Schedule();
    m_Thread = std::thread([this] { m_Loop.Run(); });
    m_Runner = Running.get_future().get();
    m_Loop.Execute([&Work] { Work.reset(); });
  }
  TRunningLoop(TRunningLoop const&) = delete;
  TRunningLoop& operator=(TRunningLoop const&) = delete;
  ~TRunningLoop() {
    m_Loop.Stop();
    m_Thread.join();
  }

  TCRouterLoop m_Loop;
  std::thread::id m_Runner;

 private:
  std::thread m_Thread;
};

TEST(TCRouterLoopTest, DoesWhatOthersWantOnTheThreadThatTurnsIt) {
  TRunningLoop Running;
  std::thread::id Thread;
  Running.m_Loop.Execute([&] {
    Thread = std::this_thread::get_id();
    Running.m_Loop.Execute([&] { EXPECT_EQ(std::this_thread::get_id(), Thread); });
  });
  EXPECT_EQ(Thread, Running.m_Runner);
}

TEST(TCRouterLoopTest, DoesItOnTheCallersThreadWhileNobodyTurnsIt) {
  TCRouterLoop Loop;
  std::thread::id Thread;
  Loop.Execute([&] { Thread = std::this_thread::get_id(); });
  EXPECT_EQ(Thread, std::this_thread::get_id());
}

TEST(TCRouterLoopTest, HandsBackWhatIsThrown) {
  TRunningLoop Running;
  std::string Text;
  try {
    Running.m_Loop.Execute([] { throw std::runtime_error("no"); });
  } catch (std::runtime_error const& Failure) {
    Text = Failure.what();
  }
  EXPECT_EQ(Text, "no");
}

TEST(TCRouterLoopTest, DoesOneThingAtATimeForManyThreads) {
  constexpr int kThreads = 8;
  constexpr int kTimes = 200;
  TRunningLoop Running;
  int Count = 0;  // by nobody but who has the turn
  std::vector<std::thread> Threads;
  for (int Number = 0; Number < kThreads; ++Number) {
    Threads.emplace_back([&] {
      for (int Time = 0; Time < kTimes; ++Time) {
        Running.m_Loop.Execute([&Count] { ++Count; });
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  EXPECT_EQ(Count, kThreads * kTimes);
}

TEST(TCRouterLoopTest, RemembersThatItIsToStop) {
  TCRouterLoop Loop;
  Loop.Stop();
  Loop.Run();
  bool Done = false;
  TCNorvLoopWork Work(Loop.get_Loop(), TCNorvLoopWork::TEWhen::eNextTurn, [&] {
    Done = true;
    Loop.Stop();
  });
  Work.Schedule();
  Loop.Run();
  EXPECT_TRUE(Done);
}

}  // namespace
