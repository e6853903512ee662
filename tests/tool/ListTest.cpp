// SPDX-License-Identifier: MIT
// property list: tree, table, filters, and values that no schema knows.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

struct ToolList : TToolFixture {
  std::unique_ptr<TProcess> const m_Server = StartFilledServer();
};

TEST_F(ToolList, ShowsATreeWithValuesAndDefaults) {
  EXPECT_EQ(Tool({"list"}), (TRun{0,
                                  "Device\n"
                                  "  Display\n"
                                  "    Brightness = 60\n"
                                  "    Mode = By night\n"
                                  "    Name = Unit  (default)\n"
                                  "    Enabled = false  (default)\n"
                                  "    Host\n"
                                  "Policy\n"
                                  "  Access\n"
                                  "    PinLength = 6  (default)\n"
                                  "    Motto = (secret)\n"
                                  "    Hos\\x1b[31mtile\n"
                                  "User\n"
                                  "  UserSettings\n"
                                  "    UserName[7] = Anna\n",
                                  ""}));
}

TEST_F(ToolList, ShowsATable) {
  EXPECT_EQ(Tool({"list", "--table", "display"}).m_Output,
            "NUMBER  PROPERTY                   FROM     VALUE\n"
            "111     Device/Display/Brightness  server   60\n"
            "112     Device/Display/Mode        server   By night\n"
            "113     Device/Display/Name        default  Unit\n"
            "114     Device/Display/Enabled     default  false\n"
            "117     Device/Display/Host        none\n");
}

TEST_F(ToolList, ShowsWhatIsHiddenOrAdvancedOnlyWhenAsked) {
  EXPECT_THAT(Tool({"list"}).m_Output, Not(HasSubstr("ServicePin")));
  std::string const All = Tool({"list", "--all"}).m_Output;
  EXPECT_THAT(All, HasSubstr("    ServicePin\n"));
  EXPECT_THAT(All, HasSubstr("    Contrast = 50  (default)\n"));
}

TEST_F(ToolList, ShowsOnlyWhatIsStored) {
  EXPECT_EQ(Tool({"list", "--set", "--plain"}).m_Output,
            "111\tDevice/Display/Brightness\t60\tserver\n"
            "112\tDevice/Display/Mode\tBy night\tserver\n"
            "212\tPolicy/Access/Motto\t(secret)\tserver\n"
            "311\tUser/UserSettings/UserName[7]\tAnna\tserver\n");
}

TEST_F(ToolList, TakesAPatternForAWholePath) {
  EXPECT_EQ(Tool({"list", "*/name", "--plain"}).m_Output,
            "113\tDevice/Display/Name\tUnit\tdefault\n");
}

TEST_F(ToolList, SaysThatNothingFits) {
  EXPECT_EQ(
      Tool({"list", "Contrast"}),
      (TRun{0, "", "property: nothing fits; --all also looks at what is hidden or advanced\n"}));
  EXPECT_EQ(Tool({"list", "Nonsens", "--all", "--json"}),
            (TRun{0, "[]\n", "property: nothing fits; property list --all shows what there is\n"}));
}

TEST_F(ToolList, ShowsTheValuesOfAllDevices) {
  EXPECT_EQ(Tool({"list", "bright", "--mac", "all", "--plain"}).m_Output,
            "111\tDevice/Display/Brightness\t60\tserver\n"
            "111\tDevice/Display/Brightness @02:00:00:00:00:02\t10\tserver\n");
}

TEST_F(ToolList, ListsValuesThatNoSchemaKnowsByNumber) {
  EXPECT_EQ(Tool({"set", "900=odd", "--mac", "none", "--schema", m_Folder}).m_Exit, 0);
  EXPECT_THAT(Tool({"list"}).m_Output, HasSubstr("\n900 = odd\n"));
}

TEST_F(ToolList, IsAnArrayInJSON) {
  auto const Array = json::parse(Tool({"list", "--set", "policy", "mode", "--json"}).m_Output);
  EXPECT_EQ(Array, json::parse(R"([
    {"number": 112, "path": "Device/Display/Mode", "record": null, "device": "02:00:00:00:00:01",
     "value": "1122", "text": "By night", "secret": false, "source": "server",
     "visibility": "shown"},
    {"number": 212, "path": "Policy/Access/Motto", "record": null, "device": null,
     "value": null, "text": null, "secret": true, "source": "server", "visibility": "shown"}])"));
}

}  // namespace
