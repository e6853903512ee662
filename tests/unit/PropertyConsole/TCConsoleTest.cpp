// SPDX-License-Identifier: MIT
// The console's answers, without a network: signing in and out, refusals and headers.
#include "PropertyConsole/TCConsole.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "PropertyConsole/Passwords.h"
#include "tests/support/PrivateFolder.h"

namespace {

using namespace Property;

class Console : public ::testing::Test {
 protected:
  Console() {
    TCUserFile(m_Settings.Users).Add("anna", {TERole::eOperator, HashPassword("correct horse")});
    m_Console = std::make_unique<TCConsole>(m_Settings);
  }
  ~Console() override { std::filesystem::remove_all(m_Folder); }

  static TSConsoleSettings SettingsIn(std::string const& Folder) {
    TSConsoleSettings Settings;
    Settings.Users = Folder + "/users";
    return Settings;
  }
  TSAnswer Ask(std::string const& Method, std::string const& Path, std::string const& Body = "",
               std::multimap<std::string, std::string> const& Headers = {}) const {
    TSRequest Request;
    Request.Method = Method;
    Request.Path = Path;
    Request.Peer = m_Peer;
    Request.Headers = {{"host", "localhost"}, {"content-type", "application/json"}};
    Request.Headers.insert(Headers.begin(), Headers.end());
    if (auto const Refused = m_Console->Refuse(Request)) {
      return *Refused;
    }
    Request.Body = Body;
    return m_Console->Answer(Request);
  }
  TSAnswer SignIn(std::string const& User, std::string const& Password) const {
    return Ask("POST", "/api/v1/session",
               nlohmann::json{{"user", User}, {"password", Password}}.dump());
  }
  static std::string HeaderOf(TSAnswer const& Answer, std::string const& Wanted) {
    for (auto const& [Name, Value] : Answer.Headers) {
      if (Name == Wanted) {
        return Value;
      }
    }
    return "";
  }
  /// What Anna's page sends with each request.
  static std::multimap<std::string, std::string> PageHeaders(TSAnswer const& SignedIn) {
    std::string const Cookie = HeaderOf(SignedIn, "Set-Cookie");
    return {{"cookie", Cookie.substr(0, Cookie.find(';'))},
            {"x-csrf-token", nlohmann::json::parse(SignedIn.Body).at("csrf_token")}};
  }
  static std::string CodeOf(TSAnswer const& Answer) {
    return nlohmann::json::parse(Answer.Body).at("code");
  }

  std::string const m_Folder = MakePrivateFolder();
  TSConsoleSettings const m_Settings = SettingsIn(m_Folder);
  std::unique_ptr<TCConsole> m_Console;
  std::string m_Peer = "127.0.0.1";
};

TEST_F(Console, SignsIn) {
  TSAnswer const Answer = SignIn("anna", "correct horse");

  EXPECT_EQ(Answer.Status, 200);
  auto const Object = nlohmann::json::parse(Answer.Body);
  EXPECT_EQ(Object.at("user"), "anna");
  EXPECT_EQ(Object.at("role"), "operator");
  EXPECT_THAT(HeaderOf(Answer, "Set-Cookie"),
              ::testing::MatchesRegex("property=[0-9a-f]{64}; Path=/; HttpOnly; SameSite=Strict"));
}

TEST_F(Console, AnswersAnUnknownUserLikeAWrongPassword) {
  TSAnswer const Wrong = SignIn("anna", "wrong");
  TSAnswer const Unknown = SignIn("bert", "wrong");

  EXPECT_EQ(Wrong.Status, 401);
  EXPECT_EQ(CodeOf(Wrong), "sign_in_failed");
  EXPECT_EQ(Unknown.Status, Wrong.Status);
  EXPECT_EQ(Unknown.Body, Wrong.Body);
  EXPECT_EQ(Unknown.Headers, Wrong.Headers);
}

TEST_F(Console, TellsWhoHasSignedIn) {
  auto const Headers = PageHeaders(SignIn("anna", "correct horse"));

  TSAnswer const Answer = Ask("GET", "/api/v1/session", "", Headers);

  EXPECT_EQ(Answer.Status, 200);
  EXPECT_EQ(nlohmann::json::parse(Answer.Body).at("user"), "anna");
}

TEST_F(Console, SignsOut) {
  auto const Headers = PageHeaders(SignIn("anna", "correct horse"));

  TSAnswer const Answer = Ask("DELETE", "/api/v1/session", "", Headers);

  EXPECT_EQ(Answer.Status, 204);
  EXPECT_EQ(HeaderOf(Answer, "Set-Cookie"),
            "property=; Path=/; HttpOnly; SameSite=Strict; Max-Age=0");
  EXPECT_EQ(Ask("GET", "/api/v1/session", "", Headers).Status, 401);
}

TEST_F(Console, DoesNotSignOutForThePagesOfOthers) {
  auto Headers = PageHeaders(SignIn("anna", "correct horse"));
  Headers.erase("x-csrf-token");

  EXPECT_EQ(CodeOf(Ask("DELETE", "/api/v1/session", "", Headers)), "csrf_token");
}

TEST_F(Console, RefusesCredentialsThatAreNone) {
  for (char const* Body : {"", "x", "[]", "\"a\"", "{", "null", "\xff", "{\"a\":\"\xff\"}"}) {
    TSAnswer const Answer = Ask("POST", "/api/v1/session", Body);
    EXPECT_EQ(Answer.Status, 400) << Body;
    EXPECT_EQ(CodeOf(Answer), "no_json") << Body;
  }
  for (char const* Body :
       {"{}", "{\"user\":\"a\"}", "{\"user\":1,\"password\":\"x\"}",
        "{\"user\":\"a\",\"password\":null}", "{\"user\":[\"a\"],\"password\":{}}"}) {
    TSAnswer const Answer = Ask("POST", "/api/v1/session", Body);
    EXPECT_EQ(Answer.Status, 400) << Body;
    EXPECT_EQ(CodeOf(Answer), "no_credentials") << Body;
  }
  EXPECT_EQ(CodeOf(SignIn(std::string(65, 'a'), "x")), "no_credentials");
}

TEST_F(Console, StandsDeepBodies) {
  EXPECT_EQ(CodeOf(Ask("POST", "/api/v1/session", std::string(1 << 20, '['))), "no_json");
  EXPECT_EQ(CodeOf(Ask("POST", "/api/v1/session",
                       "{\"user\":" + std::string(100000, '[') + std::string(100000, ']') + "}")),
            "no_json");
  EXPECT_EQ(CodeOf(Ask("POST", "/api/v1/session",
                       "{\"user\":\"\\\"" + std::string(100, '[') + "\",\"password\":[[]]}")),
            "no_credentials");
}

TEST_F(Console, TakesHostileNamesAndPasswordsAsWrongOnes) {
  for (std::string const& Text :
       {std::string("</script>"), std::string("\x1b[2J\n"), std::string("a\0b", 3),
        std::string("'; DROP TABLE users; --"), std::string("..")}) {
    m_Peer += "1";
    EXPECT_EQ(CodeOf(SignIn(Text, Text)), "sign_in_failed");
  }
  m_Peer += "2";
  EXPECT_EQ(CodeOf(SignIn("anna", std::string(1 << 20, 'x'))), "sign_in_failed");
}

TEST_F(Console, SlowsDownWhoGuessesFromOneAddress) {
  for (int Guess = 0; Guess < 10; ++Guess) {
    EXPECT_EQ(SignIn("user" + std::to_string(Guess), "wrong").Status, 401);
  }

  TSAnswer const Answer = SignIn("anna", "correct horse");

  EXPECT_EQ(Answer.Status, 429);
  EXPECT_EQ(CodeOf(Answer), "too_many_attempts");
  EXPECT_EQ(HeaderOf(Answer, "Retry-After"), "30");
}

TEST_F(Console, SlowsDownWhoGuessesOnePasswordFromManyAddresses) {
  for (int Guess = 0; Guess < 10; ++Guess) {
    m_Peer = "10.0.0." + std::to_string(Guess);
    EXPECT_EQ(SignIn("anna", "wrong").Status, 401);
  }

  m_Peer = "10.0.1.1";
  EXPECT_EQ(SignIn("anna", "correct horse").Status, 429);
}

TEST_F(Console, KeepsBrowsersFromWhatIsNotMeant) {
  for (TSAnswer const& Answer :
       {Ask("GET", "/nothing"), Ask("GET", "/api/v1/session"), m_Console->Complain(500)}) {
    EXPECT_EQ(HeaderOf(Answer, "Content-Security-Policy"),
              "default-src 'none'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    EXPECT_EQ(HeaderOf(Answer, "X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(HeaderOf(Answer, "X-Frame-Options"), "DENY");
    EXPECT_EQ(HeaderOf(Answer, "Referrer-Policy"), "no-referrer");
    EXPECT_EQ(HeaderOf(Answer, "Cache-Control"), "no-store");
    EXPECT_EQ(HeaderOf(Answer, "Strict-Transport-Security"), "");
  }
}

TEST_F(Console, HasNothingElsewhere) {
  EXPECT_EQ(CodeOf(Ask("GET", "/nothing")), "not_found");
  TSAnswer const Answer = Ask("PUT", "/api/v1/session");
  EXPECT_EQ(Answer.Status, 405);
  EXPECT_EQ(HeaderOf(Answer, "Allow"), "POST, GET, DELETE");
}

TEST_F(Console, IsNotReachedByAnotherName) {
  TSRequest Request;
  Request.Method = "GET";
  Request.Path = "/api/v1/session";
  Request.Headers = {{"host", "evil.example"}};

  auto const Refused = m_Console->Refuse(Request);

  ASSERT_TRUE(Refused.has_value());
  EXPECT_EQ(CodeOf(*Refused), "unknown_host");
}

TEST_F(Console, ExplainsEveryStatusInItsForm) {
  for (int Status : {400, 404, 408, 411, 413, 414, 416, 431, 500, 503, 599}) {
    TSAnswer const Answer = m_Console->Complain(Status);
    EXPECT_EQ(Answer.Status, Status);
    EXPECT_NE(CodeOf(Answer), "");
  }
}

TEST_F(Console, LetsAnAnswerSayOtherwiseThanTheGuards) {
  m_Console->get_Routes().Add({"GET", "/own", std::nullopt, [](TSCall const& /*Call*/) {
                                 TSAnswer Answer;
                                 Answer.Headers = {{"Cache-Control", "no-cache"}};
                                 return Answer;
                               }});

  TSAnswer const Answer = Ask("GET", "/own");

  EXPECT_EQ(std::count_if(Answer.Headers.begin(), Answer.Headers.end(),
                          [](auto const& Header) { return Header.first == "Cache-Control"; }),
            1);
  EXPECT_EQ(HeaderOf(Answer, "Cache-Control"), "no-cache");
  EXPECT_EQ(HeaderOf(Answer, "X-Content-Type-Options"), "nosniff");
}

}  // namespace
