// SPDX-License-Identifier: MIT
// A thread that leaves a lock it does not hold changes nothing.
#include <gtest/gtest.h>

#include <thread>

#include "Platform/Utility/TCCriticalSection.h"

// The thread sanitizer reports every such call, also to a recursive lock, for which it is defined
// to fail. Only this report is off, and only in this executable.
extern "C" __attribute__((visibility("default"))) char const* __tsan_default_options();
extern "C" char const* __tsan_default_options() {
  return "report_mutex_bugs=0";
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
