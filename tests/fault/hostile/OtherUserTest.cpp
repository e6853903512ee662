// SPDX-License-Identifier: MIT
// Processes of another user: they get what the configuration says, by default nothing.
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/fault/hostile/TLingeringSocket.h"
#include "tests/support/WirePeer.h"

namespace {

constexpr uid_t kAnother = 65533;

struct OtherUser : THostileFixture {
  // The test's folder is private; the server's socket is not.
  void OpenFolder() const { EXPECT_EQ(chmod(m_Folder.c_str(), 0755), 0); }
  TCFileDescriptor ConnectAsNobody() const { return ConnectAs(SocketPath(), kNobody); }
};

TEST_F(OtherUser, WhoConnectsIsRefusedAndToldWhatItLacks) {
  StartAll();
  OpenFolder();
  TWirePeer Peer(ConnectAsNobody());
  std::string const Reason =
      "user 65534 may not connect: it is in no group that may, and no rule lets it read or write "
      "anything";
  EXPECT_EQ(Peer.Greet(), Reason);
  EXPECT_EQ(Peer.Call(Peer.NewRequestForAll()), "a mail before the greeting");
  ExpectServed();
  EndAndExpectLogged("user 65534) refused: " + Reason);
}

TEST_F(OtherUser, WhoAsksForACopyIsToldThatTheServerRefuses) {
  StartAll();
  OpenFolder();
  std::vector<std::string> Command = ServerCommand();
  Command.insert(Command.end(), {"--backup", File("copy.db")});
  TProcess Asking(Command, {}, [] {
    if (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0) {
      _exit(126);
    }
  });
  EXPECT_EQ(Asking.End(), 1);
  EXPECT_NE(Asking.Errors().find("refuses: user 65534 may not connect"), std::string::npos)
      << Asking.Errors();
}

TEST_F(OtherUser, WhoSaysNothingButMailsIsNotHeard) {
  StartAll();
  OpenFolder();
  {
    TWirePeer Peer(ConnectAsNobody());
    EXPECT_TRUE(Peer.Send(TWirePeer::NewChange(1, 201, "taken")));
    EXPECT_TRUE(Peer.Subscribe());
    EXPECT_EQ(Peer.Call(Peer.NewRequestForAll()), "a mail before the greeting");
  }
  ExpectServed();
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
  EndAndExpectLogged("user 65534) ended before its greeting");
}

TEST_F(OtherUser, WhoSendsDescriptorsLeavesNoneBehind) {
  StartAll();
  OpenFolder();
  ExpectServed();
  int const Files = ServerFiles();
  TCFileDescriptor const Null(open("/dev/null", O_RDONLY | O_CLOEXEC));
  for (int Number = 0; Number < 3; ++Number) {
    TWirePeer Peer(ConnectAsNobody());
    EXPECT_TRUE(Peer.SendBytes(TWirePeer::NewChange(1, 201, "taken").Encode(),
                               std::vector<int>(250, Null.get())));
    EXPECT_TRUE(Peer.HearEnd());
  }
  ExpectServed();
  EXPECT_EQ(ServerFiles(), Files);
}

TEST_F(OtherUser, WhoSendsASocketThatLingersHoldsNobodyUp) {
  StartAll();
  OpenFolder();
  TLingeringSocket Lingering;
  TWirePeer Peer(ConnectAsNobody());
  Lingering.GiveTo(*m_Server, [&] { return Peer.SendBytes("nonsense", {Lingering.get()}); });
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(OtherUser, WhoOpensAThousandConnectionsKeepsNobodyOut) {
  StartAll();
  OpenFolder();
  {
    std::vector<TWirePeer> Peers;
    for (int Number = 0; Number < 1000; ++Number) {
      Peers.emplace_back(ConnectAsNobody());
    }
    ExpectServed();
    ExpectNewcomerServed();
    EXPECT_TRUE(Peers.back().HearEnd());
  }
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  int const Lines =
      CountLines(m_Server->Errors(), "too many connections: 16 of user 65534 (at most 16)");
  EXPECT_GE(Lines, 1) << m_Server->Errors();
  EXPECT_LE(Lines, 100);
}

TEST_F(OtherUser, WhoComesAndGoesHidesNothingInTheLog) {
  StartAll();
  OpenFolder();
  for (int Number = 0; Number < 100; ++Number) {
    TWirePeer Peer(ConnectAsNobody());
    EXPECT_TRUE(Peer.SendBytes("nonsense"));
    EXPECT_TRUE(Peer.HearEnd());
  }
  TWirePeer Own(Connect(SocketPath()));
  EXPECT_TRUE(Own.SendBytes("nonsense"));
  EXPECT_TRUE(Own.HearEnd());
  ExpectServed();
  EndAndExpectLogged("user 0) ended before its greeting");
}

TEST_F(OtherUser, WritesWhatARuleAllowsAndNothingElse) {
  StartAll(
      Configure("[[rule]]\nproperties = [201]\nread = [\"user:65534\"]\n"
                "write = [\"user:65534\"]\n"));
  OpenFolder();
  TWirePeer Peer(ConnectAsNobody());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(Peer.NewChange(1, 101, "not allowed", "1", kThisDevice)));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  EXPECT_TRUE(Peer.Send(Peer.NewChange(2, 201, "allowed")));
  EXPECT_EQ(Peer.HearAcknowledged(), 2U);
  EXPECT_EQ(m_Reader->Ask("await"), "201 - - " + Hex("allowed"));
  EXPECT_EQ(StartClient()->Ask("exist 101 1 -"), "no");
  ExpectServed();
  EndAndExpectLogged("user 65534) refused: user 65534 may not write property 101");
}

constexpr char kMayRead[] = "[[rule]]\nproperties = [201]\nread = [\"user:65534\"]\n";

TEST_F(OtherUser, WhoTakesAnIdentityLocksItsOwnerOutOfNothing) {
  StartAll(Configure(kMayRead));
  OpenFolder();
  TWirePeer Thief(ConnectAsNobody());
  ASSERT_EQ(Thief.Greet("owner"), "");
  ASSERT_TRUE(Thief.Subscribe());
  ASSERT_EQ(Thief.Call(Thief.NewRequestForAll()), "");
  TWirePeer Owner(Address());
  ASSERT_EQ(Owner.Greet("owner"), "");
  ASSERT_TRUE(Owner.Subscribe());
  EXPECT_TRUE(Owner.Send(Owner.NewChange(1, 201, "owned")));
  EXPECT_EQ(Owner.HearOfMail(), "PublishedOwn 1");
  EXPECT_EQ(Owner.HearOfMail(), "Acknowledged 1");
  EXPECT_EQ(Thief.HearOfMail(), "Published another's 0");
  EXPECT_TRUE(Thief.Send(Thief.NewChange(7, 201, "not allowed")));
  EXPECT_EQ(Thief.HearOfMail(), "Published up to date 7");
  EXPECT_EQ(Thief.HearOfMail(), "Acknowledged 7");
  EXPECT_TRUE(Owner.Send(Owner.NewChange(2, 201, "owned still")));
  EXPECT_EQ(Owner.HearOfMail(), "PublishedOwn 2");
  EXPECT_EQ(Owner.HearOfMail(), "Acknowledged 2");
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), Hex("owned still"));
}

TEST_F(OtherUser, WhoTakesAnIdentityMakesNoMailOfItsOwnerVanish) {
  StartAll(Configure(kMayRead));
  OpenFolder();
  {
    TWirePeer Owner(Address());
    ASSERT_EQ(Owner.Greet("owner"), "");
    ASSERT_TRUE(Owner.Send(Owner.NewChange(1, 201, "first")));
    ASSERT_EQ(Owner.HearAcknowledged(), 1U);
  }
  TWirePeer Thief(ConnectAsNobody());
  ASSERT_EQ(Thief.Greet("owner"), "");
  ASSERT_TRUE(Thief.Send(Thief.NewChange(1000000, 201, "not allowed")));
  ASSERT_EQ(Thief.HearAcknowledged(), 1000000U);
  TWirePeer Owner(Address());
  ASSERT_EQ(Owner.Greet("owner"), "");
  ASSERT_TRUE(Owner.Send(Owner.NewChange(2, 201, "second")));
  EXPECT_EQ(Owner.HearAcknowledged(), 2U);
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), Hex("second"));
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  m_Server = StartServer(Configure(kMayRead));
  TWirePeer Returned(Address());
  ASSERT_EQ(Returned.Greet("owner"), "");
  ASSERT_TRUE(Returned.Send(Returned.NewChange(3, 201, "third")));
  EXPECT_EQ(Returned.HearAcknowledged(), 3U);
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), Hex("third"));
}

TEST_F(OtherUser, WhoMayReadOnePropertyGetsThatOfATransactionAndNothingElse) {
  StartAll(
      Configure("[[rule]]\nproperties = [201]\nread = [\"user:65534\"]\n"
                "[[rule]]\nproperties = [202]\nread = [\"user:65533\"]\n"));
  OpenFolder();
  TWirePeer First(ConnectAsNobody());
  TWirePeer Second(ConnectAs(SocketPath(), kAnother));
  for (TWirePeer* Reader : {&First, &Second}) {
    ASSERT_EQ(Reader->Greet(Reader == &First ? "first" : "second"), "");
    ASSERT_TRUE(Reader->Subscribe());
    ASSERT_EQ(Reader->Call(Reader->NewRequestForAll()), "");  // the subscription is known
  }
  TWirePeer Writer(Address());
  ASSERT_EQ(Writer.Greet("writer"), "");
  for (std::uint64_t Number = 1; Number <= 5; ++Number) {
    std::string const Text = "text " + std::to_string(Number);
    ASSERT_TRUE(
        Writer.Send(Writer.NewTransaction(Number, {{201, "first's " + Text}, {202, Text}})));
    EXPECT_EQ(First.HearValues(), "201=first's " + Text);
    EXPECT_EQ(Second.HearValues(), "202=" + Text);
  }
  ExpectServed();
}

// Of two values that it may write and not read one is held by the server, and it can not tell
// which.
TEST_F(OtherUser, WhoIsRefusedLosesWhatItMayNotRead) {
  StartAll(
      Configure("[limits]\nvalue_bytes = 7\n"
                "[[rule]]\nproperties = [102]\nread = [\"user:65534\"]\n"
                "[[rule]]\nproperties = [101]\nwrite = [\"user:65534\"]\n"));
  OpenFolder();
  m_Writer->Ask("set 101 1 - " + Hex("hidden"));
  m_Writer->Ask("acknowledged");
  auto const Writer = NewClient();
  ASSERT_EQ(Writer->Ask("become 65534"), "become");
  ASSERT_EQ(Writer->Ask("create 0"), "created");
  Writer->Ask("begin");
  Writer->Ask("set 101 1 - " + Hex("too large"));
  Writer->Ask("set 101 2 - " + Hex("too large"));
  Writer->Ask("commit");
  Writer->Ask("acknowledged");
  m_Writer->Ask("set 102 - - " + Hex("8"));
  std::string const Device = std::string(" ") + kThisDevice + " ";
  std::map<std::string, std::string> Last;  // by number and link
  while (Last["102 -"].empty()) {
    std::string const Line = Writer->Ask("await");
    Last[Line.substr(0, 5)] = Line;
  }
  EXPECT_EQ(Last["101 1"], "101 1" + Device + Hex("too large") + " deleted");
  EXPECT_EQ(Last["101 2"], "101 2" + Device + Hex("too large") + " deleted");
  EXPECT_EQ(Writer->Ask("exist 101 1 -"), "no");
  EXPECT_EQ(Writer->Ask("get 101 2 -"), Hex("unnamed"));
  EXPECT_EQ(m_Reader->Ask("get 101 1 -"), Hex("hidden"));
  ExpectServed();
}

TEST_F(OtherUser, WhoMayNotWriteLearnsItFromTheReceipt) {
  StartAll(
      Configure("[[rule]]\nproperties = [102]\nread = [\"everybody\"]\n"
                "[[rule]]\nproperties = [101]\nwrite = [\"user:65534\"]\n"));
  OpenFolder();
  auto const Writer = NewClient();
  ASSERT_EQ(Writer->Ask("become 65534"), "become");
  ASSERT_EQ(Writer->Ask("create 0"), "created");
  EXPECT_EQ(Writer->Ask("receipt 102 - - " + Hex("8")),
            "refused: user 65534 may not write property 102");
  EXPECT_EQ(Writer->Ask("receipt 101 - - " + Hex("mine")), "stored");
  Writer->Ask("until 102 - " + std::string(kThisDevice) + " " + Hex("8") + " deleted");
  EXPECT_EQ(Writer->Ask("get 102 - -"), Hex("5"));  // the default
  ExpectServed();
}

TEST_F(OtherUser, WhoMayNotReadAnyMoreLosesWhatItHas) {
  std::string const Rules =
      "[[rule]]\nproperties = [102]\nread = [\"user:65534\"]\n"
      "[[rule]]\nproperties = [101]\n";
  StartAll(Configure(Rules + "read = [\"user:65534\"]\n"));
  OpenFolder();
  m_Writer->Ask("set 101 1 - " + Hex("readable"));
  m_Writer->Ask("set 102 - - " + Hex("8"));
  m_Writer->Ask("acknowledged");
  auto const Reader = NewClient();
  ASSERT_EQ(Reader->Ask("become 65534"), "become");
  ASSERT_EQ(Reader->Ask("create 0"), "created");
  ASSERT_EQ(Reader->Ask("exist 101 1 -"), "yes");
  Configure(Rules + "read = [\"user:root\"]\n");
  kill(m_Server->get_Process(), SIGHUP);
  EXPECT_EQ(
      Reader->Ask("until 101 1 " + std::string(kThisDevice) + " " + Hex("readable") + " deleted"),
      "heard");
  EXPECT_EQ(Reader->Ask("exist 101 1 -"), "no");
  EXPECT_EQ(Reader->Ask("get 102 - -"), Hex("8"));
}

}  // namespace
