// SPDX-License-Identifier: MIT
// Streams of changes over HTTP, with a real server.
#include <gmock/gmock.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "tests/console/ConsoleFixture.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using TEventJSON = nlohmann::json;

constexpr char kEvents[] = "/api/v1/events";

/// A stream that a test has opened, and what it has heard.
class TStream {
 public:
  TStream(int Port, std::vector<std::string> const& Page, std::string const& Path = kEvents)
      : m_Connection(std::make_unique<TConnection>(Port)) {
    std::string Request = "GET " + Path + " HTTP/1.1\r\nHost: localhost\r\n";
    for (std::string const& Header : Page) {
      Request += Header + "\r\n";
    }
    EXPECT_TRUE(m_Connection->Send(Request + "\r\n"));
  }

  /// What has come, in whole events, when it has the text in it; all that has come where the stream
  /// ends before.
  std::string const& HearUntil(std::string const& Text) {
    while (m_Heard.find(Text) == std::string::npos ||
           m_Heard.compare(m_Heard.size() - 2, 2, "\n\n") != 0) {
      std::string const Piece = m_Connection->HearSome();
      if (Piece.empty()) {
        ADD_FAILURE() << "the stream has ended without " << Text << ": " << m_Heard;
        break;
      }
      m_Heard += Piece;
    }
    return m_Heard;
  }
  /// All that comes until the stream ends.
  std::string const& HearToTheEnd() {
    m_Heard += m_Connection->HearAll();
    return m_Heard;
  }
  /// The number of the last change that was heard of.
  std::string LastEvent() const {
    std::size_t const Place = m_Heard.rfind("id: ");
    return Place == std::string::npos
               ? ""
               : m_Heard.substr(Place + 4, m_Heard.find('\n', Place) - Place - 4);
  }
  std::string const& get_Heard() const { return m_Heard; }
  TConnection const& get_Connection() const { return *m_Connection; }

 private:
  std::unique_ptr<TConnection> m_Connection;
  std::string m_Heard;
};

class EventTest : public TConsoleFixture {
 protected:
  void SetUp() override {
    AddUser("anna", "viewer");
    AddUser("bert", "administrator");
    StartConsole(m_Options);
    m_Anna = SignIn("anna");
  }
  /// A stream of Anna's that has begun.
  TStream Open(std::string const& Path = kEvents) const {
    TStream Stream(m_Port, m_Anna, Path);
    Stream.HearUntil("event: connection");
    return Stream;
  }
  std::string Revision() const {
    return TEventJSON::parse(AskAs(m_Anna, "GET", "/api/v1/values").m_Body).at("revision");
  }

  std::vector<std::string> m_Options;
  std::vector<std::string> m_Anna;
};

TEST_F(EventTest, BeginsWithTheConnectionToTheServer) {
  TStream Stream(m_Port, m_Anna);

  std::string const Heard = Stream.HearUntil("}\n\n");

  EXPECT_THAT(Heard, HasSubstr("HTTP/1.1 200"));
  EXPECT_THAT(Heard, HasSubstr("Content-Type: text/event-stream\r\n"));
  EXPECT_THAT(Heard, HasSubstr("Cache-Control: no-store\r\n"));
  EXPECT_THAT(Heard, Not(HasSubstr("Content-Length")));
  EXPECT_THAT(Heard,
              EndsWith("\r\n\r\nretry: 1000\n\nevent: connection\ndata: {\"connected\":true}\n\n"));
}

TEST_F(EventTest, TellsChanges) {
  TStream Stream = Open();

  Property({"set", "Brightness=60"});
  std::string const Heard = Stream.HearUntil("\"60\"");

  std::string const Data = Heard.substr(Heard.rfind("data: ") + 6);
  TEventJSON const Value = TEventJSON::parse(Data);
  EXPECT_EQ(Value.at("number"), 111);
  EXPECT_EQ(Value.at("record"), TEventJSON());
  EXPECT_EQ(Value.at("value"), "60");
  EXPECT_EQ(Value.at("source"), "server");
  EXPECT_EQ(Value.at("device"), kThisDevice);
  EXPECT_EQ(Value.at("revision"), Stream.LastEvent());
}

TEST_F(EventTest, TellsWhatIsReset) {
  Property({"set", "Brightness=60"});
  TStream Stream = Open();

  Property({"reset", "Brightness"});

  EXPECT_THAT(Stream.HearUntil("\"default\""), HasSubstr("\"value\":\"80\""));
}

TEST_F(EventTest, GoesOnBehindTheLastEventWithNothingMissedAndNothingTwice) {
  TStream First = Open();
  for (int Value = 10; Value < 20; ++Value) {
    Property({"set", "Brightness=" + std::to_string(Value)});
  }
  First.HearUntil("\"14\"");
  std::string const Middle =
      First.get_Heard().substr(0, First.get_Heard().find("\"14\"") + std::string("\"14\"").size());
  std::size_t const Id = Middle.rfind("id: ") + 4;
  std::string const Last = Middle.substr(Id, Middle.find('\n', Id) - Id);

  std::vector<std::string> Page = m_Anna;
  Page.push_back("Last-Event-ID: " + Last);
  TStream Second(m_Port, Page);
  Second.HearUntil("\"19\"");

  std::string const& Heard = Second.get_Heard();
  EXPECT_THAT(Heard, Not(HasSubstr("\"14\"")));
  std::size_t Place = 0;
  for (int Value = 15; Value < 20; ++Value) {
    std::string const Text = "\"value\":\"" + std::to_string(Value) + "\"";
    std::size_t const Found = Heard.find(Text, Place);
    ASSERT_NE(Found, std::string::npos) << Text;
    EXPECT_EQ(Heard.find(Text, Found + 1), std::string::npos) << Text;
    Place = Found;
  }
  EXPECT_THAT(Heard, Not(HasSubstr("reload")));
}

TEST_F(EventTest, GoesOnBehindTheRevisionOfTheValues) {
  std::string const Seen = Revision();
  Property({"set", "Brightness=60"});

  TStream Stream = Open(std::string(kEvents) + "?last-event-id=" + Seen);

  EXPECT_THAT(Stream.HearUntil("\"60\""), Not(HasSubstr("reload")));
}

TEST_F(EventTest, HasAllFetchedAgainWhereItIsNotKnownWhatWasMissed) {
  for (std::string const& Last :
       {std::string("x"), std::string(), std::string(32, 'a') + "-0",
        Revision().substr(0, 33) + "99", Revision().substr(0, 33) + "-1"}) {
    TStream Stream = Open(std::string(kEvents) + "?last-event-id=" + Last);
    EXPECT_THAT(Stream.HearUntil("event: reload\ndata: {}\n\n"), HasSubstr("id: " + Revision()));
  }
}

TEST_F(EventTest, GoesOnBehindAReload) {
  TStream First = Open(std::string(kEvents) + "?last-event-id=x");
  First.HearUntil("event: reload\ndata: {}\n\n");
  Property({"set", "Brightness=60"});

  TStream Second = Open(std::string(kEvents) + "?last-event-id=" + First.LastEvent());

  EXPECT_THAT(Second.HearUntil("\"60\""), Not(HasSubstr("reload")));
}

TEST_F(EventTest, TellsTheChangesOfItsDeviceAndOfNone) {
  TStream Other = Open(std::string(kEvents) + "?device=02-00-00-00-00-02");

  Property({"set", "Brightness=60"});
  Property({"set", "Brightness=61", "--mac", kOtherDevice});
  Property({"set", "PinLength=8"});

  std::string const Heard = Other.HearUntil("\"number\":211");
  EXPECT_THAT(Heard, HasSubstr("\"61\""));
  EXPECT_THAT(Heard, Not(HasSubstr("\"60\"")));
}

TEST_F(EventTest, TellsSecretsToAdministratorsAlone) {
  TStream Viewer = Open();
  TStream Administrator(m_Port, SignIn("bert"));
  Administrator.HearUntil("event: connection");

  Property({"set", "Motto=hidden-motto"});
  Property({"set", "Brightness=60"});

  EXPECT_THAT(Administrator.HearUntil("\"60\""), HasSubstr("hidden-motto"));
  std::string const Heard = Viewer.HearUntil("\"60\"");
  EXPECT_THAT(Heard, Not(HasSubstr("hidden-motto")));
  EXPECT_THAT(Heard, HasSubstr("\"number\":212,\"record\":null,\"secret\":true,\"value\":null"));
}

TEST_F(EventTest, HasLargeValuesFetched) {
  TStream Stream = Open();

  Property({"set", "Name", "-"}, std::string(100000, 'x'));

  EXPECT_THAT(Stream.HearUntil("event: reload"), Not(HasSubstr("xxxx")));
}

TEST_F(EventTest, StandsTextsThatLookLikeEvents) {
  TStream Stream = Open();

  Property({"set", "Name", "-"}, "\n\nevent: signed-out\ndata: {}\r\n\r\n");
  Property({"set", "Brightness=60"});

  EXPECT_THAT(Stream.HearUntil("\"60\""), Not(HasSubstr("\nevent: signed-out")));
}

TEST_F(EventTest, TellsThatTheServerIsAwayAndBack) {
  TStream Stream = Open();

  m_Server->End(SIGKILL);
  Stream.HearUntil("{\"connected\":false}");
  m_Server = StartSchemaServer();

  std::string const Heard = Stream.HearUntil(
      "{\"connected\":false}\n\nevent: connection\ndata: "
      "{\"connected\":true}");
  EXPECT_THAT(Heard, Not(HasSubstr("reload")));
}

TEST_F(EventTest, EndsWithTheSession) {
  TStream Stream = Open();

  EXPECT_EQ(AskAs(m_Anna, "DELETE", kSession).m_Status, 204);

  EXPECT_THAT(Stream.HearToTheEnd(), EndsWith("event: signed-out\ndata: {}\n\n"));
}

TEST_F(EventTest, DoesNotKeepASessionInUse) {
  StartConsole({"--idle-seconds", "2"});
  m_Anna = SignIn("anna");
  TStream Stream = Open();

  EXPECT_THAT(Stream.HearToTheEnd(), EndsWith("event: signed-out\ndata: {}\n\n"));

  EXPECT_EQ(AskAs(m_Anna, "GET", kSession).Code(), "not_signed_in");
}

TEST_F(EventTest, EndsForWhoIsRemovedOrHasAnotherRole) {
  TStream Stream = Open();

  ASSERT_EQ(Command({"user", "remove", "anna"}), 0);
  AddUser("anna", "operator");

  EXPECT_THAT(Stream.HearToTheEnd(), EndsWith("event: signed-out\ndata: {}\n\n"));
}

TEST_F(EventTest, EndsWithTheConsole) {
  TStream Stream = Open();

  EXPECT_EQ(m_Console->End(SIGTERM), 0);

  Stream.HearToTheEnd();
}

TEST_F(EventTest, IsForThoseWhoHaveSignedIn) {
  EXPECT_EQ(Ask("GET", kEvents).Code(), "not_signed_in");
  EXPECT_EQ(AskAs(m_Anna, "POST", kEvents, "{}").m_Status, 405);
  EXPECT_EQ(AskAs(m_Anna, "HEAD", kEvents).m_Status, 200);
  for (char const* Query : {"?device=x", "?device=", "?since=1", "?last-event-id=1&x=2"}) {
    EXPECT_EQ(AskAs(m_Anna, "GET", std::string(kEvents) + Query).Code(), "bad_query") << Query;
  }
}

TEST_F(EventTest, ServesTwoHundredStreamsAtOnceAndRequestsBeside) {
  std::vector<TStream> Streams;
  for (int Count = 0; Count < 200; ++Count) {
    Streams.emplace_back(m_Port, m_Anna);
  }
  for (TStream& Stream : Streams) {
    Stream.HearUntil("event: connection");
  }

  Property({"set", "Brightness=60"});

  for (TStream& Stream : Streams) {
    Stream.HearUntil("\"60\"");
  }
  EXPECT_EQ(AskAs(m_Anna, "GET", "/api/v1/values").m_Status, 200);
}

TEST_F(EventTest, LeavesPlacesToOthers) {
  std::vector<TStream> Streams;
  for (int Count = 0; Count < 256; ++Count) {
    Streams.emplace_back(m_Port, m_Anna);
    Streams.back().HearUntil("event: connection");
  }

  EXPECT_EQ(AskAs(m_Anna, "GET", kEvents).Code(), "too_many_streams");
  TStream Other(m_Port, SignIn("bert"));
  Other.HearUntil("event: connection");

  Streams.clear();
  std::string Heard;
  do {
    TStream Again(m_Port, m_Anna);
    Heard = Again.get_Connection().HearSome();
  } while (Heard.find("HTTP/1.1 200") != 0);
}

TEST_F(EventTest, CutsOffWhoSendsOnAndOn) {
  TStream Stream = Open();

  while (Stream.get_Connection().Send(std::string(4096, 'x'))) {
  }

  EXPECT_EQ(AskAs(m_Anna, "GET", "/api/v1/values").m_Status, 200);
}

TEST_F(EventTest, IsNotHeldUpByWhoDoesNotRead) {
  TStream Sleeper = Open();
  TStream Stream = Open();
  std::string const Text(60000, 'x');

  for (int Count = 0; Count < 200; ++Count) {
    Property({"set", "Name", std::to_string(Count) + Text});
    Stream.HearUntil("\"value\":\"" + std::to_string(Count) + "xxx");
  }

  // More than is kept for it has passed by.
  EXPECT_THAT(Sleeper.HearToTheEnd(), Not(HasSubstr("\"value\":\"199xxx")));
}

}  // namespace
