// SPDX-License-Identifier: MIT
// property dump, load and diff: what is written, what is refused, and all or nothing.
#include <gmock/gmock.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

struct ToolDump : TToolFixture {
  std::unique_ptr<TProcess> m_Server = StartFilledServer();

  void WriteDump(std::string const& Entries) const {
    WriteFile("dump.json", "{\"format\": \"property-dump\", \"version\": 1,\n\"values\": [\n" +
                               Entries + "]}\n");
  }
  TRun Load(std::vector<std::string> Options = {}) const {
    Options.insert(Options.begin(), {"load", File("dump.json")});
    return Tool(Options);
  }
  std::string Stored(std::string const& Name) const {
    return Tool({"get", Name, "--stored"}).m_Output;
  }
  std::string Problem(std::string const& Line) const {
    return "property: " + File("dump.json") + ":" + Line + "\n";
  }
  std::string Unusable(int Count) const {
    return "property: " + File("dump.json") + " has " + std::to_string(Count) +
           " entries that cannot be used; nothing is changed\n";
  }
};

TEST_F(ToolDump, WritesAnEntryALine) {
  EXPECT_EQ(Tool({"dump"}).m_Output,
            R"({"format":"property-dump","version":1,"values":[
{"number":111,"path":"Device/Display/Brightness","record":null,"device":"02:00:00:00:00:01","value":"60"},
{"number":111,"path":"Device/Display/Brightness","record":null,"device":"02:00:00:00:00:02","value":"10"},
{"number":112,"path":"Device/Display/Mode","record":null,"device":"02:00:00:00:00:01","value":"1122"},
{"number":212,"path":"Policy/Access/Motto","record":null,"device":null,"secret":true},
{"number":311,"path":"User/UserSettings/UserName","record":7,"device":null,"value":"Anna"}
]}
)");
}

TEST_F(ToolDump, HasTheTextsOfSecretsOnlyWhenAsked) {
  EXPECT_THAT(Tool({"dump", "--show-secrets"}).m_Output, HasSubstr("\"value\":\"kept\""));
}

TEST_F(ToolDump, HasTheValuesOfOneDevice) {
  json const Dump = json::parse(Tool({"dump", "--mac", kOtherDevice}).m_Output);
  EXPECT_EQ(Dump.at("values").size(), 1U);
}

TEST_F(ToolDump, LoadsWhatWasDumpedAgain) {
  EXPECT_EQ(Tool({"set", "Name", "-"}, "a\xff\n\"b\\").m_Exit, 0);
  std::string const Dump = Tool({"dump"}).m_Output;
  EXPECT_EQ(Tool({"reset", "Brightness", "Mode", "Name", "UserName[7]"}).m_Exit, 0);
  EXPECT_EQ(Tool({"load", "-"}, Dump), (TRun{0, "", "property: 4 values changed\n"}));
  EXPECT_EQ(Tool({"dump"}).m_Output, Dump);
  EXPECT_EQ(Stored("Name"), "a\xff\n\"b\\\n");
}

TEST_F(ToolDump, SendsNothingThatTheDeviceHasAlready) {
  std::string const Dump = Tool({"dump"}).m_Output;
  std::string const Before = Tool({"status", "--plain"}).m_Output;
  EXPECT_EQ(Tool({"load", "-"}, Dump), (TRun{0, "", "property: 0 values changed\n"}));
  EXPECT_THAT(Before, HasSubstr("taken mails\t2\n"));
  EXPECT_THAT(Tool({"status", "--plain"}).m_Output, HasSubstr("taken mails\t2\n"));
}

TEST_F(ToolDump, ShowsWhatALoadWouldChange) {
  WriteDump(R"({"path": "Brightness", "device": "02:00:00:00:00:01", "value": "45"},
{"number": 113, "device": "02:00:00:00:00:01", "value": "North"},
{"number": 212, "secret": true}
)");
  EXPECT_EQ(Load({"--dry-run", "--replace"}),
            (TRun{0,
                  "~ Device/Display/Brightness: 60 -> 45\n"
                  "- Device/Display/Brightness @02:00:00:00:00:02: 10\n"
                  "- Device/Display/Mode: By night\n"
                  "+ Device/Display/Name: North\n"
                  "- User/UserSettings/UserName[7]: Anna\n",
                  ""}));
  EXPECT_EQ(Stored("Brightness"), "60\n");
}

TEST_F(ToolDump, GivesWhatADumpDoesNotHaveItsDefault) {
  WriteDump(R"({"number": 111, "device": "02:00:00:00:00:01", "value": "45"})");
  EXPECT_EQ(Load({"--replace"}).m_Exit, 0);
  EXPECT_EQ(Stored("Brightness"), "45\n");
  EXPECT_EQ(Stored("Mode"), "1121\n");
}

TEST_F(ToolDump, ListsEveryEntryThatCannotBeUsedAndChangesNothing) {
  WriteDump(R"({"number": 111, "device": "02:00:00:00:00:01", "value": "45"},
{"number": 112, "value": "dusk"},
{"number": 999, "value": "1"},
{"number": 113},
{"number": 113, "value": 7},
{"number": 113, "value": "a", "record": "x"},
{"number": 113, "value": "a", "device": "x"},
{"number": 113, "value": "a", "record": 4294967303},
{"value": "a"},
{"path": "Volume", "value": "a"},
{"number": 0, "value": "a"},
"text",
{"number": 100, "value": "a"},
{"number": 113, "value": ["a"]},
{"number": 211, "value": "1"},
{"number": 211, "value": "2"}
)");
  EXPECT_EQ(
      Load(),
      (TRun{1, "",
            Problem("4: Device/Display/Mode: 'dusk' is no choice; there are Day (1121), Night "
                    "(1122), Always (1123)") +
                Problem("5: no property has the number 999") +
                Problem("6: Device/Display/Name: value is no text") +
                Problem("7: Device/Display/Name: value is no text") +
                Problem("8: record is neither a number nor null") +
                Problem("9: device is neither a MAC address nor null") +
                Problem("10: record is neither a number nor null") +
                Problem("11: an entry without number and path") +
                Problem("12: no property 'Volume'") +
                Problem("13: number is no property's number") +
                Problem("14: an entry that is no object") +
                Problem("15: 100 is no property but the container Device") +
                Problem("16: Device/Display/Name: value is no text") +
                Problem("18: Policy/Access/PinLength has an entry already") + Unusable(14)}));
  EXPECT_EQ(Stored("Brightness"), "60\n");
}

TEST_F(ToolDump, SaysThatOneEntryCannotBeUsed) {
  WriteDump(R"({"number": 999, "value": "1"})");
  EXPECT_THAT(Load().m_Errors,
              HasSubstr(" has an entry that cannot be used; nothing is changed\n"));
}

TEST_F(ToolDump, RefusesWhatIsNoDump) {
  for (std::string const Text :
       {"{}", "[]", "7", R"({"format": "property-dump", "version": 4294967297, "values": []})",
        R"({"format": "other", "values": []})",
        R"({"format": "property-dump", "version": 2, "values": []})"}) {
    EXPECT_EQ(
        Tool({"load", "-"}, Text),
        (TRun{1, "",
              "property: standard input: no dump of version 1, as property dump writes it\n"}))
        << Text;
  }
}

TEST_F(ToolDump, SaysWhereTheJSONIsWrong) {
  TRun const Run = Tool({"load", "-"}, "{\"format\":\n\"property-dump\",\n");
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Errors,
              HasSubstr("property: standard input:3: no valid JSON: column 1: syntax error"));
}

TEST_F(ToolDump, RefusesJSONThatIsNestedVeryDeep) {
  TRun const Run = Tool({"load", "-"}, std::string(1000000, '['));
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_EQ(Run.m_Errors, "property: standard input:1: no valid JSON: it is nested too deep\n");
}

TEST_F(ToolDump, SpellsOutWhatATerminalWouldObeyInADump) {
  TRun const Run = Tool({"load", "-"}, R"({"format": "property-dump", "version": 1, "values": [
{"path": "\u001b[31m", "value": ""}]})");
  EXPECT_EQ(Run.m_Errors.find('\x1b'), std::string::npos) << Run;
  EXPECT_THAT(Run.m_Errors, HasSubstr("\\x1b[31m"));
}

TEST_F(ToolDump, ShowsNoDifferenceBetweenADumpAndTheDeviceItComesFrom) {
  EXPECT_EQ(Tool({"diff", "-"}, Tool({"dump"}).m_Output), (TRun{0, "", ""}));
}

TEST_F(ToolDump, ShowsWhatHasChangedSinceADump) {
  WriteFile("dump.json", Tool({"dump"}).m_Output);
  EXPECT_EQ(Tool({"set", "Brightness=61", "Name=North"}).m_Exit, 0);
  TRun const Run = Tool({"diff", File("dump.json"), "--plain"});
  EXPECT_EQ(Run, (TRun{1,
                       "~\tDevice/Display/Brightness\t60\t61\n"
                       "+\tDevice/Display/Name\t\tNorth\n",
                       ""}));
}

TEST_F(ToolDump, ComparesTwoDumpsWithoutAServer) {
  WriteDump(R"({"number": 111, "value": "1"}, {"number": 113, "value": "a"})");
  WriteFile(
      "other.json",
      R"({"format": "property-dump", "version": 1, "values": [{"number": 111, "value": "2"}]})");
  EXPECT_EQ(
      Tool({"diff", File("dump.json"), File("other.json"), "--address", "unix:path=/nowhere"}),
      (TRun{1,
            "~ Device/Display/Brightness: 1 -> 2\n"
            "- Device/Display/Name: a\n",
            ""}));
}

TEST_F(ToolDump, IsAnArrayOfDifferencesInJSON) {
  WriteFile("dump.json", Tool({"dump"}).m_Output);
  EXPECT_EQ(Tool({"set", "Brightness=61", "Motto=other"}).m_Exit, 0);
  EXPECT_EQ(json::parse(Tool({"diff", File("dump.json"), "--json"}).m_Output), json::parse(R"([
    {"number": 111, "path": "Device/Display/Brightness", "record": null,
     "device": "02:00:00:00:00:01", "secret": false, "former": "60", "value": "61"}])"));
}

// Entries of user names, each with its record in the text.
std::string Names(int Count) {
  std::string Entries;
  for (int Record = 1; Record <= Count; ++Record) {
    std::string const Number = std::to_string(Record);
    Entries += std::string(Record > 1 ? ",\n" : "") + R"({"number":311,"record":)" + Number +
               R"(,"value":"user )" + Number + "\"}";
  }
  return Entries;
}

TEST_F(ToolDump, LoadsAndDumpsAHundredThousandValues) {
  constexpr int kCount = 100000;
  WriteDump(Names(kCount));
  EXPECT_EQ(Load(), (TRun{0, "", "property: 100000 values changed\n"}));
  json const Values = json::parse(Tool({"dump", "--mac", "none"}).m_Output).at("values");
  ASSERT_EQ(Values.size(), kCount + 1U);  // and the motto
  EXPECT_EQ(Values.back().at("value"), "user 100000");
}

TEST_F(ToolDump, FinishesALoadOverTheSuddenEndOfTheServer) {
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  m_Server = StartServer({"--trace"});
  WriteDump(Names(1000));
  auto const Loading = StartTool({"load", File("dump.json")});
  while (m_Server->Hear().find("user 1000") == std::string::npos) {
  }
  EXPECT_EQ(m_Server->End(SIGKILL), -SIGKILL);
  m_Server = StartServer();
  EXPECT_EQ(Loading->End(), 0) << Loading->Errors();
  EXPECT_EQ(Stored("UserName[1]"), "user 1\n");
  EXPECT_EQ(Stored("UserName[1000]"), "user 1000\n");
}

}  // namespace
