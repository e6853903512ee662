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

constexpr std::uint64_t kOne = 1;

// One for each kind of message; tests/unit/Platform/Messaging has all cases.
TSWrong const kWrong[] = {
    {"AGreetingOfOtherTypes", false,
     [](TWirePeer& Peer) { return With(Peer.NewRouterCall("Hello"), "us", 1, "peer"); },
     "Malformed mail: cannot read a greeting: No such device or address"},
    {"ASubscriptionToNoMailClass", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewRouterCall("Subscribe"), "stt", "some.Interface", kOne, kOne);
     },
     "some.Interface is no mail class"},
    {"AMailInAnothersName", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("Send"), "stiia(uisssb)", "another", kOne, 2, 3, 0);
     },
     "a mail in another's name"},
    {"MailsInAnothersName", true,
     [](TWirePeer& Peer) {
       return With(Peer.NewMailboxCall("SendMany"), "stusay", "another", kOne, 1U, "i", 0);
     },
     "a mail in another's name"},
    {"ARequestOfOtherRecords", true,
     [](TWirePeer& Peer) { return With(Peer.NewRequest(), "iia(us)", 1, 1, 1, 1, "all"); },
     "Malformed mail: records of another layout"},
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

}  // namespace
