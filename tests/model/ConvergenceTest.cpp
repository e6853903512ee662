// SPDX-License-Identifier: MIT
// Whatever the order of events, all processes end where the server ends, and every change is taken
// once. Every test visits all states of a small world and tells how many there were.
#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>

#include "tests/model/ConvergenceModel.h"

namespace {

using TProgram = TModelPlan::TProgram;

TProgram Sets(std::vector<std::vector<int>> const& Mails) {
  TProgram Program;
  for (std::vector<int> const& Keys : Mails) {
    Program.push_back({Keys});
  }
  return Program;
}

// The same, where the last mail has that fate.
TProgram Sets(std::vector<std::vector<int>> const& Mails, TModelPlan::TFate Last) {
  TProgram Program = Sets(Mails);
  Program.back().m_Fate = Last;
  return Program;
}

// The same, each on the condition that the values are what was read.
TProgram SetsIfUnchanged(std::vector<std::vector<int>> const& Mails) {
  TProgram Program = Sets(Mails);
  for (TModelPlan::TSet& Set : Program) {
    Set.m_IfUnchanged = true;
  }
  return Program;
}

constexpr auto kRefused = TModelPlan::TFate::eRefused;
constexpr auto kUnread = TModelPlan::TFate::eRefusedUnread;
constexpr int kShared = 1;
constexpr int kOther = 2;

void ExpectConvergence(TModelPlan const& Plan) {
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
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}})}, {Sets({{kShared}, {kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfThreeWritersOfOneValue) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoThreadsOfAProcessThatSendInAnotherOrderThanTheySet) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}), Sets({{kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTransactionsThatOverlap) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared, kOther}, {kShared}})}, {Sets({{kOther, kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAWriterAlone) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kOther}, {kOther}})}, {}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 1;
  Plan.m_ExclusiveKey = kOther;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAWriterAloneWithAServerThatPublishesBeforeItStores) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kOther}, {kOther}})}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 2;
  Plan.m_Relaxed = true;
  Plan.m_ExclusiveKey = kOther;
  ExpectConvergence(Plan);
}

TEST(Convergence, AcrossConnectionsThatBreak) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Cuts = 2;
  ExpectConvergence(Plan);
}

TEST(Convergence, AcrossACrashOfTheServer) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, AcrossACrashOfAServerThatPublishesBeforeItStores) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

// The two processes are alike: where the other one's connection breaks, the world is the mirror
// image of one that is visited.
TEST(Convergence, AcrossACrashAndABrokenConnection) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  Plan.m_CutFirstOnly = true;
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfWritersOfWhomOneIsRefused) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}, kRefused)}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedChangeBetweenOthers) {
  TModelPlan Plan;
  TProgram Program = Sets({{kShared}}, kRefused);
  Program.push_back({{kShared}});
  Plan.m_Processes = {{Program}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedValueThatThereWasNone) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared, kOther}}, kRefused)}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoThreadsOfAProcessOfWhichOneIsRefused) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}}, kRefused), Sets({{kShared}, {kShared}})}, {}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAMailThatIsRefusedUnread) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared, kOther}}, kUnread)}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAMailThatIsRefusedUnreadAcrossABrokenConnection) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared, kOther}}, kUnread)}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedChangeAcrossACrashOfTheServer) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}, kRefused)}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfARefusedChangeAcrossACrashOfAServerThatPublishesBeforeItStores) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}, {kShared}}, kRefused)}, {}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatMayReadAndWriteNoMore) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}, {kOther}})}};
  Plan.m_Hidings = {{0, kShared}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatIsAwayWhenItsRightsAreTaken) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared, kOther}})}};
  Plan.m_Hidings = {{0, kShared}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatLosesItsRightsWhileTheServerCrashes) {
  TModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {}};
  Plan.m_Hidings = {{0, kShared}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoProcessesThatChangeAValueOnConditions) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}, {kShared}})}, {SetsIfUnchanged({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAChangeOnAConditionBesideOthers) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}, {kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTwoThreadsOfAProcessOfWhichOneHasAChangeDecided) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}}), Sets({{kShared}})}, {Sets({{kShared}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfTransactionsOnConditionsThatOverlap) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared, kOther}})}, {SetsIfUnchanged({{kOther}})}};
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAWriterAloneThatReadsWhatWasDecided) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kOther}, {kOther}})}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 1;
  Plan.m_ExclusiveKey = kOther;
  ExpectConvergence(Plan);
}

// What such a server loses may have been read as what stands, and is then another for a moment:
// only the end is looked at.
TEST(Convergence, OfAWriterAloneThatHasChangesDecidedByAServerThatPublishesBeforeItStores) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kOther}, {kOther}})}};
  Plan.m_Cuts = 1;
  Plan.m_Crashes = 2;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

// With two changes on conditions, or two connections that break, the worlds of this and the next
// test have close to half a million states each and take minutes when they are watched.
TEST(Convergence, OfChangesOnConditionsAcrossAConnectionThatBreaks) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Cuts = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfChangesOnConditionsAcrossACrashOfTheServer) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Crashes = 1;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfChangesOnConditionsAcrossACrashOfAServerThatPublishesBeforeItStores) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}, {kShared}})}, {}};
  Plan.m_Crashes = 1;
  Plan.m_Relaxed = true;
  ExpectConvergence(Plan);
}

TEST(Convergence, OfAProcessThatLosesItsRightsWhileAChangeIsDecided) {
  TModelPlan Plan;
  Plan.m_Processes = {{SetsIfUnchanged({{kShared}})}, {Sets({{kShared}})}};
  Plan.m_Hidings = {{0, kShared}};
  ExpectConvergence(Plan);
}
