// SPDX-License-Identifier: MIT
// Messages that are sound for the bus and wrong for the router: refused with a reason.
#include <ostream>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

struct TSWrong {
  char const* Name;
  bool Greeted;
  TCBusMessage (*Make)(TWirePeer& Peer);
  char const* Reason;
};

void PrintTo(TSWrong const& Wrong, std::ostream* Stream) {
  *Stream << Wrong.Name;
}

template <class... TValues>
TCBusMessage With(TCBusMessage Message, char const* Types, TValues... Values) {
  EXPECT_GE(sd_bus_message_append(Message.get(), Types, Values...), 0);
  return Message;
}

constexpr std::uint64_t kOne = 1;

TSWrong const kWrong[] = {
    {"AGreetingOfOtherTypes", false,
     [](TWirePeer& Peer) { return With(Peer.NewRouterCall("Hello"), "us", 1, "peer"); },
     "Malformed mail: cannot read a greeting: No such device or address"},
    {"AGreetingWithoutEnd", false,
     [](TWirePeer& Peer) { return With(Peer.NewRouterCall("Hello"), "su", "peer", 1); },
     "Malformed mail: cannot read a greeting: No such device or address"},
    {"AMailBeforeTheGreeting", false,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("Send"), "stiia(uisssb)", "peer", kOne, 2, 3, 0);
     },
     "a mail before the greeting"},
    {"ARequestBeforeTheGreeting", false, [](TWirePeer& Peer) { return Peer.NewRequestForAll(); },
     "a mail before the greeting"},
    {"ASubscriptionBeforeTheGreeting", false,
     [](TWirePeer& Peer) {
       return With(Peer.NewRouterCall("Subscribe"), "stt", TWirePeer::kProperty, kOne, kOne);
     },
     "a subscription before the greeting"},
    {"ASecondGreeting", true,
     [](TWirePeer& Peer) { return With(Peer.NewRouterCall("Hello"), "sus", "another", 1, ""); },
     "a second greeting"},
    {"ASubscriptionOfOtherTypes", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewRouterCall("Subscribe"), "tts", kOne, kOne, TWirePeer::kProperty);
     },
     "Malformed mail: cannot read a subscription: No such device or address"},
    {"ASubscriptionToNoMailClass", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewRouterCall("Subscribe"), "stt", "some.Interface", kOne, kOne);
     },
     "some.Interface is no mail class"},
    {"AMailOfOtherTypes", true,
     [](TWirePeer& Peer) { return With(Peer.NewMailboxCall("Send"), "ts", kOne, "peer"); },
     "Malformed mail: cannot read an envelope: No such device or address"},
    {"AMailWithoutNumber", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("Send"), "siia(uisssb)", "peer", 2, 3, 0);
     },
     "Malformed mail: cannot read an envelope: No such device or address"},
    {"AnEmptyMail", true, [](TWirePeer& Peer) { return Peer.NewMailboxCall("Send"); },
     "Malformed mail: cannot read an envelope: No such device or address"},
    {"AMailInAnothersName", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("Send"), "stiia(uisssb)", "another", kOne, 2, 3, 0);
     },
     "a mail in another's name"},
    {"MailsBeforeTheGreeting", false,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("SendMany"), "stusay", "peer", kOne, 1U, "i", 0);
     },
     "a mail before the greeting"},
    {"MailsOfOtherTypes", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("SendMany"), "stt", "peer", kOne, kOne);
     },
     "Malformed mail: cannot read an envelope: No such device or address"},
    {"MailsInAnothersName", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("SendMany"), "stusay", "another", kOne, 1U, "i", 0);
     },
     "a mail in another's name"},
    {"NoMails", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("SendMany"), "stusay", "peer", kOne, 0U, "i", 0);
     },
     "mails without numbers"},
    {"MailsWhoseNumbersEnd", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("SendMany"), "stusay", "peer", UINT64_MAX, 2U, "i", 0);
     },
     "mails without numbers"},
    {"ARequestOfOtherTypes", true,
     [](TWirePeer& Peer) { return With(Peer.NewMailboxCall("Request"), "t", kOne); },
     "Malformed mail: cannot read an envelope: No such device or address"},
    {"ARequestInAnothersName", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("Request"), "siia(ui)", "another", 1, 1, 1, 1, 1);
     },
     "a mail in another's name"},
    {"ARequestOfOtherRecords", true,
     [](TWirePeer& Peer) { return With(Peer.NewRequest(), "iia(us)", 1, 1, 1, 1, "all"); },
     "Malformed mail: records of another layout"},
    {"ARequestWithoutRecords", true,
     [](TWirePeer& Peer) { return With(Peer.NewRequest(), "iia(ui)", 1, 1, 0); },
     "Malformed mail: a request for all properties has one record"},
    {"ARequestOfUnknownFields", true,
     [](TWirePeer& Peer) { return With(Peer.NewRequest(), "iia(ud)", 1, 1, 1, 1, 1.5); },
     "Malformed mail: a field of an unknown type"},
    {"ARequestOfNestedRecords", true,
     [](TWirePeer& Peer) { return With(Peer.NewRequest(), "iia(u(ii))", 1, 1, 0); },
     "Malformed mail: a field of an unknown type"},
    {"ARequestWithMoreThanItsRecords", true,
     [](TWirePeer& Peer) { return With(Peer.NewRequest(), "iia(ui)i", 1, 1, 1, 1, 1, 7); },
     "Malformed mail: more than its records"},
    {"AnUnknownOperationOfTheRouter", true,
     [](TWirePeer& Peer) { return Peer.NewRouterCall("Erase"); },
     "the router knows no operation Erase"},
    {"AnUnknownOperationOfAMailbox", true,
     [](TWirePeer& Peer) { return Peer.NewMailboxCall("Erase"); },
     "a mailbox knows no operation Erase"}};

struct HostileEnvelope : THostileFixture, testing::WithParamInterface<TSWrong> {};

TEST_P(HostileEnvelope, IsRefusedWithAReasonAndHurtsNobody) {
  StartAll();
  TWirePeer Peer(Address());
  if (GetParam().Greeted) {
    EXPECT_EQ(Peer.Greet(), "");
  }
  EXPECT_EQ(Peer.Call(GetParam().Make(Peer)),
            std::string("mailrouter.Error.Refused: ") + GetParam().Reason);
  ExpectServed();
  EndAndExpectLogged(std::string(" refused: ") + GetParam().Reason);
}

INSTANTIATE_TEST_SUITE_P(Of, HostileEnvelope, testing::ValuesIn(kWrong),
                         [](auto const& Info) { return std::string(Info.param.Name); });

using HostileGreeting = THostileFixture;

TEST_F(HostileGreeting, InAnotherProtocolIsRefusedWithBothVersions) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Call(With(Peer.NewRouterCall("Hello"), "sus", "peer", 7, "")),
            "mailrouter.Error.Protocol: protocol version 7 is not spoken here, only 1 and 2");
  ExpectServed();
}

TEST_F(HostileGreeting, WithAnIdentityOfImpossibleLengthIsRefused) {
  StartAll();
  TWirePeer Peer(Address());
  std::string const Reason = "mailrouter.Error.Refused: an identity has 1 to 64 bytes";
  EXPECT_EQ(Peer.Greet(""), Reason);
  EXPECT_EQ(Peer.Greet(std::string(65, 'x')), Reason);
  EXPECT_EQ(Peer.Greet(std::string(1000000, 'x')), Reason);
  ExpectServed();
}

}  // namespace
