// SPDX-License-Identifier: MIT
// property describe and schema: what libraries say, without a server.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

struct ToolDescribe : TToolFixture {};

TEST_F(ToolDescribe, ShowsTypeChoicesAndDefault) {
  EXPECT_EQ(Tool({"describe", "Mode"}),
            (TRun{0,
                  "path         Device/Display/Mode\n"
                  "number       112\n"
                  "description  When the display is on\n"
                  "type         choice\n"
                  "choice       Day (1121), value day: By day\n"
                  "choice       Night (1122), value night: By night\n"
                  "choice       Always (1123), value always: Day and night\n"
                  "default      By day\n"
                  "visibility   shown\n"
                  "class        1\n"
                  "values       one for each device\n"
                  "table        4001\n",
                  ""}));
}

TEST_F(ToolDescribe, ShowsWhatAPropertyGovernsAndIsGovernedBy) {
  EXPECT_THAT(Tool({"describe", "Enabled"}).m_Output,
              HasSubstr("governs      Device/Display/Brightness\n"));
  EXPECT_THAT(Tool({"describe", "Brightness"}).m_Output,
              HasSubstr("governed by  Device/Display/Enabled\n"));
}

TEST_F(ToolDescribe, SaysWhyAPropertyIsHidden) {
  EXPECT_THAT(Tool({"describe", "ServicePin"}).m_Output,
              HasSubstr("visibility   hidden: it is hidden itself\n"));
}

TEST_F(ToolDescribe, IsAnArrayInJSON) {
  json const Fields = json::parse(Tool({"describe", "Host", "PinLength", "--json"}).m_Output);
  EXPECT_EQ(Fields.at(0), json::parse(R"({"number": 117, "path": "Device/Display/Host",
    "description": "Host that it shows", "type": "string", "choices": [], "default": null,
    "pattern": "^[a-z]+$", "visibility": "shown", "class": 1, "table": 4001, "scope": "device",
    "governs": [], "governed_by": []})"));
  EXPECT_EQ(Fields.at(1).at("default"), "6");
  EXPECT_EQ(Fields.at(1).at("scope"), "system");
}

TEST_F(ToolDescribe, NeedsASchemaLibrary) {
  m_Set["PROPERTY_SCHEMA"] = m_Folder;
  EXPECT_EQ(Tool({"describe", "Mode"}),
            (TRun{1, "",
                  "property: no schema library is loaded; name files or folders with --schema or "
                  "PROPERTY_SCHEMA\n"}));
}

TEST_F(ToolDescribe, FindsMistakesInASchema) {
  TRun const Run = Tool({"schema", "check", "--json"});
  json const Findings = json::parse(Run.m_Output);
  ASSERT_EQ(Run.m_Exit, Findings.empty() ? 0 : 1) << Run;
  EXPECT_THAT(Run.m_Output, HasSubstr("\"number\": 213,"));  // its name cannot be typed
}

TEST_F(ToolDescribe, ComparesASchemaWithAnEarlierExport) {
  TRun const Export = Tool({"schema", "export"});
  EXPECT_EQ(Export.m_Exit, 0);
  WriteFile("earlier.json", Export.m_Output);
  std::string const Without = Tool({"schema", "check"}).m_Output;
  EXPECT_EQ(Tool({"schema", "check", "--against", File("earlier.json")}).m_Output, Without);
  std::string Other = Export.m_Output;
  Other.replace(Other.find("\"Brightness\""), 12, "\"Brilliance\"");
  WriteFile("other.json", Other);
  TRun const Run = Tool({"schema", "check", "--against", File("other.json"), "--plain"});
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Output, HasSubstr("111\tDevice/Display/Brightness\t"));
}

TEST_F(ToolDescribe, SaysThatAnExportCannotBeRead) {
  EXPECT_EQ(Tool({"schema", "check", "--against", File("none.json")}),
            (TRun{1, "",
                  "property: cannot read " + File("none.json") + ": No such file or directory\n"}));
}

TEST_F(ToolDescribe, SaysThatAFileIsNoExport) {
  WriteFile("other.json", "[]");
  EXPECT_EQ(Tool({"schema", "check", "--against", File("other.json")}),
            (TRun{1, "",
                  "property: " + File("other.json") +
                      ": this is no export of a schema: it is no JSON object; property schema "
                      "export writes one\n"}));
}

TEST_F(ToolDescribe, ExportsATable) {
  EXPECT_THAT(Tool({"schema", "export", "--table"}).m_Output,
              HasSubstr("Device/Display/Brightness"));
}

TEST_F(ToolDescribe, IsNotContentWithALibraryThatCannotBeUsed) {
  WriteFile("bad.so", "no library");
  TRun const Run =
      Tool({"schema", "check", "--schema", Schema(), "--schema", File("bad.so"), "--json"});
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Errors, HasSubstr("left out schema library " + File("bad.so")));
}

}  // namespace
