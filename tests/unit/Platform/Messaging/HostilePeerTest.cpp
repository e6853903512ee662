// SPDX-License-Identifier: MIT
// Peers that do not keep to the protocol: the router refuses, logs, and serves everybody else.
#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "MessagingFixture.h"
#include "RouterPeer.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

constexpr char kEndedEarly[] = " ended before its greeting";
constexpr char kIsEnded[] = "; its connection is ended";

struct HostilePeer : TMessagingFixture {
  // After whatever the peer did, the router serves others and has logged `Reason`.
  void ExpectServedAndLogged(std::string const& Reason) {
    EXPECT_THAT(Errors().WaitFor(1), ElementsAre(EndsWith(Reason)));
    ExpectServed();
  }
  static void ExpectServed() {
    TTestProxy Proxy;
    EXPECT_TRUE(Proxy.AskNumber(1));
  }
  // Of one proxy that lasts, so that the number of descriptors changes for no other reason.
  struct TLastingProxy : TTestProxy {
    TLastingProxy() { EXPECT_TRUE(AskNumber(1)); }
    ~TLastingProxy() override { Close(); }
  };

  // In the router's turn.
  void SetLimits(TSNorvRouterLimits const& Limits) {
    m_Server.m_Router.Execute([&] { m_Server.m_Router.SetLimits(Limits); });
  }

  std::unique_ptr<TRouterPeer> NewGreetedPeer() const {
    auto Peer = std::make_unique<TRouterPeer>(Address());
    EXPECT_EQ(Peer->Greet(), "");
    return Peer;
  }

  // Sends `Bytes` in one packet and waits until the router has ended the connection.
  void ExpectEnded(std::string const& Bytes, std::vector<int> const& Files = {}) const {
    TFramePeer Peer(Address());
    EXPECT_TRUE(Peer.SendBytes(Bytes, Files));
    EXPECT_TRUE(Peer.HearEnd());
  }

  std::size_t CountConnections() {
    std::size_t Connections = 0;
    m_Server.m_Router.Execute([&] { Connections = m_Server.m_Router.get_ConnectionCount(); });
    return Connections;
  }

  // Of this process, which is the router's and the peers' too.
  static std::ptrdiff_t CountFiles() {
    std::filesystem::directory_iterator const Files("/proc/self/fd");
    return std::distance(begin(Files), end(Files));
  }

  TTestServer m_Server;
};

// ---- what is no frame ----

TEST_F(HostilePeer, ThatSendsGarbageIsDropped) {
  ExpectEnded(std::string(4096, '\xa5'));
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(EndsWith(kEndedEarly)));
  ExpectServedAndLogged(std::string(" refused: Malformed mail: a frame of an unknown kind") +
                        kIsEnded);
}

TEST_F(HostilePeer, ThatSendsGarbageAfterTheGreetingIsDropped) {
  auto const Peer = NewGreetedPeer();
  EXPECT_TRUE(Peer->SendBytes(std::string(4096, '\xa5')));
  EXPECT_TRUE(Peer->HearEnd());
  ExpectServedAndLogged(std::string(" refused: Malformed mail: a frame of an unknown kind") +
                        kIsEnded);
}

TEST_F(HostilePeer, ThatSendsHalfAHeadIsDropped) {
  ExpectEnded(WireGreeting("peer").Encode().substr(0, 28));
  ExpectServedAndLogged(std::string(" refused: Malformed mail: a frame ends early") + kIsEnded);
}

TEST_F(HostilePeer, ThatSendsAnEmptyPacketIsDropped) {
  ExpectEnded("");
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(EndsWith(kEndedEarly)));
  ExpectServed();
}

TEST_F(HostilePeer, ThatSendsAnEmptyPacketAfterTheGreetingIsDropped) {
  auto const Peer = NewGreetedPeer();
  EXPECT_TRUE(Peer->SendBytes(""));
  EXPECT_TRUE(Peer->HearEnd());
  ExpectServed();
}

TEST_F(HostilePeer, ThatSendsMoreThanAFrameIsDropped) {
  ExpectEnded(WireGreeting("peer").Encode() + std::string(kWireFrameLimit, 'x'));
  EXPECT_THAT(Warnings().WaitFor(1), ElementsAre(EndsWith(kEndedEarly)));
  ExpectServed();
}

TEST_F(HostilePeer, ThatClosesHalfOfItsConnectionIsDropped) {
  auto const Peer = NewGreetedPeer();
  EXPECT_EQ(shutdown(Peer->get_Socket(), SHUT_WR), 0);
  EXPECT_TRUE(Peer->HearEnd());
  ExpectServed();
}

TEST_F(HostilePeer, ThatWillNotReadAnyMoreIsDroppedWhenItIsAnswered) {
  auto const Peer = NewGreetedPeer();
  EXPECT_EQ(shutdown(Peer->get_Socket(), SHUT_RD), 0);
  EXPECT_TRUE(Peer->Send(Peer->NewQuestion(7)));
  TTestProxy Proxy;
  EXPECT_TRUE(Proxy.AskNumber(1));
  EXPECT_EQ(CountConnections(), 1U);
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
  EXPECT_EQ(CountConnections(), 1U);
}

// ---- greetings ----

TEST_F(HostilePeer, AnotherProtocolVersionIsRefused) {
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet("peer", 2), "protocol version 2 is not spoken here, only 1");
  EXPECT_EQ(Peer.Greet("peer", -1), "protocol version -1 is not spoken here, only 1");
  ExpectServed();
}

TEST_F(HostilePeer, AnIdentityOfImpossibleLengthIsRefused) {
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet(""), "an identity has 1 to 64 bytes");
  EXPECT_EQ(Peer.Greet(std::string(65, 'x')), "an identity has 1 to 64 bytes");
  EXPECT_EQ(Peer.Greet(std::string(60000, 'x')), "an identity has 1 to 64 bytes");
  EXPECT_EQ(Peer.Greet(std::string(64, 'x')), "");
}

TEST_F(HostilePeer, ThatIsNotAdmittedIsToldWhy) {
  m_Server.m_Router.Execute([this] {
    m_Server.m_Router.SetAdmission([](TSNorvMailSender const& Sender) {
      return Sender.User == geteuid() ? "it is too late" : "it is somebody else";
    });
  });
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "user " + std::to_string(geteuid()) + " may not connect: it is too late");
}

// How many the router has, it keeps to itself.
TEST_F(HostilePeer, ThatThereIsNoRoomForIsToldSoAndTakesNone) {
  SetLimits({2, 1, 1000, std::chrono::seconds(10)});
  auto First = std::make_unique<TRouterPeer>(Address());
  EXPECT_EQ(First->Greet("first"), "");
  for (int Number = 0; Number < 100; ++Number) {
    TRouterPeer Peer(Address());
    EXPECT_EQ(Peer.Greet(),
              "too many connections of user " + std::to_string(geteuid()) + " (at most 1)");
    EXPECT_TRUE(Peer.HearEnd());
  }
  SetLimits({1, 2, 1000, std::chrono::seconds(10)});
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "too many connections in all (at most 1)");
  EXPECT_EQ(CountConnections(), 1U);
}

TEST_F(HostilePeer, ThatIsSilentWhereThereIsNoRoomIsKeptInSmallNumbers) {
  SetLimits({2, 1, 1000, std::chrono::seconds(10)});
  TRouterPeer First(Address());
  EXPECT_EQ(First.Greet("first"), "");
  std::vector<TCFileDescriptor> Silent;
  for (int Number = 0; Number < 100; ++Number) {
    Silent.push_back(Connect(SocketPath()));
  }
  char Byte = 0;
  EXPECT_EQ(recv(Silent.back().get(), &Byte, 1, 0), 0);
  EXPECT_EQ(CountConnections(), 17U);
}

TEST_F(HostilePeer, IsToldOfInTheLogWithWhatIsRefused) {
  TRouterPeer Peer(Address());
  EXPECT_EQ(Peer.Greet("peer", 7), "protocol version 7 is not spoken here, only 1");
  EXPECT_THAT(Errors().WaitFor(1).at(0), ::testing::StartsWith("Greeting of "));
}

TEST_F(HostilePeer, ItsOwnIdentityMayReturnWhileTheFormerConnectionLasts) {
  TRouterPeer Former(Address());
  TRouterPeer Present(Address());
  EXPECT_EQ(Former.Greet("same"), "");
  EXPECT_EQ(Present.Greet("same"), "");
}

// ---- records ----

std::string AskWith(TRouterPeer& Peer, std::string const& Fields, std::string const& Records) {
  TSWireFrame Request = Peer.NewRequest();
  Request.Fields = Fields;
  return Peer.Call(Request.Add(eNorvRequest, 1, Records));
}

TEST_F(HostilePeer, RecordsThatLieAreRefused) {
  auto const Peer = NewGreetedPeer();
  std::string const Mask = WireWord(1);
  EXPECT_EQ(AskWith(*Peer, "x", Mask), "Malformed mail: a field of an unknown type");
  EXPECT_EQ(AskWith(*Peer, std::string(33, 'i'), Mask),
            "Malformed mail: too many fields in a record");
  EXPECT_EQ(AskWith(*Peer, "i", Mask), "Malformed mail: a record ends early");
  EXPECT_EQ(AskWith(*Peer, "s", Mask + "\xff\xff\xff\xff"), "Malformed mail: a record ends early");
  EXPECT_EQ(AskWith(*Peer, "b", Mask + "\2"), "Malformed mail: a boolean that is neither 0 nor 1");
  EXPECT_EQ(AskWith(*Peer, "", Mask),
            "Malformed mail: an assigned field that the record does not have");
  EXPECT_EQ(AskWith(*Peer, TRouterPeer::kFields, TRouterPeer::Record(7)), "");
  ExpectServed();
}

TEST_F(HostilePeer, RecordsOfMoreThanAreAllowedAreRefused) {
  TSNorvRouterLimits Limits;
  Limits.RecordsPerMail = 2;
  SetLimits(Limits);
  auto const Peer = NewGreetedPeer();
  std::string const Two = TRouterPeer::Record(1) + TRouterPeer::Record(2);
  EXPECT_EQ(AskWith(*Peer, TRouterPeer::kFields, Two), "");
  EXPECT_EQ(AskWith(*Peer, TRouterPeer::kFields, Two + TRouterPeer::Record(3)),
            "a mail has more than 2 records, the most that are allowed (mail_records)");
}

TEST_F(HostilePeer, AMalformedMailIsAcknowledgedAndTheNextIsDelivered) {
  auto const Peer = NewGreetedPeer();
  TSWireFrame Malformed = TRouterPeer::NewMail(1);
  EXPECT_TRUE(Peer->Tell(Malformed.Add(eNorvChange, 1, "x"), 1));
  EXPECT_TRUE(Peer->Tell(TRouterPeer::NewChange(2, 7), 2));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(1), ElementsAre(7));
  EXPECT_THAT(Errors().WaitFor(1).at(0), EndsWith(" refused: Malformed mail: a record ends early"));
}

// ---- descriptors ----

TCFileDescriptor MemoryFile(std::string const& Content, bool Sealed) {
  TCFileDescriptor File(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(write(File.get(), Content.data(), Content.size()),
            static_cast<ssize_t>(Content.size()));
  constexpr int kAllSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
  EXPECT_EQ(fcntl(File.get(), F_ADD_SEALS, Sealed ? kAllSeals : 0), 0);
  return File;
}

std::string CallWithFile(TRouterPeer& Peer, TCFileDescriptor const& File) {
  return Peer.Call(Peer.NewRequest().AddFile(eNorvRequest, 1, File.get()));
}

TEST_F(HostilePeer, ASealedMemoryFileIsReadAndClosed) {
  auto const Peer = NewGreetedPeer();
  TCFileDescriptor const File = MemoryFile(TRouterPeer::Record(7), true);
  auto const Before = CountFiles();
  EXPECT_EQ(CallWithFile(*Peer, File), "");
  EXPECT_THAT(m_Server.m_Service.m_Requests.WaitFor(1), ElementsAre(7));
  EXPECT_EQ(Peer->Call(Peer->NewQuestion(8)), "");  // the next frame has taken its place
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(HostilePeer, AnUnsealedMemoryFileIsRefusedAndClosed) {
  auto const Peer = NewGreetedPeer();
  TCFileDescriptor const File = MemoryFile(TRouterPeer::Record(7), false);
  auto const Before = CountFiles();
  EXPECT_EQ(CallWithFile(*Peer, File), "Malformed mail: a memory file that is not sealed");
  EXPECT_EQ(Peer->Call(Peer->NewQuestion(8)), "");
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(HostilePeer, AMemoryFileThatDoesNotComeEndsTheConnection) {
  auto const Peer = NewGreetedPeer();
  std::string Bytes = TRouterPeer::NewChange(1, 7).Encode();
  Bytes[WirePlace::kFile] = 1;
  EXPECT_TRUE(Peer->SendBytes(Bytes));
  EXPECT_TRUE(Peer->HearEnd());
  ExpectServedAndLogged(
      std::string(" refused: Malformed mail: a memory file is missing, or is not announced") +
      kIsEnded);
}

TEST_F(HostilePeer, AFileBesideAFrameThatAnnouncesNoneEndsTheConnectionAndIsClosed) {
  auto const Peer = NewGreetedPeer();
  TCFileDescriptor const File = MemoryFile(TRouterPeer::Record(7), true);
  TLastingProxy Proxy;
  auto const Before = CountFiles();
  EXPECT_TRUE(Peer->SendBytes(TRouterPeer::NewChange(1, 7).Encode(), {File.get()}));
  EXPECT_TRUE(Peer->HearEnd());
  EXPECT_TRUE(Proxy.AskNumber(1));
  EXPECT_EQ(CountFiles(), Before - 1);  // the router's end of the connection is gone
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
}

TEST_F(HostilePeer, MoreThanOneFileEndsTheConnectionAndAllAreClosed) {
  TCFileDescriptor const File = MemoryFile(TRouterPeer::Record(7), true);
  TLastingProxy Proxy;
  for (std::size_t const Count : {2U, 3U, 250U}) {
    auto const Peer = NewGreetedPeer();
    auto const Before = CountFiles();
    TSWireFrame Mail = TRouterPeer::NewMail().AddFile(eNorvChange, 1, File.get());
    Mail.Files.resize(Count, File.get());
    EXPECT_TRUE(Peer->Send(Mail));
    EXPECT_TRUE(Peer->HearEnd());
    EXPECT_TRUE(Proxy.AskNumber(1));
    EXPECT_EQ(CountFiles(), Before - 1);  // the router's end of the connection
  }
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
}

TEST_F(HostilePeer, FilesBeforeTheGreetingAreNotEvenTaken) {
  TCFileDescriptor const File = MemoryFile("x", true);
  TLastingProxy Proxy;
  auto const Before = CountFiles();
  for (std::size_t const Count : {1U, 2U, 250U}) {
    ExpectEnded(WireGreeting("peer").Encode(), std::vector<int>(Count, File.get()));
    ExpectEnded(TRouterPeer::NewChange(1, 7).Encode(), std::vector<int>(Count, File.get()));
    ExpectEnded("x", std::vector<int>(Count, File.get()));
  }
  EXPECT_TRUE(Proxy.AskNumber(1));
  EXPECT_EQ(CountConnections(), 1U);
  EXPECT_EQ(CountFiles(), Before);
  EXPECT_THAT(Warnings().WaitFor(9), Contains(EndsWith(kEndedEarly)).Times(9));
}

// ---- several mails in one frame ----

TSWireFrame NewMails(std::uint64_t First, std::uint16_t Count, std::string const& Bytes) {
  TSWireFrame Mails = TRouterPeer::NewMail(First);
  Mails.Count = Count;
  Mails.Mails = Bytes;
  return Mails;
}

std::string PackedMail(int Number) {
  return WireMail(eNorvChange, 1, TRouterPeer::Record(Number));
}

TEST_F(HostilePeer, MailsInOneFrameAreTakenOneByOne) {
  auto const Peer = NewGreetedPeer();
  EXPECT_TRUE(Peer->Tell(NewMails(1, 3, PackedMail(7) + PackedMail(8) + PackedMail(9)), 3U));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(3), ElementsAre(7, 8, 9));
}

TEST_F(HostilePeer, OneMalformedMailAmongOthersIsRefusedAlone) {
  auto const Peer = NewGreetedPeer();
  std::string Lying = PackedMail(8);
  Lying[20] = '\x7f';  // the length of its text
  EXPECT_TRUE(Peer->Tell(NewMails(1, 3, PackedMail(7) + Lying + PackedMail(9)), 3U));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(2), ElementsAre(7, 9));
  ExpectServedAndLogged(" refused: Malformed mail: a record ends early");
}

TEST_F(HostilePeer, MailsThatCannotBeToldApartAreAcknowledgedAndNotTaken) {
  auto const Peer = NewGreetedPeer();
  std::string Lying = PackedMail(7);
  Lying[11] = '\x7f';  // the length of its records
  EXPECT_TRUE(Peer->Tell(NewMails(1, 3, PackedMail(6) + Lying + PackedMail(8)), 3U));
  EXPECT_TRUE(Peer->Tell(NewMails(4, 1, PackedMail(9)), 4U));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(1), ElementsAre(9));
  EXPECT_THAT(Errors().WaitFor(1).at(0), EndsWith(" refused: Malformed mail: a frame ends early"));
}

TEST_F(HostilePeer, MailsThatAreNotAsManyAsAnnouncedAreAcknowledgedAndNotTaken) {
  auto const Peer = NewGreetedPeer();
  EXPECT_TRUE(Peer->Tell(NewMails(1, 3, PackedMail(7) + PackedMail(8)), 3U));
  EXPECT_TRUE(Peer->Tell(NewMails(4, 1, PackedMail(7) + PackedMail(8)), 4U));
  EXPECT_TRUE(Peer->Tell(NewMails(5, 1, ""), 5U));
  EXPECT_TRUE(Peer->Tell(NewMails(6, 65535, PackedMail(7)), 65540U));
  ExpectServed();
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
}

TEST_F(HostilePeer, MailsInOneMemoryFileAreAcknowledgedAndNotTaken) {
  auto const Peer = NewGreetedPeer();
  TCFileDescriptor const File = MemoryFile(TRouterPeer::Record(7), true);
  TSWireFrame Mails = TRouterPeer::NewMail(1).AddFile(eNorvChange, 1, File.get());
  EXPECT_TRUE(Peer->Tell(Mails.Add(eNorvChange, 1, ""), 2U));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(0), IsEmpty());
  ExpectServedAndLogged(
      " refused: Malformed mail: 2 mails in one frame, at most 256, or one with a memory file");
}

TEST_F(HostilePeer, MailsWithTheHighestNumberAreTaken) {
  auto const Peer = NewGreetedPeer();
  EXPECT_TRUE(Peer->Tell(NewMails(UINT64_MAX - 1, 2, PackedMail(7) + PackedMail(8)), UINT64_MAX));
  EXPECT_THAT(m_Server.m_Service.m_Mails.WaitFor(2), ElementsAre(7, 8));
}

// How long it takes a peer to be rid of a hundred mails in one frame, and one more, where fifty a
// second are allowed.
std::chrono::steady_clock::duration TimeOfTooMany(TTestServer& Server, TRouterPeer& Peer) {
  constexpr int kMails = 100;
  Server.m_Router.Execute([&Server] {
    Server.m_Router.SetLimits({1024, 256, 50, std::chrono::seconds(10)});
  });
  Peer.Greet();
  std::string Bytes;
  for (int Mail = 0; Mail < kMails; ++Mail) {
    Bytes += PackedMail(7);
  }
  auto const Begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(Peer.Tell(NewMails(1, kMails, Bytes), 100U));
  EXPECT_TRUE(Peer.Tell(NewMails(101, 1, PackedMail(7)), 101U));
  return std::chrono::steady_clock::now() - Begin;
}

TEST_F(HostilePeer, MailsInOneFrameCountEachForTheLimit) {
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

// ---- answers that nobody reads ----

TEST_F(HostilePeer, ThatReadsNoAnswersIsDropped) {
  auto const Peer = NewGreetedPeer();
  std::string const Large(60000, 'x');
  while (Peer->Send(Peer->NewRequest().Add(eNorvRequest, 1, TRouterPeer::Record(7, Large))) &&
         Peer->Flush()) {
  }
  EXPECT_TRUE(Peer->HearEnd());
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(EndsWith(" does not read its answers; its connection is ended")));
  ExpectServed();
}

}  // namespace
