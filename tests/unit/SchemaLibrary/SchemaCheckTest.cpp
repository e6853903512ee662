// SPDX-License-Identifier: MIT
// Each mistake that initialisation lets pass, and that a good schema has none.
#include "SchemaLibrary/SchemaCheck.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "tests/unit/SchemaLibrary/TextSchema.h"

namespace {

using Property::TCBasicPropertyID;
using Property::TCPropertyDependency;
using Property::TCPropertyID;
using Property::TSSchemaFinding;
using TLines = std::vector<std::string>;

class SchemaCheckTest : public ::testing::Test {
 protected:
  SchemaCheckTest() {
    AddField("Contrast", 12, 10, kInteger);
    AddField("Lamp", 14, 10, kBoolean);
    AddChoice("Day", "Day", 131, true, m_Mode, "day");
    AddChoice("Night", "Night", 132, false, m_Mode, "night");
    AddChoice("Dusk", "Dusk", 133, false, m_Mode, "dusk");
  }

  /// Each finding as "number path: text".
  static TLines Findings() {
    TCBasicPropertyID::Initialize();
    TLines Lines;
    for (TSSchemaFinding const& Finding : Property::CheckSchema()) {
      Lines.push_back(std::to_string(Finding.Number) + " " + Finding.Path + ": " + Finding.Text);
    }
    return Lines;
  }

  static TCPropertyID& AddWithDefault(std::string const& Name, int Number, int Flags,
                                      std::string const& Default) {
    return *new TCPropertyID(Name, Number, std::string(), Accessories::TCNullTypes<int>(10), Flags,
                             Default);
  }

  Property::TCPropertyContainer& m_Device = AddContainer("Device", 1);
  Property::TCPropertyGroup& m_Display = AddGroup("Display", 10, m_Device);
  TCPropertyID& m_Brightness = AddField("Brightness", 11, 10, kInteger);
  TCPropertyID& m_Mode = AddField("Mode", 13, 10, kInteger);
};

TEST_F(SchemaCheckTest, FindsNothingInAGoodSchema) {
  TCPropertyDependency const Governed(&m_Brightness, &m_Mode, 1);
  EXPECT_EQ(Findings(), TLines());
}

TEST_F(SchemaCheckTest, FindsNamesThatAreUsedTwiceInOnePlace) {
  AddField("Contrast", 15, 10, kText);
  AddField("Contrast", 16, 1, kText);
  AddContainer("Device", 2);
  AddChoice("Day", "Other", 134, false, m_Mode, "other");
  EXPECT_EQ(Findings(), (TLines{"2 Device: its name is that of 1 in the same place",
                                "15 Device/Display/Contrast: its name is that of 12 in the same "
                                "place",
                                "134 Day: its name is that of 131 in the same place"}));
}

TEST_F(SchemaCheckTest, FindsNamesThatCannotBeWritten) {
  AddField("", 20, 10, kText);
  AddField("17", 21, 10, kText);
  AddField("In/Out", 22, 10, kText);
  AddField("Row[1]", 23, 10, kText);
  AddField("Bell\a", 24, 10, kText);
  EXPECT_EQ(
      Findings(),
      (TLines{"20 Device/Display/: it has no name",
              "21 Device/Display/17: its name is a number, and would be taken for that of a "
              "property",
              "22 Device/Display/In/Out: its name has one of the characters / [ ], which divide "
              "paths and name records",
              "23 Device/Display/Row[1]: its name has one of the characters / [ ], which divide "
              "paths and name records",
              "24 Device/Display/Bell\\x07: its name has characters that cannot be printed"}));
}

TEST_F(SchemaCheckTest, FindsParentsThatAreMissingOrHoldNothing) {
  AddField("Stray", 20, 4711, kText);
  AddField("Below", 21, 11, kText);
  AddField("Under", 22, 131, kText);
  new Property::TCPropertyGroup("Loose", 23, "", false);
  EXPECT_EQ(Findings(),
            (TLines{"20 Stray: its parent 4711 does not exist",
                    "21 Device/Display/Brightness/Below: its parent 11 is the integer field "
                    "Brightness, which holds no other property",
                    "22 Under: its parent 131 is the choice Day, which holds no other property",
                    "23 Loose: the group lies in no container"}));
}

TEST_F(SchemaCheckTest, FindsGroupsThatLieInThemselves) {
  auto& Inner = *new Property::TCPropertyGroup("Inner", 20, "", false);
  auto& Outer = *new Property::TCPropertyGroup("Outer", 21, "", false);
  Property::TCPropertyLink const Down(Inner, Outer);
  Property::TCPropertyLink const Up(Outer, Inner);
  EXPECT_EQ(Findings(),
            (TLines{"20 Inner: it lies in itself", "21 Inner/Outer: it lies in itself"}));
}

TEST_F(SchemaCheckTest, FindsAClassThatNothingIsKnownAbout) {
  AddContainer("Other", 2, 6);
  EXPECT_EQ(Findings(), (TLines{"2 Other: nothing is known about its class 6: values in it can be "
                                "neither read nor written"}));
}

TEST_F(SchemaCheckTest, FindsTwoDefaultChoicesThatAreNoNeighbours) {
  AddChoice("Dawn", "Dawn", 134, true, m_Mode, "dawn");
  EXPECT_EQ(Findings(), (TLines{"13 Device/Display/Mode: its choices 131 and 134 are both the "
                                "default: the last one counts"}));
}

TEST_F(SchemaCheckTest, FindsTwoChoicesOfOneValue) {
  AddChoice("Late", "Late", 134, false, m_Mode, "night");
  EXPECT_EQ(Findings(), (TLines{"13 Device/Display/Mode: its choices 132 and 134 have the same "
                                "value 'night': a set of it gives the first"}));
}

TEST_F(SchemaCheckTest, FindsDefaultsThatDoNotFit) {
  AddWithDefault("Text", 20, kInteger, "eighty");
  AddWithDefault("Cold", 21, kInteger, "-40");
  AddWithDefault("Switch", 22, kBoolean, "yes");
  AddWithDefault("Name", 23, kText, "Gateway 1").set_Regex("[a-z]+");
  AddWithDefault("Fine", 24, kText, "gateway").set_Regex("[a-z]+");
  EXPECT_EQ(Findings(),
            (TLines{"20 Device/Display/Text: its default does not fit: 'eighty' is no whole number "
                    "from -2147483648 to 2147483647",
                    "21 Device/Display/Cold: its default does not fit: '-40' does not match the "
                    "pattern ^([0-9]\\d*)$",
                    "22 Device/Display/Switch: its default does not fit: 'yes' is neither 0 nor 1",
                    "23 Device/Display/Name: its default does not fit: 'Gateway 1' does not match "
                    "the pattern [a-z]+"}));
}

TEST_F(SchemaCheckTest, FindsADefaultThatAChoiceFieldIgnores) {
  TCPropertyID& Ignored = AddWithDefault("Ignored", 20, kInteger, "2");
  AddChoice("One", "One", 201, false, Ignored, "1");
  TCPropertyID& Same = AddWithDefault("Same", 21, kInteger, "211");
  AddChoice("Two", "Two", 211, false, Same, "2");
  EXPECT_EQ(Findings(),
            (TLines{"20 Device/Display/Ignored: its default '2' is ignored: the default "
                    "choice is 201"}));
}

TEST_F(SchemaCheckTest, FindsAPatternThatIsNone) {
  AddField("Open", 20, 10, kText).set_Regex("\\");
  AddField("Back", 21, 10, kText).set_Regex("(a)\\1");
  TLines const Lines = Findings();
  ASSERT_EQ(Lines.size(), 2U);
  EXPECT_EQ(Lines[0].find("20 Device/Display/Open: its pattern \\ is none, and forbids nothing: "),
            0U);
  EXPECT_EQ(Lines[1],
            "21 Device/Display/Back: its pattern (a)\\1 is none, and forbids nothing: "
            "back-references are not supported");
}

TEST_F(SchemaCheckTest, FindsADependencyOnWhatHasNoValue) {
  TCPropertyDependency const Group(&m_Brightness, &m_Display, 1);
  EXPECT_EQ(Findings(), (TLines{"11 Device/Display/Brightness: it governs Display(10) Group, which "
                                "a dependency cannot name"}));
}

}  // namespace
