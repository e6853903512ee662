// SPDX-License-Identifier: MIT
// Locks, logs and debug channels work in static objects that are built before the library's own.
#include <gmock/gmock.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Platform/Utility/DebugOutput.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCUtilities.h"

extern TCCriticalSection LateSection;

namespace {

// Made and freed by the early object, which outlives all others.
std::vector<std::string>* Lines = nullptr;

void CollectTrace(TCDebugChannel const& Channel, std::string const& Text) {
  Lines->push_back(Channel.get_Name() + (": " + Text));
}

void CollectLine(int, std::string const& Text) {
  Lines->push_back(Text);
}

// What the library does for a constructor that runs before every other one of the program.
struct TCEarly {
  TCEarly() {
    Lines = new std::vector<std::string>;
    setenv("PROPERTY_DEBUG", "PROPERTY", 1);
    setenv("PROPERTY_OWN_MAC", "00:11:22:33:44:55", 1);
    m_FormerDebugSink = SetDebugSink(CollectTrace);
    m_FormerLogSink = SetSyslogSink(CollectLine);
    m_Entered = LateSection.Enter();
    SendDebugOutput(DEBUG_PROPERTY, "early %d", 1);
    SendDebugOutput(DEBUG_COMMON, "early %d", 2);
    SyslogError("early %d", 3);
    m_OwnText = TCMACAddress::Own("").get_AsString(':');
    m_ThreadID = TCUtilities::GetCurrentThreadID();
    m_What = TCException("source", 1).Format("early").what();
    LateSection.Leave();
    SetDebugSink(nullptr);
    SetSyslogSink(nullptr);
    unsetenv("PROPERTY_DEBUG");
  }
  ~TCEarly() { delete Lines; }

  TDebugSink m_FormerDebugSink;
  TSyslogSink m_FormerLogSink;
  bool m_Entered;
  std::string m_OwnText;
  int m_ThreadID;
  std::string m_What;
};

__attribute__((init_priority(101))) TCEarly Early;

}  // namespace

// Defined after its first user, as in a file that is initialised later.
TCCriticalSection LateSection;

TEST(StaticOrder, TracesBeforeTheLibrarysStaticObjects) {
  EXPECT_THAT(*Lines, testing::ElementsAre("PROPERTY: early 1", "early 3"));
  EXPECT_EQ(Early.m_FormerDebugSink, nullptr);
  EXPECT_EQ(Early.m_FormerLogSink, nullptr);
}

TEST(StaticOrder, KeepsWhatTheEarlyUserFoundInTheEnvironment) {
  EXPECT_TRUE(IsDebugLevel(DEBUG_PROPERTY));
  EXPECT_FALSE(IsDebugLevel(DEBUG_COMMON));
}

TEST(StaticOrder, LocksBeforeTheLocksFileIsInitialised) {
  EXPECT_TRUE(Early.m_Entered);
  EXPECT_TRUE(LateSection.Enter(0));
  LateSection.Leave();
}

TEST(StaticOrder, KnowsTheDeviceAndTheThread) {
  EXPECT_EQ(Early.m_OwnText, "00:11:22:33:44:55");
  EXPECT_EQ(TCMACAddress::Own(""), TCMACAddress("00:11:22:33:44:55"));
  EXPECT_EQ(Early.m_ThreadID, TCUtilities::GetCurrentThreadID());
  EXPECT_EQ(Early.m_What, "early");
}
