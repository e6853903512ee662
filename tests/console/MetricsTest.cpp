// SPDX-License-Identifier: MIT
// Figures for programs that watch the console, with a real server.
#include <gmock/gmock.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "tests/console/ConsoleFixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kMetrics[] = "/metrics";

class MetricsTest : public TConsoleFixture {
 protected:
  MetricsTest() { AddUser("olga", "operator"); }

  /// Waits until the figures have the line.
  void Await(std::string const& Line) const {
    auto const Deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::string Text;
    do {
      Text = Ask("GET", kMetrics).m_Body;
    } while (Text.find("\n" + Line + "\n") == std::string::npos &&
             std::chrono::steady_clock::now() < Deadline);
    EXPECT_THAT(Text, HasSubstr("\n" + Line + "\n"));
  }
};

TEST_F(MetricsTest, AreForThoseWhoHaveSignedIn) {
  StartConsole();

  EXPECT_EQ(Ask("GET", kMetrics).Code(), "not_signed_in");
  TReply const Reply = AskAs(SignIn("olga"), "GET", kMetrics);
  EXPECT_EQ(Reply.m_Status, 200);
  EXPECT_EQ(Reply.Header("Content-Type"), "text/plain; version=0.0.4; charset=utf-8");
}

TEST_F(MetricsTest, AreForEverybodyWithTheOption) {
  StartConsole({"--metrics"});

  EXPECT_EQ(Ask("GET", kMetrics).m_Status, 200);
  EXPECT_EQ(Ask("POST", kMetrics, "{}").m_Status, 405);
  EXPECT_EQ(Exchange("GET /metrics HTTP/1.1\r\nHost: evil.example\r\n\r\n").m_Status, 403);
}

TEST_F(MetricsTest, HaveTheFormOfTheirKind) {
  StartConsole({"--metrics"});

  std::istringstream Lines(Ask("GET", kMetrics).m_Body);

  std::regex const Form(
      R"(# HELP [a-z_]+ .+|# TYPE [a-z_]+ (counter|gauge)|[a-z_]+(\{[a-z]+="[0-9a-z_]+"\})? [0-9.]+)");
  int Count = 0;
  for (std::string Line; std::getline(Lines, Line); ++Count) {
    EXPECT_TRUE(std::regex_match(Line, Form)) << Line;
  }
  EXPECT_GT(Count, 30);
}

TEST_F(MetricsTest, CountWhatHappens) {
  StartConsole({"--metrics"});
  auto const Olga = SignIn("olga");
  TrySignIn("olga", "wrong");
  nlohmann::json const Change = {{"number", 111}, {"value", "60"}};
  nlohmann::json const Wrong = {{"number", 111}, {"value", "bright"}};
  std::string const Revision =
      nlohmann::json::parse(AskAs(Olga, "GET", "/api/v1/values").m_Body).at("revision");
  for (auto const& [Each, Seen] : {std::pair(Change, Revision), std::pair(Wrong, Revision),
                                   std::pair(Change, std::string("x"))}) {
    nlohmann::json const Body = {{"revision", Seen},
                                 {"changes", std::vector<nlohmann::json>(1, Each)}};
    AskAs(Olga, "POST", "/api/v1/dry-run", Body.dump());
    AskAs(Olga, "POST", "/api/v1/transactions", Body.dump());
  }

  std::string const Text = Ask("GET", kMetrics).m_Body;

  EXPECT_THAT(Text, HasSubstr("\nproperty_console_sign_ins_total{result=\"done\"} 1\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_sign_ins_total{result=\"failed\"} 1\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_transactions_total{result=\"made\"} 1\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_transactions_total{result=\"conflict\"} 1\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_transactions_total{result=\"refused\"} 1\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_requests_total{status=\"4xx\"} 3\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_console_sessions 1\n"));
  EXPECT_THAT(Text, HasSubstr("\nproperty_server_values 1\n"));
}

TEST_F(MetricsTest, TellThatTheServerIsAwayAndNothingOfItsFigures) {
  StartConsole({"--metrics"});
  Await("property_console_connected 1");

  m_Server->End(SIGKILL);

  Await("property_console_connected 0");
  auto const Deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (Ask("GET", kMetrics).m_Body.find("property_server_") != std::string::npos &&
         std::chrono::steady_clock::now() < Deadline) {
  }
  EXPECT_THAT(Ask("GET", kMetrics).m_Body, Not(HasSubstr("property_server_")));
}

TEST_F(MetricsTest, CountStreamsWhileTheyAreOpen) {
  StartConsole({"--metrics"});
  auto const Olga = SignIn("olga");
  {
    TConnection const Stream(m_Port);
    Stream.Send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n" + Olga.at(0) + "\r\n\r\n");
    Await("property_console_streams 1");
  }

  Await("property_console_streams 0");
}

}  // namespace
