// SPDX-License-Identifier: MIT
// Which fields apply by the values of others.
#include "PropertyConsole/TCFieldDependencies.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "tests/unit/SchemaLibrary/TextSchema.h"

namespace {

using namespace Property;

class FieldDependencies : public ::testing::Test {
 protected:
  using TRecord = std::optional<int>;

  void Declare(TCBasicPropertyID const& Source, TCBasicPropertyID const& Target, int Mode = 1,
               std::optional<std::string> const& Value = std::nullopt) {
    m_Declared.push_back({&Source, &Target, Mode, Value});
  }
  void Set(TCPropertyID const& Field, std::string const& Text, TRecord Record = std::nullopt) {
    m_Texts[{&Field, Record}] = Text;
  }
  /// What is set of the field, in that record or in none, is told; the secret one is not.
  bool Applies(TCPropertyID const& Field, TRecord Record = std::nullopt) const {
    return TCFieldDependencies(m_Declared)
        .Applies(Field, Record, [this](TCPropertyID const& Governing, TRecord Place) {
          auto Found = m_Texts.find({&Governing, Place});
          if (Found == m_Texts.end()) {
            Found = m_Texts.find({&Governing, std::nullopt});
          }
          std::string const Text = Found != m_Texts.end() ? Found->second : "";
          return &Governing == m_Secret ? std::nullopt : std::optional(Text);
        });
  }

  TCPropertyID& m_Switch = AddField("Switch", 11, 1, kBoolean);
  TCPropertyID& m_Other = AddField("Other", 12, 1, kBoolean);
  TCPropertyID& m_Number = AddField("Number", 13, 1, kInteger);
  TCPropertyID& m_Text = AddField("Text", 14, 1, kText);
  TCPropertyID& m_Mode = AddField("Mode", 15, 1, kInteger);
  TCPropertyChoice& m_Day = AddChoice("Day", "By day", 151, true, m_Mode, "day");
  TCPropertyChoice& m_Night = AddChoice("Night", "By night", 152, false, m_Mode, "night");
  TCPropertyID const* m_Secret = nullptr;
  std::vector<TSDeclaredDependency> m_Declared;
  std::map<std::pair<TCPropertyID const*, TRecord>, std::string> m_Texts;
};

TEST_F(FieldDependencies, LetAFieldApplyThatNothingGoverns) {
  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, ShowAFieldWhileItsSwitchIsOn) {
  Declare(m_Switch, m_Text);

  EXPECT_FALSE(Applies(m_Text));
  Set(m_Switch, "0");
  EXPECT_FALSE(Applies(m_Text));
  Set(m_Switch, "1");
  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, TurnRoundWithTheMode0) {
  Declare(m_Switch, m_Text, 0);

  EXPECT_TRUE(Applies(m_Text));
  Set(m_Switch, "1");
  EXPECT_FALSE(Applies(m_Text));
}

TEST_F(FieldDependencies, TakeATruthValueForTheSwitchsWhereTheOtherHasNone) {
  Declare(m_Switch, m_Number, 1, "false");
  Declare(m_Switch, m_Text, 0, "true");

  Set(m_Switch, "1");
  EXPECT_FALSE(Applies(m_Number));
  EXPECT_FALSE(Applies(m_Text));
  Set(m_Switch, "0");
  EXPECT_TRUE(Applies(m_Number));
  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, HideNothingByAValueThatIsProposed) {
  Declare(m_Day, m_Number, 1, "25");
  Declare(m_Switch, m_Other, 1, "true");
  Declare(m_Switch, m_Text, 1, "x");

  Set(m_Mode, "152");
  EXPECT_TRUE(Applies(m_Number));
  EXPECT_TRUE(Applies(m_Other));
  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, HideNothingByWhatLimitsChoices) {
  Declare(m_Switch, m_Day);

  EXPECT_TRUE(Applies(m_Mode));
}

TEST_F(FieldDependencies, TakeChoicesOfOneFieldAsAlternatives) {
  Declare(m_Day, m_Text);
  Declare(m_Night, m_Text);

  Set(m_Mode, "152");
  EXPECT_TRUE(Applies(m_Text));
  Set(m_Mode, "153");
  EXPECT_FALSE(Applies(m_Text));
}

TEST_F(FieldDependencies, ShowAFieldWhileAChoiceIsNotTaken) {
  Declare(m_Day, m_Text, 0);

  Set(m_Mode, "151");
  EXPECT_FALSE(Applies(m_Text));
  Set(m_Mode, "152");
  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, HaveDifferentFieldsAgreeAll) {
  Declare(m_Switch, m_Text);
  Declare(m_Other, m_Text);

  Set(m_Switch, "1");
  EXPECT_FALSE(Applies(m_Text));
  Set(m_Other, "1");
  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, HideWhatIsGovernedByAHiddenField) {
  Declare(m_Switch, m_Other);
  Declare(m_Other, m_Text);

  Set(m_Other, "1");
  EXPECT_FALSE(Applies(m_Text));
  Set(m_Switch, "1");
  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, GoByValuesAloneWhereFieldsGovernEachOther) {
  Declare(m_Switch, m_Other);
  Declare(m_Other, m_Switch);

  Set(m_Switch, "1");
  EXPECT_FALSE(Applies(m_Switch));
  EXPECT_TRUE(Applies(m_Other));
  Set(m_Other, "1");
  EXPECT_TRUE(Applies(m_Switch));
}

TEST_F(FieldDependencies, CountWhatIsNotToldAsThere) {
  Declare(m_Switch, m_Text);
  m_Secret = &m_Switch;

  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, GoByTextsThatAreNotEmptyAndNumbersOtherThanZero) {
  Declare(m_Text, m_Switch);
  Declare(m_Number, m_Other);

  Set(m_Text, "0");
  EXPECT_TRUE(Applies(m_Switch));
  Set(m_Text, "");
  EXPECT_FALSE(Applies(m_Switch));
  Set(m_Number, "-1");
  EXPECT_TRUE(Applies(m_Other));
  Set(m_Number, "0");
  EXPECT_FALSE(Applies(m_Other));
}

TEST_F(FieldDependencies, AskForTheValuesOfTheRecord) {
  Declare(m_Switch, m_Text);
  Set(m_Switch, "0");
  Set(m_Switch, "1", 7);

  EXPECT_TRUE(Applies(m_Text, 7));
  EXPECT_FALSE(Applies(m_Text, 8));
}

TEST_F(FieldDependencies, PassOverWhatIsNeitherFieldNorChoice) {
  TCPropertyContainer& Plant = AddContainer("Plant", 1);
  Declare(Plant, m_Text);
  Declare(m_Switch, Plant);

  EXPECT_TRUE(Applies(m_Text));
}

TEST_F(FieldDependencies, KnowWhatTheyReachThroughOthers) {
  Declare(m_Day, m_Switch);
  Declare(m_Switch, m_Other);
  Declare(m_Number, m_Other);
  Declare(m_Other, m_Switch);
  TCFieldDependencies const Dependencies(m_Declared);

  EXPECT_EQ(Dependencies.GovernedBy({&m_Mode}),
            (TCFieldDependencies::TCFields{&m_Switch, &m_Other}));
  EXPECT_EQ(Dependencies.GovernedBy({&m_Text}), TCFieldDependencies::TCFields());
  EXPECT_EQ(Dependencies.Governing({&m_Other}),
            (TCFieldDependencies::TCFields{&m_Switch, &m_Mode, &m_Number, &m_Other}));
}

}  // namespace
