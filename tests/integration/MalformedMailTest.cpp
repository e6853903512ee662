// SPDX-License-Identifier: MIT
// Malformed mails: refused and logged, acknowledged, and nobody else notices.
#include <gmock/gmock.h>

#include <csignal>
#include <ostream>

#include "tests/integration/ProcessFixture.h"
#include "tests/support/WirePeer.h"

namespace {

using testing::HasSubstr;

constexpr char kDevice[] = "02:00:00:00:00:01";

// A mail of one record with these fields, or of these bytes.
struct TSMalformed {
  char const* Name;
  char const* Fields;
  std::string Records;
  char const* Reason;
};

void PrintTo(TSMalformed const& Malformed, std::ostream* Stream) {
  *Stream << Malformed.Name;
}

// Refused by the reader of the records, and by the server; the unit tests of both have all cases.
TSMalformed const kMalformed[] = {
    {"AnUnknownField", TWirePeer::kChangeFields,
     TWirePeer::ChangeRecord(102, "7", "", "", TWirePeer::kAllFields + 32),
     "Malformed mail: an assigned field that the record does not have"},
    {"RecordsThatEndEarly", TWirePeer::kChangeFields, std::string("\x1f\0\0\0\x66", 5),
     "Malformed mail: a record ends early"},
    {"RecordsOfAnotherLayout", "is", WireWord(3) + WireWord(102) + WireText("7"),
     "Malformed mail: records of another layout"},
    {"ALinkThatIsNoNumber", TWirePeer::kChangeFields, TWirePeer::ChangeRecord(102, "7", "seven"),
     "Malformed mail: a link that is no number"},
};

struct MalformedMail : TProcessFixture, testing::WithParamInterface<TSMalformed> {};

TEST_P(MalformedMail, IsRefusedAndAcknowledgedAndTheNextIsTaken) {
  auto const Server = StartServer();
  auto const Client = StartClient();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");

  TSWireFrame Malformed = TWirePeer::NewMail(1);
  Malformed.Fields = GetParam().Fields;
  EXPECT_TRUE(Peer.Send(Malformed.Add(2, 3, GetParam().Records)));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  EXPECT_TRUE(Peer.Send(TWirePeer::NewChange(2, 102, "7", "", kDevice)));
  EXPECT_EQ(Peer.HearAcknowledged(), 2U);

  EXPECT_EQ(Client->Ask("await"), "102 - 02:00:00:00:00:01 " + Hex("7"));
  EXPECT_EQ(Server->End(SIGTERM), 0);
  EXPECT_THAT(Server->Errors(), HasSubstr(std::string(" refused: ") + GetParam().Reason));
}

INSTANTIATE_TEST_SUITE_P(With, MalformedMail, testing::ValuesIn(kMalformed),
                         [](auto const& Info) { return std::string(Info.param.Name); });

// Mails 1 to 3 of one frame, of which the first and the last are sound, unless the whole is not.
struct TSMalformedMails {
  char const* Name;
  std::uint16_t Count;
  std::string Bytes;
  bool Alone;  // whether only the malformed one is lost
  char const* Reason;
};

void PrintTo(TSMalformedMails const& Malformed, std::ostream* Stream) {
  *Stream << Malformed.Name;
}

std::string Changed(std::string Bytes, std::size_t Place, char Byte) {
  Bytes.at(Place) = Byte;
  return Bytes;
}

std::string const kFirst = TWirePeer::PackedChange(201, "first");
std::string const kSecond = TWirePeer::PackedChange(201, "second");
std::string const kLast = TWirePeer::PackedChange(101, "last", "5", kDevice);
constexpr std::size_t kSizeAt = 8;  // of a mail's records
constexpr std::size_t kRecordAt = 12;

TSMalformedMails const kMalformedMails[] = {
    {"NoNumber", 3, kFirst + Changed(kSecond, kRecordAt, 2) + kLast, true,
     "Malformed mail: a record without a property's number"},
    {"ATextThatIsTooLong", 3, kFirst + Changed(kSecond, kRecordAt + 8, 0x7f) + kLast, true,
     "Malformed mail: a record ends early"},
    {"OneThatGoesOnForEver", 3, kFirst + Changed(kSecond, kSizeAt + 3, '\x7f') + kLast, false,
     "Malformed mail: a frame ends early"},
};

struct MalformedMails : TProcessFixture, testing::WithParamInterface<TSMalformedMails> {};

TEST_P(MalformedMails, AreRefusedAndAcknowledgedAndTheNextIsTaken) {
  auto const Server = StartServer();
  auto const Client = StartClient();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");

  TSMalformedMails const& Malformed = GetParam();
  EXPECT_TRUE(
      Peer.Send(Peer.NewMails(1, Malformed.Count, TWirePeer::kChangeFields, Malformed.Bytes)));
  EXPECT_EQ(Peer.HearAcknowledged(), 3U);
  EXPECT_TRUE(Peer.Send(Peer.NewChange(4, 102, "7", "", kDevice)));
  EXPECT_EQ(Peer.HearAcknowledged(), 4U);

  EXPECT_EQ(Client->Ask("until 102 - 02:00:00:00:00:01 " + Hex("7")), "heard");
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), Malformed.Alone ? Hex("first") : "-");
  EXPECT_EQ(StartClient()->Ask("get 101 5 -"), Hex(Malformed.Alone ? "last" : "unnamed"));
  EXPECT_EQ(Server->End(SIGTERM), 0);
  EXPECT_THAT(Server->Errors(), HasSubstr(std::string(" refused: ")));
  EXPECT_THAT(Server->Errors(), HasSubstr(Malformed.Reason));
}

INSTANTIATE_TEST_SUITE_P(With, MalformedMails, testing::ValuesIn(kMalformedMails),
                         [](auto const& Info) { return std::string(Info.param.Name); });

}  // namespace
