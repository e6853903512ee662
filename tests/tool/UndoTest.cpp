// SPDX-License-Identifier: MIT
// property undo and confirm: changes that are taken back, by people and by the server itself.
#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <map>
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
  EXPECT_THAT(Run.m_Errors,
              HasSubstr("; property history shows what can be taken back, and --force "
                        "takes back also what was changed since\n"));
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

TEST_F(ToolUndo, SaysWhereToLookForWhatCanBeConfirmed) {
  TRun const Run = Tool({"confirm", "4711"});
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Errors, HasSubstr("4711 waits for a confirmation"));
  EXPECT_THAT(Run.m_Errors, HasSubstr("; property confirm lists those that wait\n"));
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

// A transaction of many values that is taken back while the server is killed.
struct ToolUndoKilled : ToolUndo {
  static constexpr int kCount = 100;
  std::string const m_Transaction = SetMany();

  ToolUndoKilled() {
    EXPECT_EQ(m_Server->End(SIGTERM), 0);
    m_Server = StartServer({"--config", File("server.toml"), "--trace"});
  }
  std::string SetMany() const {
    std::vector<std::string> Words;
    for (int Record = 8; Record < 8 + kCount; ++Record) {
      Words.push_back("UserName[" + std::to_string(Record) + "]=new");
    }
    return Set(Words);
  }
  // Until it has written a line with `Text`.
  void HearOf(std::string const& Text) const {
    while (m_Server->Hear().find(Text) == std::string::npos) {
    }
  }
  int Left() const {
    json const Entries = json::parse(Tool({"list", "UserName", "--set", "--json"}).m_Output);
    return static_cast<int>(std::count_if(Entries.begin(), Entries.end(), [](json const& Entry) {
      return Entry.at("value") == "new";
    }));
  }
  // How many transactions have taken it back, each as a whole.
  int Undone() const {
    std::map<long long, int> Sizes;
    for (json const& Entry : json::parse(Tool({"history", "--limit", "1000", "--json"}).m_Output)) {
      if (!Entry.at("undoes").is_null()) {
        EXPECT_EQ(std::to_string(Entry.at("undoes").get<long long>()), m_Transaction);
        ++Sizes[Entry.at("transaction").get<long long>()];
      }
    }
    for (auto const& [Transaction, Size] : Sizes) {
      EXPECT_EQ(Size, kCount) << Transaction;
    }
    return static_cast<int>(Sizes.size());
  }
  // The command does it over the end of the server, which comes when it has written `Text`.
  void ExpectUndoneOnce(std::string const& Text) {
    auto const Undoing = StartTool({"undo", m_Transaction, "--json"});
    HearOf(Text);
    Restart();
    EXPECT_EQ(Undoing->End(), 0) << Undoing->Errors();
    EXPECT_GT(json::parse(Undoing->Rest()).at("transaction"), 0);
    EXPECT_EQ(Left(), 0);
    EXPECT_EQ(Undone(), 1);
  }
};

TEST_F(ToolUndoKilled, IsDoneOnceWhenTheServerIsKilledWhileItStores) {
  ExpectUndoneOnce(" Change 11:");
}

TEST_F(ToolUndoKilled, IsDoneOnceWhenTheServerIsKilledBeforeItAcknowledges) {
  ExpectUndoneOnce("published property[");
}

TEST_F(ToolUndoKilled, SaysThatItIsNotKnownWhenTheServerStaysAway) {
  auto const Undoing = StartTool({"undo", m_Transaction, "--timeout", "1s"});
  HearOf(" Change 11:");
  EXPECT_EQ(m_Server->End(SIGKILL), -SIGKILL);
  int const Exit = Undoing->End();
  EXPECT_EQ(Undoing->Rest(), "");
  m_Server = StartServer({"--config", File("server.toml")});
  int const Count = Undone();
  EXPECT_EQ(Left(), Count == 0 ? kCount : 0);
  if (Exit == 0) {  // it had heard of it in time
    EXPECT_EQ(Count, 1);
  } else {
    EXPECT_EQ(Exit, 4);
    EXPECT_THAT(Undoing->Errors(), HasSubstr("has not stored the change in time; it may still do "
                                             "so: look at the values before trying again\n"));
  }
}

TEST_F(ToolUndo, ExplainsThatAChangeWaits) {
  Set({"Brightness=1", "--confirm-within", "1h"});
  EXPECT_GT(json::parse(Tool({"explain", "Brightness", "--json"}).m_Output).at("pending_seconds"),
            3000);
}

}  // namespace
