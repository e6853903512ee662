// SPDX-License-Identifier: MIT
// Peers that do not keep to the protocol: the router refuses, logs, and serves everybody else.
#include <gmock/gmock.h>

#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <vector>

#include "MessagingFixture.h"
#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "RouterPeer.h"
#include "tests/support/RawPeer.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

// What a refusal looks like to the peer.
std::string Refused(std::string const& Text) {
  return "mailrouter.Error.Refused: " + Text;
}

struct HostilePeer : TMessagingFixture {
  // After whatever the peer did, the router serves others and has logged `Reason` last.
  void ExpectServedAndLogged(std::string const& Reason) {
    EXPECT_THAT(Errors().WaitFor(1), ElementsAre(EndsWith(Reason)));
    ExpectServed();
  }
  static void ExpectServed() {
    TTestProxy Proxy;
    EXPECT_TRUE(Proxy.AskNumber(1));
  }

  // Sends `Bytes` and waits until the router has ended the connection.
  void ExpectEnded(std::string const& Bytes) const {
    TRawPeer Peer(Connect(SocketPath()));
    EXPECT_TRUE(Peer.Send(Bytes));
    EXPECT_TRUE(Peer.HearEnd());
  }

  TTestServer m_Server;
};

TEST_F(HostilePeer, ThatSendsGarbageIsDropped) {
  ExpectEnded(std::string(4096, '\xa5'));
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(EndsWith(" ended before its greeting")));
  ExpectServed();
}

TEST_F(HostilePeer, ThatSendsGarbageAfterAuthenticationIsDropped) {
  ExpectEnded(Authentication() + std::string(4096, '\xa5'));
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(EndsWith(" ended before its greeting")));
  ExpectServed();
}

TEST_F(HostilePeer, ThatSendsHalfAMessageIsDropped) {
  EXPECT_TRUE(TRawPeer(Connect(SocketPath()))
                  .Send(Authentication() + std::string("l\1\0\1\x20\0\0\0\1\0\0\0", 12)));
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(EndsWith(" ended before its greeting")));
  ExpectServed();
}

TEST_F(HostilePeer, ThatEndsWhileItIsSentToIsDropped) {
  std::optional<TRouterPeer> Peer(Address());
  Peer->Greet();
  Peer->Subscribe();
  m_Server.m_Router.Execute([&] {
    Peer.reset();  // the router cannot hear of it before it sends
    m_Server.Publish(7);
  });
  TTestProxy Proxy;
  EXPECT_TRUE(Proxy.AskNumber(1));
  std::size_t Connections = 0;
  m_Server.m_Router.Execute([&] { Connections = m_Server.m_Router.get_ConnectionCount(); });
  EXPECT_EQ(Connections, 1U);
}

TEST_F(HostilePeer, AnotherProtocolVersionIsRefused) {
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet("peer", 3),
            "mailrouter.Error.Protocol: protocol version 3 is not spoken here, only 1 and 2");
  ExpectServed();
}

TEST_F(HostilePeer, AnIdentityOfImpossibleLengthIsRefused) {
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet(""), Refused("an identity has 1 to 64 bytes"));
  EXPECT_EQ(Peer.Greet(std::string(65, 'x').c_str()), Refused("an identity has 1 to 64 bytes"));
  EXPECT_EQ(Peer.Greet(std::string(1000000, 'x').c_str()),
            Refused("an identity has 1 to 64 bytes"));
  EXPECT_EQ(Peer.Greet(), "");
}

TEST_F(HostilePeer, ThatIsNotAdmittedIsToldWhy) {
  m_Server.m_Router.Execute([this] {
    m_Server.m_Router.SetAdmission([](TSNorvMailSender const& Sender) {
      return Sender.User == geteuid() ? "it is too late" : "it is somebody else";
    });
  });
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet(),
            Refused("user " + std::to_string(geteuid()) + " may not connect: it is too late"));
}

// How many the router has, it keeps to itself.
TEST_F(HostilePeer, ThatThereIsNoRoomForIsToldSoAndTakesNone) {
  m_Server.m_Router.SetLimits({2, 1, 1000, std::chrono::seconds(10)});
  auto First = std::make_unique<TRouterPeer>(Address());
  EXPECT_EQ(First->Greet("first"), "");
  for (int Number = 0; Number < 100; ++Number) {
    TRouterPeer Peer(Address());
    EXPECT_EQ(Peer.Greet(), Refused("too many connections of user " + std::to_string(geteuid()) +
                                    " (at most 1)"));
    TCBusMessage const Last = Peer.HearSignal();
    ASSERT_TRUE(Last);
    EXPECT_STREQ(sd_bus_message_get_member(Last.get()), "Disconnected");
  }
  m_Server.m_Router.SetLimits({1, 2, 1000, std::chrono::seconds(10)});
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), Refused("too many connections in all (at most 1)"));
  std::size_t Connections = 0;
  m_Server.m_Router.Execute([&] { Connections = m_Server.m_Router.get_ConnectionCount(); });
  EXPECT_EQ(Connections, 1U);
}

TEST_F(HostilePeer, ThatIsSilentWhereThereIsNoRoomIsKeptInSmallNumbers) {
  m_Server.m_Router.SetLimits({2, 1, 1000, std::chrono::seconds(10)});
  TRouterPeer First(Address());
  EXPECT_EQ(First.Greet("first"), "");
  std::vector<TCFileDescriptor> Silent;
  for (int Number = 0; Number < 100; ++Number) {
    Silent.push_back(Connect(SocketPath()));
  }
  char Byte = 0;
  EXPECT_EQ(recv(Silent.back().get(), &Byte, 1, 0), 0);
  std::size_t Connections = 0;
  m_Server.m_Router.Execute([&] { Connections = m_Server.m_Router.get_ConnectionCount(); });
  EXPECT_EQ(Connections, 17U);
}

TEST_F(HostilePeer, IsToldOfInTheLogWithWhatIsRefused) {
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_EQ(Peer.Greet("other"), Refused("a second greeting"));
  EXPECT_THAT(Errors().WaitFor(1).at(0), ::testing::StartsWith("Greeting of "));
}

TEST_F(HostilePeer, ItsOwnIdentityMayReturnWhileTheFormerConnectionLasts) {
  TRouterPeer Former(Address());
  TRouterPeer Present(Address());
  EXPECT_EQ(Former.Greet("same"), "");
  EXPECT_EQ(Present.Greet("same"), "");
}

// Sends records of a signature as a request, so that the refusal comes back.
std::string AskWith(TRouterPeer& Peer, char const* Records) {
  TCBusMessage const Request = Peer.NewMail(MailWire::kRequest);
  sd_bus_message_append(Request.get(), "sii", "peer", 1, 1);
  if (*Records != '\0') {
    sd_bus_message_append(Request.get(), Records, 0);
  }
  return Peer.Call(Request);
}

TEST_F(HostilePeer, RecordsOfUnknownTypesAreRefused) {
  TRouterPeer Peer(Address());
  Peer.Greet();
  EXPECT_EQ(AskWith(Peer, "a(ud)"), Refused("Malformed mail: a field of an unknown type"));
  EXPECT_EQ(AskWith(Peer, "a(u(ii))"), Refused("Malformed mail: a field of an unknown type"));
  EXPECT_EQ(AskWith(Peer, "a(is)"), Refused("Malformed mail: records of type (is)"));
  EXPECT_EQ(AskWith(Peer, "a{us}"), Refused("Malformed mail: records of type {us}"));
  EXPECT_EQ(AskWith(Peer, "u"), Refused("Malformed mail: no records"));
  ExpectServed();
}

TEST_F(HostilePeer, AnUnknownAssignedFieldIsRefused) {
  TRouterPeer Peer(Address());
  Peer.Greet();
  TCBusMessage const Request = Peer.NewMail(MailWire::kRequest);
  sd_bus_message_append(Request.get(), "siia(ui)", "peer", 1, 1, 1, 2, 5);
  EXPECT_EQ(Peer.Call(Request), Refused("Malformed mail: an unknown field is assigned"));
}

std::string AskAndHearType(TRouterPeer& Peer, char const* Identity = "peer") {
  TCBusMessage const Request = Peer.NewMail(MailWire::kRequest);
  sd_bus_message_append(Request.get(), "siia(uisv)", Identity, 1, 1, 1, 3, 7, "seven", "s", "");
  return Peer.CallForType(Request);
}

// A request whose records are packed.
std::string AskPacked(TRouterPeer& Peer, std::string const& Fields, std::string const& Bytes) {
  TCBusMessage const Request = Peer.NewMail(MailWire::kRequest);
  sd_bus_message_append(Request.get(), "siis", "peer", 1, 1, Fields.c_str());
  sd_bus_message_append_array(Request.get(), 'y', Bytes.data(), Bytes.size());
  return Peer.Call(Request);
}

TEST_F(HostilePeer, PackedRecordsAreTaken) {
  TRouterPeer Peer(Address());
  Peer.Greet("peer", 2);
  std::string const Record("\3\0\0\0\7\0\0\0\1\0\0\0xs\0\0\0\0", 18);
  EXPECT_EQ(AskPacked(Peer, "isv", Record + Record), "");
  EXPECT_THAT(m_Server.m_Service.m_Requests.WaitFor(1), ElementsAre(7));
}

TEST_F(HostilePeer, PackedRecordsThatLieAreRefused) {
  TRouterPeer Peer(Address());
  Peer.Greet("peer", 2);
  std::string const Mask("\1\0\0\0", 4);
  EXPECT_EQ(AskPacked(Peer, "x", Mask), Refused("Malformed mail: a field of an unknown type"));
  EXPECT_EQ(AskPacked(Peer, std::string(33, 'i'), Mask),
            Refused("Malformed mail: too many fields in a record"));
  EXPECT_EQ(AskPacked(Peer, "i", Mask), Refused("Malformed mail: a record ends early"));
  EXPECT_EQ(AskPacked(Peer, "s", Mask + "\xff\xff\xff\xff"),
            Refused("Malformed mail: a record ends early"));
  EXPECT_EQ(AskPacked(Peer, "b", Mask + "\2"),
            Refused("Malformed mail: a boolean that is neither 0 nor 1"));
  EXPECT_EQ(AskPacked(Peer, "", Mask),
            Refused("Malformed mail: an assigned field that the record does not have"));
  ExpectServed();
}

TEST_F(HostilePeer, ThatGreetsWithTheFirstVersionGetsTypedRecords) {
  TRouterPeer Peer(Address());
  Peer.Greet("peer", 1);
  EXPECT_EQ(AskAndHearType(Peer), "a");
  TRouterPeer Other(Address());
  Other.Greet("other", 2);
  EXPECT_EQ(AskAndHearType(Other, "other"), "s");
}

TEST_F(HostilePeer, AnUnsealedMemoryFileIsRefused) {
  TRouterPeer Peer(Address());
  Peer.Greet();
  TCFileDescriptor const File(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  TCBusMessage const Request = Peer.NewMail(MailWire::kRequest);
  sd_bus_message_append(Request.get(), "siih", "peer", 1, 1, File.get());
  EXPECT_EQ(Peer.Call(Request), Refused("Malformed mail: a memory file that is not sealed"));
  ExpectServed();
}

TEST_F(HostilePeer, AMalformedMailIsAcknowledgedAndTheNextIsDelivered) {
  TRouterPeer Peer(Address());
  Peer.Greet();
  for (int Number = 1; Number <= 2; ++Number) {
    TCBusMessage const Mail = Peer.NewMail();
    sd_bus_message_append(Mail.get(), "stii", "peer", static_cast<std::uint64_t>(Number), 2, 1);
    if (Number == 1) {
      sd_bus_message_append(Mail.get(), "u", 7);
    } else {
      sd_bus_message_append(Mail.get(), "a(uisv)", 1, 3, 7, "seven", "s", "");
    }
    // Mails are not answered, so the call is sent as one that expects nothing.
    sd_bus_message_set_expect_reply(Mail.get(), 0);
    ASSERT_GE(sd_bus_send(nullptr, Mail.get(), nullptr), 0);
  }
  Peer.AwaitRouter();
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(1), ElementsAre(7));
  EXPECT_THAT(Errors().WaitFor(1).at(0), EndsWith(" refused: Malformed mail: no records"));
}

TEST_F(HostilePeer, AnUnknownInterfaceOfAMailboxIsRefused) {
  TRouterPeer Peer(Address());
  Peer.Greet();
  EXPECT_THAT(Peer.Call(Peer.NewMail(MailWire::kRequest, "some.Interface")),
              ::testing::StartsWith("org.freedesktop.DBus.Error.UnknownObject: "));
  ExpectServed();
}

TEST_F(HostilePeer, ASubscriptionToNoMailClassIsRefused) {
  TRouterPeer Peer(Address());
  Peer.Greet();
  TCBusMessage const Subscription =
      Peer.NewCall(MailWire::kRouterPath, MailWire::kRouterInterface, MailWire::kSubscribe);
  sd_bus_message_append(Subscription.get(), "stt", "some.Interface", std::uint64_t{0},
                        std::uint64_t{0});
  EXPECT_EQ(Peer.Call(Subscription), Refused("some.Interface is no mail class"));
}

// ---- several mails in one message ----

// A mail (2, 1) with one record, whose number is `Number`.
std::string PackedMail(char Number) {
  using std::string_literals::operator""s;
  return "\2\0\0\0\1\0\0\0\x12\0\0\0"s + "\3\0\0\0"s + Number + "\0\0\0\1\0\0\0xs\0\0\0\0"s;
}

TCBusMessage NewMails(TRouterPeer& Peer, std::uint64_t First, std::uint32_t Count,
                      std::string const& Bytes) {
  TCBusMessage Mails = Peer.NewMail(MailWire::kSendMany);
  sd_bus_message_append(Mails.get(), "stus", "peer", First, Count, "isv");
  sd_bus_message_append_array(Mails.get(), 'y', Bytes.data(), Bytes.size());
  return Mails;
}

TEST_F(HostilePeer, MailsInOneMessageAreTakenOneByOne) {
  TRouterPeer Peer(Address());
  Peer.Greet();  // everybody may send them
  std::string const Three = PackedMail(7) + PackedMail(8) + PackedMail(9);
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 1, 3, Three), 3U));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(3), ElementsAre(7, 8, 9));
}

TEST_F(HostilePeer, OneMalformedMailAmongOthersIsRefusedAlone) {
  TRouterPeer Peer(Address());
  Peer.Greet("peer", 2);
  std::string Lying = PackedMail(8);
  Lying[21] = '\x7f';  // the length of its text
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 1, 3, PackedMail(7) + Lying + PackedMail(9)), 3U));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(2), ElementsAre(7, 9));
  ExpectServedAndLogged(" refused: Malformed mail: a record ends early");
}

TEST_F(HostilePeer, MailsThatCannotBeToldApartAreAcknowledgedAndNotTaken) {
  TRouterPeer Peer(Address());
  Peer.Greet("peer", 2);
  std::string Lying = PackedMail(7);
  Lying[8] = '\x13';  // the length of its records
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 1, 3, PackedMail(6) + Lying + PackedMail(8)), 3U));
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 4, 1, PackedMail(9)), 4U));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(1), ElementsAre(9));
  EXPECT_THAT(Errors().WaitFor(1).at(0), EndsWith(" refused: Malformed mails: one ends early"));
}

TEST_F(HostilePeer, MailsThatAreNotAsManyAsAnnouncedAreAcknowledgedAndNotTaken) {
  TRouterPeer Peer(Address());
  Peer.Greet("peer", 2);
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 1, 3, PackedMail(7) + PackedMail(8)), 3U));
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 4, 1, PackedMail(7) + PackedMail(8)), 4U));
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 5, 1, ""), 5U));
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 6, 4294967295U, PackedMail(7)), 4294967300U));
  ExpectServed();
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
}

TEST_F(HostilePeer, MailsWithTheHighestNumberAreTaken) {
  TRouterPeer Peer(Address());
  Peer.Greet("peer", 2);
  std::string const Two = PackedMail(7) + PackedMail(8);
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, UINT64_MAX - 1, 2, Two), UINT64_MAX));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(2), ElementsAre(7, 8));
}

// How long it takes a peer to be rid of a hundred mails in one message, and one more, where fifty a
// second are allowed.
std::chrono::steady_clock::duration TimeOfTooMany(TTestServer& Server, TRouterPeer& Peer) {
  constexpr int kMails = 100;
  Server.m_Router.Execute([&Server] {
    Server.m_Router.SetLimits({1024, 256, 50, std::chrono::seconds(10)});
  });
  Peer.Greet("peer", 2);
  std::string Bytes;
  for (int Mail = 0; Mail < kMails; ++Mail) {
    Bytes += PackedMail(7);
  }
  auto const Begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 1, kMails, Bytes), 100U));
  EXPECT_TRUE(Peer.Tell(NewMails(Peer, 101, 1, PackedMail(7)), 101U));
  return std::chrono::steady_clock::now() - Begin;
}

TEST_F(HostilePeer, MailsInOneMessageCountEachForTheLimit) {
  TRouterPeer Peer(Address());
  EXPECT_GE(TimeOfTooMany(m_Server, Peer), std::chrono::seconds(2));
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(EndsWith(" sends more than 50 mails a second and is slowed down")));
}

TEST_F(HostilePeer, IsSlowedDownNoLessWhileTheServiceIsBusy) {
  m_Server.m_Router.Execute([this] { m_Server.m_Service.m_IsBusy = true; });
  TRouterPeer Peer(Address());
  EXPECT_GE(TimeOfTooMany(m_Server, Peer), std::chrono::seconds(2));
}

}  // namespace
