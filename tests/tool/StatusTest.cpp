// SPDX-License-Identifier: MIT
// property status, with a server, without one and with one that refuses.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

struct ToolStatus : TToolFixture {};

TEST_F(ToolStatus, ShowsTheFiguresInTwoColumns) {
  auto const Server = StartServer();
  TRun const Run = Tool({"status"});
  EXPECT_EQ(Run.m_Exit, 0) << Run;
  EXPECT_THAT(Run.m_Output, StartsWith("values         0\npeers          1\nepoch          "));
  EXPECT_THAT(Run.m_Output, HasSubstr("\ndatabase       " + File("values.db") + "\n"));
  EXPECT_EQ(Run.m_Errors, "");
}

TEST_F(ToolStatus, IsAnObjectOfTextsInJSON) {
  auto const Server = StartServer();
  auto const Object = nlohmann::json::parse(Tool({"status", "--json"}).m_Output);
  EXPECT_EQ(Object.at("values"), "0");
  EXPECT_EQ(Object.at("refused_mails"), "0");
  EXPECT_EQ(Object.at("durability"), "full");
  EXPECT_EQ(Object.at("database"), File("values.db"));
}

TEST_F(ToolStatus, SeparatesItsColumnsByTabsWhenPlain) {
  auto const Server = StartServer();
  EXPECT_THAT(Tool({"--plain", "status"}).m_Output, StartsWith("values\t0\npeers\t1\nepoch\t"));
}

TEST_F(ToolStatus, SaysThatThereIsNoServer) {
  EXPECT_EQ(Tool({"status"}),
            (TRun{3, "",
                  "property: no property server at " + Address() +
                      " (No such file or directory); start it or give its address with "
                      "--address\n"}));
}

TEST_F(ToolStatus, SpellsOutWhatATerminalWouldObeyInAnAddress) {
  TRun const Run = Tool({"status", "--address", "unix:path=/no\x1b[31m"});
  EXPECT_EQ(Run.m_Exit, 3) << Run;
  EXPECT_THAT(Run.m_Errors, StartsWith("property: no property server at unix:path=/no\\x1b[31m ("));
}

}  // namespace
