// SPDX-License-Identifier: MIT
// property undo and confirm: changes that are taken back, by people and by the server itself.
#include <gmock/gmock.h>

#include <csignal>
#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;

struct ToolUndo : TToolFixture {
  std::unique_ptr<TProcess> m_Server = StartFilledServer();

  // The number of the transaction.
  std::string Set(std::vector<std::string> Arguments) const {
    Arguments.insert(Arguments.begin(), {"set", "--json"});
    TRun const Run = Tool(Arguments);
    EXPECT_EQ(Run.m_Exit, 0) << Run;
    return std::to_string(json::parse(Run.m_Output).at("transaction").get<long long>());
  }
  std::string Stored(std::string const& Name) const {
    return Tool({"get", Name, "--stored"}).m_Output;
  }
  void Restart() {
    EXPECT_EQ(m_Server->End(SIGKILL), -SIGKILL);
    m_Server = StartServer({"--config", File("server.toml")});
  }
  void WaitFor(std::string const& Assignment) const {
    TRun const Run = Tool({"wait", Assignment, "--timeout", "60s"});
    EXPECT_EQ(Run.m_Exit, 0) << Run;
  }
};

TEST_F(ToolUndo, RestoresWhatATransactionHasChanged) {
  std::string const Transaction = Set({"Brightness=1", "Name=North"});
  EXPECT_EQ(Tool({"undo", Transaction}).m_Exit, 0);
  EXPECT_EQ(Stored("Brightness"), "60\n");
  EXPECT_EQ(Stored("Name"), "Unit\n");
  json const Entry = json::parse(Tool({"history", "Brightness", "--json"}).m_Output).at(0);
  EXPECT_EQ(std::to_string(Entry.at("undoes").get<long long>()), Transaction);
}

TEST_F(ToolUndo, IsRefusedWithTheListWhenSomethingHasChangedSince) {
  std::string const Transaction = Set({"Brightness=1", "Name=North"});
  Set({"Brightness=2"});
  TRun const Run = Tool({"undo", Transaction});
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Errors, HasSubstr("111"));
  EXPECT_EQ(Stored("Name"), "North\n");
}

TEST_F(ToolUndo, RestoresAllTheSameWhenForced) {
  std::string const Transaction = Set({"Brightness=1"});
  Set({"Brightness=2"});
  EXPECT_EQ(Tool({"undo", Transaction, "--force"}).m_Exit, 0);
  EXPECT_EQ(Stored("Brightness"), "60\n");
}

TEST_F(ToolUndo, IsRefusedForATransactionThatIsNotKnown) {
  TRun const Run = Tool({"undo", "4711"});
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Errors, HasSubstr("the property server refuses: "));
  EXPECT_THAT(Run.m_Errors, HasSubstr("4711"));
}

TEST_F(ToolUndo, RefusesANumberThatIsNone) {
  EXPECT_EQ(Tool({"undo", "-1"}).m_Exit, 2);
  EXPECT_EQ(Tool({"undo", "12345678901234567890"}).m_Exit, 2);
}

TEST_F(ToolUndo, TakesAChangeBackThatNobodyConfirms) {
  TRun const Run = Tool({"set", "Brightness=1", "--confirm-within", "1s"});
  EXPECT_EQ(Run.m_Exit, 0) << Run;
  EXPECT_THAT(Run.m_Errors, HasSubstr("property: taken back in 1s unless \"property confirm "));
  WaitFor("Brightness=60");
}

TEST_F(ToolUndo, TakesAChangeBackAlsoAfterTheServersSuddenEnd) {
  Set({"Brightness=1", "--confirm-within", "2s"});
  Restart();
  WaitFor("Brightness=60");
}

TEST_F(ToolUndo, KeepsAChangeThatIsConfirmed) {
  std::string const Transaction = Set({"Brightness=1", "--confirm-within", "1h"});
  json const Pending = json::parse(Tool({"confirm", "--json"}).m_Output);
  ASSERT_EQ(Pending.size(), 1U);
  EXPECT_EQ(std::to_string(Pending.at(0).at("transaction").get<long long>()), Transaction);
  EXPECT_EQ(Tool({"confirm", Transaction}).m_Exit, 0);
  EXPECT_EQ(Tool({"confirm", "--json"}).m_Output, "[]\n");
  Restart();
  EXPECT_EQ(Stored("Brightness"), "1\n");
}

TEST_F(ToolUndo, ExplainsThatAChangeWaits) {
  Set({"Brightness=1", "--confirm-within", "1h"});
  EXPECT_GT(json::parse(Tool({"explain", "Brightness", "--json"}).m_Output).at("pending_seconds"),
            3000);
}

}  // namespace
