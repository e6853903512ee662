// SPDX-License-Identifier: MIT
// The whole texts of small exports, and what hostile schemas do to them.
#include "SchemaLibrary/SchemaExport.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "CommonProperties/TCPropertyDBLookup.h"
#include "tests/unit/SchemaLibrary/TextSchema.h"

namespace {

using Property::TCBasicPropertyID;
using Property::TCPropertyDBLookup;
using Property::TCPropertyID;
using TJSON = nlohmann::json;

class SchemaExportTest : public ::testing::Test {
 protected:
  SchemaExportTest() {
    auto const& Device = AddContainer("Device", 1);
    AddGroup("Display", 10, Device);
  }

  static TCPropertyID& Add(std::string const& Name, int Number, int Flags,
                           std::string const& Default) {
    return *new TCPropertyID(Name, Number, "About " + Name, Accessories::TCNullTypes<int>(10),
                             Flags, Default);
  }
  static TJSON Exported() {
    TCBasicPropertyID::Initialize();
    return TJSON::parse(Property::ExportSchemaAsJSON());
  }
  static TJSON Field(std::string const& Name) {
    return Exported()["properties"]["Device"]["properties"]["Display"]["properties"][Name];
  }
};

TEST_F(SchemaExportTest, NestsObjectsAsPathsAreMade) {
  EXPECT_EQ(Exported(), TJSON::parse(R"({
    "$schema": "https://json-schema.org/draft/2020-12/schema",
    "title": "Properties",
    "type": "object",
    "properties": {
      "Device": {
        "title": "Device",
        "type": "object",
        "property": {"number": 1, "type": "container", "hidden": false, "order": 0, "class": 1},
        "properties": {
          "Display": {
            "title": "Display",
            "type": "object",
            "property": {"number": 10, "type": "group", "hidden": false, "order": 0, "class": 1}
          }
        }
      }
    }
  })"));
}

TEST_F(SchemaExportTest, DescribesAnInteger) {
  Add("Brightness", 11, kInteger, "80");
  EXPECT_EQ(Field("Brightness"), TJSON::parse(R"({
    "title": "About Brightness", "type": "integer", "default": 80,
    "minimum": 0, "maximum": 2147483647,
    "property": {"number": 11, "type": "integer", "level": 1, "order": 0, "class": 1,
                 "pattern": "^([0-9]\\d*)$"}
  })"));
}

TEST_F(SchemaExportTest, GivesAnIntegerOfAnotherPatternAllNumbers) {
  Add("Offset", 11, kInteger, "-5").set_Regex("-?[0-9]+");
  TJSON const Offset = Field("Offset");
  EXPECT_EQ(Offset["minimum"], -2147483648LL);
  EXPECT_EQ(Offset["default"], -5);
}

TEST_F(SchemaExportTest, DescribesAChoice) {
  TCPropertyID& Mode = Add("Mode", 12, kInteger | 0x04, "");
  AddChoice("Day", "By day", 121, false, Mode, "day");
  AddChoice("Night", "By night", 122, true, Mode, "night").SetShow(false);
  EXPECT_EQ(Field("Mode"), TJSON::parse(R"({
    "title": "About Mode", "enum": ["day", "night"], "default": "night",
    "property": {"number": 12, "type": "choice", "level": 2, "order": 0, "class": 1,
      "pattern": "^([0-9]\\d*)$",
      "choices": [
        {"number": 121, "name": "Day", "description": "By day", "value": "day", "hidden": false},
        {"number": 122, "name": "Night", "description": "By night", "value": "night",
         "hidden": true}]}
  })"));
}

TEST_F(SchemaExportTest, DescribesABoolean) {
  Add("Lamp", 13, kBoolean | 0x01, "0");
  EXPECT_EQ(Field("Lamp"), TJSON::parse(R"({
    "title": "About Lamp", "type": "boolean", "default": false,
    "property": {"number": 13, "type": "boolean", "level": 0, "order": 0, "class": 1}
  })"));
}

TEST_F(SchemaExportTest, DescribesATextWithAPatternForAllOfIt) {
  Add("Plain", 14, kText, "x").set_Regex("a|b");
  Add("Bound", 15, kText, "").set_Regex("^[a-z]*$");
  EXPECT_EQ(Field("Plain"), TJSON::parse(R"({
    "title": "About Plain", "type": "string", "default": "x", "pattern": "^(?:a|b)$",
    "property": {"number": 14, "type": "string", "level": 1, "order": 0, "class": 1,
                 "pattern": "a|b"}
  })"));
  EXPECT_EQ(Field("Bound")["pattern"], "^[a-z]*$");
}

TEST_F(SchemaExportTest, DescribesALookup) {
  new TCPropertyDBLookup("Zone", 16, "Time zone", Accessories::TCNullTypes<int>(10), kText, 7,
                         "name", true);
  EXPECT_EQ(Field("Zone"), TJSON::parse(R"({
    "title": "Time zone", "type": "string", "default": "",
    "property": {"number": 16, "type": "lookup", "level": 1, "order": 0, "class": 1,
                 "lookup": {"number": 7, "text": "name", "flag": true}}
  })"));
}

TEST_F(SchemaExportTest, TellsFieldsOfOneNameApartByTheirNumbers) {
  Add("Twice", 17, kText, "");
  Add("Twice", 18, kText, "");
  EXPECT_EQ(Field("Twice")["property"]["number"], 17);
  EXPECT_EQ(Field("Twice(18)")["property"]["number"], 18);
}

TEST_F(SchemaExportTest, ReplacesBytesThatAreNoCharacters) {
  Add("Bad\xff", 19, kText, "");
  EXPECT_EQ(Field("Bad\xef\xbf\xbd")["property"]["number"], 19);
}

TEST_F(SchemaExportTest, MakesATableOfTheFields) {
  Add("Brightness", 11, kInteger, "80");
  TCPropertyID& Mode = Add("Mode", 112, kInteger | 0x04, "");
  AddChoice("Day", "By day", 121, false, Mode, "day");
  AddChoice("Night", "By night", 122, true, Mode, "night");
  Add("M\xc3\xbcll\x1b[2J", 13, kText | 0x01, "");
  TCBasicPropertyID::Initialize();
  EXPECT_EQ(
      Property::ExportSchemaAsTable(),
      "NUMBER  PATH                        TYPE     DEFAULT  LEVEL     VALUES              "
      "DESCRIPTION\n"
      "11      Device/Display/Brightness   integer  80       normal    ^([0-9]\\d*)$        "
      "About Brightness\n"
      "112     Device/Display/Mode         choice   night    advanced  day=121, night=122  "
      "About Mode\n"
      "13      Device/Display/M\xc3\xbcll\\x1b[2J  string            hidden                        "
      "About M\xc3\xbcll\\x1b[2J\n");
}

}  // namespace
