// SPDX-License-Identifier: MIT
// Frames that are sound and wrong for the router: refused with a reason, and nothing of them
// reaches the service.
#include <gmock/gmock.h>

#include <cstdint>
#include <ostream>

#include "MessagingFixture.h"
#include "RouterPeer.h"

namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

struct TSWrong {
  char const* Name;
  bool Greeted;
  TSWireFrame (*Make)(TRouterPeer& Peer);
  char const* Reason;
};

void PrintTo(TSWrong const& Wrong, std::ostream* Stream) {
  *Stream << Wrong.Name;
}

TSWireFrame OfKind(std::uint8_t Kind) {
  TSWireFrame Frame;
  Frame.Kind = Kind;
  return Frame;
}

TSWireFrame SubscriptionTo(std::string const& Class, std::int32_t Version) {
  TSWireFrame Frame = TRouterPeer::NewSubscription();
  Frame.Class = Class;
  Frame.Version = Version;
  return Frame;
}

// Who is refused an answer is told why.
TSWrong const kAnswered[] = {
    {"AGreetingWithoutTexts", false, [](TRouterPeer&) { return OfKind(WireKind::kHello); },
     "protocol version 0 is not spoken here, only 1"},
    {"AGreetingWithoutMail", false,
     [](TRouterPeer&) {
       TSWireFrame Frame = OfKind(WireKind::kHello);
       Frame.Version = 1;
       return Frame;
     },
     "Malformed mail: not one mail where there is to be one"},
    {"AGreetingOfOtherTexts", false,
     [](TRouterPeer&) {
       TSWireFrame Frame = OfKind(WireKind::kHello);
       Frame.Version = 1;
       Frame.Fields = "s";
       return Frame.Add(0, 0, WireWord(1) + WireText("peer"));
     },
     "Malformed mail: other texts than there are to be"},
    {"AGreetingOfTwoRecords", false,
     [](TRouterPeer&) {
       TSWireFrame Frame = OfKind(WireKind::kHello);
       Frame.Version = 1;
       Frame.Fields = "ss";
       std::string const Record = WireWord(3) + WireText("peer") + WireText("");
       return Frame.Add(0, 0, Record + Record);
     },
     "a mail has more than 1 records, the most that are allowed (mail_records)"},
    {"ASecondGreeting", true, [](TRouterPeer&) { return WireGreeting("another"); },
     "a second greeting"},
    {"ARequestBeforeTheGreeting", false, [](TRouterPeer& Peer) { return Peer.NewQuestion(1); },
     "a mail before the greeting"},
    {"ARequestWithoutMail", true, [](TRouterPeer& Peer) { return Peer.NewRequest(); },
     "Malformed mail: not one mail where there is to be one"},
    {"ARequestOfTwoMails", true,
     [](TRouterPeer& Peer) {
       return Peer.NewQuestion(1).Add(eNorvRequest, 1, TRouterPeer::Record(2));
     },
     "Malformed mail: not one mail where there is to be one"},
    {"ARequestWithBytesBehindIt", true,
     [](TRouterPeer& Peer) {
       TSWireFrame Frame = Peer.NewQuestion(1);
       Frame.Mails += "x";
       return Frame;
     },
     "Malformed mail: bytes after the last mail"}};

// Others read it in the log.
TSWrong const kUnanswered[] = {
    {"AMailBeforeTheGreeting", false, [](TRouterPeer&) { return TRouterPeer::NewChange(1, 7); },
     "a mail before the greeting"},
    {"ASubscriptionBeforeTheGreeting", false,
     [](TRouterPeer&) { return TRouterPeer::NewSubscription(); }, "a mail before the greeting"},
    {"ASubscriptionToNoName", true, [](TRouterPeer&) { return SubscriptionTo("", 1); },
     ", version 1, is no mail class"},
    {"ASubscriptionToNoVersion", true, [](TRouterPeer&) { return SubscriptionTo("test", -1); },
     "test, version -1, is no mail class"},
    {"NoMails", true, [](TRouterPeer&) { return TRouterPeer::NewMail(); }, "mails without numbers"},
    {"MailsWhoseNumbersEnd", true,
     [](TRouterPeer&) {
       return TRouterPeer::NewChange(UINT64_MAX, 7).Add(eNorvChange, 1, TRouterPeer::Record(8));
     },
     "mails without numbers"},
    {"AWelcome", true, [](TRouterPeer&) { return OfKind(WireKind::kWelcome); },
     "a frame that only a router sends"},
    {"ARefusal", true, [](TRouterPeer&) { return OfKind(WireKind::kRefused); },
     "a frame that only a router sends"},
    {"AnAnswer", true, [](TRouterPeer&) { return OfKind(WireKind::kAnswer); },
     "a frame that only a router sends"},
    {"APublishedMail", true, [](TRouterPeer&) { return OfKind(WireKind::kPublished); },
     "a frame that only a router sends"},
    {"AnAcknowledgement", true, [](TRouterPeer&) { return OfKind(WireKind::kAcknowledged); },
     "a frame that only a router sends"}};

struct EnvelopeFixture : TMessagingFixture {
  // Only what is asked now reaches the service.
  void ExpectNothingTaken() {
    TTestProxy Other;
    EXPECT_TRUE(Other.AskNumber(1));
    EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
    EXPECT_THAT(m_Server.m_Service.m_Requests.WaitFor(1), ElementsAre(1));
  }

  TTestServer m_Server;
};

struct Envelope : EnvelopeFixture, testing::WithParamInterface<TSWrong> {};
struct UnansweredEnvelope : EnvelopeFixture, testing::WithParamInterface<TSWrong> {};

TEST_P(Envelope, IsRefusedWithAReason) {
  TRouterPeer Peer(Address());
  if (GetParam().Greeted) {
    EXPECT_EQ(Peer.Greet(), "");
  }
  EXPECT_EQ(Peer.Call(GetParam().Make(Peer)), GetParam().Reason);
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre(EndsWith(std::string(" refused: ") + GetParam().Reason)));
  ExpectNothingTaken();
}

INSTANTIATE_TEST_SUITE_P(Of, Envelope, testing::ValuesIn(kAnswered),
                         [](auto const& Info) { return std::string(Info.param.Name); });

TEST_P(UnansweredEnvelope, IsRefusedWithAReasonInTheLog) {
  TRouterPeer Peer(Address());
  if (GetParam().Greeted) {
    EXPECT_EQ(Peer.Greet(), "");
  }
  EXPECT_TRUE(Peer.Send(GetParam().Make(Peer)));
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre(EndsWith(std::string(" refused: ") + GetParam().Reason)));
  ExpectNothingTaken();
}

INSTANTIATE_TEST_SUITE_P(Of, UnansweredEnvelope, testing::ValuesIn(kUnanswered),
                         [](auto const& Info) { return std::string(Info.param.Name); });

}  // namespace
