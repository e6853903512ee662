// SPDX-License-Identifier: MIT
// The gate: which requests pass it.
#include "PropertyConsole/TCGate.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "PropertyConsole/Passwords.h"
#include "tests/support/PrivateFolder.h"

namespace {

using namespace Property;

TCUserFile FileWithUsers(std::string const& Folder) {
  TCUserFile File(Folder + "/users");
  File.Add("anna", {TERole::eOperator, "$y$anna"});
  return File;
}

class Gate : public ::testing::Test {
 protected:
  ~Gate() override { std::filesystem::remove_all(m_Folder); }

  /// A request of Anna's page.
  TSRequest NewRequest(std::string const& Method) const {
    TSRequest Request;
    Request.Method = Method;
    Request.Headers = {{"host", "localhost:8420"},
                       {"cookie", "property=" + m_Token},
                       {"content-type", "application/json"},
                       {"x-csrf-token", m_CSRFToken}};
    return Request;
  }
  static TSRoute NewRoute(std::string const& Method,
                          std::optional<TERole> Needed = TERole::eViewer) {
    return {Method, "/", Needed, nullptr};
  }
  /// Status and beginning of the refusal; "" when the request may pass.
  std::string Refusal(TSRequest const& Request, TSRoute const& Route) {
    auto const Refused = m_Gate.Refuse(Request, Route, m_Session, m_Found);
    return Refused ? std::to_string(Refused->Status) + " " + CodeIn(*Refused) : "";
  }
  static std::string CodeIn(TSAnswer const& Answer) {
    std::string const Mark = "\"code\":\"";
    std::size_t const Begin = Answer.Body.find(Mark) + Mark.size();
    return Answer.Body.substr(Begin, Answer.Body.find('"', Begin) - Begin);
  }
  std::string WriteRefusal(std::string const& Header, std::string const& Value) {
    TSRequest Request = NewRequest("POST");
    Request.Headers.erase(Header);
    Request.Headers.emplace(Header, Value);
    return Refusal(Request, NewRoute("POST"));
  }
  bool IsOwnHost(std::string const& Host) const {
    TSRequest Request;
    Request.Headers.emplace("host", Host);
    return !m_Gate.RefuseHost(Request).has_value();
  }

  std::string const m_Folder = MakePrivateFolder();
  TCUserFile const m_File = FileWithUsers(m_Folder);
  TCUsers m_Users{m_File.get_Path()};
  TCSessions m_Sessions{{}};
  TCGate m_Gate{{"Box.example"}, false, m_Sessions, m_Users};
  std::string const m_Token = *m_Sessions.Open("anna", TERole::eOperator, "$y$anna");
  std::string const m_CSRFToken = m_Sessions.Use(m_Token)->CSRFToken;
  TSSession m_Session;
  std::string m_Found;
};

TEST_F(Gate, LetsThroughWhoHasSignedIn) {
  EXPECT_EQ(Refusal(NewRequest("GET"), NewRoute("GET")), "");

  EXPECT_EQ(m_Session.User, "anna");
  EXPECT_EQ(m_Found, m_Token);
}

TEST_F(Gate, FindsTheCookieAmongOthers) {
  TSRequest Request = NewRequest("GET");
  Request.Headers.erase("cookie");
  Request.Headers.emplace("cookie", "a=b;  property=" + m_Token + "; xproperty=1");

  EXPECT_EQ(Refusal(Request, NewRoute("GET")), "");
}

TEST_F(Gate, RefusesWhoHasNotSignedIn) {
  for (std::string const& Cookie :
       {std::string(), std::string("property="), std::string(";;;"), "xproperty=" + m_Token,
        "property=" + m_Token.substr(1), std::string(10000, ';')}) {
    TSRequest Request = NewRequest("GET");
    Request.Headers.erase("cookie");
    Request.Headers.emplace("cookie", Cookie);
    EXPECT_EQ(Refusal(Request, NewRoute("GET")), "401 not_signed_in") << Cookie;
  }
}

TEST_F(Gate, LetsEverybodyToPublicRoutes) {
  TSRequest Request;
  EXPECT_EQ(Refusal(Request, NewRoute("GET", std::nullopt)), "");
}

TEST_F(Gate, RefusesWhoWasRemoved) {
  m_File.Remove("anna");

  EXPECT_EQ(Refusal(NewRequest("GET"), NewRoute("GET")), "401 not_signed_in");
}

TEST_F(Gate, RefusesWhoseRoleHasChanged) {
  m_File.Remove("anna");
  m_File.Add("anna", {TERole::eViewer, "$y$anna"});

  EXPECT_EQ(Refusal(NewRequest("GET"), NewRoute("GET")), "401 not_signed_in");
}

TEST_F(Gate, RefusesWhosePasswordHasChanged) {
  m_File.Remove("anna");
  m_File.Add("anna", {TERole::eOperator, "$y$other"});

  EXPECT_EQ(Refusal(NewRequest("GET"), NewRoute("GET")), "401 not_signed_in");
}

TEST_F(Gate, RefusesARoleThatIsTooLow) {
  EXPECT_EQ(Refusal(NewRequest("GET"), NewRoute("GET", TERole::eOperator)), "");
  EXPECT_EQ(Refusal(NewRequest("GET"), NewRoute("GET", TERole::eAdministrator)),
            "403 role_too_low");
}

TEST_F(Gate, LetsWriteWhoRepeatsTheToken) {
  EXPECT_EQ(Refusal(NewRequest("POST"), NewRoute("POST")), "");
}

TEST_F(Gate, RefusesToWriteWithoutTheToken) {
  EXPECT_EQ(WriteRefusal("x-csrf-token", ""), "403 csrf_token");
  EXPECT_EQ(WriteRefusal("x-csrf-token", m_CSRFToken + "0"), "403 csrf_token");
  EXPECT_EQ(WriteRefusal("x-csrf-token", m_Token), "403 csrf_token");
}

TEST_F(Gate, RefusesToWriteForThePagesOfOthers) {
  EXPECT_EQ(WriteRefusal("origin", "http://localhost:8420"), "");
  EXPECT_EQ(WriteRefusal("origin", "https://localhost:8420"), "");
  for (char const* Origin : {"null", "http://evil.example", "http://localhost:8421",
                             "http://localhost:8420.evil.example", "http://localhost"}) {
    EXPECT_EQ(WriteRefusal("origin", Origin), "403 other_origin") << Origin;
  }
  EXPECT_EQ(WriteRefusal("sec-fetch-site", "same-origin"), "");
  EXPECT_EQ(WriteRefusal("sec-fetch-site", "cross-site"), "403 other_origin");
  EXPECT_EQ(WriteRefusal("sec-fetch-site", "same-site"), "403 other_origin");
}

TEST_F(Gate, RefusesToWriteWhatFormsCanSend) {
  EXPECT_EQ(WriteRefusal("content-type", "application/json; charset=utf-8"), "");
  for (char const* Type : {"", "text/plain", "application/x-www-form-urlencoded",
                           "multipart/form-data; boundary=x", "application/jsonx"}) {
    EXPECT_EQ(WriteRefusal("content-type", Type), "415 no_json") << Type;
  }
}

TEST_F(Gate, KnowsItsHosts) {
  for (char const* Own : {"localhost", "LocalHost:1", "127.0.0.1:8420", "[::1]:8420", "10.1.2.3",
                          "box.example", "BOX.EXAMPLE:443"}) {
    EXPECT_TRUE(IsOwnHost(Own)) << Own;
  }
  for (char const* Other : {"", "evil.example", "localhost.evil.example", "[", "[]", "[evil]",
                            "127.0.0.1.evil.example", "box.example.evil"}) {
    EXPECT_FALSE(IsOwnHost(Other)) << Other;
  }
}

TEST_F(Gate, TakesNoSecondHost) {
  TSRequest Request;
  EXPECT_TRUE(m_Gate.RefuseHost(Request).has_value());
  Request.Headers.emplace("host", "localhost");
  Request.Headers.emplace("host", "localhost");
  EXPECT_TRUE(m_Gate.RefuseHost(Request).has_value());
}

TEST_F(Gate, MakesCookiesThatScriptsAndOtherPagesDoNotGet) {
  EXPECT_EQ(m_Gate.CookieOf("ab"), "property=ab; Path=/; HttpOnly; SameSite=Strict");
  EXPECT_EQ(m_Gate.CookieOf(""), "property=; Path=/; HttpOnly; SameSite=Strict; Max-Age=0");
}

TEST_F(Gate, MakesCookiesThatStayEncrypted) {
  TCGate const Encrypted({}, true, m_Sessions, m_Users);

  EXPECT_EQ(Encrypted.CookieOf("ab"),
            "__Host-property=ab; Path=/; HttpOnly; SameSite=Strict; Secure");
}

}  // namespace
