// SPDX-License-Identifier: MIT
// Schema, values, devices, status and history over HTTP, with a real server.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>

#include "tests/console/ConsoleFixture.h"

namespace {

using TJSON = nlohmann::json;

class ValuesTest : public TConsoleFixture {
 protected:
  void SetUp() override {
    AddUser("anna", "viewer");
    AddUser("bert", "administrator");
    StartConsole();
    m_Anna = SignIn("anna");
  }
  /// What Anna is answered; fails when that is no success.
  TJSON Get(std::string const& Path) const {
    TReply const Reply = AskAs(m_Anna, "GET", Path);
    EXPECT_EQ(Reply.m_Status, 200) << Reply.m_Body;
    return TJSON::parse(Reply.m_Body, nullptr, false);
  }
  /// The first object of the list whose member has that value; null for none.
  static TJSON Find(TJSON const& List, std::string const& Member, TJSON const& Value) {
    auto const Found = std::find_if(List.begin(), List.end(), [&](TJSON const& Object) {
      return Object.value(Member, TJSON()) == Value;
    });
    return Found != List.end() ? *Found : TJSON();
  }
  /// A value, once its text is `Text`: the console is told of changes a little later than who has
  /// made them.
  TJSON AwaitValue(int Number, std::string const& Text, char const* Member = "value",
                   std::string const& Path = "/api/v1/values") const {
    TJSON Value;
    auto const Deadline = std::chrono::steady_clock::now() + kPatience;
    do {
      Value = Find(Get(Path).at("values"), "number", Number);
    } while (Value.value(Member, TJSON()) != Text && std::chrono::steady_clock::now() < Deadline);
    EXPECT_EQ(Value.value(Member, TJSON()), Text);
    return Value;
  }
  /// The values, once the console has noticed whether the server is there.
  TReply AwaitConnected(bool IsConnected) const {
    TReply Reply;
    auto const Deadline = std::chrono::steady_clock::now() + kPatience;
    do {
      Reply = AskAs(m_Anna, "GET", "/api/v1/values");
    } while (TJSON::parse(Reply.m_Body).value("connected", !IsConnected) != IsConnected &&
             std::chrono::steady_clock::now() < Deadline);
    return Reply;
  }

  static constexpr std::chrono::seconds kPatience{60};

  std::vector<std::string> m_Anna;
};

TEST_F(ValuesTest, AreForThoseWhoHaveSignedIn) {
  for (char const* Path : {"/api/v1/schema", "/api/v1/values", "/api/v1/devices", "/api/v1/status",
                           "/api/v1/history"}) {
    EXPECT_EQ(Ask("GET", Path).m_Status, 401) << Path;
    EXPECT_EQ(AskAs({"Cookie: property=" + std::string(64, '0')}, "GET", Path).m_Status, 401);
    EXPECT_EQ(AskAs(m_Anna, "POST", Path, "{}").m_Status, 405) << Path;
    EXPECT_EQ(AskAs(m_Anna, "GET", Path).m_Status, 200) << Path;
    EXPECT_EQ(AskAs(m_Anna, "HEAD", Path).m_Body, "") << Path;
  }
}

TEST_F(ValuesTest, HaveASchema) {
  TJSON const Schema = Get("/api/v1/schema");

  TJSON const Mode = Find(Schema.at("nodes"), "name", "Mode");
  EXPECT_EQ(Mode.at("number"), 112);
  EXPECT_EQ(Mode.at("parent"), 110);
  EXPECT_EQ(Mode.at("kind"), "field");
  EXPECT_EQ(Mode.at("type"), "choice");
  EXPECT_EQ(Mode.at("path"), "Device/Display/Mode");
  EXPECT_EQ(Mode.at("default"), "1121");
  EXPECT_EQ(Mode.at("scope"), "device");
  EXPECT_EQ(Mode.at("choices").size(), 3U);
  EXPECT_EQ(Mode.at("choices").at(1).at("description"), "By night");
  EXPECT_EQ(Find(Schema.at("nodes"), "name", "Device").at("kind"), "container");
  EXPECT_EQ(Find(Schema.at("nodes"), "name", "Display").at("kind"), "group");
  EXPECT_EQ(Find(Schema.at("nodes"), "name", "ServicePin").at("visibility"), "hidden");
  EXPECT_EQ(Find(Schema.at("nodes"), "name", "Contrast").at("visibility"), "advanced");
  EXPECT_EQ(Find(Schema.at("nodes"), "name", "Host").at("pattern"), "^[a-z]+$");
}

TEST_F(ValuesTest, HaveASchemaThatSaysWhatGovernsWhat) {
  TJSON const Dependencies = Get("/api/v1/schema").at("dependencies");

  ASSERT_EQ(Dependencies.size(), 1U);
  EXPECT_EQ(Dependencies.at(0).at("source"), 114);
  EXPECT_EQ(Dependencies.at(0).at("target"), 111);
  EXPECT_EQ(Dependencies.at(0).at("mode"), 1);
  EXPECT_EQ(Dependencies.at(0).at("value"), TJSON());
}

TEST_F(ValuesTest, AreDefaultsWhereNothingIsStored) {
  TJSON const Values = Get("/api/v1/values");

  EXPECT_EQ(Values.at("device"), kThisDevice);
  EXPECT_EQ(Values.at("connected"), true);
  TJSON const Brightness = Find(Values.at("values"), "number", 111);
  EXPECT_EQ(Brightness.at("value"), "80");
  EXPECT_EQ(Brightness.at("source"), "default");
  EXPECT_EQ(Find(Values.at("values"), "number", 117).at("source"), "none");
}

TEST_F(ValuesTest, AreThoseOfTheServer) {
  Property({"set", "Brightness=60"});

  TJSON const Brightness = AwaitValue(111, "60");

  EXPECT_EQ(Brightness.at("source"), "server");
  EXPECT_EQ(Brightness.at("record"), TJSON());
}

TEST_F(ValuesTest, AreThoseOfTheDeviceThatIsAskedFor) {
  Property({"set", "Brightness=60"});
  Property({"set", "Brightness=61", "--mac", kOtherDevice});

  std::string const Other = "/api/v1/values?device=02-00-00-00-00-02";
  AwaitValue(111, "61", "value", Other);
  AwaitValue(111, "60");
  EXPECT_EQ(Get(Other).at("device"), kOtherDevice);
}

TEST_F(ValuesTest, HaveThoseOfRecords) {
  Property({"set", "UserName[7]=seven"});
  Property({"set", "Brightness=60"});
  AwaitValue(111, "60");  // which comes behind it

  TJSON const Seventh = Find(Get("/api/v1/values").at("values"), "record", 7);

  EXPECT_EQ(Seventh.at("number"), 311);
  EXPECT_EQ(Seventh.at("value"), "seven");
}

TEST_F(ValuesTest, HaveARevisionThatChangesWithThem) {
  TJSON const First = Get("/api/v1/values").at("revision");
  EXPECT_EQ(Get("/api/v1/values").at("revision"), First);

  Property({"set", "Brightness=60"});
  AwaitValue(111, "60");

  EXPECT_NE(Get("/api/v1/values").at("revision"), First);
}

TEST_F(ValuesTest, KeepSecretsFromAllButAdministrators) {
  Property({"set", "Motto=hidden-motto"});
  AwaitValue(212, "server", "source");

  TReply const Viewed = AskAs(m_Anna, "GET", "/api/v1/values");
  TReply const Administered = AskAs(SignIn("bert"), "GET", "/api/v1/values");

  EXPECT_EQ(Viewed.m_Body.find("hidden-motto"), std::string::npos);
  TJSON const Motto = Find(TJSON::parse(Viewed.m_Body).at("values"), "number", 212);
  EXPECT_EQ(Motto.at("secret"), true);
  EXPECT_EQ(Motto.at("value"), TJSON());
  EXPECT_EQ(Motto.at("source"), "server");
  EXPECT_NE(Administered.m_Body.find("hidden-motto"), std::string::npos);
}

TEST_F(ValuesTest, KeepSecretsAlsoWhileTheServerIsAway) {
  Property({"set", "Motto=hidden-motto"});
  AwaitValue(212, "server", "source");
  m_Server->End(SIGKILL);

  TReply const Reply = AwaitConnected(false);

  EXPECT_EQ(Reply.m_Status, 200);
  EXPECT_EQ(TJSON::parse(Reply.m_Body).at("connected"), false);
  EXPECT_EQ(Reply.m_Body.find("hidden-motto"), std::string::npos);
}

TEST_F(ValuesTest, AreNotToldBeforeItIsKnownWhatIsSecret) {
  m_Server->End(SIGKILL);

  EXPECT_EQ(AskAs(m_Anna, "GET", "/api/v1/values").Code(), "no_server");
  EXPECT_EQ(AskAs(m_Anna, "GET", "/api/v1/history").Code(), "no_server");
}

TEST_F(ValuesTest, AreThereAgainWhenTheServerIs) {
  Property({"set", "Brightness=60"});
  m_Server->End(SIGKILL);
  EXPECT_EQ(AskAs(m_Anna, "GET", "/api/v1/status").Code(), "no_server");

  m_Server = StartSchemaServer();

  AwaitConnected(true);
  AwaitValue(111, "60");
  TReply Status;
  auto const Deadline = std::chrono::steady_clock::now() + kPatience;
  do {
    Status = AskAs(m_Anna, "GET", "/api/v1/status");
  } while (Status.m_Status == 503 && std::chrono::steady_clock::now() < Deadline);
  EXPECT_EQ(Status.m_Status, 200);
}

TEST_F(ValuesTest, StandHostileTexts) {
  Property({"set", "Name", "</script><script>alert(1)</script>\x1b[2J"});
  AwaitValue(113, "</script><script>alert(1)</script>\x1b[2J");

  Property({"set", "Name", "-"}, "\xff\xfe");
  EXPECT_FALSE(AwaitValue(113, "fffe", "value_hex").contains("value"));

  Property({"set", "Name", "-"}, std::string(1 << 20, 'x'));
  AwaitValue(113, std::string(1 << 20, 'x'));
}

TEST_F(ValuesTest, StandHostileNames) {
  EXPECT_EQ(Find(Get("/api/v1/schema").at("nodes"), "number", 213).at("name"), "Hos\x1b[31mtile");
}

TEST_F(ValuesTest, RefuseQueriesThatAreNone) {
  for (char const* Query :
       {"values?device=x", "values?device=", "values?device=02:00:00:00:00", "values?devic=x",
        "values?%00=%ff", "history?number=x", "history?number=0", "history?number=2147483648",
        "history?number=-1", "history?limit=1001", "history?limit=0",
        "history?limit=", "history?transaction=1e3", "history?transaction=99999999999999999999",
        "history?device=%3Cscript%3E"}) {
    TReply const Reply = AskAs(m_Anna, "GET", std::string("/api/v1/") + Query);
    EXPECT_EQ(Reply.m_Status, 400) << Query;
    EXPECT_EQ(Reply.Code(), "bad_query") << Query;
  }
}

TEST_F(ValuesTest, HaveAHistory) {
  Property({"set", "Brightness=60"});
  Property({"set", "Brightness=61"});
  Property({"set", "Motto=hidden-motto"});

  TJSON const Entries = Get("/api/v1/history").at("entries");

  ASSERT_EQ(Entries.size(), 3U);
  EXPECT_EQ(Entries.at(0).at("secret"), true);
  EXPECT_EQ(Entries.at(0).at("value"), TJSON());
  EXPECT_EQ(Entries.at(1).at("number"), 111);
  EXPECT_EQ(Entries.at(1).at("former"), "60");
  EXPECT_EQ(Entries.at(1).at("value"), "61");
  EXPECT_EQ(Entries.at(1).at("device"), kThisDevice);
  EXPECT_GT(Entries.at(1).at("transaction"), Entries.at(2).at("transaction"));
}

TEST_F(ValuesTest, HaveAHistoryThatCanBeNarrowed) {
  Property({"set", "Brightness=60"});
  Property({"set", "Name=x"});
  Property({"set", "Brightness=61", "--mac", kOtherDevice});

  EXPECT_EQ(Get("/api/v1/history?number=113").at("entries").size(), 1U);
  EXPECT_EQ(Get("/api/v1/history?limit=2").at("entries").size(), 2U);
  EXPECT_EQ(Get("/api/v1/history?number=111&device=02:00:00:00:00:02").at("entries").size(), 1U);
  TJSON const Transaction = Get("/api/v1/history").at("entries").at(0).at("transaction");
  EXPECT_EQ(Get("/api/v1/history?transaction=" + Transaction.dump()).at("entries").size(), 1U);
}

TEST_F(ValuesTest, HaveDevices) {
  Property({"set", "Brightness=61", "--mac", kOtherDevice});

  TJSON const Devices = Get("/api/v1/devices");

  EXPECT_EQ(Devices.at("own"), kThisDevice);
  EXPECT_EQ(Devices.at("devices"), TJSON::array({kOtherDevice}));
}

TEST_F(ValuesTest, HaveTheFiguresOfTheServer) {
  Property({"set", "Brightness=60"});

  TJSON const Status = Get("/api/v1/status");

  EXPECT_EQ(Status.at("connected"), true);
  EXPECT_EQ(Status.at("figures").at("values"), "1");
}

TEST_F(ValuesTest, AreDescribed) {
  TReply const Reply = Ask("GET", "/api/v1/openapi.json");

  EXPECT_EQ(Reply.m_Status, 200);
  EXPECT_EQ(TJSON::parse(Reply.m_Body).at("openapi"), "3.1.0");
}

}  // namespace
