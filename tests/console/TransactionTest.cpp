// SPDX-License-Identifier: MIT
// Changes over HTTP, with a real server: made, refused, in conflict, taken back and confirmed.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "tests/console/ConsoleFixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using TJSON = nlohmann::json;

constexpr char kTransactions[] = "/api/v1/transactions";

class TransactionTest : public TConsoleFixture {
 protected:
  void SetUp() override {
    AddUser("anna", "viewer");
    AddUser("olga", "operator");
    AddUser("bert", "administrator");
    StartConsole();
    m_Olga = SignIn("olga");
  }
  /// What a page shows at this moment.
  TJSON Values(std::vector<std::string> const& Page) const {
    TReply const Reply = AskAs(Page, "GET", "/api/v1/values");
    EXPECT_EQ(Reply.m_Status, 200) << Reply.m_Body;
    return TJSON::parse(Reply.m_Body, nullptr, false);
  }
  std::string Revision() const { return Values(m_Olga).at("revision"); }
  /// The value of this device or of none, and of no record unless one is given.
  TJSON Value(int Number, TJSON const& Record = TJSON()) const {
    TJSON const All = Values(m_Olga);
    for (TJSON const& Object : All.at("values")) {
      if (Object.at("number") == Number && Object.at("record") == Record) {
        return Object;
      }
    }
    return TJSON();
  }
  static TJSON Setting(int Number, std::string const& Text) {
    return {{"number", Number}, {"value", Text}};
  }
  static TJSON Resetting(int Number) { return {{"number", Number}, {"reset", true}}; }
  static TJSON OfRecord(int Record, std::string const& Text) {
    return {{"number", 311}, {"record", Record}, {"value", Text}};
  }
  static TJSON BodyOf(std::vector<TJSON> const& Changes, std::string const& Revision) {
    return {{"revision", Revision}, {"changes", Changes}};
  }
  TReply Send(TJSON const& Body) const { return AskAs(m_Olga, "POST", kTransactions, Body.dump()); }
  /// By who has seen all that there is.
  TReply Change(std::vector<TJSON> const& Changes) const {
    return Send(BodyOf(Changes, Revision()));
  }
  /// The number of the transaction that it was done by.
  static std::string TransactionIn(TReply const& Reply) {
    EXPECT_EQ(Reply.m_Status, 200) << Reply.m_Body;
    return TJSON::parse(Reply.m_Body, nullptr, false).value("transaction", TJSON()).dump();
  }
  TReply Undo(std::string const& Transaction) const {
    return AskAs(m_Olga, "POST", std::string(kTransactions) + "/" + Transaction + "/undo", "{}");
  }
  TReply Confirm(std::string const& Transaction) const {
    return AskAs(m_Olga, "POST", std::string(kTransactions) + "/" + Transaction + "/confirm", "{}");
  }
  /// Waits until the console has heard of what another program has set.
  void Await(int Number, std::string const& Text) const {
    auto const Deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (Value(Number).value("value", TJSON()) != Text &&
           std::chrono::steady_clock::now() < Deadline) {
    }
    EXPECT_EQ(Value(Number).value("value", TJSON()), Text);
  }

  std::vector<std::string> m_Olga;
};

TEST_F(TransactionTest, ChangesValuesAndTellsTheirRevision) {
  TReply const Reply = Change({Setting(111, "60"), Setting(113, "Panel")});

  EXPECT_NE(TransactionIn(Reply), "null");
  TJSON const Object = TJSON::parse(Reply.m_Body);
  EXPECT_EQ(Object.at("revision"), Revision());
  EXPECT_EQ(Object.at("confirm_until"), TJSON());
  EXPECT_EQ(Value(111).at("value"), "60");
  EXPECT_EQ(Value(113).at("value"), "Panel");
}

TEST_F(TransactionTest, IsStoredByTheServer) {
  TransactionIn(Change({Setting(111, "60")}));
  m_Server->End(SIGKILL);
  m_Server = StartSchemaServer();

  Property({"set", "Name=x"});
  Await(113, "x");
  EXPECT_EQ(Value(111).at("value"), "60");
}

TEST_F(TransactionTest, ChangesValuesOfRecordsAndOtherDevices) {
  TJSON Body = BodyOf({OfRecord(7, "seven"), Setting(111, "61")}, Revision());
  Body["device"] = "02-00-00-00-00-02";

  TransactionIn(Send(Body));

  EXPECT_EQ(Value(311, 7).at("value"), "seven");
  EXPECT_EQ(Value(111).at("value"), "80");
  TReply const Other = AskAs(m_Olga, "GET", std::string("/api/v1/values?device=") + kOtherDevice);
  EXPECT_THAT(Other.m_Body, HasSubstr("\"value\":\"61\""));
}

TEST_F(TransactionTest, GivesDefaultsBack) {
  TransactionIn(Change({Setting(111, "60")}));

  TransactionIn(Change({Resetting(111)}));

  EXPECT_EQ(Value(111).at("value"), "80");
  EXPECT_EQ(Value(111).at("source"), "default");
}

TEST_F(TransactionTest, HasNoNumberWhereNothingChanges) {
  EXPECT_EQ(TransactionIn(Change({Resetting(111)})), "null");
}

TEST_F(TransactionTest, MayFollowItsOwnRevision) {
  TJSON const First = TJSON::parse(Change({Setting(111, "60")}).m_Body);

  TransactionIn(Send(BodyOf({Setting(111, "61")}, First.at("revision"))));

  EXPECT_EQ(Value(111).at("value"), "61");
}

TEST_F(TransactionTest, IsRefusedWhereAnotherHasChangedTheValueSince) {
  std::string const Seen = Revision();
  Property({"set", "Brightness=70"});
  Await(111, "70");

  TReply const Reply = Send(BodyOf({Setting(111, "60"), Setting(113, "x")}, Seen));

  EXPECT_EQ(Reply.m_Status, 412);
  EXPECT_EQ(Reply.Code(), "changed_since");
  TJSON const Object = TJSON::parse(Reply.m_Body);
  ASSERT_EQ(Object.at("conflicts").size(), 1U);
  EXPECT_EQ(Object.at("conflicts").at(0).at("number"), 111);
  EXPECT_EQ(Object.at("conflicts").at(0).at("value"), "70");
  EXPECT_EQ(Value(113).at("value"), "Unit");
  TransactionIn(Send(BodyOf({Setting(111, "60")}, Object.at("revision"))));
}

TEST_F(TransactionTest, IsNotHinderedByChangesOfOtherValues) {
  std::string const Seen = Revision();
  Property({"set", "Brightness=70"});
  Await(111, "70");

  TransactionIn(Send(BodyOf({Setting(113, "x")}, Seen)));
}

TEST_F(TransactionTest, IsRefusedToWhoHasSeenAnotherRunOfTheConsole) {
  for (std::string const& Seen :
       {std::string(), std::string("x-0"), std::string(32, 'a') + "-0", Revision() + "9",
        Revision().substr(0, 33) + "-1", Revision().substr(0, 33) + "18446744073709551616"}) {
    TReply const Reply = Send(BodyOf({Setting(111, "60")}, Seen));
    EXPECT_EQ(Reply.m_Status, 412) << Seen;
    EXPECT_EQ(TJSON::parse(Reply.m_Body).at("conflicts").size(), 1U) << Seen;
  }
}

TEST_F(TransactionTest, NamesEveryChangeThatIsNotPossible) {
  TReply const Reply =
      Change({Setting(111, "bright"), Setting(117, "UPPER"), Setting(112, "9"), Setting(114, "yes"),
              Setting(100, "x"), Setting(4711, "x"), Setting(113, "fine")});

  EXPECT_EQ(Reply.m_Status, 422);
  EXPECT_EQ(Reply.Code(), "refused");
  TJSON const Refusals = TJSON::parse(Reply.m_Body).at("refusals");
  ASSERT_EQ(Refusals.size(), 6U);
  EXPECT_EQ(Refusals.at(0).at("number"), 111);
  EXPECT_EQ(Refusals.at(0).at("record"), TJSON());
  EXPECT_THAT(Refusals.at(0).at("reason").get<std::string>(), HasSubstr("is no whole number"));
  EXPECT_THAT(Refusals.at(1).at("reason").get<std::string>(), HasSubstr("does not match"));
  EXPECT_EQ(Value(113).at("value"), "Unit");
}

TEST_F(TransactionTest, IsRefusedForReasonsOfTheServer) {
  std::string const Config = "secret = [212]\n[limits]\nvalue_bytes = 10\n";
  m_Console.reset();
  m_Server->End(SIGTERM);
  std::ofstream(File("server.toml")) << Config;
  m_Server = nullptr;
  StartConsole();
  m_Olga = SignIn("olga");

  TReply const Reply = Change({Setting(113, "longer than allowed")});

  EXPECT_EQ(Reply.m_Status, 422);
  TJSON const Refusals = TJSON::parse(Reply.m_Body).at("refusals");
  ASSERT_EQ(Refusals.size(), 1U);
  EXPECT_EQ(Refusals.at(0).at("number"), 113);
  EXPECT_THAT(Refusals.at(0).at("reason").get<std::string>(), HasSubstr("(value_bytes)"));
}

TEST_F(TransactionTest, IsForOperatorsAndAdministrators) {
  TJSON const Body = BodyOf({Setting(111, "60")}, Revision());

  EXPECT_EQ(AskAs(SignIn("anna"), "POST", kTransactions, Body.dump()).Code(), "role_too_low");
  EXPECT_EQ(Ask("POST", kTransactions, Body.dump()).Code(), "not_signed_in");
  EXPECT_EQ(AskAs({m_Olga.at(0)}, "POST", kTransactions, Body.dump()).Code(), "csrf_token");
  EXPECT_EQ(AskAs({m_Olga.at(0), m_Olga.at(1), "Origin: http://evil.example"}, "POST",
                  kTransactions, Body.dump())
                .Code(),
            "other_origin");
  EXPECT_EQ(AskAs({m_Olga.at(0), m_Olga.at(1)}, "GET", kTransactions).m_Status, 405);
  for (char const* Action : {"undo", "confirm"}) {
    std::string const Path = std::string(kTransactions) + "/1/" + Action;
    EXPECT_EQ(AskAs(SignIn("anna"), "POST", Path, "{}").Code(), "role_too_low");
    EXPECT_EQ(Ask("POST", Path, "{}").Code(), "not_signed_in");
    EXPECT_EQ(AskAs({m_Olga.at(0)}, "POST", Path, "{}").Code(), "csrf_token");
  }
  EXPECT_EQ(Value(111).at("value"), "80");
}

TEST_F(TransactionTest, KeepsWhatIsHiddenFromOperators) {
  EXPECT_EQ(Change({Setting(115, "1234")}).m_Status, 422);

  m_Olga = SignIn("bert");
  TransactionIn(Change({Setting(115, "1234")}));
}

TEST_F(TransactionTest, TellsNoSecretInAConflict) {
  std::string const Seen = Revision();
  Property({"set", "Motto=hidden-motto"});
  Property({"set", "Brightness=70"});
  Await(111, "70");
  TJSON const Body = BodyOf({Setting(212, "guess")}, Seen);

  TReply const Operator = Send(Body);
  TReply const Administrator = AskAs(SignIn("bert"), "POST", kTransactions, Body.dump());

  EXPECT_EQ(Operator.m_Status, 412);
  EXPECT_THAT(Operator.m_Body, Not(HasSubstr("hidden-motto")));
  EXPECT_THAT(Administrator.m_Body, HasSubstr("hidden-motto"));
}

TEST_F(TransactionTest, RefusesBodiesThatAreNone) {
  for (char const* Body : {"x", "[]", "null", "{", "\"\"", "{\"revision\":\"\xff\"}"}) {
    EXPECT_EQ(AskAs(m_Olga, "POST", kTransactions, Body).Code(), "no_json") << Body;
  }
  TJSON const Good = TJSON::array({Setting(111, "60")});
  TJSON Deep = 1;
  for (int Level = 0; Level < 100; ++Level) {
    Deep = TJSON::array({Deep});
  }
  EXPECT_EQ(Send({{"revision", Deep}}).Code(), "no_json");
  for (TJSON const& Body :
       std::vector<TJSON>{TJSON::object(),
                          {{"changes", Good}},
                          {{"revision", 1}, {"changes", Good}},
                          {{"revision", "x"}, {"changes", Good}, {"device", "x"}},
                          {{"revision", "x"}, {"changes", Good}, {"device", 1}},
                          {{"revision", "x"}, {"changes", Good}, {"device", ""}},
                          {{"revision", "x"}, {"changes", Good}, {"confirm_within", 9}},
                          {{"revision", "x"}, {"changes", Good}, {"confirm_within", 3601}},
                          {{"revision", "x"}, {"changes", Good}, {"confirm_within", "10"}},
                          {{"revision", "x"}, {"changes", Good}, {"confirm_within", 1e300}},
                          {{"revision", "x"}, {"changes", Good}, {"force", true}}}) {
    TReply const Reply = Send(Body);
    EXPECT_EQ(Reply.m_Status, 400) << Body;
    EXPECT_EQ(Reply.Code(), "bad_transaction") << Body;
  }
}

TEST_F(TransactionTest, RefusesChangesThatAreNone) {
  for (TJSON const& Change :
       std::vector<TJSON>{1,
                          "x",
                          TJSON(),
                          TJSON::array(),
                          TJSON::object(),
                          {{"value", "x"}},
                          {{"number", 111}},
                          {{"number", 111}, {"value", 60}},
                          {{"number", 111}, {"value", TJSON()}},
                          {{"number", 111}, {"reset", false}},
                          {{"number", 111}, {"reset", 1}},
                          {{"number", 111}, {"reset", true}, {"value", "60"}},
                          {{"number", 111}, {"reset", false}, {"value", "60"}},
                          {{"number", "111"}, {"value", "60"}},
                          {{"number", 111.5}, {"value", "60"}},
                          {{"number", 0}, {"value", "60"}},
                          {{"number", -111}, {"value", "60"}},
                          {{"number", 2147483648}, {"value", "60"}},
                          {{"number", 4294967407}, {"value", "60"}},
                          {{"number", 18446744073709551615U}, {"value", "60"}},
                          {{"number", 111}, {"record", "7"}, {"value", "60"}},
                          {{"number", 111}, {"record", 2147483648}, {"value", "60"}},
                          {{"number", 111}, {"record", 18446744073709551615U}, {"value", "60"}},
                          {{"number", 111}, {"record", -2147483649}, {"value", "60"}},
                          {{"number", 111}, {"mac", "02:00:00:00:00:01"}, {"value", "60"}}}) {
    TReply const Reply = Send(BodyOf(std::vector<TJSON>(1, Change), "x"));
    EXPECT_EQ(Reply.m_Status, 400) << Change;
    EXPECT_EQ(Reply.Code(), "bad_change") << Change;
  }
}

TEST_F(TransactionTest, RefusesTooManyChangesAndPlacesThatComeTwice) {
  std::vector<TJSON> Many;
  Many.reserve(1001);
  for (int Record = 0; Record < 1001; ++Record) {
    Many.push_back(OfRecord(Record, "x"));
  }
  EXPECT_EQ(Send(BodyOf(Many, "x")).Code(), "bad_change");
  EXPECT_EQ(Send(BodyOf({}, "x")).Code(), "bad_change");
  EXPECT_EQ(Send({{"revision", "x"}, {"changes", TJSON::object()}}).Code(), "bad_change");
  EXPECT_EQ(Send({{"revision", "x"}, {"changes", "x"}}).Code(), "bad_change");
  EXPECT_EQ(Send(BodyOf({Setting(111, "1"), Setting(111, "2")}, "x")).Code(), "bad_change");
  Many.erase(Many.begin());
  TransactionIn(Change(Many));
  EXPECT_EQ(Value(311, 1000).at("value"), "x");
}

TEST_F(TransactionTest, RefusesABodyThatIsTooLarge) {
  StartConsole({"--body-kib", "1"});
  m_Olga = SignIn("olga");

  EXPECT_EQ(Send(BodyOf({Setting(113, std::string(2000, 'x'))}, "x")).m_Status, 413);
}

TEST_F(TransactionTest, TakesAnyTextThatIsOne) {
  std::string const Text = std::string("a\0\n</script>\x1b[2J\xf0\x9f\x98\x80", 20);

  TransactionIn(Change({Setting(113, Text)}));

  EXPECT_EQ(Value(113).at("value"), Text);
}

TEST_F(TransactionTest, IsNotPossibleWhileTheServerIsAway) {
  TJSON const Body = BodyOf({Setting(111, "60")}, Revision());
  m_Server->End(SIGKILL);

  EXPECT_EQ(Send(Body).Code(), "no_server");
  EXPECT_EQ(Undo("1").Code(), "no_server");
  EXPECT_EQ(Confirm("1").Code(), "no_server");
}

TEST_F(TransactionTest, IsLoggedWithWhoHasMadeIt) {
  std::string const Transaction = TransactionIn(Change({Setting(111, "60")}));

  EXPECT_EQ(m_Console->End(SIGTERM), 0);

  EXPECT_THAT(m_Console->Errors(),
              HasSubstr("olga has changed values: transaction " + Transaction));
}

TEST_F(TransactionTest, CanBeTakenBack) {
  TransactionIn(Change({Setting(111, "60")}));
  std::string const Second = TransactionIn(Change({Setting(111, "61"), Setting(113, "x")}));

  EXPECT_NE(TransactionIn(Undo(Second)), "null");

  EXPECT_EQ(Value(111).at("value"), "60");
  EXPECT_EQ(Value(113).at("source"), "default");
}

TEST_F(TransactionTest, IsNotTakenBackWhereAnotherHasChangedTheValueSince) {
  std::string const Transaction = TransactionIn(Change({Setting(111, "60"), Setting(113, "x")}));
  TransactionIn(Change({Setting(111, "61")}));

  TReply const Reply = Undo(Transaction);

  EXPECT_EQ(Reply.m_Status, 409);
  EXPECT_EQ(Reply.Code(), "changed_since");
  TJSON const Conflicts = TJSON::parse(Reply.m_Body).at("conflicts");
  ASSERT_EQ(Conflicts.size(), 1U);
  EXPECT_EQ(Conflicts.at(0).at("value"), "61");
  EXPECT_EQ(Value(113).at("value"), "x");
}

TEST_F(TransactionTest, IsNotTakenBackWhereItsTextsAreNotKept) {
  std::string const Transaction = TransactionIn(Change({Setting(212, "hidden-motto")}));

  TReply const Reply = Undo(Transaction);

  EXPECT_EQ(Reply.m_Status, 422);
  EXPECT_EQ(TJSON::parse(Reply.m_Body).at("refusals").at(0).at("number"), TJSON());
  EXPECT_THAT(Reply.m_Body, Not(HasSubstr("hidden-motto")));
}

TEST_F(TransactionTest, IsNotTakenBackByOperatorsWhereItHasChangedWhatIsHidden) {
  auto const Olga = std::exchange(m_Olga, SignIn("bert"));
  std::string const Transaction = TransactionIn(Change({Setting(113, "x"), Setting(115, "1234")}));
  m_Olga = Olga;

  TReply const Reply = Undo(Transaction);

  EXPECT_EQ(Reply.m_Status, 422);
  EXPECT_EQ(Value(115).at("value"), "1234");
  m_Olga = SignIn("bert");
  EXPECT_NE(TransactionIn(Undo(Transaction)), "null");
}

TEST_F(TransactionTest, IsUnknownByNumbersThatAreNone) {
  for (char const* Transaction : {"0", "-1", "x", "1x", "999999", "999999999999999999",
                                  "99999999999999999999999", "1e3", "%00", "1%20", "+1", "0x1"}) {
    EXPECT_EQ(Undo(Transaction).m_Status, 404) << Transaction;
    EXPECT_EQ(Confirm(Transaction).m_Status, 404) << Transaction;
  }
  EXPECT_EQ(AskAs(m_Olga, "POST", "/api/v1/transactions/1/undo", "[]").Code(), "no_json");
  EXPECT_EQ(AskAs(m_Olga, "POST", "/api/v1/transactions/1/undo", "{\"force\":true}").Code(),
            "bad_request");
  EXPECT_EQ(AskAs(m_Olga, "POST", "/api/v1/transactions/1/confirm", "{\"x\":1}").Code(),
            "bad_request");
}

TEST_F(TransactionTest, WaitsForItsConfirmation) {
  TJSON Body = BodyOf({Setting(111, "60")}, Revision());
  Body["confirm_within"] = 600;
  TReply const Reply = Send(Body);
  std::string const Transaction = TransactionIn(Reply);
  EXPECT_EQ(Value(111).at("value"), "60");
  EXPECT_GT(TJSON::parse(Reply.m_Body).at("confirm_until"), 600);

  EXPECT_EQ(TransactionIn(Confirm(Transaction)), Transaction);

  EXPECT_EQ(Confirm(Transaction).m_Status, 410);
  EXPECT_EQ(Value(111).at("value"), "60");
}

TEST_F(TransactionTest, IsTakenBackWhileItWaits) {
  TJSON Body = BodyOf({Setting(111, "60")}, Revision());
  Body["confirm_within"] = 600;
  std::string const Transaction = TransactionIn(Send(Body));

  TransactionIn(Undo(Transaction));

  EXPECT_EQ(Value(111).at("value"), "80");
  EXPECT_EQ(Confirm(Transaction).m_Status, 410);
}

TEST_F(TransactionTest, DependsOnWhatWasSeenAlsoWhereItWaits) {
  std::string const Seen = Revision();
  Property({"set", "Brightness=70"});
  Await(111, "70");
  TJSON Body = BodyOf({Setting(111, "60")}, Seen);
  Body["confirm_within"] = 600;

  EXPECT_EQ(Send(Body).m_Status, 412);
}

TEST_F(TransactionTest, NeedsNoConfirmationWithoutAskingForIt) {
  std::string const Transaction = TransactionIn(Change({Setting(111, "60")}));

  EXPECT_EQ(Confirm(Transaction).Code(), "not_pending");
}

}  // namespace
