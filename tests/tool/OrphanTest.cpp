// SPDX-License-Identifier: MIT
// property schema orphans and forget: stored values that the server's schema no longer knows.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "tests/tool/ToolFixture.h"

namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// 110 is a group and 999 nothing in the schema that the server is given when values are there.
struct ToolOrphans : TToolFixture {
  std::unique_ptr<TProcess> m_Server;

  TRun Plainly(std::vector<std::string> Arguments, std::string const& Input = "") {
    m_Set["PROPERTY_SCHEMA"] = m_Folder;  // which has none
    Arguments.insert(Arguments.end(), {"--mac", "none"});
    TRun Run = Tool(Arguments, Input);
    m_Set.erase("PROPERTY_SCHEMA");
    return Run;
  }
  void Store(std::vector<std::string> Arguments, std::string const& Input = "") {
    Arguments.insert(Arguments.begin(), "set");
    TRun const Run = Plainly(Arguments, Input);
    EXPECT_EQ(Run.m_Exit, 0) << Run;
  }
  void StartWithoutSchema() { m_Server = StartServer(); }
  void StartWithSchema(std::string const& Configuration = "") {
    if (m_Server != nullptr) {
      EXPECT_EQ(m_Server->End(SIGTERM), 0);
    }
    WriteFile("server.toml", Configuration);
    m_Server = StartServer({"--schema", Schema(), "--config", File("server.toml")});
  }
  void StoreTwo(std::string const& Configuration = "") {
    StartWithoutSchema();
    Store({"110=group", "111=60", "999[7]=old"});
    StartWithSchema(Configuration);
  }
  std::string Orphans() const { return Tool({"schema", "orphans", "--plain"}).m_Output; }
  // The command as a user who is no administrator unless the server's group is that user's.
  TRun AsNobody(std::string const& Arguments) const {
    EXPECT_EQ(chmod(m_Folder.c_str(), 0755), 0);
    return Shell("setpriv --reuid=65534 --regid=65534 --clear-groups property " + Arguments);
  }
};

TEST_F(ToolOrphans, AreListedWithTheReason) {
  StoreTwo();
  EXPECT_EQ(Tool({"schema", "orphans"}),
            (TRun{0,
                  "NUMBER  RECORD  DEVICE  VALUE  REASON\n"
                  "110                     group  110 is no property but the group Display\n"
                  "999     7               old    no property has the number 999\n",
                  ""}));
}

TEST_F(ToolOrphans, HaveTheirColumnsDividedByTabsWhenPlain) {
  StoreTwo();
  EXPECT_EQ(Orphans(),
            "110\t\t\tgroup\t110 is no property but the group Display\n"
            "999\t7\t\told\tno property has the number 999\n");
}

TEST_F(ToolOrphans, AreAnArrayInJSON) {
  StoreTwo();
  EXPECT_EQ(json::parse(Tool({"schema", "orphans", "--json"}).m_Output), json::parse(R"([
    {"number": 110, "path": null, "record": null, "device": null, "secret": false,
     "value": "group", "reason": "110 is no property but the group Display"},
    {"number": 999, "path": null, "record": 7, "device": null, "secret": false,
     "value": "old", "reason": "no property has the number 999"}])"));
}

TEST_F(ToolOrphans, AreNoneWhereTheSchemaKnowsAll) {
  StartWithSchema();
  EXPECT_EQ(Tool({"schema", "orphans"}), (TRun{0, "", ""}));
  EXPECT_EQ(Tool({"schema", "orphans", "--json"}), (TRun{0, "[]\n", ""}));
}

TEST_F(ToolOrphans, AreToldByTheServersSchemaWithoutOneHere) {
  StoreTwo();
  m_Set["PROPERTY_SCHEMA"] = m_Folder;
  EXPECT_THAT(Orphans(), HasSubstr("999\t7\t\told\t"));
}

TEST_F(ToolOrphans, KeepTheirSecretsEvenWhenAskedFor) {
  StoreTwo("secret = [999]\n");
  EXPECT_THAT(Orphans(), HasSubstr("999\t7\t\t(secret)\t"));
  json const List = json::parse(Tool({"schema", "orphans", "--json", "--show-secrets"}).m_Output);
  EXPECT_EQ(List.at(1).at("secret"), true);
  EXPECT_EQ(List.at(1).at("value"), nullptr);
}

TEST_F(ToolOrphans, AreSpelledOutWhereATerminalWouldObeyThem) {
  StartWithoutSchema();
  Store({"999", "-"}, "a\x1b[31m\t\\\xff");
  StartWithSchema();
  EXPECT_THAT(Tool({"schema", "orphans"}).m_Output, HasSubstr("a\\x1b[31m\\t\\\\xff"));
  EXPECT_THAT(Orphans(), HasSubstr("\ta\\x1b[31m\\t\\\\\\xff\t"));
  EXPECT_THAT(Tool({"schema", "orphans", "--json"}).m_Output,
              HasSubstr("\"value_hex\": \"611b5b33316d095cff\""));
}

TEST_F(ToolOrphans, AreListedOverSeveralPages) {
  StartWithoutSchema();
  std::vector<std::string> Words;
  for (int Number = 5001; Number <= 7500; ++Number) {
    Words.push_back(std::to_string(Number) + "=" + std::to_string(Number));
  }
  Store(Words);
  StartWithSchema();
  std::string Expected;
  for (int Number = 5001; Number <= 7500; ++Number) {
    std::string const Text = std::to_string(Number);
    Expected += Text + "\t\t\t" + Text + "\tno property has the number " + Text + "\n";
  }
  EXPECT_EQ(Orphans(), Expected);
}

TEST_F(ToolOrphans, AreForAdministratorsOnly) {
  StoreTwo("[[rule]]\nproperties = [111]\nread = [\"everybody\"]\n");
  for (std::string const Arguments : {"schema orphans", "forget 999"}) {
    TRun const Run = AsNobody(Arguments);
    EXPECT_EQ(Run.m_Exit, 1) << Run;
    EXPECT_EQ(Run.m_Output, "");
    EXPECT_THAT(Run.m_Errors, HasSubstr("property: the property server refuses: user 65534 may not "
                                        "ask for this, only root and the server's own user may"));
  }
  EXPECT_THAT(Orphans(), HasSubstr("999\t7\t\told\t"));
}

TEST_F(ToolOrphans, NeedAServer) {
  for (std::vector<std::string> const& Arguments :
       {std::vector<std::string>{"schema", "orphans"}, {"forget", "999"}}) {
    TRun const Run = Tool(Arguments);
    EXPECT_EQ(Run.m_Exit, 3) << Run;
    EXPECT_THAT(Run.m_Errors, HasSubstr("property: no property server at " + Address()));
  }
}

struct ToolForget : ToolOrphans {};

TEST_F(ToolForget, RemovesTheValuesOfANumberAndNoOthers) {
  StoreTwo();
  EXPECT_EQ(Tool({"forget", "999"}), (TRun{0, "", ""}));
  EXPECT_EQ(Orphans(), "110\t\t\tgroup\t110 is no property but the group Display\n");
  EXPECT_EQ(Tool({"get", "111", "--mac", "none"}).m_Output, "60\n");
}

TEST_F(ToolForget, TellsItsTransactionInJSON) {
  StoreTwo();
  TRun const Run = Tool({"forget", "999", "--json"});
  EXPECT_EQ(Run.m_Exit, 0) << Run;
  json const Transactions = json::parse(Run.m_Output).at("transactions");
  ASSERT_EQ(Transactions.size(), 1U);
  json const Entry = json::parse(Tool({"history", "--json", "--limit", "1"}).m_Output).at(0);
  EXPECT_EQ(Entry.at("transaction"), Transactions.at(0));
  EXPECT_EQ(Entry.at("number"), 999);
  EXPECT_EQ(Entry.at("value"), nullptr);
}

TEST_F(ToolForget, RemovesMoreValuesThanOneMailMay) {
  StartWithoutSchema();
  Store({"999[1]=a", "999[2]=b", "999[3]=c", "999[4]=d", "999=e"});
  StartWithSchema("[limits]\nmail_records = 2\n");
  TRun const Run = Tool({"forget", "999", "--json"});
  EXPECT_EQ(Run.m_Exit, 0) << Run;
  EXPECT_EQ(json::parse(Run.m_Output).at("transactions").size(), 3U);
  EXPECT_EQ(Orphans(), "");
}

TEST_F(ToolForget, TakesTheLeastNumberAndTheGreatest) {
  StartWithoutSchema();
  Store({"2147483647=last", "2147483646[3]=other"});
  StartWithSchema();
  EXPECT_EQ(Tool({"forget", "2147483647"}), (TRun{0, "", ""}));
  EXPECT_THAT(Orphans(), HasSubstr("2147483646\t3\t\tother\t"));
  EXPECT_THAT(Orphans(), Not(HasSubstr("2147483647")));
  EXPECT_EQ(Tool({"forget", "--", "-2147483648"}).m_Exit, 1);
}

TEST_F(ToolForget, IsRefusedForANumberThatIsNotKeptAside) {
  StoreTwo();
  for (std::string const Number : {"111", "4711"}) {
    EXPECT_EQ(Tool({"forget", Number}),
              (TRun{1, "",
                    "property: no value of a property " + Number +
                        " is kept aside; property schema orphans shows those that are, and "
                        "property reset removes others\n"}));
  }
  EXPECT_EQ(Tool({"get", "111", "--mac", "none"}).m_Output, "60\n");
}

TEST_F(ToolForget, IsRefusedForAnAdministratorWhoMayNotWriteTheNumber) {
  StoreTwo("group = \"65534\"\n[[rule]]\nproperties = [999]\nwrite = [\"user:root\"]\n");
  EXPECT_EQ(AsNobody("forget 110").m_Exit, 0);
  TRun const Run = AsNobody("forget 999");
  EXPECT_EQ(Run.m_Exit, 1);
  EXPECT_THAT(Run.m_Errors, HasSubstr("property: the property server refuses: user 65534 may not "
                                      "have the values of property 999 forgotten\n"));
  EXPECT_THAT(Orphans(), HasSubstr("999\t7\t\told\t"));
}

TEST_F(ToolForget, WantsANumber) {
  for (std::string const Word : {"Brightness", "", "9x", "2147483648", "1e3", " 9", "\x1b[31m"}) {
    TRun const Run = Tool({"forget", Word});
    EXPECT_EQ(Run.m_Exit, 2) << Run;
    EXPECT_THAT(Run.m_Errors, HasSubstr("is no property's number; property schema orphans shows"));
    EXPECT_THAT(Run.m_Errors, Not(HasSubstr("\x1b")));
  }
  EXPECT_EQ(Tool({"forget"}).m_Exit, 2);
  EXPECT_EQ(Tool({"forget", "1", "2"}).m_Exit, 2);
}

TEST_F(ToolForget, IsCompletedWithTheNumbersThatAreKeptAside) {
  StartWithoutSchema();
  Store({"110=a", "999=b", "999[7]=c", "1999=d"});
  StartWithSchema();
  EXPECT_EQ(Tool({"complete", "--", "forget", ""}), (TRun{0, "110\n999\n1999\n", ""}));
  EXPECT_EQ(Tool({"complete", "--", "forget", "1"}), (TRun{0, "110\n1999\n", ""}));
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  EXPECT_EQ(Tool({"complete", "--", "forget", ""}), (TRun{0, "", ""}));
}

}  // namespace
