// SPDX-License-Identifier: MIT
// Requests that are malformed, too large, too slow or too many.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <memory>
#include <vector>

#include "tests/console/ConsoleFixture.h"

namespace {

class HTTPTest : public TConsoleFixture {
 protected:
  /// The status of a request with these lines of its head, and body.
  int StatusOf(std::string const& Lines, std::string const& Body = "") const {
    return Exchange(Lines + "\r\n" + Body).m_Status;
  }
  /// The head of a sound sign-in, but for what says its length.
  static std::string PostHead() {
    return "POST /api/v1/session HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n";
  }
  /// Has a thread wait for what follows the head of this request.
  std::unique_ptr<TConnection> TakeThread() const {
    auto Connection = std::make_unique<TConnection>(m_Port);
    Connection->Send(PostHead() + "Content-Length: 2\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(Connection->HearSome().substr(0, 12), "HTTP/1.1 100");
    return Connection;
  }
  void ExpectAlive() const { EXPECT_EQ(Ask("GET", "/api/v1/session").m_Status, 401); }
};

TEST_F(HTTPTest, RefusesWhatIsNoRequest) {
  StartConsole();

  EXPECT_EQ(StatusOf("nonsense\r\n"), 400);
  EXPECT_EQ(StatusOf("GET\r\n"), 400);
  EXPECT_EQ(StatusOf("GET / HTTP/9.9\r\nHost: localhost\r\n"), 400);
  EXPECT_EQ(StatusOf("BREW / HTTP/1.1\r\nHost: localhost\r\n"), 400);
  EXPECT_EQ(StatusOf(std::string("\0\xff\xfe\r\n", 5)), 400);
  ExpectAlive();
}

TEST_F(HTTPTest, SaysWhatIsWrongInOneForm) {
  StartConsole();

  TReply const Reply = Exchange("nonsense\r\n\r\n");

  EXPECT_EQ(Reply.Code(), "bad_request");
  EXPECT_EQ(Reply.Header("Content-Type"), "application/json");
}

TEST_F(HTTPTest, RefusesAHeadThatIsTooLarge) {
  StartConsole();
  std::string Many = "GET / HTTP/1.1\r\nHost: localhost\r\n";
  for (int Header = 0; Header < 2000; ++Header) {
    Many += "X-" + std::to_string(Header) + ": y\r\n";
  }

  EXPECT_EQ(StatusOf(Many), 431);
  EXPECT_EQ(
      StatusOf("GET / HTTP/1.1\r\nHost: localhost\r\nX: " + std::string(1 << 20, 'x') + "\r\n"),
      431);
  EXPECT_EQ(StatusOf("GET /" + std::string(9000, 'x') + " HTTP/1.1\r\nHost: localhost\r\n"), 414);
  TReply const Reply =
      Exchange("GET /" + std::string(1 << 20, 'x') + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_EQ(Reply.m_Status, 414);
  EXPECT_EQ(Reply.Code(), "address_too_long");
  ExpectAlive();
}

TEST_F(HTTPTest, StandsALongPath) {
  StartConsole();

  EXPECT_EQ(StatusOf("GET /" + std::string(8000, '/') + " HTTP/1.1\r\nHost: localhost\r\n"), 404);
  EXPECT_EQ(StatusOf("GET /%00%0d%0a%ff HTTP/1.1\r\nHost: localhost\r\n"), 404);
}

TEST_F(HTTPTest, RefusesABodyWithoutALength) {
  StartConsole();

  EXPECT_EQ(StatusOf(PostHead()), 411);
  EXPECT_EQ(StatusOf(PostHead() + "Transfer-Encoding: chunked\r\n", "0\r\n\r\n"), 411);
  EXPECT_EQ(StatusOf(PostHead() + "Content-Length: 2\r\nContent-Encoding: gzip\r\n", "xx"), 411);
}

TEST_F(HTTPTest, RefusesALengthThatIsNone) {
  StartConsole();

  for (char const* Length : {"x", "-1", "1 2", "0x2", "+2", "2,2"}) {
    EXPECT_EQ(StatusOf(PostHead() + "Content-Length: " + Length + "\r\n", "{}"), 400) << Length;
  }
  EXPECT_EQ(StatusOf(PostHead() + "Content-Length: 2\r\nContent-Length: 3\r\n", "{}"), 400);
}

TEST_F(HTTPTest, RefusesABodyThatIsTooLargeBeforeItComes) {
  StartConsole({"--body-kib", "1"});

  EXPECT_EQ(StatusOf(PostHead() + "Content-Length: 1025\r\n"), 413);
  EXPECT_EQ(StatusOf(PostHead() + "Content-Length: 99999999999999999999999\r\n"), 413);
  EXPECT_EQ(StatusOf(PostHead() + "Content-Length: 1024\r\n", std::string(1024, ' ')), 400);
}

TEST_F(HTTPTest, AnswersWhoSendsTooMuchAllTheSame) {
  StartConsole({"--body-kib", "1"});

  EXPECT_EQ(StatusOf(PostHead() + "Content-Length: 4000000\r\n", std::string(4000000, ' ')), 413);
  ExpectAlive();
}

TEST_F(HTTPTest, RefusesFormsOfOtherPages) {
  StartConsole();
  std::string const Head = "POST /api/v1/session HTTP/1.1\r\nHost: localhost\r\n";

  EXPECT_EQ(StatusOf(Head + "Content-Type: text/plain\r\nContent-Length: 2\r\n", "{}"), 415);
  EXPECT_EQ(
      StatusOf(Head + "Content-Type: multipart/form-data; boundary=x\r\nContent-Length: 2\r\n",
               "{}"),
      415);
  EXPECT_EQ(StatusOf(PostHead() + "Origin: http://evil.example\r\nContent-Length: 2\r\n", "{}"),
            403);
}

TEST_F(HTTPTest, IsNotReachedByNamesOfOthers) {
  StartConsole({"--host-name", "box.example"});

  EXPECT_EQ(StatusOf("GET /api/v1/session HTTP/1.1\r\nHost: evil.example\r\n"), 403);
  EXPECT_EQ(StatusOf("GET /api/v1/session HTTP/1.1\r\n"), 403);
  EXPECT_EQ(StatusOf("GET /api/v1/session HTTP/1.1\r\nHost: Box.Example:8420\r\n"), 401);
}

TEST_F(HTTPTest, SaysWhichMethodsThereAre) {
  StartConsole();

  TReply const Reply = Ask("PUT", kSession, "{}");

  EXPECT_EQ(Reply.m_Status, 405);
  EXPECT_EQ(Reply.Header("Allow"), "POST, GET, DELETE");
}

TEST_F(HTTPTest, AnswersHeadWithoutABody) {
  StartConsole();

  TReply const Reply = Ask("HEAD", kSession);

  EXPECT_EQ(Reply.m_Status, 401);
  EXPECT_EQ(Reply.m_Body, "");
}

TEST_F(HTTPTest, AsksNobodyForRanges) {
  StartConsole();

  EXPECT_EQ(Ask("GET", kSession, "", {"Range: bytes=0-1"}).m_Status, 401);
  EXPECT_EQ(Ask("GET", kSession, "", {"Range: bytes=x"}).m_Status, 416);
}

TEST_F(HTTPTest, EndsARequestThatComesTooSlowly) {
  StartConsole({"--request-seconds", "1"});
  TConnection const Silent(m_Port);
  TConnection const Half(m_Port);
  Half.Send("GET / HTTP/1.1\r\nHost: local");
  TConnection const NoBody(m_Port);
  NoBody.Send(PostHead() + "Content-Length: 20\r\n\r\n{");

  EXPECT_EQ(Silent.HearAll(), "");
  EXPECT_EQ(Half.HearAll().substr(0, 12), "HTTP/1.1 408");
  EXPECT_EQ(NoBody.HearAll().substr(0, 12), "HTTP/1.1 408");
}

TEST_F(HTTPTest, ServesOthersWhileSomeAreSlow) {
  StartConsole({"--threads", "2"});
  TConnection const Slow(m_Port);
  Slow.Send("GET / HT");

  ExpectAlive();
}

TEST_F(HTTPTest, SendsAwayWhoIsTooMany) {
  StartConsole({"--threads", "1", "--waiting-connections", "1", "--request-seconds", "60"});
  auto const Served = TakeThread();
  TConnection const Waiting(m_Port);

  TReply const Reply = Ask("GET", kSession);

  EXPECT_EQ(Reply.m_Status, 503);
  EXPECT_EQ(Reply.Code(), "busy");
  EXPECT_EQ(Reply.Header("Retry-After"), "1");
  EXPECT_EQ(Reply.Header("Content-Type"), "application/json");
  EXPECT_EQ(Reply.Header("Cache-Control"), "no-store");
}

TEST_F(HTTPTest, ServesTwoHundredPagesThatComeAtOnce) {
  rlimit Files{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &Files), 0);
  Files.rlim_cur = Files.rlim_max;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &Files), 0);
  StartConsole({"--threads", "1", "--request-seconds", "60"});
  auto const Served = TakeThread();
  std::vector<std::unique_ptr<TConnection>> Pages;
  for (int Count = 0; Count < 200 * 6; ++Count) {
    Pages.push_back(std::make_unique<TConnection>(m_Port));
    Pages.back()->Send("GET /api/v1/openapi.json HTTP/1.1\r\nHost: localhost\r\n\r\n");
  }

  EXPECT_TRUE(Served->Send("{}"));

  for (auto& Page : Pages) {
    ASSERT_EQ(Page->HearAll().substr(0, 12), "HTTP/1.1 200");
    Page.reset();  // as browsers do: a connection is for one request
  }
}

TEST_F(HTTPTest, GivesNoTimeToThoseWhoHaveSentNothingWhileTheyWaited) {
  StartConsole({"--threads", "1", "--request-seconds", "2"});
  std::vector<std::unique_ptr<TConnection>> Silent;
  for (int Count = 0; Count < 60; ++Count) {
    Silent.push_back(std::make_unique<TConnection>(m_Port));
  }

  // A minute is what the connection itself waits for an answer.
  ExpectAlive();
}

TEST_F(HTTPTest, StandsWhoComesAndGoes) {
  StartConsole();
  for (int Count = 0; Count < 200; ++Count) {
    TConnection const Gone(m_Port);
    Gone.Send(Count % 2 == 0 ? "GET / HTTP/1.1\r\n" : "");
  }

  ExpectAlive();
}

TEST_F(HTTPTest, EndsOnSIGTERMAlthoughARequestIsStillComing) {
  StartConsole({"--request-seconds", "600"});
  TConnection const Slow(m_Port);
  Slow.Send("GET / HT");
  ExpectAlive();

  EXPECT_EQ(m_Console->End(SIGTERM), 0);
}

TEST_F(HTTPTest, TellsWhyItCannotStart) {
  StartConsole();
  auto const Second =
      Start({CONSOLE_PROGRAM, "--users", File("users"), "--port", std::to_string(m_Port)});

  EXPECT_EQ(Second->End(), 1);
  EXPECT_EQ(Second->Errors(), "property-console: cannot listen at 127.0.0.1, port " +
                                  std::to_string(m_Port) + ": Address already in use\n");
}

}  // namespace
