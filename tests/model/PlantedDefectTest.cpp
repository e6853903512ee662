// SPDX-License-Identifier: MIT
// The model itself: whatever somebody does wrong in its world, it finds.
#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

#include "tests/model/Exploration.h"
#include "tests/model/ModelPrograms.h"

namespace {

using TEDefect = TSModelPlan::TEDefect;
using ::testing::StartsWith;

// What is found in that world with the defect.
std::string FaultWith(TEDefect Defect, TSModelPlan Plan) {
  Plan.m_Defect = Defect;
  try {
    Explore(Plan);
  } catch (std::logic_error const& Fault) {
    std::string const Text = Fault.what();
    return Text.substr(0, Text.find('\n'));
  }
  return "nothing";
}

TSModelPlan OneWriter(TSModelPlan::TCProgram const& Program, int Cuts = 0) {
  TSModelPlan Plan;
  Plan.m_Processes = {{Program}};
  Plan.m_ExclusiveKey = kOther;
  Plan.m_Cuts = Cuts;
  return Plan;
}

TSModelPlan TwoWriters() {
  TSModelPlan Plan;
  Plan.m_Processes = {{Sets({{kShared}})}, {Sets({{kShared}})}};
  return Plan;
}

}  // namespace

TEST(PlantedDefect, OfAnOlderValueThatIsAppliedIsFound) {
  EXPECT_THAT(FaultWith(TEDefect::eOlderIsApplied, TwoWriters()), StartsWith("process 1 holds "));
}

TEST(PlantedDefect, OfAnOlderValueThatItsWriterReadsIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eOlderIsApplied, OneWriter(Sets({{kOther}, {kOther}}), 1)),
            "a process reads an older value than it has set");
}

TEST(PlantedDefect, OfADecisionThatItsThreadDoesNotReadIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eDecidedIsNotShown, OneWriter(SetsIfUnchanged({{kOther}}))),
            "a process does not read what it has changed on a condition");
}

TEST(PlantedDefect, OfMailsInAnotherOrderIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eNewestIsSentFirst, OneWriter(Sets({{kOther}, {kOther}}), 1)),
            "a mail overtakes another of its process");
}

TEST(PlantedDefect, OfALostMailThatIsNotSentAgainIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eNothingIsSentAgain, OneWriter(Sets({{kOther}}), 1)),
            "process 0 still waits for its changes");
}

TEST(PlantedDefect, OfAMissingAcknowledgementIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eNothingIsAcknowledged, OneWriter(Sets({{kOther}}))),
            "process 0 still waits for its changes");
}

TEST(PlantedDefect, OfARepeatThatIsTakenIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eRepeatsAreTaken, OneWriter(Sets({{kOther}}), 1)),
            "a mail was taken twice, or out of order");
}

TEST(PlantedDefect, OfAMailThatIsForgottenIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eUntakenIsAcknowledged, OneWriter(Sets({{kOther}}))),
            "a mail was not taken");
}

TEST(PlantedDefect, OfARefusalThatIsNotToldIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::eRefusalIsNotTold,
                      OneWriter(Sets({{kOther}}, TSModelPlan::TEFate::eRefused))),
            "process 0 holds 2=1,; the server ;");
}

TEST(PlantedDefect, OfAPlaceThatIsSkippedIsFound) {
  EXPECT_EQ(FaultWith(TEDefect::ePlaceIsSkipped, OneWriter(Sets({{kOther}}))),
            "a mail is not taken for the next one");
}

TEST(PlantedDefect, IsNotFoundWhereThereIsNone) {
  EXPECT_EQ(FaultWith(TEDefect::eNone, OneWriter(Sets({{kOther}, {kOther}}), 1)), "nothing");
  EXPECT_EQ(FaultWith(TEDefect::eNone, TwoWriters()), "nothing");
}
