// SPDX-License-Identifier: MIT
// When the callback of a watched file is called, and when it is not any more.
#include "Platform/Events/TCNorvWatchedFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "CountedCalls.h"
#include "Platform/Events/TCNorvEventLoop.h"
#include "ReadyFile.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

constexpr auto kWithoutWaiting = TCNorvEventLoop::TCTime::zero();

class TCNorvWatchedFileTest : public ::testing::Test {
 protected:
  auto Count() {
    return [this](std::uint32_t Events) {
      ++m_Calls;
      m_Events = Events;
    };
  }

  TCNorvEventLoop m_Loop;
  int m_Calls = 0;
  std::uint32_t m_Events = 0;
};

struct TSocketPair {
  TSocketPair() {
    int Ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, Ends), 0);
    m_Near = TCFileDescriptor(Ends[0]);
    m_Far = TCFileDescriptor(Ends[1]);
  }

  TCFileDescriptor m_Near;
  TCFileDescriptor m_Far;
};

TEST_F(TCNorvWatchedFileTest, IsCalledAsLongAsTheFileIsReady) {
  TReadyFile File;
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, Count());
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_TRUE(m_Loop.Turn());
  File.Read();
  EXPECT_FALSE(m_Loop.Turn(kWithoutWaiting));
  EXPECT_EQ(m_Calls, 2);
  EXPECT_EQ(m_Events, std::uint32_t{EPOLLIN});
}

TEST_F(TCNorvWatchedFileTest, IsCalledForWhatItIsWatchedFor) {
  TReadyFile const File;
  TCNorvWatchedFile Watched(m_Loop, File.get(), EPOLLOUT, Count());
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Events, std::uint32_t{EPOLLOUT});
  Watched.SetEvents(EPOLLIN | EPOLLOUT);
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Events, std::uint32_t{EPOLLIN | EPOLLOUT});
}

TEST_F(TCNorvWatchedFileTest, AsksNothingOfTheSystemWhenNothingChanges) {
  TReadyFile const File;
  TCNorvWatchedFile Watched(m_Loop, File.get(), EPOLLIN, Count());
  TCountedCalls const Calls;
  Watched.SetEvents(EPOLLIN);
  m_Loop.Turn();
  EXPECT_EQ(Calls.get_Count(), 0);
  Watched.SetEvents(EPOLLIN | EPOLLOUT);
  EXPECT_EQ(Calls.get_Count(), 1);
}

TEST_F(TCNorvWatchedFileTest, IsNotCalledWithoutEventsNotEvenAtTheEndOfTheOtherSide) {
  TSocketPair Pair;
  TCNorvWatchedFile Watched(m_Loop, Pair.m_Near.get(), EPOLLIN, Count());
  Pair.m_Far = TCFileDescriptor();
  Watched.SetEvents(0);
  EXPECT_FALSE(m_Loop.Turn(kWithoutWaiting));
  Watched.SetEvents(EPOLLIN);
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_NE(m_Events & EPOLLHUP, 0U);
}

TEST_F(TCNorvWatchedFileTest, HearsOfTheEndOfTheOtherSideWhenThatIsAllItWants) {
  TSocketPair Pair;
  TCNorvWatchedFile const Watched(m_Loop, Pair.m_Near.get(), EPOLLRDHUP, Count());
  EXPECT_EQ(write(Pair.m_Far.get(), "x", 1), 1);
  EXPECT_FALSE(m_Loop.Turn(kWithoutWaiting));
  Pair.m_Far = TCFileDescriptor();
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_NE(m_Events & EPOLLRDHUP, 0U);
}

TEST_F(TCNorvWatchedFileTest, IsNotCalledAfterItsEnd) {
  TReadyFile const File;
  { TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, Count()); }
  EXPECT_FALSE(m_Loop.Turn(kWithoutWaiting));
}

// What the callback holds lives until it returns.
TEST_F(TCNorvWatchedFileTest, MayBeDestroyedByItsOwnCallback) {
  TReadyFile const File;
  auto const Held = std::make_shared<int>(7);
  std::weak_ptr<int> const Left = Held;
  std::optional<TCNorvWatchedFile> Watched;
  Watched.emplace(m_Loop, File.get(), EPOLLIN, [this, &Watched, Held](std::uint32_t /*Events*/) {
    Watched.reset();
    m_Calls = *Held;
  });
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Calls, 7);
  EXPECT_FALSE(m_Loop.Turn(kWithoutWaiting));
  EXPECT_EQ(Left.use_count(), 1);
}

TEST_F(TCNorvWatchedFileTest, MayBeReplacedByItsOwnCallback) {
  TReadyFile const File;
  std::optional<TCNorvWatchedFile> Watched;
  Watched.emplace(m_Loop, File.get(), EPOLLIN, [&](std::uint32_t /*Events*/) {
    Watched.reset();
    Watched.emplace(m_Loop, File.get(), EPOLLIN, Count());
  });
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Calls, 0);
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Calls, 1);
}

// Two files are ready; whichever is called first ends the other.
TEST_F(TCNorvWatchedFileTest, IsNotCalledWhenAnotherCallbackHasDestroyedIt) {
  std::array<TReadyFile, 2> const Files;
  std::array<std::optional<TCNorvWatchedFile>, 2> Watched;
  for (std::size_t Place = 0; Place < 2; ++Place) {
    Watched[Place].emplace(m_Loop, Files[Place].get(), EPOLLIN,
                           [this, &Watched, Place](std::uint32_t /*Events*/) {
                             ++m_Calls;
                             Watched[1 - Place].reset();
                           });
  }
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Calls, 1);
}

// The other's descriptor is closed, and its number and its place are at once another file's.
TEST_F(TCNorvWatchedFileTest, IsNotCalledForAFileWhoseNumberItHas) {
  std::array<TCFileDescriptor, 2> Files;
  std::array<std::optional<TCNorvWatchedFile>, 2> Watched;
  int NewCalls = 0;
  for (std::size_t Place = 0; Place < 2; ++Place) {
    Files[Place] = TCFileDescriptor(eventfd(1, EFD_CLOEXEC));
    Watched[Place].emplace(
        m_Loop, Files[Place].get(), EPOLLIN, [&, Place](std::uint32_t /*Events*/) {
          ++m_Calls;
          std::size_t const Other = 1 - Place;
          int const Number = Files[Other].get();
          Watched[Other].reset();
          Files[Other] = TCFileDescriptor();
          Files[Other] = TCFileDescriptor(eventfd(0, EFD_CLOEXEC));
          ASSERT_EQ(Files[Other].get(), Number);
          Watched[Other].emplace(m_Loop, Number, EPOLLIN,
                                 [&NewCalls](std::uint32_t /*Events*/) { ++NewCalls; });
          Watched[Place]->SetEvents(0);
        });
  }
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Calls, 1);
  EXPECT_EQ(NewCalls, 0);
  EXPECT_FALSE(m_Loop.Turn(kWithoutWaiting));
}

TEST_F(TCNorvWatchedFileTest, IsNotCalledForWhatAnotherCallbackHasTakenAway) {
  std::array<TReadyFile, 2> const Files;
  std::array<std::optional<TCNorvWatchedFile>, 2> Watched;
  for (std::size_t Place = 0; Place < 2; ++Place) {
    Watched[Place].emplace(m_Loop, Files[Place].get(), EPOLLIN,
                           [this, &Watched, Place](std::uint32_t /*Events*/) {
                             ++m_Calls;
                             Watched[1 - Place]->SetEvents(0);
                           });
  }
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Calls, 1);
}

TEST_F(TCNorvWatchedFileTest, SaysWhenAFileCanNotBeWatched) {
  TCException const None =
      CaughtException([this] { TCNorvWatchedFile const Watched(m_Loop, -1, EPOLLIN, Count()); });
  EXPECT_EQ(None.get_Source(), "../Platform/Events/TCNorvWatchedFile");
  EXPECT_EQ(None.get_Message(), "cannot watch file -1: Bad file descriptor");
  TCFileDescriptor const Plain(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  TCException const Never = CaughtException(
      [&] { TCNorvWatchedFile const Watched(m_Loop, Plain.get(), EPOLLIN, Count()); });
  EXPECT_EQ(Never.get_Message(),
            "cannot watch file " + std::to_string(Plain.get()) + ": Operation not permitted");
}

TEST_F(TCNorvWatchedFileTest, IsWatchedOnce) {
  TReadyFile const File;
  TCNorvWatchedFile const Watched(m_Loop, File.get(), EPOLLIN, Count());
  TCException const Exception = CaughtException(
      [&] { TCNorvWatchedFile const Second(m_Loop, File.get(), EPOLLIN, Count()); });
  EXPECT_EQ(Exception.get_Message(),
            "cannot watch file " + std::to_string(File.get()) + ": File exists");
  EXPECT_TRUE(m_Loop.Turn());
  EXPECT_EQ(m_Calls, 1);
}

TEST_F(TCNorvWatchedFileTest, SaysWhenTheSystemCanWatchNoMore) {
  TReadyFile const File;
  TCNorvWatchedFile Watched(m_Loop, File.get(), EPOLLIN, Count());
  Watched.SetEvents(0);
  {
    TRefusingSystem const Refusing(ENOSPC);
    TCException const Exception = CaughtException([&] { Watched.SetEvents(EPOLLIN); });
    EXPECT_EQ(Exception.get_Message(),
              "cannot watch file " + std::to_string(File.get()) + ": No space left on device");
    EXPECT_EQ(Watched.get_Events(), 0U);
  }
  Watched.SetEvents(EPOLLIN);
  EXPECT_TRUE(m_Loop.Turn());
}

TEST_F(TCNorvWatchedFileTest, TellsALackOfMemoryApart) {
  TReadyFile const File;
  TRefusingSystem const Refusing(ENOMEM);
  EXPECT_THROW(TCNorvWatchedFile(m_Loop, File.get(), EPOLLIN, Count()), std::bad_alloc);
}

}  // namespace
