// SPDX-License-Identifier: MIT
// What counts as another meaning of a number, and what comes of exports that are none.
#include "SchemaLibrary/SchemaComparison.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Utility/TCException.h"
#include "SchemaLibrary/SchemaExport.h"
#include "tests/unit/SchemaLibrary/TextSchema.h"

namespace {

using Property::TCBasicPropertyID;
using Property::TSSchemaFinding;
using TLines = std::vector<std::string>;

class SchemaComparisonTest : public ::testing::Test {
 protected:
  SchemaComparisonTest() {
    AddContainer("Device", 1);
    AddField("Brightness", 11, 1, kInteger);
    auto& Mode = AddField("Mode", 12, 1, kInteger);
    AddChoice("Day", "Day", 121, true, Mode, "day");
    TCBasicPropertyID::Initialize();
    m_Export = Property::ExportSchemaAsJSON();
  }

  /// Findings against the export with `What` replaced by `With`.
  TLines FindingsAfter(std::string const& What, std::string const& With) const {
    std::string Earlier = m_Export;
    std::size_t const Place = Earlier.find(What);
    EXPECT_NE(Place, std::string::npos);
    Earlier.replace(Place, What.size(), With);
    TLines Lines;
    for (TSSchemaFinding const& Finding : Property::CompareSchema(Earlier)) {
      Lines.push_back(std::to_string(Finding.Number) + " " + Finding.Path + ": " + Finding.Text);
    }
    return Lines;
  }

  static std::string Refusal(std::string const& Export) {
    try {
      Property::CompareSchema(Export);
    } catch (TCException const& Exception) {
      return Exception.get_Message();
    }
    return "nothing thrown";
  }

  std::string m_Export;
};

TEST_F(SchemaComparisonTest, FindsNothingInTheSameSchema) {
  EXPECT_EQ(FindingsAfter("Brightness", "Brightness"), TLines());
}

TEST_F(SchemaComparisonTest, FindsANumberWithAnotherName) {
  EXPECT_EQ(FindingsAfter("\"Brightness\": {", "\"Contrast\": {"),
            (TLines{"11 Device/Brightness: it was called Contrast, and is called Brightness"}));
}

TEST_F(SchemaComparisonTest, FindsANumberWithAnotherType) {
  EXPECT_EQ(FindingsAfter("\"type\": \"choice\"", "\"type\": \"boolean\""),
            (TLines{"12 Device/Mode: it was the boolean Mode, and is the choice Mode"}));
}

TEST_F(SchemaComparisonTest, FindsAChoiceWithAnotherValue) {
  EXPECT_EQ(FindingsAfter("\"value\": \"day\"", "\"value\": \"sun\\u001b\""),
            (TLines{"121 Day: its value was 'sun\\x1b', and is 'day'"}));
}

TEST_F(SchemaComparisonTest, FindsAFieldThatHasTheNumberOfAChoice) {
  EXPECT_EQ(FindingsAfter("\"number\": 121", "\"number\": 11"),
            (TLines{"11 Device/Brightness: it was the choice of 12 Day, and is the integer "
                    "Brightness"}));
}

TEST_F(SchemaComparisonTest, FindsNothingInNumbersThatAreGoneOrNew) {
  EXPECT_EQ(FindingsAfter("\"number\": 11,", "\"number\": 99,"), TLines());
}

TEST_F(SchemaComparisonTest, RefusesWhatIsNoExport) {
  EXPECT_EQ(Refusal(""), "this is no export of a schema: it is no JSON object");
  EXPECT_EQ(Refusal("{"), "this is no export of a schema: it is no JSON object");
  EXPECT_EQ(Refusal("[]"), "this is no export of a schema: it is no JSON object");
  EXPECT_EQ(Refusal("{}"), "this is no export of a schema: it has no properties");
  EXPECT_EQ(Refusal(R"({"properties": {"A": 1}})"),
            "this is no export of a schema: a property has no number");
  EXPECT_EQ(Refusal(R"({"properties": {"A": {"property": {"number": 99999999999}}}})"),
            "this is no export of a schema: a property has no number");
  EXPECT_EQ(Refusal(R"({"properties": {"A": {"property": 1}}})"),
            "this is no export of a schema: a property has no number");
}

TEST_F(SchemaComparisonTest, RefusesObjectsThatLieTooDeep) {
  std::string Export;
  for (int Depth = 0; Depth < 1000; ++Depth) {
    Export += R"({"property": {"number": 1}, "properties": {"A": )";
  }
  Export += R"({"property": {"number": 1}})" + std::string(2000, '}');
  EXPECT_EQ(Refusal(Export),
            "this is no export of a schema: its objects lie too deep in each other");
  EXPECT_EQ(Refusal(std::string(1000000, '[')),
            "this is no export of a schema: it is no JSON object");
}

}  // namespace
