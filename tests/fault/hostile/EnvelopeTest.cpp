// SPDX-License-Identifier: MIT
// Frames that are sound and wrong for the router: refused with a reason.
#include <ostream>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

struct TSWrong {
  char const* Name;
  bool Greeted;
  TSWireFrame (*Make)(TWirePeer& Peer);
  char const* Reason;
};

void PrintTo(TSWrong const& Wrong, std::ostream* Stream) {
  *Stream << Wrong.Name;
}

// One for each kind of frame; tests/unit/Platform/Messaging has all cases.
TSWrong const kWrong[] = {
    {"AGreetingWithoutTexts", false,
     [](TWirePeer&) {
       TSWireFrame Greeting;
       Greeting.Kind = WireKind::kHello;
       Greeting.Version = 1;
       return Greeting;
     },
     "Malformed mail: not one mail where there is to be one"},
    {"ASubscriptionToNoMailClass", true,
     [](TWirePeer&) {
       TSWireFrame Subscription;
       Subscription.Kind = WireKind::kSubscribe;
       Subscription.Class = "property";
       Subscription.Version = -2;
       return Subscription;
     },
     "property, version -2, is no mail class"},
    {"MailsWithoutNumbers", true, [](TWirePeer&) { return TWirePeer::NewMail(1); },
     "mails without numbers"},
    {"ARequestOfOtherRecords", true,
     [](TWirePeer& Peer) {
       TSWireFrame Request = Peer.NewRequest();
       Request.Fields = "s";
       return Request.Add(1, 1, WireWord(1) + WireText("all"));
     },
     "Malformed mail: records of another layout"},
    {"AnAnswer", true,
     [](TWirePeer&) {
       TSWireFrame Answer;
       Answer.Kind = WireKind::kAnswer;
       return Answer;
     },
     "a frame that only a router sends"}};

struct HostileEnvelope : THostileFixture, testing::WithParamInterface<TSWrong> {};

TEST_P(HostileEnvelope, IsRefusedWithAReasonAndHurtsNobody) {
  StartAll();
  TWirePeer Peer(Address());
  if (GetParam().Greeted) {
    EXPECT_EQ(Peer.Greet(), "");
  }
  TSWireFrame const Wrong = GetParam().Make(Peer);
  if (Wrong.Kind == WireKind::kHello || Wrong.Kind == WireKind::kRequest) {
    EXPECT_EQ(Peer.Call(Wrong), GetParam().Reason);
  } else {
    EXPECT_TRUE(Peer.Send(Wrong));
    EXPECT_EQ(Peer.Call(Peer.NewRequestForOne()), GetParam().Greeted ? "" : GetParam().Reason);
  }
  ExpectServed();
  EndAndExpectLogged(std::string(" refused: ") + GetParam().Reason);
}

INSTANTIATE_TEST_SUITE_P(Of, HostileEnvelope, testing::ValuesIn(kWrong),
                         [](auto const& Info) { return std::string(Info.param.Name); });

}  // namespace
