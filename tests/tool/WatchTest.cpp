// SPDX-License-Identifier: MIT
// property watch and wait: changes as they come, over ends of the server.
#include <gmock/gmock.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;

struct ToolWatch : TToolFixture {
  std::unique_ptr<TProcess> m_Server = StartFilledServer();

  std::unique_ptr<TProcess> Watch(std::vector<std::string> Arguments) const {
    Arguments.insert(Arguments.begin(), {"watch", "--json"});
    auto Process = StartTool(Arguments);
    EXPECT_EQ(Next(*Process), R"({"event":"watching"})"_json);
    return Process;
  }
  // Without the time, which only has to have its form.
  static json Next(TProcess& Process) {
    json Line = json::parse(Process.Hear());
    EXPECT_THAT(Line.at("time").get<std::string>(),
                MatchesRegex("20[0-9-]+T[0-9]+:[0-9]+:[0-9]+\\.[0-9]{6}Z"));
    Line.erase("time");
    return Line;
  }
  static std::string Value(json const& Line) { return Line.at("value").get<std::string>(); }
  void Set(std::string const& Assignment) const {
    TRun const Run = Tool({"set", Assignment});
    EXPECT_EQ(Run.m_Exit, 0) << Run;
  }
};

TEST_F(ToolWatch, TellsAChangeWithTheFormerValue) {
  auto const Watching = Watch({});
  Set("Brightness=61");
  EXPECT_EQ(Next(*Watching), json::parse(R"({"event": "change", "number": 111,
    "path": "Device/Display/Brightness", "record": null, "device": "02:00:00:00:00:01",
    "secret": false, "former": "60", "value": "61"})"));
}

TEST_F(ToolWatch, TellsOnlyOfWhatIsWatched) {
  auto const Watching = Watch({"Name", "UserName"});
  Set("Brightness=61");
  Set("UserName[9]=Eva");
  EXPECT_EQ(Value(Next(*Watching)), "Eva");
  Set("Name=North");
  EXPECT_EQ(Value(Next(*Watching)), "North");
}

TEST_F(ToolWatch, DoesNotShowTheTextOfASecret) {
  auto const Watching = Watch({"Motto"});
  Set("Motto=new");
  json const Line = Next(*Watching);
  EXPECT_EQ(Line.at("secret"), true);
  EXPECT_EQ(Line.at("former"), nullptr);
  EXPECT_EQ(Line.at("value"), nullptr);
}

TEST_F(ToolWatch, EndsAfterAsManyChangesAsItIsTold) {
  auto const Watching = Watch({"--count", "2"});
  Set("Brightness=61");
  Set("Brightness=62");
  EXPECT_EQ(Value(Next(*Watching)), "61");
  EXPECT_EQ(Value(Next(*Watching)), "62");
  EXPECT_EQ(Watching->End(), 0);
  EXPECT_EQ(Watching->Rest(), "");
}

TEST_F(ToolWatch, BeginsWithTheValuesThatThereAre) {
  auto const Watching = Watch({"Brightness", "--initial"});
  json const Line = Next(*Watching);
  EXPECT_EQ(Line.at("former"), nullptr);
  EXPECT_EQ(Value(Line), "60");
}

TEST_F(ToolWatch, SurvivesTheEndOfTheServerAndTellsWhatItHasMissed) {
  auto const Watching = Watch({});
  EXPECT_EQ(m_Server->End(SIGKILL), -SIGKILL);
  EXPECT_EQ(Next(*Watching), R"({"event":"lost"})"_json);
  Watching->Pause();
  m_Server = StartServer({"--config", File("server.toml")});
  Set("Brightness=63");
  Watching->Continue();
  EXPECT_EQ(Next(*Watching), R"({"event":"back"})"_json);
  EXPECT_EQ(Value(Next(*Watching)), "63");
  Set("Brightness=64");
  EXPECT_EQ(Value(Next(*Watching)), "64");
}

TEST_F(ToolWatch, TellsPeopleAboutTheServerOnTheStandardError) {
  auto const Watching = StartTool({"watch", "Brightness", "--count", "1", "--initial"});
  EXPECT_EQ(Watching->End(), 0);
  EXPECT_THAT(Watching->Rest(),
              MatchesRegex("20[^ ]+Z  Device/Display/Brightness: \\(none\\) -> 60\n"));
  EXPECT_EQ(Watching->Errors(), "property: watching; end with Ctrl-C\n");
}

TEST_F(ToolWatch, EndsWithItsOwnExitCodeWhenTheTimeIsOver) {
  EXPECT_EQ(Tool({"watch", "--timeout", "10ms"}),
            (TRun{4, "",
                  "property: watching; end with Ctrl-C\n"
                  "property: the time is over after 10ms\n"}));
}

TEST_F(ToolWatch, WaitsForAValueThatIsThereAlready) {
  EXPECT_EQ(Tool({"wait", "Brightness=60", "Mode=night", "PinLength=6"}), (TRun{0, "", ""}));
}

TEST_F(ToolWatch, WaitsForAValueThatComes) {
  auto const Before = Watch({});
  auto const Waiting = StartTool({"wait", "Brightness", "70"});
  Set("Brightness=69");
  Set("Brightness=70");
  EXPECT_EQ(Waiting->End(), 0);
}

TEST_F(ToolWatch, SaysWhatItHasWaitedForInVain) {
  EXPECT_EQ(Tool({"wait", "Brightness=70", "--timeout", "10ms"}),
            (TRun{4, "",
                  "property: the time is over after 10ms: Device/Display/Brightness has another "
                  "value; property get shows it\n"}));
  EXPECT_EQ(Tool({"wait", "Brightness=70", "Mode=night", "PinLength=7", "--timeout", "10ms"}),
            (TRun{4, "",
                  "property: the time is over after 10ms: Device/Display/Brightness, "
                  "Policy/Access/PinLength have other values; property get shows them\n"}));
}

TEST_F(ToolWatch, DoesNotWaitForAValueThatCanNotCome) {
  TRun const Run = Tool({"wait", "Mode=dusk"});
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Errors, HasSubstr("'dusk' is no choice"));
}

}  // namespace
