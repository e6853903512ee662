// SPDX-License-Identifier: MIT
// Where warnings and errors go, and with which priority.
#include "Platform/Utility/SystemLog.h"

#include <gmock/gmock.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using TCLines = std::vector<std::pair<int, std::string>>;

std::mutex LinesMutex;
TCLines SinkLines;
TCLines SystemLines;

void Collect(int Priority, std::string const& Text) {
  std::lock_guard<std::mutex> Lock(LinesMutex);
  SinkLines.emplace_back(Priority, Text);
}

void CollectNothing(int, std::string const&) {}

}  // namespace

// In the C library's place, because no test can read the machine's log.
extern "C" void syslog(int Priority, char const* Text, ...) {
  char Line[256];
  std::va_list Arguments;
  va_start(Arguments, Text);
  std::vsnprintf(Line, sizeof Line, Text, Arguments);
  va_end(Arguments);
  SystemLines.emplace_back(Priority, Line);
}

TEST(SystemLog, SendsWarningsAndErrorsToTheUserFacility) {
  SyslogWarning("low %s", "battery");
  SyslogError("lost %d", 3);
  EXPECT_EQ(SystemLines,
            (TCLines{{LOG_USER | LOG_WARNING, "low battery"}, {LOG_USER | LOG_ERR, "lost 3"}}));
}

TEST(SystemLog, DoesNotFormatALineTwice) {
  SyslogWarning("%s", "100%s %n");
  EXPECT_EQ(SystemLines, (TCLines{{LOG_USER | LOG_WARNING, "100%s %n"}}));
}

TEST(SystemLog, HandsFormattedLinesToTheSinkInstead) {
  SetSyslogSink(Collect);
  SyslogWarning("low %s", "battery");
  SyslogError("%s", std::string(1000, 'x').c_str());
  EXPECT_EQ(SinkLines, (TCLines{{LOG_WARNING, "low battery"}, {LOG_ERR, std::string(1000, 'x')}}));
  EXPECT_TRUE(SystemLines.empty());
}

TEST(SystemLog, GoesBackToTheSystemWithoutASink) {
  SetSyslogSink(Collect);
  SetSyslogSink(nullptr);
  SyslogError("lost");
  EXPECT_TRUE(SinkLines.empty());
  EXPECT_EQ(SystemLines, (TCLines{{LOG_USER | LOG_ERR, "lost"}}));
}

TEST(SystemLog, ReturnsTheFormerSink) {
  EXPECT_EQ(SetSyslogSink(Collect), nullptr);
  EXPECT_EQ(SetSyslogSink(CollectNothing), &Collect);
  EXPECT_EQ(SetSyslogSink(nullptr), &CollectNothing);
}

TEST(SystemLog, TakesLinesOfManyThreadsWhileTheSinkChanges) {
  constexpr int kThreads = 3;
  constexpr int kLines = 500;
  SetSyslogSink(Collect);
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < kThreads; ++Thread) {
    Threads.emplace_back([] {
      for (int Line = 0; Line < kLines; ++Line) {
        SyslogWarning("line");
      }
    });
  }
  for (int Change = 0; Change < kLines; ++Change) {
    EXPECT_EQ(SetSyslogSink(Collect), &Collect);
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  EXPECT_EQ(SinkLines.size(), static_cast<std::size_t>(kThreads * kLines));
}
