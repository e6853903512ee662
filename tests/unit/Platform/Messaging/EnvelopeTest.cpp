// SPDX-License-Identifier: MIT
// Messages that are sound for the bus and wrong for the router: refused with a reason, and nothing
// of them reaches the service.
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
  TCBusMessage (*Make)(TRouterPeer& Peer);
  char const* Reason;
};

void PrintTo(TSWrong const& Wrong, std::ostream* Stream) {
  *Stream << Wrong.Name;
}

TCBusMessage RouterCall(TRouterPeer& Peer, char const* Member) {
  return Peer.NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, Member);
}

constexpr std::uint64_t kOne = 1;
constexpr char kNoEnvelope[] = "Malformed mail: cannot read an envelope: No such device or address";

TSWrong const kWrong[] = {
    {"AGreetingOfOtherTypes", false,
     [](TRouterPeer& Peer) { return With(RouterCall(Peer, "Hello"), "us", 1, "peer"); },
     "Malformed mail: cannot read a greeting: No such device or address"},
    {"AGreetingWithoutEnd", false,
     [](TRouterPeer& Peer) { return With(RouterCall(Peer, "Hello"), "su", "peer", 1); },
     "Malformed mail: cannot read a greeting: No such device or address"},
    {"AMailBeforeTheGreeting", false,
     [](TRouterPeer& Peer) { return With(Peer.NewMail(), "stiia(uisv)", "peer", kOne, 2, 1, 0); },
     "a mail before the greeting"},
    {"MailsBeforeTheGreeting", false,
     [](TRouterPeer& Peer) {
       return With(Peer.NewMail("SendMany"), "stusay", "peer", kOne, 1U, "i", 0);
     },
     "a mail before the greeting"},
    {"ARequestBeforeTheGreeting", false,
     [](TRouterPeer& Peer) { return With(Peer.NewMail("Request"), "siia(uisv)", "peer", 1, 1, 0); },
     "a mail before the greeting"},
    {"ASubscriptionBeforeTheGreeting", false,
     [](TRouterPeer& Peer) {
       return With(RouterCall(Peer, "Subscribe"), "stt", kTestInterface, kOne, kOne);
     },
     "a subscription before the greeting"},
    {"ASecondGreeting", true,
     [](TRouterPeer& Peer) { return With(RouterCall(Peer, "Hello"), "sus", "another", 1, ""); },
     "a second greeting"},
    {"ASubscriptionOfOtherTypes", true,
     [](TRouterPeer& Peer) {
       return With(RouterCall(Peer, "Subscribe"), "tts", kOne, kOne, kTestInterface);
     },
     "Malformed mail: cannot read a subscription: No such device or address"},
    {"ASubscriptionToNoMailClass", true,
     [](TRouterPeer& Peer) {
       return With(RouterCall(Peer, "Subscribe"), "stt", "some.Interface", kOne, kOne);
     },
     "some.Interface is no mail class"},
    {"AMailOfOtherTypes", true,
     [](TRouterPeer& Peer) { return With(Peer.NewMail(), "ts", kOne, "peer"); }, kNoEnvelope},
    {"AMailWithoutNumber", true,
     [](TRouterPeer& Peer) { return With(Peer.NewMail(), "siia(uisv)", "peer", 2, 1, 0); },
     kNoEnvelope},
    {"AnEmptyMail", true, [](TRouterPeer& Peer) { return Peer.NewMail(); }, kNoEnvelope},
    {"AMailInAnothersName", true,
     [](TRouterPeer& Peer) {
       return With(Peer.NewMail(), "stiia(uisv)", "another", kOne, 2, 1, 0);
     },
     "a mail in another's name"},
    {"MailsOfOtherTypes", true,
     [](TRouterPeer& Peer) { return With(Peer.NewMail("SendMany"), "stt", "peer", kOne, kOne); },
     kNoEnvelope},
    {"MailsInAnothersName", true,
     [](TRouterPeer& Peer) {
       return With(Peer.NewMail("SendMany"), "stusay", "another", kOne, 1U, "i", 0);
     },
     "a mail in another's name"},
    {"NoMails", true,
     [](TRouterPeer& Peer) {
       return With(Peer.NewMail("SendMany"), "stusay", "peer", kOne, 0U, "i", 0);
     },
     "mails without numbers"},
    {"MailsWhoseNumbersEnd", true,
     [](TRouterPeer& Peer) {
       return With(Peer.NewMail("SendMany"), "stusay", "peer", UINT64_MAX, 2U, "i", 0);
     },
     "mails without numbers"},
    {"ARequestOfOtherTypes", true,
     [](TRouterPeer& Peer) { return With(Peer.NewMail("Request"), "t", kOne); }, kNoEnvelope},
    {"ARequestInAnothersName", true,
     [](TRouterPeer& Peer) {
       return With(Peer.NewMail("Request"), "siia(uisv)", "another", 1, 1, 0);
     },
     "a mail in another's name"},
    {"ARequestWithMoreThanItsRecords", true,
     [](TRouterPeer& Peer) {
       return With(Peer.NewMail("Request"), "siia(ui)i", "peer", 1, 1, 1, 1, 1, 7);
     },
     "Malformed mail: more than its records"},
    {"AnUnknownOperationOfTheRouter", true,
     [](TRouterPeer& Peer) { return RouterCall(Peer, "Erase"); },
     "the router knows no operation Erase"},
    {"AnUnknownOperationOfAMailbox", true, [](TRouterPeer& Peer) { return Peer.NewMail("Erase"); },
     "a mailbox knows no operation Erase"}};

struct Envelope : TMessagingFixture, testing::WithParamInterface<TSWrong> {
  TTestServer m_Server;
};

TEST_P(Envelope, IsRefusedWithAReason) {
  TRouterPeer Peer(Address());
  if (GetParam().Greeted) {
    EXPECT_EQ(Peer.Greet(), "");
  }
  EXPECT_EQ(Peer.Call(GetParam().Make(Peer)),
            std::string("mailrouter.Error.Refused: ") + GetParam().Reason);
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre(EndsWith(std::string(" refused: ") + GetParam().Reason)));
  TTestProxy Other;
  EXPECT_TRUE(Other.AskNumber(1));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
  EXPECT_THAT(m_Server.m_Service.m_Requests.WaitFor(1), ElementsAre(1));
}

INSTANTIATE_TEST_SUITE_P(Of, Envelope, testing::ValuesIn(kWrong),
                         [](auto const& Info) { return std::string(Info.param.Name); });

}  // namespace
