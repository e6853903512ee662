// SPDX-License-Identifier: MIT
// What a bad library can do, and that it does it to a child process only.
#include "SchemaLibrary/TCSchemaTrial.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "tests/unit/SchemaLibrary/LibraryFixture.h"

namespace {

using Property::TCSchemaTrial;
using Property::TSSchemaTrialSettings;
using Property::TSSchemaVerdict;

class TCSchemaTrialTest : public LibraryFixture {
 protected:
  // The thread checker ends a process with a code of its own where a library is being loaded.
  static std::string ExitCode(int Code) {
#if defined(__has_feature)
#  if __has_feature(thread_sanitizer)
    Code = 66;
#  endif
#endif
    return std::to_string(Code);
  }
};

TEST_F(TCSchemaTrialTest, LoadsAGoodLibrary) {
  EXPECT_EQ(Outcome("Good"), "loaded");
}

TEST_F(TCSchemaTrialTest, TellsWhyAFileIsNoLibrary) {
  std::string const File = Write("Text.so", "this is no shared object, but long enough for one\n");
  std::vector<TSSchemaVerdict> const Verdicts = TCSchemaTrial(Settings()).Try({}, {File});
  ASSERT_EQ(Verdicts.size(), 1U);
  EXPECT_FALSE(Verdicts[0].Good);
  EXPECT_EQ(WithoutFolder(Verdicts[0].Reason), "Text.so: file too short");
}

TEST_F(TCSchemaTrialTest, TellsWhichFunctionIsMissing) {
  EXPECT_EQ(Outcome("Unresolved"), "Unresolved.so: undefined symbol: _Z14NowhereDefinedv");
}

TEST_F(TCSchemaTrialTest, RefusesALibraryThatRepeatsANumber) {
  EXPECT_EQ(Outcome("Repeat"),
            "while it is loaded, Property Second(900) is already defined as First(900) "
            "Integer Field");
}

TEST_F(TCSchemaTrialTest, RefusesASchemaThatCannotBeCompleted) {
  EXPECT_EQ(Outcome("Untyped"),
            "the schema cannot be completed: Property Untyped(300) Field does not specify "
            "Field Type");
}

TEST_F(TCSchemaTrialTest, RefusesAThrowingStaticConstructorWithItsPrintableText) {
  EXPECT_EQ(Outcome("Throw"), "while it is loaded, no licence\\x1b[31m found here");
}

TEST_F(TCSchemaTrialTest, RefusesAStaticConstructorThatThrowsANumber) {
  EXPECT_EQ(Outcome("ThrowNumber"),
            "while it is loaded, an exception of another kind than std::exception");
}

TEST_F(TCSchemaTrialTest, SurvivesACrash) {
  EXPECT_EQ(Outcome("Crash"), "it crashes: Segmentation fault");
}

TEST_F(TCSchemaTrialTest, SurvivesAnAbort) {
  EXPECT_EQ(Outcome("Abort"), "it crashes: Aborted");
}

TEST_F(TCSchemaTrialTest, SurvivesAnExit) {
  EXPECT_EQ(Outcome("Exit"), "it ends the process with exit code " + ExitCode(3));
}

TEST_F(TCSchemaTrialTest, TakesAnExitWithoutErrorForNoSuccess) {
  EXPECT_EQ(Outcome("ExitWell"), "it ends the process with exit code " + ExitCode(0));
}

TEST_F(TCSchemaTrialTest, RefusesALibraryThatCrashesWhenTheProcessEnds) {
  EXPECT_EQ(Outcome("CrashAtTheEnd"), "when the process ends, it crashes: Segmentation fault");
}

TEST_F(TCSchemaTrialTest, RefusesALibraryThatClosesFiles) {
  EXPECT_EQ(Outcome("CloseFiles"), "it closes files that are not its own");
  EXPECT_EQ(Outcome("CloseErrors"), "it closes files that are not its own");
}

TEST_F(TCSchemaTrialTest, KeepsWhatALibraryPrintsFromTheUser) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  std::string const File = Copy("Print");
  std::vector<TSSchemaVerdict> const Verdicts = TCSchemaTrial(Settings()).Try({}, {File});
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_TRUE(Verdicts.at(0).Good);
}

TEST_F(TCSchemaTrialTest, RefusesALibraryWhoseForkGoesOnWithTheProgram) {
  EXPECT_EQ(Outcome("ForkAndGoOn"),
            "it forks, and the copy of the process goes on with the program");
}

TEST_F(TCSchemaTrialTest, AllowsAChildProcessThatHasEnded) {
  EXPECT_EQ(Outcome("ForkAndWait"), "loaded");
}

TEST_F(TCSchemaTrialTest, TakesForgedReportsForNoSuccess) {
  EXPECT_EQ(Outcome("Forge"), "it writes into files that are not its own");
  EXPECT_EQ(Outcome("ForgeEndlessly"), "it writes into files that are not its own");
}

TEST_F(TCSchemaTrialTest, EndsALibraryThatHangs) {
  TSSchemaTrialSettings Impatient = Settings();
  Impatient.Patience = std::chrono::milliseconds(300);
  std::vector<TSSchemaVerdict> const Verdicts =
      TCSchemaTrial(Impatient).Try({}, {Copy("Hang"), Copy("LeaveChild")});
  EXPECT_EQ(Verdicts.at(0).Reason, "it takes longer than 300 ms");
  EXPECT_EQ(Verdicts.at(1).Reason, "it takes longer than 300 ms");
}

TEST_F(TCSchemaTrialTest, GivesUpTryingWhenAllTheTimeIsTaken) {
  TSSchemaTrialSettings Impatient = Settings();
  Impatient.Patience = std::chrono::milliseconds(300);
  Impatient.AllPatience = std::chrono::milliseconds(200);
  std::vector<TSSchemaVerdict> const Verdicts =
      TCSchemaTrial(Impatient).Try({}, {Copy("Hang"), Copy("Good")});
  EXPECT_FALSE(Verdicts.at(0).Good);
  EXPECT_EQ(Verdicts.at(1).Reason, "it was not tried: those before it have taken all the time");
  EXPECT_FALSE(Verdicts.at(1).Tried);
}

TEST_F(TCSchemaTrialTest, RefusesTheLaterOfTwoLibrariesThatClash) {
  std::vector<TSSchemaVerdict> const Verdicts =
      TCSchemaTrial(Settings()).Try({}, {Copy("Good"), Copy("Clashing"), Copy("Other")});
  EXPECT_TRUE(Verdicts.at(0).Good);
  EXPECT_EQ(Verdicts.at(1).Reason,
            "while it is loaded, Property Contrast(101) is already defined as Brightness(101) "
            "Integer Field");
  EXPECT_TRUE(Verdicts.at(2).Good);
}

TEST_F(TCSchemaTrialTest, TriesBehindWhatIsLoaded) {
  std::vector<TSSchemaVerdict> const Verdicts =
      TCSchemaTrial(Settings()).Try({Copy("Clashing")}, {Copy("Good"), Copy("Other")});
  EXPECT_FALSE(Verdicts.at(0).Good);
  EXPECT_TRUE(Verdicts.at(1).Good);
}

TEST_F(TCSchemaTrialTest, FindsTheOneThatKeepsTheSchemaFromCompleting) {
  std::vector<TSSchemaVerdict> const Verdicts =
      TCSchemaTrial(Settings())
          .Try({}, {Copy("Good"), Copy("Untyped"), Copy("Other"), Copy("CrashAtTheEnd"),
                    Copy("Throw"), Copy("Print")});
  std::vector<bool> Good;
  for (TSSchemaVerdict const& Verdict : Verdicts) {
    Good.push_back(Verdict.Good);
  }
  EXPECT_EQ(Good, (std::vector<bool>{true, false, true, false, false, true}));
}

TEST_F(TCSchemaTrialTest, TellsThatTheProgramIsMissing) {
  TSSchemaTrialSettings Missing = Settings();
  Missing.Program = "/nowhere/property-schema-trial";
  std::vector<TSSchemaVerdict> const Verdicts = TCSchemaTrial(Missing).Try({}, {Copy("Good")});
  EXPECT_EQ(Verdicts.at(0).Reason,
            "it cannot be tried: cannot start /nowhere/property-schema-trial: No such file or "
            "directory");
  EXPECT_FALSE(Verdicts.at(0).Tried);
}

TEST_F(TCSchemaTrialTest, TakesAnotherProgramForNoSuccess) {
  TSSchemaTrialSettings Wrong = Settings();
  Wrong.Program = "/bin/true";
  std::vector<TSSchemaVerdict> const Verdicts = TCSchemaTrial(Wrong).Try({}, {Copy("Good")});
  EXPECT_FALSE(Verdicts.at(0).Good);
}

}  // namespace
