// SPDX-License-Identifier: MIT
// Sessions: their tokens, time and number.
#include "PropertyConsole/TCSessions.h"

#include <gmock/gmock.h>

namespace {

using Property::TCSessions;
using Property::TERole;
using std::chrono::seconds;

class Sessions : public ::testing::Test {
 protected:
  std::string Open(std::string const& User = "anna") {
    return m_Sessions.Open(User, TERole::eOperator, "$y$hash").value_or("none");
  }
  bool IsOpen(std::string const& Token) { return m_Sessions.Use(Token).has_value(); }

  std::chrono::steady_clock::time_point m_Now{seconds(1000)};
  TCSessions m_Sessions{{seconds(60), seconds(300), 2, 3}, [this] { return m_Now; }};
};

TEST_F(Sessions, AreFoundByTheirToken) {
  auto const Session = m_Sessions.Use(Open());

  ASSERT_TRUE(Session.has_value());
  EXPECT_EQ(Session->User, "anna");
  EXPECT_EQ(Session->Role, TERole::eOperator);
  EXPECT_EQ(Session->Hash, "$y$hash");
  EXPECT_THAT(Session->CSRFToken, ::testing::MatchesRegex("[0-9a-f]{32}"));
}

TEST_F(Sessions, AreFoundByNothingElse) {
  std::string const Token = Open();

  EXPECT_FALSE(IsOpen(""));
  EXPECT_FALSE(IsOpen("x"));
  EXPECT_FALSE(IsOpen(Token.substr(0, 32)));
  EXPECT_FALSE(IsOpen(Token.substr(0, 32) + std::string(32, '0')));
  EXPECT_FALSE(IsOpen(Token + "0"));
  EXPECT_FALSE(IsOpen(std::string(1 << 20, 'a')));
  EXPECT_TRUE(IsOpen(Token));
}

TEST_F(Sessions, HaveCSRFTokensThatSayNothingOfTheirs) {
  std::string const Token = Open();

  EXPECT_EQ(Token.find(m_Sessions.Use(Token)->CSRFToken), std::string::npos);
}

TEST_F(Sessions, EndWhenNobodyUsesThem) {
  std::string const Token = Open();

  m_Now += seconds(59);
  EXPECT_TRUE(IsOpen(Token));
  m_Now += seconds(60);
  EXPECT_FALSE(IsOpen(Token));
}

TEST_F(Sessions, EndAfterTheirTimeHoweverOftenTheyAreUsed) {
  std::string const Token = Open();

  for (int Use = 0; Use < 10; ++Use) {
    EXPECT_TRUE(IsOpen(Token));
    m_Now += seconds(30);
  }

  EXPECT_FALSE(IsOpen(Token));
}

TEST_F(Sessions, EndWhenTheyAreClosed) {
  std::string const Token = Open();

  m_Sessions.Close(Token);

  EXPECT_FALSE(IsOpen(Token));
}

TEST_F(Sessions, AreNotClosedByHalfAToken) {
  std::string const Token = Open();

  m_Sessions.Close(Token.substr(0, 32));

  EXPECT_TRUE(IsOpen(Token));
}

TEST_F(Sessions, OfOneUserGiveWayToHisNextOnes) {
  std::string const First = Open();
  m_Now += seconds(1);
  std::string const Second = Open();
  m_Now += seconds(1);
  EXPECT_TRUE(IsOpen(First));

  Open();

  EXPECT_TRUE(IsOpen(First));
  EXPECT_FALSE(IsOpen(Second));
}

TEST_F(Sessions, AreNotTakenFromOthers) {
  std::string const Anna = Open("anna");
  Open("bert");
  Open("carl");

  EXPECT_EQ(Open("dora"), "none");
  EXPECT_TRUE(IsOpen(Anna));
  EXPECT_EQ(m_Sessions.get_Count(), 3U);
}

TEST_F(Sessions, ThatAreOverMakeRoom) {
  Open("anna");
  Open("bert");
  Open("carl");

  m_Now += seconds(60);

  EXPECT_NE(Open("dora"), "none");
  EXPECT_EQ(m_Sessions.get_Count(), 1U);
}

}  // namespace
