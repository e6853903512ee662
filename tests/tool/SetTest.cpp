// SPDX-License-Identifier: MIT
// property set and reset: what is read of values, what is refused, and what is stored.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>

#include "tests/tool/ToolFixture.h"

namespace {

using testing::HasSubstr;

struct ToolSet : TToolFixture {
  std::unique_ptr<TProcess> m_Server = StartFilledServer();

  static TRun Done() { return {0, "", ""}; }
  static TRun Refused(std::string const& Reason) { return {1, "", "property: " + Reason + "\n"}; }
  std::string Stored(std::string const& Name) const {
    return Tool({"get", Name, "--stored"}).m_Output;
  }
};

TEST_F(ToolSet, StoresAValueGivenAsTwoWords) {
  EXPECT_EQ(Tool({"set", "Brightness", "45"}), Done());
  EXPECT_EQ(Stored("Brightness"), "45\n");
}

TEST_F(ToolSet, StoresSeveralValuesAsOneTransaction) {
  EXPECT_EQ(Tool({"set", "Brightness=1", "Name=a=b", "UserName[8]=Jonas"}), Done());
  EXPECT_EQ(Stored("Brightness"), "1\n");
  EXPECT_EQ(Stored("Name"), "a=b\n");
  EXPECT_EQ(Stored("UserName[8]"), "Jonas\n");
  EXPECT_THAT(Tool({"status", "--plain"}).m_Output, HasSubstr("taken mails\t3\n"));
}

TEST_F(ToolSet, HasStoredTheValueWhenItReturns) {
  EXPECT_EQ(Tool({"set", "Brightness=2"}), Done());
  EXPECT_EQ(m_Server->End(SIGKILL), -SIGKILL);
  m_Server = StartServer();
  EXPECT_EQ(Stored("Brightness"), "2\n");
}

TEST_F(ToolSet, TakesAChoiceByNameTextAndNumber) {
  for (std::string const Typed : {"Always", "Day and night", "1123", "always", "ALWAYS"}) {
    EXPECT_EQ(Tool({"set", "Mode=day"}), Done());
    EXPECT_EQ(Tool({"set", "Mode", Typed}), Done());
    EXPECT_EQ(Stored("Mode"), "1123\n") << Typed;
  }
}

TEST_F(ToolSet, TakesWordsForATruthValue) {
  EXPECT_EQ(Tool({"set", "Enabled=yes"}), Done());
  EXPECT_EQ(Stored("Enabled"), "1\n");
  EXPECT_EQ(Tool({"set", "Enabled=off"}), Done());
  EXPECT_EQ(Stored("Enabled"), "0\n");
}

TEST_F(ToolSet, RefusesATextThatIsNoNumber) {
  EXPECT_EQ(Tool({"set", "Brightness=bright"}),
            Refused("Device/Display/Brightness: 'bright' is no whole number from -2147483648 to "
                    "2147483647"));
  EXPECT_EQ(Stored("Brightness"), "60\n");
}

TEST_F(ToolSet, ListsTheChoicesForAnUnknownOne) {
  EXPECT_EQ(Tool({"set", "Mode=dusk"}),
            Refused("Device/Display/Mode: 'dusk' is no choice; there are Day (1121), Night (1122), "
                    "Always (1123)"));
}

TEST_F(ToolSet, RefusesATextThatDoesNotMatchThePattern) {
  EXPECT_EQ(Tool({"set", "Host=UPPER"}),
            Refused("Device/Display/Host: 'UPPER' does not match the pattern ^[a-z]+$"));
}

TEST_F(ToolSet, StoresNothingWhenOneOfSeveralIsRefused) {
  EXPECT_EQ(Tool({"set", "Brightness=1", "Mode=dusk"}).m_Exit, 1);
  EXPECT_EQ(Stored("Brightness"), "60\n");
}

TEST_F(ToolSet, ReadsAValueFromTheStandardInput) {
  EXPECT_EQ(Tool({"set", "Name=-"}, "two\nlines\n"), Done());
  EXPECT_EQ(Stored("Name"), "two\nlines\n");
}

TEST_F(ToolSet, ReadsOnlyOneValueFromTheStandardInput) {
  EXPECT_EQ(Tool({"set", "Name=-", "Host=-"}, "text"),
            (TRun{2, "", "property: only one value can be read from the standard input\n"}));
}

TEST_F(ToolSet, RefusesAWordThatIsNoAssignment) {
  EXPECT_EQ(
      Tool({"set", "Name=a", "Host"}),
      (TRun{2, "",
            "property: 'Host' is no NAME=VALUE; the value stands behind the sign =, or alone as "
            "a second word\n"}));
}

TEST_F(ToolSet, RefusesTwoValuesOfOneProperty) {
  EXPECT_EQ(Tool({"set", "Name=a", "113=b"}),
            (TRun{2, "",
                  "property: Device/Display/Name is given two values; one transaction sets it "
                  "once\n"}));
}

TEST_F(ToolSet, WantsToKnowWhoseAnUnknownPropertyIs) {
  m_Set["PROPERTY_SCHEMA"] = m_Folder;
  EXPECT_EQ(Tool({"set", "900=1"}),
            Refused("nothing says whose value property 900 is; say --mac own for this device's or "
                    "--mac none for the system's"));
  EXPECT_EQ(Tool({"set", "900=1", "--mac", "none"}), Done());
  EXPECT_EQ(Tool({"set", "900=2"}), Done());
  EXPECT_EQ(Stored("900"), "2\n");
}

// With another file in the place of its database the server stores nothing.
struct ToolSetWithoutDatabase : ToolSet {
  ToolSetWithoutDatabase() {
    std::filesystem::rename(File("values.db"), File("moved.db"));
    WriteFile("values.db", "another");
  }
  void BringBack() const { std::filesystem::rename(File("moved.db"), File("values.db")); }
};

TEST_F(ToolSetWithoutDatabase, SaysThatTheServerHasNotStoredInTime) {
  EXPECT_EQ(Tool({"set", "Name=a", "--timeout", "100ms"}),
            (TRun{4, "",
                  "property: the property server at " + Address() +
                      " has not stored the change in time; it may still do so: look at the values "
                      "before trying again\n"}));
}

TEST_F(ToolSetWithoutDatabase, ReturnsBeforeAnythingIsStoredWhenItDoesNotWait) {
  EXPECT_EQ(Tool({"set", "Name=a", "--no-wait"}), Done());
  BringBack();
  EXPECT_EQ(Tool({"wait", "Name=a", "--timeout", "60s"}), Done());
}

TEST_F(ToolSet, RefusesADurationThatIsNone) {
  TRun const Run = Tool({"set", "Name=a", "--timeout", "soon"});
  EXPECT_EQ(Run.m_Exit, 2);
  EXPECT_THAT(Run.m_Errors, HasSubstr("\"soon\" is no duration such as 10s or 5m"));
}

TEST_F(ToolSet, GivesAPropertyItsDefaultAgain) {
  EXPECT_EQ(Tool({"reset", "Brightness", "Mode"}), Done());
  EXPECT_EQ(Stored("Brightness"), "80\n");
  EXPECT_EQ(Stored("Mode"), "1121\n");
}

TEST_F(ToolSet, StoresNothingWhenTheDefaultIsThereAlready) {
  EXPECT_EQ(Tool({"reset", "PinLength"}), Done());
  EXPECT_THAT(Tool({"status", "--plain"}).m_Output, HasSubstr("taken mails\t2\n"));
}

}  // namespace
