// SPDX-License-Identifier: MIT
// Each thread's own object: made once, destroyed with its thread, whoever asks for it last.
#include "Platform/Utility/TCPerThread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <thread>

namespace {

std::atomic<int> g_Alive{0};
std::atomic<int> g_Made{0};

struct TCounted {
  TCounted() {
    ++g_Alive;
    ++g_Made;
  }
  ~TCounted() { --g_Alive; }
  TCounted(TCounted const&) = delete;
  TCounted& operator=(TCounted const&) = delete;
};

void Use() {
  TCPerThread<TCounted>::Get();
}

/// Uses the thread's object when it is destroyed.
struct TUserAtTheEnd {
  TUserAtTheEnd() = default;
  TUserAtTheEnd(TUserAtTheEnd const&) = delete;
  TUserAtTheEnd& operator=(TUserAtTheEnd const&) = delete;
  ~TUserAtTheEnd() { Use(); }
};

}  // namespace

TEST(TCPerThreadTest, MakesOneObjectAThread) {
  Use();
  TCounted* const Own = &TCPerThread<TCounted>::Get();
  TCounted* Others = Own;

  std::thread([&] { Others = &TCPerThread<TCounted>::Get(); }).join();

  EXPECT_EQ(Own, &TCPerThread<TCounted>::Get());
  EXPECT_NE(Own, Others);
  EXPECT_EQ(g_Made, 2);
}

TEST(TCPerThreadTest, DestroysTheObjectWithItsThread) {
  std::thread(&Use).join();

  EXPECT_EQ(g_Made, 1);
  EXPECT_EQ(g_Alive, 0);
}

TEST(TCPerThreadTest, MakesANewObjectAfterADrop) {
  std::thread([] {
    Use();
    TCPerThread<TCounted>::Drop();
    EXPECT_EQ(g_Alive, 0);
    Use();
  }).join();

  EXPECT_EQ(g_Made, 2);
  EXPECT_EQ(g_Alive, 0);
}

TEST(TCPerThreadTest, DestroysWhatAnOlderObjectOfTheThreadMakesAgain) {
  std::thread([] {
    thread_local TUserAtTheEnd const Older;
    static_cast<void>(Older);
    Use();
  }).join();

  EXPECT_EQ(g_Made, 2);
  EXPECT_EQ(g_Alive, 0);
}

TEST(TCPerThreadTest, DestroysWhatTheDestructorOfAnotherKeyMakesAgain) {
  pthread_key_t Key;
  ASSERT_EQ(pthread_key_create(&Key, [](void*) { Use(); }), 0);

  std::thread([&] {
    pthread_setspecific(Key, &Key);
    Use();
  }).join();

  EXPECT_EQ(g_Made, 2);
  EXPECT_EQ(g_Alive, 0);
}
