// SPDX-License-Identifier: MIT
// Debug channels: who switches them on, and where their traces go.
#include "Platform/Utility/DebugOutput.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

static_assert(std::is_trivially_destructible_v<TCDebugChannel>);
static_assert(!std::is_copy_constructible_v<TCDebugChannel>);
static_assert(!std::is_convertible_v<char const*, TCDebugChannel>);

using TCTraces = std::vector<std::pair<std::string, std::string>>;

// Runs before the library's static objects, which then find no word of the caller's environment.
__attribute__((constructor(101))) void ForgetCallersEnvironment() {
  unsetenv("PROPERTY_DEBUG");
}

std::mutex TracesMutex;
TCTraces Traces;

void CollectText(TCDebugChannel const& Channel, std::string const& Text) {
  std::lock_guard<std::mutex> Lock(TracesMutex);
  Traces.emplace_back(Channel.get_Name(), Text);
}

void CollectNoText(TCDebugChannel const&, std::string const&) {}

// Sends the standard error stream into a pipe while it lives.
class TCStandardErrorPipe {
 public:
  TCStandardErrorPipe() : m_Former(dup(STDERR_FILENO)) {
    int Ends[2] = {-1, -1};
    if (pipe(Ends) == 0) {
      m_ReadEnd = Ends[0];
      dup2(Ends[1], STDERR_FILENO);
      close(Ends[1]);
    }
  }
  ~TCStandardErrorPipe() { Restore(); }
  TCStandardErrorPipe(TCStandardErrorPipe const&) = delete;
  TCStandardErrorPipe& operator=(TCStandardErrorPipe const&) = delete;

  // Ends the redirection and returns what was written, at most one buffer.
  std::string Read() {
    char Buffer[1024];
    dup2(m_Former, STDERR_FILENO);
    ssize_t const Count = read(m_ReadEnd, Buffer, sizeof Buffer);
    return std::string(Buffer, Count > 0 ? static_cast<std::size_t>(Count) : 0);
  }

 private:
  void Restore() const {
    dup2(m_Former, STDERR_FILENO);
    close(m_Former);
    close(m_ReadEnd);
  }

  int m_Former;
  int m_ReadEnd = -1;
};

// Whether a channel of this name is on under this PROPERTY_DEBUG.
bool IsOn(char const* Environment, char const* Name) {
  setenv("PROPERTY_DEBUG", Environment, 1);
  TCDebugChannel const Channel(Name);
  return IsDebugLevel(Channel);
}

}  // namespace

TEST(DebugChannel, HasItsName) {
  EXPECT_STREQ(DEBUG_PROPERTY.get_Name(), "PROPERTY");
  EXPECT_STREQ(DEBUG_COMMON.get_Name(), "COMMON");
}

TEST(DebugChannel, IsOffWithoutTheEnvironmentVariable) {
  unsetenv("PROPERTY_DEBUG");
  TCDebugChannel const Channel("PROPERTY");
  EXPECT_FALSE(IsDebugLevel(Channel));
  EXPECT_FALSE(Channel.get_Enabled());
}

TEST(DebugChannel, IsOnWhenTheEnvironmentNamesIt) {
  EXPECT_TRUE(IsOn("PROPERTY", "PROPERTY"));
  EXPECT_TRUE(IsOn("COMMON,PROPERTY", "PROPERTY"));
  EXPECT_TRUE(IsOn("COMMON,PROPERTY", "COMMON"));
  EXPECT_TRUE(IsOn(",,PROPERTY,", "PROPERTY"));
}

TEST(DebugChannel, IsOnWhenTheEnvironmentSaysAll) {
  EXPECT_TRUE(IsOn("all", "PROPERTY"));
  EXPECT_TRUE(IsOn("COMMON,all", "PROPERTY"));
}

TEST(DebugChannel, IsOffWhenTheEnvironmentNamesOthers) {
  EXPECT_FALSE(IsOn("", "PROPERTY"));
  EXPECT_FALSE(IsOn(",", "PROPERTY"));
  EXPECT_FALSE(IsOn("COMMON", "PROPERTY"));
  EXPECT_FALSE(IsOn("PROPERTYX", "PROPERTY"));
  EXPECT_FALSE(IsOn("XPROPERTY", "PROPERTY"));
  EXPECT_FALSE(IsOn("property", "PROPERTY"));
}

TEST(DebugChannel, AsksTheEnvironmentOnce) {
  unsetenv("PROPERTY_DEBUG");
  TCDebugChannel const Channel("PROPERTY");
  ASSERT_FALSE(IsDebugLevel(Channel));
  setenv("PROPERTY_DEBUG", "all", 1);
  EXPECT_FALSE(IsDebugLevel(Channel));
}

TEST(DebugChannel, OfTheLibraryHasAskedWhenMainBegins) {
  setenv("PROPERTY_DEBUG", "all", 1);
  EXPECT_FALSE(IsDebugLevel(DEBUG_PROPERTY));
  EXPECT_FALSE(IsDebugLevel(DEBUG_COMMON));
}

TEST(DebugChannel, SwitchingOverridesTheEnvironment) {
  setenv("PROPERTY_DEBUG", "ONE", 1);
  TCDebugChannel One("ONE");
  TCDebugChannel Two("TWO");
  One.set_Enabled(false);
  Two.set_Enabled(true);
  EXPECT_FALSE(IsDebugLevel(One));
  EXPECT_TRUE(IsDebugLevel(Two));
  One.set_Enabled(true);
  EXPECT_TRUE(IsDebugLevel(One));
}

TEST(DebugOutput, WritesOneLineToTheStandardErrorStream) {
  DEBUG_PROPERTY.set_Enabled(true);
  TCStandardErrorPipe Pipe;
  SendDebugOutput(DEBUG_PROPERTY, "%s link(%d)", "speed", 5);
  EXPECT_EQ(Pipe.Read(), "PROPERTY: speed link(5)\n");
}

TEST(DebugOutput, HandsTracesToTheSinkInstead) {
  DEBUG_COMMON.set_Enabled(true);
  SetDebugSink(CollectText);
  TCStandardErrorPipe Pipe;
  SendDebugOutput(DEBUG_COMMON, "%s", "100%s");
  EXPECT_EQ(Traces, (TCTraces{{"COMMON", "100%s"}}));
  SetDebugSink(nullptr);
  SendDebugOutput(DEBUG_COMMON, "back");
  EXPECT_EQ(Traces.size(), 1U);
  EXPECT_EQ(Pipe.Read(), "COMMON: back\n");
}

TEST(DebugOutput, IsSilentWhileTheChannelIsOff) {
  DEBUG_PROPERTY.set_Enabled(false);
  DEBUG_COMMON.set_Enabled(true);
  SetDebugSink(CollectText);
  SendDebugOutput(DEBUG_PROPERTY, "unheard");
  SendDebugOutput(DEBUG_COMMON, "heard");
  EXPECT_EQ(Traces, (TCTraces{{"COMMON", "heard"}}));
}

TEST(DebugOutput, ReturnsTheFormerSink) {
  EXPECT_EQ(SetDebugSink(CollectText), nullptr);
  EXPECT_EQ(SetDebugSink(CollectNoText), &CollectText);
  EXPECT_EQ(SetDebugSink(nullptr), &CollectNoText);
}

TEST(DebugOutput, TakesTracesOfManyThreadsWhileTheChannelIsSwitched) {
  constexpr int kThreads = 3;
  constexpr int kRounds = 500;
  unsetenv("PROPERTY_DEBUG");
  static TCDebugChannel Switched("SWITCHED");
  static TCDebugChannel Steady("STEADY");
  Steady.set_Enabled(true);
  SetDebugSink(CollectText);
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < kThreads; ++Thread) {
    Threads.emplace_back([] {
      for (int Round = 0; Round < kRounds; ++Round) {
        SendDebugOutput(Steady, "steady");
        SendDebugOutput(Switched, "switched");
      }
    });
  }
  for (int Round = 0; Round < kRounds; ++Round) {
    Switched.set_Enabled(Round % 2 == 0);
    EXPECT_EQ(SetDebugSink(CollectText), &CollectText);
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  auto const IsSteady = [](auto const& Trace) { return Trace.first == "STEADY"; };
  EXPECT_EQ(std::count_if(Traces.begin(), Traces.end(), IsSteady), kThreads * kRounds);
}
