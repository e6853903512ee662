// SPDX-License-Identifier: MIT
// Whatever the order of events, all processes end where the server ends, and every change is taken
// once. Every test visits all states of a small world and tells how many there were.
#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>

#include "tests/model/Exploration.h"
#include "tests/model/ModelPrograms.h"

namespace {

constexpr auto kRefused = TSModelPlan::TEFate::eRefused;
constexpr auto kUnread = TSModelPlan::TEFate::eRefusedUnread;

void ExpectConvergence(TSModelPlan const& Plan) {
  try {
    std::size_t const States = Explore(Plan);
    std::cout << "states explored: " << States << std::endl;
    EXPECT_GT(States, 1U);
  } catch (std::logic_error const& Fault) {
    FAIL() << Fault.what();
  }
}

}  // namespace

TEST(Convergence, OfTwoWritersOfOneValue) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}})}, {Sets({{kShared}, {kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfThreeWritersOfOneValue) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoThreadsOfAProcessThatSendInAnotherOrderThanTheySet) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}), Sets({{kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTransactionsThatOverlap) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared, kOther}, {kShared}})}, {Sets({{kOther, kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAWriterAlone) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kOther}, {kOther}})}, {}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 1;
  Plan.m_ExclusiveKey = kOther;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAWriterAloneWithAServerThatPublishesBeforeItStores) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kOther}, {kOther}})}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 2;
  Plan.m_Relaxed = true;
  Plan.m_ExclusiveKey = kOther;
  ExpectConvergence(Plan);
}

TEST(Convergence, AcrossConnectionsThatBreak) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Cuts = 2;
  ExpectConvergence(Plan);
}

TEST(Convergence, AcrossACrashOfTheServer) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, AcrossACrashOfAServerThatPublishesBeforeItStores) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

// The two processes are alike: where the other one's connection breaks, the world is the mirror
// image of one that is visited.
TEST(Convergence, AcrossACrashAndABrokenConnection) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  Plan.m_CutFirstOnly = true;
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfWritersOfWhomOneIsRefused) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}, kRefused)}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedChangeBetweenOthers) {
  TSModelPlan Plan;
  TSModelPlan::TCProgram Program = Sets({{kShared}}, kRefused);
  Program.push_back({{kShared}});
  Plan.m_Processes = {{Program}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedValueThatThereWasNone) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared, kOther}}, kRefused)}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoThreadsOfAProcessOfWhichOneIsRefused) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}}, kRefused), Sets({{kShared}, {kShared}})}, {}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAMailThatIsRefusedUnread) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared, kOther}}, kUnread)}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAMailThatIsRefusedUnreadAcrossABrokenConnection) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared, kOther}}, kUnread)}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedChangeAcrossACrashOfTheServer) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}, kRefused)}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedChangeAcrossACrashOfAServerThatPublishesBeforeItStores) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}, kRefused)}, {}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatMayReadAndWriteNoMore) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}, {kOther}})}};
  Plan.m_Hidings = {{0, kShared}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatIsAwayWhenItsRightsAreTaken) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared, kOther}})}};
  Plan.m_Hidings = {{0, kShared}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatLosesItsRightsWhileTheServerCrashes) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {}};
  Plan.m_Hidings = {{0, kShared}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoProcessesThatChangeAValueOnConditions) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}, {kShared}})}, {SetsIfUnchanged({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAChangeOnAConditionBesideOthers) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}, {kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoThreadsOfAProcessOfWhichOneHasAChangeDecided) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}}), Sets({{kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTransactionsOnConditionsThatOverlap) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared, kOther}})}, {SetsIfUnchanged({{kOther}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAWriterAloneThatReadsWhatWasDecided) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kOther}, {kOther}})}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 1;
  Plan.m_ExclusiveKey = kOther;
  ExpectConvergence(Plan);
}

// What such a server loses may have been read as what stands, and is then another for a moment:
// only the end is looked at.
TEST(Convergence, OfAWriterAloneThatHasChangesDecidedByAServerThatPublishesBeforeItStores) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kOther}, {kOther}})}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 2;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

// With two changes on conditions, or two connections that break, the worlds of this and the next
// test have close to half a million states each and take minutes when they are watched.
TEST(Convergence, OfChangesOnConditionsAcrossAConnectionThatBreaks) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfChangesOnConditionsAcrossACrashOfTheServer) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfChangesOnConditionsAcrossACrashOfAServerThatPublishesBeforeItStores) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}, {kShared}})}, {}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatLosesItsRightsWhileAChangeIsDecided) {
  TSModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Hidings = {{0, kShared}};
  ExpectConvergence(Plan);
}
