// SPDX-License-Identifier: MIT
// Signing in and out over HTTP.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "tests/console/ConsoleFixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class SignInTest : public TConsoleFixture {
 protected:
  SignInTest() { AddUser("anna", "operator"); }
};

TEST_F(SignInTest, OpensASessionThatTheCookieStandsFor) {
  StartConsole();

  TReply const Reply = AskAs(SignIn("anna"), "GET", kSession);

  EXPECT_EQ(Reply.m_Status, 200);
  EXPECT_EQ(nlohmann::json::parse(Reply.m_Body).value("user", ""), "anna");
  EXPECT_EQ(Reply.Header("Content-Type"), "application/json");
}

TEST_F(SignInTest, IsRefusedToWhoeverHasNoCookie) {
  StartConsole();

  TReply const Reply = Ask("GET", kSession);

  EXPECT_EQ(Reply.m_Status, 401);
  EXPECT_EQ(Reply.Code(), "not_signed_in");
}

TEST_F(SignInTest, AnswersAWrongPasswordLikeAnUnknownUser) {
  StartConsole();

  TReply const Wrong = TrySignIn("anna", "wrong");
  TReply const Unknown = TrySignIn("nobody", "wrong");

  EXPECT_EQ(Wrong.m_Status, 401);
  EXPECT_EQ(Wrong.Code(), "sign_in_failed");
  EXPECT_EQ(Unknown.m_Body, Wrong.m_Body);
  EXPECT_EQ(Unknown.m_Headers, Wrong.m_Headers);
}

TEST_F(SignInTest, EndsWithSigningOut) {
  StartConsole();
  auto const Page = SignIn("anna");

  EXPECT_EQ(AskAs(Page, "DELETE", kSession).m_Status, 204);

  EXPECT_EQ(AskAs(Page, "GET", kSession).m_Status, 401);
}

TEST_F(SignInTest, EndsAtOnceForWhoIsRemoved) {
  StartConsole();
  auto const Page = SignIn("anna");
  EXPECT_EQ(AskAs(Page, "GET", kSession).m_Status, 200);

  ASSERT_EQ(Command({"user", "remove", "anna"}), 0);

  EXPECT_EQ(AskAs(Page, "GET", kSession).m_Status, 401);
  EXPECT_EQ(TrySignIn("anna", kPassword).m_Status, 401);
}

TEST_F(SignInTest, IsPossibleForWhoIsAddedWhileTheConsoleRuns) {
  StartConsole();

  AddUser("bert", "viewer");

  EXPECT_EQ(AskAs(SignIn("bert"), "GET", kSession).m_Status, 200);
}

TEST_F(SignInTest, TellsPasswordsToNoLog) {
  StartConsole();
  TrySignIn("anna", "secret-of-anna");

  EXPECT_EQ(m_Console->End(SIGTERM), 0);

  EXPECT_THAT(m_Console->Errors(), HasSubstr("Sign-in of \"anna\" from 127.0.0.1 has failed"));
  EXPECT_THAT(m_Console->Errors(), Not(HasSubstr("secret-of-anna")));
}

// Whoever reads the log, a program that shuts addresses out for example, finds none that a name
// has made up.
TEST_F(SignInTest, LetsNoNameSayInTheLogWhereItComesFrom) {
  StartConsole();
  TrySignIn("anna\" from 10.0.0.9 has failed", "wrong");
  TrySignIn("anna\x1b[2J", "wrong");

  EXPECT_EQ(m_Console->End(SIGTERM), 0);

  EXPECT_THAT(m_Console->Errors(),
              HasSubstr("Sign-in of a user with no possible name from 127.0.0.1 has failed"));
  EXPECT_THAT(m_Console->Errors(), Not(HasSubstr("10.0.0.9")));
  EXPECT_THAT(m_Console->Errors(), Not(HasSubstr("x1b")));
}

TEST_F(SignInTest, TakesAGuesserNoFurtherThanHisAttempts) {
  StartConsole();
  for (int Guess = 0; Guess < 10; ++Guess) {
    EXPECT_EQ(TrySignIn("anna", "wrong").m_Status, 401);
  }

  EXPECT_EQ(TrySignIn("anna", kPassword).Code(), "too_many_attempts");
}

TEST_F(SignInTest, GuardsEveryAnswer) {
  StartConsole();

  for (TReply const& Reply : {Ask("GET", "/none"), Ask("GET", kSession),
                              TrySignIn("anna", kPassword), Exchange("nonsense\r\n\r\n")}) {
    EXPECT_THAT(Reply.Header("Content-Security-Policy"), HasSubstr("default-src 'none'"));
    EXPECT_EQ(Reply.Header("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(Reply.Header("Cache-Control"), "no-store");
    EXPECT_EQ(Reply.Header("Connection"), "close");
  }
}

}  // namespace
