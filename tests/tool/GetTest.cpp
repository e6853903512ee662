// SPDX-License-Identifier: MIT
// property get: names, defaults, records, devices, secrets, and what there is none of.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

struct ToolGet : TToolFixture {
  std::unique_ptr<TProcess> const m_Server = StartFilledServer();

  static TRun Printed(std::string const& Text) { return {0, Text + "\n", ""}; }
};

TEST_F(ToolGet, PrintsTheValueAlone) {
  EXPECT_EQ(Tool({"get", "Brightness"}), Printed("60"));
}

TEST_F(ToolGet, TakesAPathAnUniqueBeginningAndANumber) {
  EXPECT_EQ(Tool({"get", "Device/Display/Brightness"}), Printed("60"));
  EXPECT_EQ(Tool({"get", "Bri"}), Printed("60"));
  EXPECT_EQ(Tool({"get", "111"}), Printed("60"));
}

TEST_F(ToolGet, PrintsAChoiceAsPeopleReadIt) {
  EXPECT_EQ(Tool({"get", "Mode"}), Printed("By night"));
}

TEST_F(ToolGet, PrintsAChoiceAsItIsStored) {
  EXPECT_EQ(Tool({"get", "Mode", "--stored"}), Printed("1122"));
}

TEST_F(ToolGet, PrintsTheDefaultOfWhatIsNotStored) {
  EXPECT_EQ(Tool({"get", "PinLength"}), Printed("6"));
}

TEST_F(ToolGet, PrintsTheValueOfARecord) {
  EXPECT_EQ(Tool({"get", "UserName[7]"}), Printed("Anna"));
  EXPECT_EQ(Tool({"get", "UserName", "--link", "7"}), Printed("Anna"));
}

TEST_F(ToolGet, PrintsTheValueOfAnotherDevice) {
  EXPECT_EQ(Tool({"get", "Brightness", "--mac", kOtherDevice}), Printed("10"));
}

TEST_F(ToolGet, PutsTheNameBeforeEachOfSeveralValues) {
  EXPECT_EQ(Tool({"get", "Brightness", "UserName[7]"}),
            Printed("Device/Display/Brightness: 60\nUser/UserSettings/UserName[7]: Anna"));
}

TEST_F(ToolGet, SeparatesNameAndValueByATabWhenPlain) {
  EXPECT_EQ(Tool({"get", "Brightness", "--plain"}), Printed("Device/Display/Brightness\t60"));
}

TEST_F(ToolGet, IsAnArrayInJSON) {
  TRun const Run = Tool({"get", "Mode", "PinLength", "--json"});
  EXPECT_EQ(json::parse(Run.m_Output), json::parse(R"([
    {"number": 112, "path": "Device/Display/Mode", "record": null, "device": "02:00:00:00:00:01",
     "value": "1122", "text": "By night", "source": "server"},
    {"number": 211, "path": "Policy/Access/PinLength", "record": null, "device": null,
     "value": "6", "text": "6", "source": "default"}])"));
}

TEST_F(ToolGet, SuggestsANameForAMistypedOne) {
  EXPECT_EQ(Tool({"get", "Brighness"}),
            (TRun{1, "",
                  "property: no property 'Brighness'; did you mean Device/Display/Brightness?\n"}));
  for (std::string const Name : {"'Nonsens'", "'99999999999'", "''"}) {
    EXPECT_EQ(Tool({"get", Name.substr(1, Name.size() - 2)}),
              (TRun{1, "",
                    "property: no property " + Name +
                        "; property list --all shows those that there are\n"}));
  }
  EXPECT_EQ(Tool({"get", "4711"}),
            (TRun{1, "",
                  "property: no property has the number 4711; property list --all shows those that "
                  "there are\n"}));
}

TEST_F(ToolGet, SaysThatThereIsNoValue) {
  EXPECT_EQ(Tool({"get", "Host"}),
            (TRun{1, "",
                  "property: Device/Display/Host has no value, and no default is known; that of a "
                  "record is Device/Display/Host[RECORD]\n"}));
  EXPECT_EQ(
      Tool({"get", "Host[7]"}),
      (TRun{1, "", "property: Device/Display/Host[7] has no value, and no default is known\n"}));
}

TEST_F(ToolGet, ShowsASecretOnlyWhenAsked) {
  EXPECT_EQ(Tool({"get", "Motto"}),
            (TRun{1, "", "property: Policy/Access/Motto is secret; --show-secrets shows it\n"}));
  EXPECT_EQ(Tool({"get", "Motto", "--show-secrets"}), Printed("kept"));
}

TEST_F(ToolGet, PrintsNothingWhenOneOfSeveralIsUnknown) {
  TRun const Run = Tool({"get", "Brightness", "Volume"});
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_EQ(Run.m_Output, "");
}

TEST_F(ToolGet, RefusesADeviceThatIsNone) {
  TRun const Run = Tool({"get", "Brightness", "--mac", "02:00"});
  EXPECT_EQ(Run.m_Exit, 2);
  EXPECT_THAT(Run.m_Errors, HasSubstr("\"02:00\" is neither own nor none nor a MAC address"));
}

TEST_F(ToolGet, KnowsNumbersWithoutASchema) {
  m_Set["PROPERTY_SCHEMA"] = m_Folder;
  EXPECT_EQ(Tool({"get", "111"}), Printed("60"));
  EXPECT_EQ(Tool({"get", "311[7]"}), Printed("Anna"));
}

TEST_F(ToolGet, SaysWithoutASchemaHowToGetNames) {
  m_Set["PROPERTY_SCHEMA"] = m_Folder;
  EXPECT_EQ(Tool({"get", "Brightness"}),
            (TRun{1, "",
                  "property: no property 'Brightness': without a schema library properties have "
                  "numbers only; name files or folders with --schema or PROPERTY_SCHEMA\n"}));
}

TEST_F(ToolGet, NamesASchemaLibraryThatItLeavesOut) {
  WriteFile("bad.so", "no library");
  TRun const Run = Tool({"get", "111", "--schema", File("bad.so"), "--schema", Schema()});
  EXPECT_EQ(Run.m_Output, "60\n");
  EXPECT_THAT(Run.m_Errors,
              StartsWith("property: left out schema library " + File("bad.so") + ": "));
}

TEST_F(ToolGet, PrintsTheBytesOfAValueToAFile) {
  EXPECT_EQ(Tool({"set", "Name", "-"}, "a\x1b[31m\xff\n").m_Exit, 0);
  EXPECT_EQ(Tool({"get", "Name"}), Printed("a\x1b[31m\xff"));
}

TEST_F(ToolGet, GivesBytesThatAreNoCharactersInHexadecimalInJSON) {
  EXPECT_EQ(Tool({"set", "Name", "-"}, "a\xff").m_Exit, 0);
  auto const Object = json::parse(Tool({"get", "Name", "--json"}).m_Output).at(0);
  EXPECT_EQ(Object.at("value_hex"), "61ff");
  EXPECT_EQ(Object.count("value"), 0U);
}

}  // namespace
