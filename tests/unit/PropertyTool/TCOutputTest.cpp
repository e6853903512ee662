// SPDX-License-Identifier: MIT
// Forms of output, and what becomes of texts that would harm a reader.
#include "PropertyTool/TCOutput.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "PropertyTool/TCToolFailure.h"
#include "tests/unit/PropertyTool/WrittenText.h"

namespace {

using Property::TCOutput;
using Property::TEForm;

TEST(TCOutput, GivesAProgramTheBytesOfAValue) {
  TWrittenText Written;
  TCOutput(Written.get_File(), TEForm::ePeople).Value("a\tb\x1b\xff");
  EXPECT_EQ(Written.get_Text(), "a\tb\x1b\xff\n");
}

TEST(TCOutput, SeparatesPlainColumnsByTabs) {
  TWrittenText Written;
  TCOutput Output(Written.get_File(), TEForm::ePlain);
  Output.Plain({"", "one", "two"});
  Output.Plain({"three", ""});
  EXPECT_EQ(Written.get_Text(), "\tone\ttwo\nthree\t\n");
}

TEST(TCOutput, SpellsOutWhatWouldEndAPlainColumn) {
  EXPECT_EQ(Property::PlainText("a\tb\nc\\t\x1b\xff"), "a\\tb\\nc\\\\t\\x1b\\xff");
}

TEST(TCOutput, WritesJSONOverSeveralLinesOrOnOne) {
  TWrittenText Written;
  TCOutput Output(Written.get_File(), TEForm::eJSON);
  Output.JSON({{"a", 1}});
  Output.JSON({{"a", 1}}, false);
  EXPECT_EQ(Written.get_Text(), "{\n  \"a\": 1\n}\n{\"a\":1}\n");
}

TEST(TCOutput, KeepsATextOfCharactersInJSON) {
  nlohmann::ordered_json Object;
  Property::SetText(Object, "value",
                    "K\xc3\xbc"
                    "che\n");
  EXPECT_EQ(Object.dump(),
            "{\"value\":\"K\xc3\xbc"
            "che\\n\"}");
}

TEST(TCOutput, GivesBytesThatAreNoCharactersInHexadecimal) {
  nlohmann::ordered_json Object;
  Property::SetText(Object, "value", "a\xff");
  EXPECT_EQ(Object.dump(), "{\"value_hex\":\"61ff\"}");
}

TEST(TCOutput, HasNoColoursInAFile) {
  TWrittenText Written;
  TCOutput const Output(Written.get_File(), TEForm::ePeople);
  EXPECT_EQ(Output.Styled("text", TCOutput::TEStyle::eAdded), "text");
}

TEST(TCOutput, TellsThatAFileTakesNothing) {
  std::FILE* const Full = std::fopen("/dev/full", "w");
  TCOutput Output(Full, TEForm::ePeople);
  Output.Line("text");
  EXPECT_THROW(Output.Flush(), Property::TCToolFailure);
  std::fclose(Full);
}

}  // namespace
