// SPDX-License-Identifier: MIT
// What a router sends to a peer, and what it keeps for one that does not read.
#include "Platform/Messaging/Router/TCRouterPeer.h"

#include <gmock/gmock.h>
#include <sys/socket.h>

#include <memory>
#include <string>
#include <vector>

#include "MessagingFixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct RouterPeer : testing::Test {
  RouterPeer() {
    int Ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, Ends), 0);
    m_End = TCFileDescriptor(Ends[0]);
    m_Peer.emplace(m_Loop, TCFileDescriptor(Ends[1]), TSNorvMailSender(),
                   std::make_shared<TCRouterUser>());
    m_Peer->Start([] {}, [this] { m_HasEnded = true; });
  }

  // A mail with a text of so many bytes.
  void Send(unsigned Number, std::size_t Bytes) {
    Wire::TSFrameHead Head;
    Head.Kind = Wire::TEFrame::ePublished;
    Head.Class = "class";
    Head.Number = Number;
    EXPECT_TRUE(
        m_Peer->Send(Wire::TCFrame(Head, OneRecord(eNorvEvent, 1, std::string(Bytes, 'x')))));
  }

  // The numbers of the mails that the peer can read now.
  std::vector<std::uint64_t> Read() {
    std::vector<std::uint64_t> Numbers;
    while (m_Receiver.Receive(m_End.get(), true) == Wire::TETransfer::eDone) {
      Wire::TCFrameView const Frame(m_Receiver.get_Bytes(), m_Receiver.get_File());
      Numbers.push_back(Frame.get_Head().Number);
      m_Receiver.CloseFile();
    }
    return Numbers;
  }

  std::vector<std::uint64_t> WaitAndRead() {
    std::vector<std::uint64_t> Numbers;
    while (Numbers.empty()) {
      m_Loop.Turn();
      Numbers = Read();
    }
    return Numbers;
  }

  static constexpr std::size_t kSmall = 100;
  static constexpr std::size_t kInFile = std::size_t{100} << 10;
  static constexpr std::size_t kLarge = std::size_t{2} << 20;

  TCNorvEventLoop m_Loop;
  TCFileDescriptor m_End;
  std::optional<TCRouterPeer> m_Peer;
  Wire::TCFrameReceiver m_Receiver;
  bool m_HasEnded = false;
};

TEST_F(RouterPeer, IsSentSmallMailsAtOnce) {
  Send(1, kSmall);
  Send(2, kSmall);
  EXPECT_THAT(Read(), ElementsAre(1, 2));
  EXPECT_TRUE(m_Peer->IsDrained());
}

// What lies in a socket's queue is nobody's memory but the router's.
TEST_F(RouterPeer, IsSentOneLargeMemoryFileUntilItHasReadIt) {
  for (unsigned Number = 1; Number <= 3; ++Number) {
    Send(Number, kLarge);
  }
  EXPECT_FALSE(m_Peer->IsDrained());
  EXPECT_TRUE(m_Peer->IsCongested());
  EXPECT_THAT(Read(), ElementsAre(1));
  EXPECT_THAT(WaitAndRead(), ElementsAre(2));
  EXPECT_THAT(WaitAndRead(), ElementsAre(3));
  EXPECT_TRUE(m_Peer->IsDrained());
  EXPECT_THAT(Read(), IsEmpty());
}

TEST_F(RouterPeer, IsSentSmallerMemoryFilesTogether) {
  for (unsigned Number = 1; Number <= 5; ++Number) {
    Send(Number, kInFile);
  }
  EXPECT_THAT(Read(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(RouterPeer, IsSentNoMoreMemoryFilesThanAMegabyteUntilItHasReadThem) {
  for (unsigned Number = 1; Number <= 30; ++Number) {
    Send(Number, kInFile);
  }
  EXPECT_EQ(Read().size(), 10U);
}

TEST_F(RouterPeer, IsSentWhatComesBehindALargeMemoryFileInItsOrder) {
  Send(1, kLarge);
  Send(2, kSmall);
  Send(3, kLarge);
  Send(4, kSmall);
  EXPECT_THAT(Read(), ElementsAre(1, 2));
  EXPECT_THAT(WaitAndRead(), ElementsAre(3, 4));
}

TEST_F(RouterPeer, IsSentTheNextMemoryFileAtOnceWhenItHasReadTheLast) {
  Send(1, kLarge);
  EXPECT_THAT(Read(), ElementsAre(1));
  Send(2, kLarge);
  EXPECT_THAT(Read(), ElementsAre(2));
}

TEST_F(RouterPeer, MayGoWhileAMemoryFileWaits) {
  Send(1, kLarge);
  Send(2, kLarge);
  m_End = TCFileDescriptor();
  while (!m_HasEnded) {
    m_Loop.Turn();
  }
}

}  // namespace
