// SPDX-License-Identifier: MIT
// How many memory files a peer is sent that does not read them. What the system knows of a peer is
// that of any socket: no router is there.
#include "Platform/Messaging/Router/TCUnreadFiles.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <optional>
#include <string>

#include "MessagingFixture.h"

namespace {

struct UnreadFiles : testing::Test {
  UnreadFiles() {
    int Ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, Ends), 0);
    m_Socket = TCFileDescriptor(Ends[0]);
    m_Peer = TCFileDescriptor(Ends[1]);
    m_Files.emplace(m_Socket.get());
  }

  // A frame with a text of so many bytes, which are in a memory file where they are many.
  static Wire::TCFrame Frame(std::size_t Bytes) {
    Wire::TSFrameHead Head;
    Head.Kind = Wire::TEFrame::ePublished;
    Head.Class = "class";
    return {Head, OneRecord(eNorvEvent, 1, std::string(Bytes, 'x'))};
  }

  // As if a frame had been sent.
  void Send(std::size_t Bytes) {
    EXPECT_EQ(send(m_Socket.get(), "x", 1, 0), 1);
    m_Files->Add(Frame(Bytes));
  }
  void Read() const {
    char Byte = 0;
    EXPECT_EQ(recv(m_Peer.get(), &Byte, 1, 0), 1);
  }

  static constexpr std::size_t kSmall = 100;
  static constexpr std::size_t kKilobyte = 1024;
  static constexpr std::size_t kMegabyte = std::size_t{1} << 20;

  TCFileDescriptor m_Socket;
  TCFileDescriptor m_Peer;
  std::optional<TCUnreadFiles> m_Files;
};

TEST_F(UnreadFiles, HaveRoomForTheFirstHoweverLargeItIs) {
  EXPECT_TRUE(m_Files->HaveRoomFor(Frame(3 * kMegabyte)));
}

TEST_F(UnreadFiles, AreAMegabyteTogether) {
  Send(700 * kKilobyte);
  EXPECT_TRUE(m_Files->HaveRoomFor(Frame(300 * kKilobyte)));
  EXPECT_FALSE(m_Files->HaveRoomFor(Frame(325 * kKilobyte)));
  Send(300 * kKilobyte);
  EXPECT_FALSE(m_Files->HaveRoomFor(Frame(100 * kKilobyte)));
}

TEST_F(UnreadFiles, AreNotWhatTravelsInItsFrame) {
  Send(3 * kMegabyte);
  EXPECT_TRUE(m_Files->HaveRoomFor(Frame(kSmall)));
  EXPECT_FALSE(m_Files->HaveRoomFor(Frame(100 * kKilobyte)));
}

TEST_F(UnreadFiles, AreNotCountedForFramesWithoutOne) {
  for (int Count = 0; Count < 50; ++Count) {
    Send(60 * kKilobyte);
    Read();
  }
  EXPECT_EQ(send(m_Socket.get(), "x", 1, 0), 1);
  EXPECT_TRUE(m_Files->HaveRoomFor(Frame(3 * kMegabyte)));
}

TEST_F(UnreadFiles, MakeRoomWhenAllOfThemHaveBeenRead) {
  Send(600 * kKilobyte);
  Send(400 * kKilobyte);
  Read();
  EXPECT_FALSE(m_Files->HaveRoomFor(Frame(500 * kKilobyte)));
  Read();
  EXPECT_TRUE(m_Files->HaveRoomFor(Frame(3 * kMegabyte)));
}

TEST_F(UnreadFiles, HaveRoomWhereTheSystemCanNotSay) {
  TCUnreadFiles Files(-1);
  Files.Add(Frame(3 * kMegabyte));
  EXPECT_TRUE(Files.HaveRoomFor(Frame(3 * kMegabyte)));
}

}  // namespace
