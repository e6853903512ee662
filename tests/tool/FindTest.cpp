// SPDX-License-Identifier: MIT
// Commands that have the server find what is meant, or take its word on schema libraries.
#include <gmock/gmock.h>

#include <filesystem>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

// The server knows the schema, and the command finds no library of its own.
struct ToolFind : TToolFixture {
  ToolFind() { m_Set["PROPERTY_SCHEMA"] = ""; }

  static TRun Printed(std::string const& Text) { return {0, Text + "\n", ""}; }
  std::ptrdiff_t Descriptors() const {
    fs::directory_iterator const Files("/proc/" + std::to_string(m_Server->get_Process()) + "/fd");
    return std::distance(begin(Files), end(Files));
  }

  std::unique_ptr<TProcess> m_Server = StartServerWithSchema();

 private:
  // It is filled by a command that knows the schema itself.
  std::unique_ptr<TProcess> StartServerWithSchema() {
    m_Set.erase("PROPERTY_SCHEMA");
    auto Server = StartFilledServer({"--schema", Schema()});
    m_Set["PROPERTY_SCHEMA"] = "";
    return Server;
  }
};

TEST_F(ToolFind, GetsValuesByTheServersNames) {
  EXPECT_EQ(Tool({"get", "Brightness"}), Printed("60"));
  EXPECT_EQ(Tool({"get", "Dev/Dis/Bri"}), Printed("60"));
  EXPECT_EQ(Tool({"get", "111"}), Printed("60"));
  EXPECT_EQ(Tool({"get", "Mode"}), Printed("By night"));
  EXPECT_EQ(Tool({"get", "Mode", "--stored"}), Printed("1122"));
  EXPECT_EQ(Tool({"get", "PinLength"}), Printed("6"));
}

TEST_F(ToolFind, GetsValuesOfRecordsAndOtherDevices) {
  EXPECT_EQ(Tool({"get", "UserName[7]"}), Printed("Anna"));
  EXPECT_EQ(Tool({"get", "UserName", "--link", "7"}), Printed("Anna"));
  EXPECT_EQ(Tool({"get", "Brightness", "--mac", kOtherDevice}), Printed("10"));
}

TEST_F(ToolFind, NamesWhatTheServerHasFound) {
  EXPECT_EQ(Tool({"get", "Bri", "UserName[7]"}),
            Printed("Device/Display/Brightness: 60\nUser/UserSettings/UserName[7]: Anna"));
  EXPECT_EQ(json::parse(Tool({"get", "Mode", "PinLength", "--json"}).m_Output), json::parse(R"([
    {"number": 112, "path": "Device/Display/Mode", "record": null, "device": "02:00:00:00:00:01",
     "value": "1122", "text": "By night", "source": "server"},
    {"number": 211, "path": "Policy/Access/PinLength", "record": null, "device": null,
     "value": "6", "text": "6", "source": "default"}])"));
}

TEST_F(ToolFind, SaysWhatTheServerSaysOfANameThatMeansNothing) {
  EXPECT_EQ(Tool({"get", "Brightness", "Brighness"}),
            (TRun{1, "",
                  "property: no property 'Brighness'; did you mean Device/Display/Brightness?\n"}));
  EXPECT_EQ(Tool({"get", "Ho"}), (TRun{1, "",
                                       "property: 'Ho' is ambiguous: Device/Display/Host, "
                                       "Policy/Access/Hos\\x1b[31mtile\n"}));
  EXPECT_EQ(Tool({"get", "a\x1b[31m\xff"}),
            (TRun{1, "", "property: no property 'a\\x1b[31m\\xff'\n"}));
}

TEST_F(ToolFind, ShowsASecretOnlyWhenAsked) {
  EXPECT_EQ(Tool({"get", "Motto"}),
            (TRun{1, "", "property: Policy/Access/Motto is secret; --show-secrets shows it\n"}));
  EXPECT_EQ(Tool({"get", "Motto", "--show-secrets"}), Printed("kept"));
}

TEST_F(ToolFind, SaysThatThereIsNoValue) {
  EXPECT_EQ(Tool({"get", "Host"}),
            (TRun{1, "",
                  "property: Device/Display/Host has no value, and no default is known; that of a "
                  "record is Device/Display/Host[RECORD]\n"}));
  EXPECT_EQ(
      Tool({"get", "Host[7]"}),
      (TRun{1, "", "property: Device/Display/Host[7] has no value, and no default is known\n"}));
}

TEST_F(ToolFind, FindsMoreThanOneQuestionHolds) {
  std::vector<std::string> Command = {"get"};
  std::string Lines;
  for (int Count = 0; Count < 101; ++Count) {
    Command.emplace_back("Brightness");
    Lines += "Device/Display/Brightness: 60\n";
  }
  EXPECT_EQ(Tool(Command), (TRun{0, Lines, ""}));
}

TEST_F(ToolFind, ResetsByTheServersNames) {
  EXPECT_EQ(Tool({"reset", "Bri", "PinLength", "UserName[7]"}), (TRun{0, "", ""}));
  EXPECT_EQ(Tool({"get", "Brightness", "--json"}).m_Exit, 0);
  EXPECT_EQ(Tool({"get", "Brightness"}), Printed("80"));
  EXPECT_EQ(Tool({"get", "Brightness", "--mac", kOtherDevice}), Printed("10"));
  EXPECT_EQ(Tool({"get", "UserName[7]"}).m_Exit, 1);
}

TEST_F(ToolFind, GoesByTheLibrariesThatTheUserNames) {
  m_Set["PROPERTY_SCHEMA"] = m_Folder;
  EXPECT_THAT(Tool({"get", "Brightness"}).m_Errors,
              HasSubstr("without a schema library properties have numbers only"));
  EXPECT_EQ(Tool({"get", "Brightness", "--schema", Schema()}), Printed("60"));
}

TEST_F(ToolFind, LeavesNothingAtTheServer) {
  EXPECT_EQ(Tool({"get", "Brightness"}), Printed("60"));
  std::ptrdiff_t const Before = Descriptors();
  for (int Count = 0; Count < 100; ++Count) {
    ASSERT_EQ(Tool({"get", Count % 2 == 0 ? "Brightness" : "UserName[7]"}),
              Printed(Count % 2 == 0 ? "60" : "Anna"));
  }
  EXPECT_THAT(Tool({"status", "--plain"}).m_Output, HasSubstr("\npeers\t1\n"));
  for (int Count = 0; Count < 100 && Descriptors() > Before; ++Count) {
    Tool({"status"});  // one round trip more for the server to see the end of the one before
  }
  EXPECT_LE(Descriptors(), Before);
}

// A copy of the command has no trial program beside it, so it can try no library.
struct ToolVerdicts : TToolFixture {
  std::string Names(std::vector<std::string> const& Options = {}) const {
    fs::create_directory(File("bin"));
    fs::copy_file(TOOL_PROGRAM, File("bin/property"), fs::copy_options::skip_existing);
    std::string Line = File("bin/property") + " list --plain";
    for (std::string const& Option : Options) {
      Line += " " + Option;
    }
    TRun const Run = Shell(Line);
    return Run.m_Output + Run.m_Errors;
  }
};

TEST_F(ToolVerdicts, AreTheServersForTheLibrariesThatItHas) {
  auto const Server = StartServer({"--schema", Schema()});
  EXPECT_THAT(Names(), HasSubstr("111\tDevice/Display/Brightness\t80\tdefault\n"));
}

TEST_F(ToolVerdicts, AreTheCommandsOwnForOtherLibraries) {
  auto const Server = StartServer();
  EXPECT_THAT(Names(), StartsWith("property: left out schema library " + Schema() + ": "));
}

}  // namespace
