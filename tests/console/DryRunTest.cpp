// SPDX-License-Identifier: MIT
// What a change would do, over HTTP, with a real server.
#include <gmock/gmock.h>

#include <chrono>
#include <nlohmann/json.hpp>

#include "tests/console/ConsoleFixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using TDryJSON = nlohmann::json;

constexpr char kDryRun[] = "/api/v1/dry-run";

class DryRunTest : public TConsoleFixture {
 protected:
  void SetUp() override {
    AddUser("anna", "viewer");
    AddUser("olga", "operator");
    AddUser("bert", "administrator");
    StartConsole();
    m_Olga = SignIn("olga");
  }
  std::string Revision() const {
    TReply const Reply = AskAs(m_Olga, "GET", "/api/v1/values");
    return TDryJSON::parse(Reply.m_Body, nullptr, false).value("revision", "");
  }
  static TDryJSON Setting(int Number, std::string const& Text,
                          TDryJSON const& Record = TDryJSON()) {
    return {{"number", Number}, {"record", Record}, {"value", Text}};
  }
  static TDryJSON Resetting(int Number) { return {{"number", Number}, {"reset", true}}; }
  static TDryJSON BodyOf(std::vector<TDryJSON> const& Changes, std::string const& Revision) {
    return {{"revision", Revision}, {"changes", Changes}};
  }
  TReply Send(TDryJSON const& Body) const { return AskAs(m_Olga, "POST", kDryRun, Body.dump()); }
  /// What is answered to who has seen all that there is.
  TDryJSON Try(std::vector<TDryJSON> const& Changes) const {
    TReply const Reply = Send(BodyOf(Changes, Revision()));
    EXPECT_EQ(Reply.m_Status, 200) << Reply.m_Body;
    return TDryJSON::parse(Reply.m_Body, nullptr, false);
  }
  /// What another program sets, once the console has heard of it.
  void SetByAnother(std::string const& Setting) const {
    std::string const Seen = Revision();
    Property({"set", Setting});
    auto const Deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (Revision() == Seen && std::chrono::steady_clock::now() < Deadline) {
    }
  }

  std::vector<std::string> m_Olga;
};

TEST_F(DryRunTest, TellsWhatValuesReadAsBeforeAndAfter) {
  SetByAnother("Name=Panel");

  TDryJSON const Answer = Try({Setting(111, "60"), Resetting(113)});

  EXPECT_EQ(Answer.at("changes"),
            TDryJSON::parse(R"([{"number":111,"record":null,"secret":false,"from":"80","to":"60",
                                 "refused":null},
                                {"number":113,"record":null,"secret":false,"from":"Panel",
                                 "to":"Unit","refused":null}])"));
  EXPECT_EQ(Answer.at("conflicts"), TDryJSON::array());
}

TEST_F(DryRunTest, ChangesNothing) {
  std::string const Seen = Revision();

  Try({Setting(111, "60")});

  EXPECT_EQ(Revision(), Seen);
  EXPECT_EQ(TDryJSON::parse(AskAs(m_Olga, "GET", "/api/v1/history").m_Body).at("entries"),
            TDryJSON::array());
}

TEST_F(DryRunTest, TellsForEachChangeWhyItIsRefused) {
  TDryJSON const Changes = Try({Setting(111, "bright"), Setting(4711, "x", 7), Setting(115, "1234"),
                                Setting(113, "fine")})
                               .at("changes");

  ASSERT_EQ(Changes.size(), 4U);
  EXPECT_THAT(Changes.at(0).at("refused").get<std::string>(), HasSubstr("is no whole number"));
  EXPECT_EQ(Changes.at(0).at("from"), "80");
  EXPECT_EQ(Changes.at(0).at("to"), "bright");
  EXPECT_NE(Changes.at(1).at("refused"), TDryJSON());
  EXPECT_EQ(Changes.at(1).at("record"), 7);
  EXPECT_EQ(Changes.at(1).at("from"), TDryJSON());
  EXPECT_THAT(Changes.at(2).at("refused").get<std::string>(), HasSubstr("hidden"));
  EXPECT_EQ(Changes.at(3).at("refused"), TDryJSON());
}

TEST_F(DryRunTest, RefusesForTheSameReasonsAsATransaction) {
  TDryJSON const Body = BodyOf({Setting(111, "bright"), Setting(117, "UPPER")}, Revision());

  TReply const Refused = AskAs(m_Olga, "POST", "/api/v1/transactions", Body.dump());

  TDryJSON const Refusals = TDryJSON::parse(Refused.m_Body).at("refusals");
  TDryJSON const Changes = TDryJSON::parse(Send(Body).m_Body).at("changes");
  ASSERT_EQ(Refusals.size(), 2U);
  for (std::size_t Index = 0; Index < 2; ++Index) {
    EXPECT_EQ(Changes.at(Index).at("refused"), Refusals.at(Index).at("reason"));
  }
}

TEST_F(DryRunTest, TellsWhichFieldsBeginAndCeaseToApply) {
  TDryJSON const On = Try({Setting(114, "1")});
  EXPECT_EQ(On.at("shown"), TDryJSON::parse(R"([{"number":111,"record":null}])"));
  EXPECT_EQ(On.at("hidden"), TDryJSON::array());

  SetByAnother("Enabled=1");
  TDryJSON const Off = Try({Resetting(114)});
  EXPECT_EQ(Off.at("shown"), TDryJSON::array());
  EXPECT_EQ(Off.at("hidden"), TDryJSON::parse(R"([{"number":111,"record":null}])"));
}

TEST_F(DryRunTest, TellsOfARecordWhatItsOwnValuesGovern) {
  TDryJSON const Answer = Try({Setting(114, "1", 7)});

  EXPECT_EQ(Answer.at("shown"), TDryJSON::parse(R"([{"number":111,"record":7}])"));
}

TEST_F(DryRunTest, ShowsNothingByWhatIsRefused) {
  TDryJSON const Answer = Try({Setting(114, "perhaps")});

  EXPECT_EQ(Answer.at("shown"), TDryJSON::array());
}

TEST_F(DryRunTest, TellsWhatAnotherHasChangedSince) {
  std::string const Seen = Revision();
  SetByAnother("Brightness=70");

  TReply const Reply = Send(BodyOf({Setting(111, "60"), Setting(113, "x")}, Seen));

  EXPECT_EQ(Reply.m_Status, 200);
  TDryJSON const Answer = TDryJSON::parse(Reply.m_Body);
  ASSERT_EQ(Answer.at("conflicts").size(), 1U);
  EXPECT_EQ(Answer.at("conflicts").at(0).at("number"), 111);
  EXPECT_EQ(Answer.at("conflicts").at(0).at("value"), "70");
  EXPECT_EQ(Answer.at("changes").at(0).at("from"), "70");
  EXPECT_EQ(Answer.at("revision"), Revision());
}

TEST_F(DryRunTest, LooksAtTheDeviceThatIsMeant) {
  Property({"set", "Brightness=61", "--mac", kOtherDevice});
  TDryJSON Body = BodyOf({Setting(111, "60")}, "");
  Body["device"] = "02-00-00-00-00-02";

  TDryJSON Answer;
  do {
    Answer = TDryJSON::parse(Send(Body).m_Body);
  } while (Answer.at("changes").at(0).at("from") == "80");

  EXPECT_EQ(Answer.at("changes").at(0).at("from"), "61");
}

TEST_F(DryRunTest, TellsNoSecretButToAdministrators) {
  SetByAnother("Motto=hidden-motto");
  TDryJSON const Body = BodyOf({Setting(212, "guess")}, "");

  TReply const Operator = Send(Body);
  TReply const Administrator = AskAs(SignIn("bert"), "POST", kDryRun, Body.dump());

  EXPECT_THAT(Operator.m_Body, Not(HasSubstr("hidden-motto")));
  EXPECT_THAT(Operator.m_Body,
              HasSubstr(R"("number":212,"record":null,"secret":true,"from":null,"to":null)"));
  EXPECT_THAT(Administrator.m_Body, HasSubstr(R"("from":"hidden-motto","to":"guess")"));
}

TEST_F(DryRunTest, IsForOperatorsAndAdministrators) {
  TDryJSON const Body = BodyOf({Setting(111, "60")}, Revision());

  EXPECT_EQ(AskAs(SignIn("anna"), "POST", kDryRun, Body.dump()).Code(), "role_too_low");
  EXPECT_EQ(Ask("POST", kDryRun, Body.dump()).Code(), "not_signed_in");
  EXPECT_EQ(AskAs({m_Olga.at(0)}, "POST", kDryRun, Body.dump()).Code(), "csrf_token");
  EXPECT_EQ(AskAs(m_Olga, "GET", kDryRun).m_Status, 405);
}

TEST_F(DryRunTest, RefusesBodiesThatAreNone) {
  for (char const* Body : {"x", "[]", "{", "\xff"}) {
    EXPECT_EQ(AskAs(m_Olga, "POST", kDryRun, Body).Code(), "no_json") << Body;
  }
  EXPECT_EQ(Send(TDryJSON::object()).Code(), "bad_transaction");
  EXPECT_EQ(Send(BodyOf({}, "x")).Code(), "bad_change");
  EXPECT_EQ(Send(BodyOf(std::vector<TDryJSON>(1, {{"number", 111}}), "x")).Code(), "bad_change");
}

TEST_F(DryRunTest, StandsATransactionOfTheLargestSize) {
  std::vector<TDryJSON> Changes;
  Changes.reserve(1001);
  for (int Record = 0; Record < 1000; ++Record) {
    Changes.push_back(Setting(114, "1", Record));
  }

  EXPECT_EQ(Try(Changes).at("shown").size(), 1000U);
  Changes.push_back(Setting(113, "x"));
  EXPECT_EQ(Send(BodyOf(Changes, "x")).Code(), "bad_change");
}

}  // namespace
