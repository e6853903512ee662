// SPDX-License-Identifier: MIT
// Descriptors that make whoever closes them wait: the server does not.
#include <fcntl.h>
#include <sys/mman.h>

#include <list>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/fault/hostile/TLingeringSocket.h"
#include "tests/support/WirePeer.h"

namespace {

using HostileLingeringFile = THostileFixture;

TEST_F(HostileLingeringFile, BeforeTheGreetingHoldsNobodyUp) {
  StartAll();
  TLingeringSocket Lingering;
  TFramePeer Peer(Address());
  Lingering.GiveTo(*m_Server, [&] { return Peer.SendBytes("nonsense", {Lingering.get()}); });
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileLingeringFile, ThatNobodyHasReadWhenTheConnectionEndsHoldsNobodyUp) {
  StartAll();
  TLingeringSocket Lingering;
  m_Server->Pause();
  TFramePeer Peer(Address());
  EXPECT_TRUE(Peer.SendBytes("nonsense"));
  EXPECT_TRUE(Peer.SendBytes("more of it", {Lingering.get()}));
  Lingering.GiveAway();
  m_Server->Continue();
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileLingeringFile, InPlaceOfAMemoryFileHoldsNobodyUp) {
  StartAll();
  TLingeringSocket Lingering;
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  Lingering.GiveTo(*m_Server,
                   [&] { return Peer.Send(TWirePeer::NewMail(1).AddFile(2, 3, Lingering.get())); });
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileLingeringFile, BesideAMemoryFileHoldsNobodyUp) {
  StartAll();
  TLingeringSocket Lingering;
  TCFileDescriptor const File(memfd_create("mail", MFD_CLOEXEC));
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  TSWireFrame Mail = TWirePeer::NewMail(1).AddFile(2, 3, File.get());
  Mail.Files.push_back(Lingering.get());
  Lingering.GiveTo(*m_Server, [&] { return Peer.Send(Mail); });
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileLingeringFile, OfConnectionsThatThereIsNoRoomForHoldsNobodyUp) {
  StartAll(Configure("[limits]\nconnections_per_user = 4\n"));
  m_Server->Pause();
  std::list<TLingeringSocket> Lingering(24);
  std::list<TFramePeer> Peers;
  for (TLingeringSocket& Socket : Lingering) {
    Peers.emplace_back(Address());
    EXPECT_TRUE(Peers.back().SendBytes("nonsense"));
    EXPECT_TRUE(Peers.back().SendBytes("more of it", {Socket.get()}));
    Socket.GiveAway();
  }
  m_Server->Continue();
  for (TFramePeer& Peer : Peers) {
    EXPECT_TRUE(Peer.HearEnd());
  }
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

TEST_F(HostileLingeringFile, ThatIsStillToBeReadDoesNotHoldUpTheEndOfTheServer) {
  StartAll();
  TLingeringSocket Lingering;
  m_Server->Pause();
  TFramePeer Peer(Address());
  EXPECT_TRUE(Peer.SendBytes("nonsense", {Lingering.get()}));
  Lingering.GiveAway();
  EXPECT_EQ(kill(m_Server->get_Process(), SIGTERM), 0);
  m_Server->Continue();
  EXPECT_EQ(m_Server->End(), 0);
}

}  // namespace
