// SPDX-License-Identifier: MIT
// Too much of everything: the server's memory stays small and others are served meanwhile.
#include <sys/resource.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <vector>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

constexpr int kMany = 100000 / kShare;
constexpr int kMore = 1000000;  // than a socket takes
constexpr int kProofAt = 1000;
constexpr char kNoDescriptor[] = "cannot accept a connection: Too many open files";
constexpr int kNobodysProperty = 900;  // in no process's schema

struct HostileFlood : THostileFixture {
  // Sends `Count` frames, proves meanwhile that others are served, and returns whether the
  // connection has lasted. Answers are never read.
  template <class TSend>
  bool Flood(TWirePeer& Peer, int Count, TSend const& SendNumber) {
    for (int Number = 1; Number <= Count; ++Number) {
      if (!SendNumber(Number) || (Number % 100 == 0 && !Peer.Flush())) {
        return false;
      }
      if (Number == kProofAt) {
        ExpectServed();
      }
    }
    return true;
  }
};

TEST_F(HostileFlood, OfMailsIsTakenAndOthersAreServed) {
  StartAll();
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Flood(Peer, kMany / 2, [&](int Number) {
    return Peer.Send(Peer.NewChange(static_cast<std::uint64_t>(Number), kNobodysProperty,
                                    std::to_string(Number)));
  }));
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileFlood, OfMailsAboveTheLimitIsSlowedDown) {
  constexpr int kMails = 300;
  StartAll(Configure("[limits]\nmails_per_second = 100\n"));
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  auto const Begin = std::chrono::steady_clock::now();
  for (int Number = 1; Number <= kMails; ++Number) {
    EXPECT_TRUE(Peer.Send(Peer.NewChange(static_cast<std::uint64_t>(Number), kNobodysProperty,
                                         std::to_string(Number))));
  }
  ExpectServed();
  while (Peer.HearAcknowledged() != kMails && !HasFailure()) {
  }
  EXPECT_GE(std::chrono::steady_clock::now() - Begin, std::chrono::seconds(2));
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  EXPECT_GE(CountLines(m_Server->Errors(), "sends more than 100 mails a second and is slowed down"),
            2);
}

TEST_F(HostileFlood, OfMailsInFullFramesDelaysNobody) {
  StartAll();
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  constexpr std::uint64_t kTogether = 256;
  EXPECT_TRUE(Flood(Peer, kMany / 200, [&](int Number) {
    std::uint64_t const First = 1 + static_cast<std::uint64_t>(Number - 1) * kTogether;
    return Peer.Send(Peer.NewChanges(First, kNobodysProperty,
                                     std::vector<std::string>(kTogether, std::to_string(Number))));
  }));
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileFlood, OfMalformedMailsDoesNotFillTheLog) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Flood(Peer, kMany / 10, [&](int Number) {
    return Peer.Send(Peer.NewMail(static_cast<std::uint64_t>(Number)).Add(2, 3, "x"));
  }));
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  int const Lines = CountLines(m_Server->Errors(), " refused: ");
  EXPECT_GE(Lines, 1);
  EXPECT_LE(Lines, 100);
}

TEST_F(HostileFlood, OfRequestsWhoseAnswersAreNotReadEndsTheConnection) {
  StartAll();
  m_Writer->Ask("fill 101 1000 1000");
  m_Writer->Ask("acknowledged");
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_FALSE(Flood(Peer, kMore, [&](int) { return Peer.Send(Peer.NewRequestForAll()); }));
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EndAndExpectLogged("does not read its answers; its connection is ended");
}

TEST_F(HostileFlood, OfSubscriptionsTakesNoMemory) {
  StartAll();
  m_Writer->Ask("fill 101 1000 1000");
  m_Writer->Ask("acknowledged");
  long const Before = ServerMemory();
  int const Files = ServerFiles();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Flood(Peer, kMany / 10,
        [&](int Number) { return Peer.Subscribe(static_cast<std::uint64_t>(Number), 1); });
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_LE(ServerFiles(), Files + 100);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileFlood, OfSubscriptionsToInventedClassesTakesNoMemory) {
  StartAll();
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Flood(Peer, kMany,
        [&](int Number) { return Peer.Subscribe(0, 0, "class" + std::to_string(Number), 1); });
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileFlood, OfGreetingsIsRefusedWithoutFillingTheLog) {
  StartAll();
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Flood(Peer, kMany, [&](int) { return Peer.Send(WireGreeting("another")); });
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  int const Lines = CountLines(m_Server->Errors(), "a second greeting");
  EXPECT_GE(Lines, 1);
  EXPECT_LE(Lines, 100);
}

TEST_F(HostileFlood, OfRefusedRequestsWhoseReasonsAreNotReadTakesNoMemory) {
  StartAll();
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_FALSE(Flood(Peer, kMore / kShare, [&](int) { return Peer.Send(Peer.NewRequest()); }));
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  EXPECT_LE(CountLines(m_Server->Errors(), ""), 100);
}

// Mails are not answered, but acknowledged: of all that wait the last one is, once.
TEST_F(HostileFlood, OfMailsWhoseAcknowledgementsAreNotReadTakesNoMemory) {
  StartAll();
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Subscribe());
  Flood(Peer, kMany, [&](int Number) {
    return Peer.Send(Peer.NewMail(static_cast<std::uint64_t>(Number)).Add(2, 3, "x"));
  });
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileFlood, OfFramesThatOnlyARouterSendsDoesNotFillTheLog) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  TSWireFrame Acknowledgement;
  Acknowledgement.Kind = WireKind::kAcknowledged;
  EXPECT_TRUE(Flood(Peer, kMany / 10, [&](int) { return Peer.Send(Acknowledgement); }));
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  int const Lines = CountLines(m_Server->Errors(), "a frame that only a router sends");
  EXPECT_GE(Lines, 1);
  EXPECT_LE(Lines, 100);
}

TEST_F(HostileFlood, OfConnectionsWhoseMailsHaveNoOwnerDoesNotFillTheLog) {
  constexpr int kOfOne = 63;  // with one more it would not be read from, nor answered
  constexpr int kLimit = 1024;
  StartAll();
  std::vector<std::unique_ptr<TWirePeer>> Waiting;
  for (int Left = kLimit; Left > 0; Left -= kOfOne) {
    Waiting.push_back(std::make_unique<TWirePeer>(Address()));
    EXPECT_EQ(Waiting.back()->Greet("peer " + std::to_string(Left)), "");
    for (int Mail = 0; Mail < std::min(Left, kOfOne); ++Mail) {
      EXPECT_TRUE(Waiting.back()->Send(Waiting.back()->NewOwnerlessMail()));
    }
    EXPECT_EQ(Waiting.back()->Call(Waiting.back()->NewRequestForOne()), "");
  }
  for (int Number = 0; Number < 200; ++Number) {
    TWirePeer Peer(Address());
    EXPECT_EQ(Peer.Greet(), "");
    EXPECT_TRUE(Peer.Send(Peer.NewOwnerlessMail()));
    EXPECT_TRUE(Peer.Flush());
    EXPECT_TRUE(Peer.HearEnd());
  }
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  int const Lines = CountLines(m_Server->Errors(), "mailboxes without owner");
  EXPECT_GE(Lines, 1);
  EXPECT_LE(Lines, 100);
}

TEST_F(HostileFlood, OfMailsToAMailboxWithoutOwnerWaitsAtItsSender) {
  StartAll();
  long const Before = ServerMemory();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  std::string const Filler(50000, 'x');
  for (int Number = 0; Number < 2000; ++Number) {
    EXPECT_TRUE(Peer.Send(Peer.NewOwnerlessMail(Filler)));
  }
  ExpectServed();
  ExpectNoMoreMemory(Before);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileFlood, BeforeTheGreetingDelaysNobody) {
  StartAll();
  std::vector<std::thread> Floods;
  for (int Flood = 0; Flood < 3; ++Flood) {
    Floods.emplace_back([this] {
      TWirePeer Peer(Address());
      for (std::uint64_t Number = 1;
           Peer.Send(Peer.NewChange(Number, kNobodysProperty, "x")) && Peer.Flush(); ++Number) {
      }
    });
  }
  for (int Proof = 0; Proof < 20; ++Proof) {
    ExpectServed();
  }
  ExpectNewcomerServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  for (std::thread& Flood : Floods) {
    Flood.join();
  }
}

TEST_F(HostileFlood, OfConnectionsThatComeAndGoHurtsNobody) {
  StartAll();
  int const Files = ServerFiles();
  for (int Number = 0; Number < 5000 / kShare; ++Number) {
    Connect(SocketPath());
  }
  ExpectServed();
  ExpectNewcomerServed();
  ExpectServed();
  EXPECT_LE(ServerFiles(), Files + 1);  // the newcomer's connection may not have ended yet
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  EXPECT_LE(CountLines(m_Server->Errors(), ""), 100);
}

TEST_F(HostileFlood, OfConnectionsEndsAtTheLimitOfTheirUser) {
  StartAll(Configure("[limits]\nconnections_per_user = 50\n"));
  {
    std::vector<TWirePeer> Peers;
    for (int Number = 0; Number < 1000; ++Number) {
      Peers.emplace_back(Connect(SocketPath()));
    }
    ExpectServed();
    EXPECT_TRUE(Peers.back().HearEnd());
    EXPECT_LE(ServerFiles(), 100);
  }
  ExpectServed();
  ExpectNewcomerServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  int const Lines = CountLines(m_Server->Errors(), "too many connections: 50 of user ");
  EXPECT_GE(Lines, 1);
  EXPECT_LE(Lines, 100);
}

TEST_F(HostileFlood, OfConnectionsMayUseUpTheServersDescriptors) {
  StartAll({}, [] {
    rlimit const Limit = {40, 40};
    setrlimit(RLIMIT_NOFILE, &Limit);
  });
  // The checks for undefined behaviour need a descriptor when they meet a kind of object first.
  ExpectServed();
  {
    std::vector<TWirePeer> Peers;
    for (int Number = 0; Number < 100; ++Number) {
      Peers.emplace_back(Connect(SocketPath()));
    }
    // The server takes some of them in turn with each mail.
    do {
      ExpectServed();
    } while (!HasFailure() && CountLines(m_Server->Errors(), kNoDescriptor) == 0);
  }
  ExpectNewcomerServed();
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

}  // namespace
