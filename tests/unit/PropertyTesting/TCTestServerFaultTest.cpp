// SPDX-License-Identifier: MIT
// Faults of the test server, and what is too much asked of it.
#include <atomic>
#include <thread>

#include "PropertyInterface/TCScopedTransaction.h"
#include "tests/unit/PropertyTesting/TestServerFixture.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using TCTestServerFaultTest = TTestServerFixture;

// ---- refusals ----

TEST_F(TCTestServerFaultTest, RefusesTheNextChangesForTheirReasonsAndNoMore) {
  m_Server.SetValue(m_Schema.m_Count, 1);
  MakeStore();
  m_Server.RefuseNextChange("the motor runs");
  m_Server.RefuseNextChange("it still does");
  SetProperty(m_Schema.m_Count, 2);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 1);
  EXPECT_EQ(m_Notifier.get_Texts().back(), "1");
  SetProperty(m_Schema.m_Count, 3);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 1);
  SetProperty(m_Schema.m_Count, 4);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "4");
  EXPECT_EQ(m_Notifier.get_Texts().back(), "4");
  EXPECT_THAT(m_Log.get_Warnings(), Contains(HasSubstr("refused: the motor runs")));
  EXPECT_THAT(m_Log.get_Warnings(), Contains(HasSubstr("refused: it still does")));
}

TEST_F(TCTestServerFaultTest, RefusesAChangeThatDependsOnWhatWasRead) {
  m_Server.SetValue(m_Schema.m_Count, 1);
  MakeStore();
  m_Server.RefuseNextChange("the motor runs");
  Property::TCScopedTransaction Change;
  Change.Expect(GetProperty(m_Schema.m_Count));
  Change.Set(m_Schema.m_Count, "2");
  auto const Result = Change.CommitIfUnchanged();
  EXPECT_EQ(Result.Outcome, Property::eCommitRefused);
  EXPECT_EQ(Result.Refusal.Reason, "the motor runs");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "1");
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 1);
}

TEST_F(TCTestServerFaultTest, ForbidsAChangeThatDependsOnWhatWasRead) {
  m_Server.SetValue(m_Schema.m_Count, 1);
  MakeStore();
  m_Server.ForbidWriting(m_Schema.m_Count);
  Property::TCScopedTransaction Change;
  Change.Expect(GetProperty(m_Schema.m_Count));
  Change.Set(m_Schema.m_Count, "2");
  EXPECT_EQ(Change.CommitIfUnchanged().Outcome, Property::eCommitRefused);
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "1");
}

// ---- away and back ----

TEST_F(TCTestServerFaultTest, TakesWhatWasSetWhileItWasAway) {
  MakeStore();
  m_Server.Stop();
  SetProperty(m_Schema.m_Name, "kept");
  m_Server.Start();
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "kept");
}

TEST_F(TCTestServerFaultTest, ComesBackWithItsValues) {
  m_Server.SetValue(m_Schema.m_Name, "before");
  MakeStore();
  m_Server.Stop();
  m_Server.Start();
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Name), "before");
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "before");
  EXPECT_THAT(m_Notifier.get_Texts(), ::testing::IsEmpty());
}

TEST_F(TCTestServerFaultTest, ComesBackWithoutTheValuesThatItHasLost) {
  m_Server.SetValue(m_Schema.m_Name, "before");
  MakeStore();
  m_Server.Stop();
  m_Server.LoseValues();
  m_Server.Start();
  SetProperty(m_Schema.m_Count, 1);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.get_ValueCount(), 1);
  EXPECT_THAT(m_Notifier.get_Texts(), ::testing::UnorderedElementsAre("-", "1"));
}

TEST_F(TCTestServerFaultTest, KeepsRulesAndFaultsThatAreAskedForWhileItIsAway) {
  m_Server.Stop();
  m_Server.SetConfiguration("[[rule]]\nproperties = [1001]\nwrite = [\"user:4000000000\"]\n");
  m_Server.ForbidWriting(m_Schema.m_Count);
  m_Server.Start();
  MakeStore();
  SetProperty(m_Schema.m_Name, "refused");
  SetProperty(m_Schema.m_Count, 1);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.get_ValueCount(), 0);
}

TEST_F(TCTestServerFaultTest, SaysWhyNothingArrivesWhileItIsAway) {
  MakeStore();
  m_Server.Stop();
  EXPECT_EQ(Refusal([&] { m_Server.WaitUntilArrived(kShort); }),
            "not all has arrived within 50 ms: the server does not answer; the test server is "
            "stopped");
  SetProperty(m_Schema.m_Count, 1);
  EXPECT_EQ(Refusal([&] { m_Server.WaitUntilArrived(kShort); }),
            "not all has arrived within 50 ms: the server has not acknowledged every change of "
            "this process; the test server is stopped");
  m_Server.Start();
}

TEST_F(TCTestServerFaultTest, HasNoValuesToLookAtWhileItIsAway) {
  m_Server.Stop();
  EXPECT_EQ(Refusal([&] { m_Server.SetValue(m_Schema.m_Count, 1); }),
            "cannot change values: the test server is stopped, call Start() first");
  EXPECT_EQ(Refusal([&] { m_Server.FindValue(m_Schema.m_Count); }),
            "cannot read values: the test server is stopped, call Start() first");
  EXPECT_EQ(Refusal([&] { m_Server.get_ValueCount(); }),
            "cannot count values: the test server is stopped, call Start() first");
  EXPECT_EQ(Refusal([&] { m_Server.Stop(); }),
            "cannot stop: the test server is stopped, call Start() first");
  EXPECT_EQ(Refusal([&] { m_Server.Pause(); }),
            "cannot pause: the test server is stopped, call Start() first");
  EXPECT_EQ(Refusal([&] { m_Server.Resume(); }),
            "cannot resume: the test server is stopped, call Start() first");
}

TEST_F(TCTestServerFaultTest, IsNeitherStartedNorEmptiedWhileItRuns) {
  m_Server.SetValue(m_Schema.m_Count, 1);
  EXPECT_EQ(Refusal([&] { m_Server.Start(); }),
            "cannot start: the test server runs, call Stop() first");
  EXPECT_EQ(Refusal([&] { m_Server.LoseValues(); }),
            "cannot lose the values: the test server runs, call Stop() first");
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "1");
}

// ---- slow ----

TEST_F(TCTestServerFaultTest, AnswersWhenItNoLongerPauses) {
  m_Server.SetValue(m_Schema.m_Name, "answered");
  m_Server.Pause();
  std::atomic<bool> Created{false};
  std::thread Program([&] {
    MakeStore();
    Created = true;
  });
  EXPECT_FALSE(Created);
  m_Server.Resume();
  Program.join();
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "answered");
}

TEST_F(TCTestServerFaultTest, TakesNothingWhileItPauses) {
  MakeStore();
  m_Server.Pause();
  SetProperty(m_Schema.m_Count, 1);
  EXPECT_EQ(Refusal([&] { m_Server.WaitUntilArrived(kShort); }),
            "not all has arrived within 50 ms: the server has not acknowledged every change of "
            "this process; the test server pauses");
  EXPECT_EQ(m_Server.get_ValueCount(), 0);
  m_Server.Resume();
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "1");
}

TEST_F(TCTestServerFaultTest, PublishesTheTestsOwnChangesWhileItPauses) {
  MakeStore();
  m_Server.Pause();
  m_Server.SetValue(m_Schema.m_Count, 1);
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "1");
  m_Server.Resume();
  m_Server.WaitUntilArrived();
  EXPECT_THAT(m_Notifier.get_Texts(), ElementsAre("1"));
}

TEST_F(TCTestServerFaultTest, PausesAndResumesInTurn) {
  EXPECT_EQ(Refusal([&] { m_Server.Resume(); }), "cannot resume: the test server does not pause");
  m_Server.Pause();
  EXPECT_EQ(Refusal([&] { m_Server.Pause(); }), "cannot pause: the test server pauses already");
  m_Server.Stop();  // ends the pause
  m_Server.Start();
  EXPECT_EQ(Refusal([&] { m_Server.Resume(); }), "cannot resume: the test server does not pause");
}

// ---- acknowledgements ----

TEST_F(TCTestServerFaultTest, StoresChangesWithoutSayingSo) {
  MakeStore();
  m_Server.HoldAcknowledgements();
  SetProperty(m_Schema.m_Count, 1);
  m_Server.WaitForValue(m_Schema.m_Count, "1");
  EXPECT_EQ(Refusal([&] { m_Server.WaitUntilArrived(kShort); }),
            "not all has arrived within 50 ms: the server has not acknowledged every change of "
            "this process; the test server withholds acknowledgements");
  m_Server.ReleaseAcknowledgements();
  m_Server.WaitUntilArrived();
}

TEST_F(TCTestServerFaultTest, TakesAChangeOnceThatItHadNotAcknowledged) {
  MakeStore();
  m_Server.HoldAcknowledgements();
  SetProperty(m_Schema.m_Count, 1);
  m_Server.WaitForValue(m_Schema.m_Count, "1");
  m_Server.Stop();
  m_Server.Start();
  m_Server.SetValue(m_Schema.m_Count, 2);
  m_Server.ReleaseAcknowledgements();
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "2");
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 2);
}

TEST_F(TCTestServerFaultTest, TakesAChangeAgainThatItHasLost) {
  MakeStore();
  m_Server.HoldAcknowledgements();
  SetProperty(m_Schema.m_Count, 1);
  m_Server.WaitForValue(m_Schema.m_Count, "1");
  m_Server.Stop();
  m_Server.LoseValues();
  m_Server.Start();
  m_Server.ReleaseAcknowledgements();
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(m_Schema.m_Count), "1");
}
