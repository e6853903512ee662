// SPDX-License-Identifier: MIT
// Which texts a field may have, and what people write for them.
#include "SchemaLibrary/TCValueRules.h"

#include <gtest/gtest.h>

#include <string>

#include "CommonProperties/TCPropertyDBLookup.h"
#include "tests/unit/SchemaLibrary/TextSchema.h"

namespace {

using Property::TCPropertyDBLookup;
using Property::TCPropertyID;
using Property::TCValueRules;

class TCValueRulesTest : public ::testing::Test {
 protected:
  TCValueRulesTest() {
    AddChoice("Automatic", "Automatic (DHCP)", 121, true, m_Mode, "automatic");
    AddChoice("Static", "By hand", 122, false, m_Mode, "static");
  }

  std::string Read(TCPropertyID const& Field, std::string const& Typed) {
    TCValueRules::TSTyped const Result = m_Rules.Read(Field, Typed);
    return Result.Reason.empty() ? "stored: " + Result.Data : Result.Reason;
  }

  TCPropertyID& m_Number = AddField("Brightness", 11, 1, kInteger);
  TCPropertyID& m_Mode = AddField("Mode", 12, 1, kInteger);
  TCPropertyID& m_Switch = AddField("Switch", 13, 1, kBoolean);
  TCPropertyID& m_Text = AddField("Text", 14, 1, kText);
  TCValueRules m_Rules;
};

TEST_F(TCValueRulesTest, AllowsAnIntegerWhatReadersReadAsANumber) {
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Number, "80"), "");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Number, "2147483647"), "");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Number, "2147483648"),
            "'2147483648' is no whole number from -2147483648 to 2147483647");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Number, "8O"),
            "'8O' is no whole number from -2147483648 to 2147483647");
}

TEST_F(TCValueRulesTest, HoldsAnIntegerToItsPattern) {
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Number, "-5"), "'-5' does not match the pattern ^([0-9]\\d*)$");
  m_Number.set_Regex("^-?[0-9]+$");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Number, "-5"), "");
}

TEST_F(TCValueRulesTest, AllowsAChoiceFieldTheNumbersOfItsChoices) {
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Mode, "122"), "");
  for (std::string const Data : {"0122", "+122", "automatic", "123"}) {
    EXPECT_EQ(m_Rules.ReasonAgainst(m_Mode, Data),
              "'" + Data + "' is no choice; there are Automatic (121), Static (122)");
  }
}

TEST_F(TCValueRulesTest, ListsOnlySomeOfManyChoices) {
  for (int Number = 200; Number < 220; ++Number) {
    AddChoice("C" + std::to_string(Number), "", Number, false, m_Mode, std::to_string(Number));
  }
  std::string const Reason = m_Rules.ReasonAgainst(m_Mode, "1");
  EXPECT_EQ(Reason.substr(Reason.size() - 22), "C209 (209) and 10 more");
}

TEST_F(TCValueRulesTest, AllowsABooleanOneAndZero) {
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Switch, "1"), "");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Switch, "0"), "");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Switch, "true"), "'true' is neither 0 nor 1");
}

TEST_F(TCValueRulesTest, HoldsATextToItsPattern) {
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Text, "anything\n"), "");
  m_Text.set_Regex("[a-z]*");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Text, "abc"), "");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Text, "ab c"), "'ab c' does not match the pattern [a-z]*");
}

TEST_F(TCValueRulesTest, ForbidsNothingByAPatternThatIsNone) {
  m_Text.set_Regex("[a-");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Text, "abc"), "");
}

TEST_F(TCValueRulesTest, MatchesNoTextThatIsTooLong) {
  m_Text.set_Regex(".*");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Text, std::string(4096, 'x')), "");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Text, std::string(4097, 'x')),
            "a text for a pattern may have 4096 bytes, and this one has 4097");
}

TEST_F(TCValueRulesTest, AllowsALookupAnyText) {
  auto& Lookup = *new TCPropertyDBLookup("Zone", 15, "Zone", Accessories::TCNullTypes<int>(), kText,
                                         1, "name", true);
  EXPECT_EQ(m_Rules.ReasonAgainst(Lookup, "Europe/Copenhagen"), "");
}

TEST_F(TCValueRulesTest, AllowsTheEmptyTextEverywhere) {
  m_Text.set_Regex("[a-z]+");
  for (TCPropertyID const* Field : {&m_Number, &m_Mode, &m_Switch, &m_Text}) {
    EXPECT_EQ(m_Rules.ReasonAgainst(*Field, ""), "");
  }
}

TEST_F(TCValueRulesTest, ShowsHostileAndLongTextsHarmlessly) {
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Switch, "\x1b[2J"), "'\\x1b[2J' is neither 0 nor 1");
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Switch, std::string(1000, 'x')),
            "'" + std::string(64, 'x') + "...' is neither 0 nor 1");
}

TEST_F(TCValueRulesTest, ShowsNoSecret) {
  EXPECT_EQ(m_Rules.ReasonAgainst(m_Switch, "geheim", true), "this text is neither 0 nor 1");
  EXPECT_EQ(m_Rules.Read(m_Mode, "geheim", true).Reason,
            "this text is no choice; there are Automatic (121), Static (122)");
}

// ---- what people write ----

TEST_F(TCValueRulesTest, ReadsAChoiceByValueNumberNameAndDescription) {
  for (std::string const Typed : {"static", "122", "Static", "By hand", "STATIC", "by hand"}) {
    EXPECT_EQ(Read(m_Mode, Typed), "stored: 122") << Typed;
  }
  EXPECT_EQ(Read(m_Mode, "manual"),
            "'manual' is no choice; there are Automatic (121), Static (122)");
}

TEST_F(TCValueRulesTest, ReadsAValueTextBeforeAnotherChoicesNumberAndName) {
  AddChoice("Third", "Third", 123, false, m_Mode, "122");
  AddChoice("Fourth", "Fourth", 124, false, m_Mode, "Static");
  EXPECT_EQ(Read(m_Mode, "122"), "stored: 123");
  EXPECT_EQ(Read(m_Mode, "Static"), "stored: 124");
}

TEST_F(TCValueRulesTest, ReadsWordsOfABoolean) {
  for (std::string const Typed : {"1", "true", "Yes", "ON"}) {
    EXPECT_EQ(Read(m_Switch, Typed), "stored: 1");
  }
  for (std::string const Typed : {"0", "false", "No", "OFF"}) {
    EXPECT_EQ(Read(m_Switch, Typed), "stored: 0");
  }
  EXPECT_EQ(Read(m_Switch, "2"), "'2' is neither true nor false");
}

TEST_F(TCValueRulesTest, ReadsNumbersWithoutSignAndZerosBeforeThem) {
  EXPECT_EQ(Read(m_Number, "007"), "stored: 7");
  EXPECT_EQ(Read(m_Number, "+7"), "stored: 7");
  EXPECT_EQ(Read(m_Number, "7 "), "'7 ' is no whole number from -2147483648 to 2147483647");
}

TEST_F(TCValueRulesTest, ReadsATextAsItIs) {
  EXPECT_EQ(Read(m_Text, " 007 "), "stored:  007 ");
  EXPECT_EQ(Read(m_Text, ""), "stored: ");
}

TEST_F(TCValueRulesTest, WritesStoredTextsForPeople) {
  EXPECT_EQ(TCValueRules::TextForPeople(m_Mode, "121"), "Automatic (DHCP)");
  EXPECT_EQ(TCValueRules::TextForPeople(m_Mode, "7"), "7");
  EXPECT_EQ(TCValueRules::TextForPeople(m_Switch, "1"), "true");
  EXPECT_EQ(TCValueRules::TextForPeople(m_Switch, "0"), "false");
  EXPECT_EQ(TCValueRules::TextForPeople(m_Number, "080"), "080");
}

// ---- numbers ----

TEST_F(TCValueRulesTest, FindsAFieldByItsNumberAndSaysWhatIsThereInstead) {
  std::string Reason;
  EXPECT_EQ(TCValueRules::FindField(11, Reason), &m_Number);
  EXPECT_EQ(Reason, "");
  EXPECT_EQ(TCValueRules::FindField(99, Reason), nullptr);
  EXPECT_EQ(Reason, "no property has the number 99");
  EXPECT_EQ(TCValueRules::FindField(0, Reason), nullptr);
  EXPECT_EQ(Reason, "no property has the number 0");
  EXPECT_EQ(TCValueRules::FindField(121, Reason), nullptr);
  EXPECT_EQ(Reason, "121 is no property but the choice Automatic");
}

}  // namespace
