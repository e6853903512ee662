// SPDX-License-Identifier: MIT
// property history and explain: who has changed what, and where values come from.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

struct ToolHistory : TToolFixture {
  std::unique_ptr<TProcess> const m_Server = StartFilledServer();

  static json Parsed(TRun const& Run) {
    EXPECT_EQ(Run.m_Exit, 0) << Run;
    return json::parse(Run.m_Output);
  }
  // One column of all entries.
  static std::vector<std::string> Column(json const& Entries, char const* Name) {
    std::vector<std::string> Texts;
    for (json const& Entry : Entries) {
      Texts.push_back(Entry.at(Name).is_null() ? "null" : Entry.at(Name).get<std::string>());
    }
    return Texts;
  }
};

TEST_F(ToolHistory, TellsTheNewestChangeFirst) {
  EXPECT_EQ(Tool({"set", "Brightness=61"}).m_Exit, 0);
  json const Entries = Parsed(Tool({"history", "Brightness", "--mac", "own", "--json"}));
  EXPECT_EQ(Column(Entries, "value"), (std::vector<std::string>{"61", "60"}));
  EXPECT_EQ(Column(Entries, "former"), (std::vector<std::string>{"60", "null"}));
}

TEST_F(ToolHistory, SaysWhoHasMadeAChangeAndWhen) {
  json const Entry = Parsed(Tool({"history", "Mode", "--json"})).at(0);
  EXPECT_EQ(Entry.at("user"), getuid());
  EXPECT_EQ(Entry.at("program"), "property");
  EXPECT_EQ(Entry.at("path"), "Device/Display/Mode");
  EXPECT_GT(Entry.at("transaction"), 0);
  EXPECT_GT(Entry.at("process"), 0);
  EXPECT_THAT(Entry.at("time").get<std::string>(), MatchesRegex("20.*Z"));
}

TEST_F(ToolHistory, ShowsATable) {
  TRun const Run = Tool({"history", "Mode"});
  EXPECT_THAT(Run.m_Output, StartsWith("TIME "));
  EXPECT_THAT(Run.m_Output, HasSubstr("(property)  Device/Display/Mode  (none)  By night\n"));
}

TEST_F(ToolHistory, HidesTheTextsOfSecrets) {
  json const Entry = Parsed(Tool({"history", "Motto", "--json"})).at(0);
  EXPECT_EQ(Entry.at("secret"), true);
  EXPECT_EQ(Entry.at("value"), nullptr);
  EXPECT_THAT(Tool({"history", "Motto"}).m_Output, HasSubstr("(secret)  (secret)\n"));
}

TEST_F(ToolHistory, TellsOneTransactionOnly) {
  json const Entry = Parsed(Tool({"history", "Mode", "--json"})).at(0);
  std::string const Transaction = std::to_string(Entry.at("transaction").get<int>());
  EXPECT_EQ(Parsed(Tool({"history", "--transaction", Transaction, "--json"})).size(), 4U);
}

TEST_F(ToolHistory, TellsTheChangesOfOneWriterOnly) {
  EXPECT_EQ(Parsed(Tool({"history", "--writer", "property", "--json"})).size(), 5U);
  EXPECT_EQ(Parsed(Tool({"history", "--writer", "panel", "--json"})).size(), 0U);
  EXPECT_EQ(Parsed(Tool({"history", "--writer", "4001", "--json"})).size(), 0U);
}

TEST_F(ToolHistory, TellsTheChangesSinceATimeOnly) {
  EXPECT_EQ(Parsed(Tool({"history", "--since", "1h", "--json"})).size(), 5U);
  EXPECT_EQ(Parsed(Tool({"history", "--since", "2200-01-01", "--json"})).size(), 0U);
}

TEST_F(ToolHistory, TellsAsManyChangesAsItIsAskedFor) {
  EXPECT_EQ(Parsed(Tool({"history", "--limit", "3", "--json"})).size(), 3U);
}

TEST_F(ToolHistory, RefusesATimeThatIsNone) {
  TRun const Run = Tool({"history", "--since", "yesterday"});
  EXPECT_EQ(Run.m_Exit, 2);
  EXPECT_THAT(Run.m_Errors, HasSubstr("\"yesterday\" is neither a time such as 2026-01-31T12:00"));
}

TEST_F(ToolHistory, ExplainsAStoredValue) {
  json const Explained = Parsed(Tool({"explain", "Brightness", "--json"}));
  EXPECT_EQ(Explained.at("value"), "60");
  EXPECT_EQ(Explained.at("source"), "server");
  EXPECT_EQ(Explained.at("user"), getuid());
  EXPECT_EQ(Explained.at("program"), "property");
  EXPECT_EQ(Explained.at("default"), "80");
  EXPECT_EQ(Explained.at("visibility"), "shown");
}

TEST_F(ToolHistory, ExplainsADefault) {
  EXPECT_EQ(Tool({"explain", "PinLength"}).m_Output,
            "property    Policy/Access/PinLength\n"
            "number      211\n"
            "value       6\n"
            "from        default\n"
            "default     6\n"
            "visibility  shown\n");
}

TEST_F(ToolHistory, ExplainsWhyAPropertyIsHidden) {
  EXPECT_THAT(Tool({"explain", "ServicePin"}).m_Output,
              HasSubstr("visibility  hidden: it is hidden itself\n"));
}

TEST_F(ToolHistory, ExplainsASecretWithoutItsText) {
  json const Explained = Parsed(Tool({"explain", "Motto", "--json"}));
  EXPECT_EQ(Explained.at("value"), nullptr);
  EXPECT_EQ(Explained.at("secret"), true);
}

}  // namespace
