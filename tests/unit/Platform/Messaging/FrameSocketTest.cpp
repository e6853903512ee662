// SPDX-License-Identifier: MIT
// Frames on sockets: what arrives, what ends a connection, and that no descriptor stays behind.
#include "Platform/Messaging/Wire/FrameSocket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "FailingSends.h"
#include "MessagingFixture.h"
#include "tests/support/FramePeer.h"

namespace {

using Wire::TETransfer;

struct FrameSocket : testing::Test {
  FrameSocket() {
    int Ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, Ends), 0);
    m_Here = TCFileDescriptor(Ends[0]);
    m_Other.emplace(TCFileDescriptor(Ends[1]));
  }

  int Here() const { return m_Here.get(); }
  TETransfer Receive(bool WithFile = true) { return m_Receiver.Receive(Here(), WithFile); }

  static std::ptrdiff_t CountFiles() {
    std::filesystem::directory_iterator const Files("/proc/self/fd");
    return std::distance(begin(Files), end(Files));
  }

  TCFileDescriptor m_Here;
  std::optional<TFramePeer> m_Other;
  Wire::TCFrameReceiver m_Receiver;
};

Wire::TCFrame NewFrame(std::string const& Text) {
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::eMails;
  Head.Mailbox = "mailbox";
  Head.Class = "test";
  Head.Number = 7;
  return Wire::TCFrame(Head, OneRecord(eNorvChange, 7, Text));
}

TCFileDescriptor AnyFile() {
  return TCFileDescriptor(memfd_create("test", MFD_CLOEXEC));
}

// ---- sending ----

TEST_F(FrameSocket, SendsAFrameInOnePiece) {
  Wire::TCFrame const Frame = NewFrame("text");
  EXPECT_EQ(Wire::Send(Here(), Frame), TETransfer::eDone);
  auto const Heard = m_Other->Hear();
  ASSERT_TRUE(Heard);
  EXPECT_EQ(Heard->Encode(), Frame.get_Bytes());
  EXPECT_EQ(Heard->FileContent, "");
}

TEST_F(FrameSocket, SendsLargeRecordsInAMemoryFileAndKeepsNone) {
  auto const Before = CountFiles();
  TSNorvMailContent const Content = OneRecord(eNorvChange, 7, std::string(kLargeText, 'x'));
  EXPECT_EQ(Wire::Send(Here(), Wire::TCFrame(Wire::TSFrameHead(), Content)), TETransfer::eDone);
  auto const Heard = m_Other->Hear();
  ASSERT_TRUE(Heard);
  EXPECT_EQ(Heard->FileContent, Content.Body->get_Bytes());
  EXPECT_EQ(Heard->Fields, "isv");
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(FrameSocket, SendsNothingWhileThePeerDoesNotRead) {
  Wire::TCFrame const Frame = NewFrame(std::string(1000, 'x'));
  int Sent = 0;
  while (Wire::Send(Here(), Frame) == TETransfer::eDone) {
    ++Sent;
  }
  EXPECT_GT(Sent, 0);
  EXPECT_EQ(Wire::Send(Here(), Frame), TETransfer::eLater);
  for (int Heard = 0; Heard < Sent; ++Heard) {
    ASSERT_TRUE(m_Other->Hear());
  }
  EXPECT_EQ(Wire::Send(Here(), Frame), TETransfer::eDone);
}

TEST_F(FrameSocket, KeepsNoMemoryFileOfWhatWasNotSent) {
  while (Wire::Send(Here(), NewFrame(std::string(1000, 'x'))) == TETransfer::eDone) {
  }
  auto const Before = CountFiles();
  EXPECT_EQ(Wire::Send(Here(), NewFrame(std::string(kLargeText, 'x'))), TETransfer::eLater);
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(FrameSocket, NoticesThatThePeerHasGone) {
  m_Other.reset();
  EXPECT_EQ(Wire::Send(Here(), NewFrame("text")), TETransfer::eEnded);
}

TEST_F(FrameSocket, SaysThatSomethingIsLacking) {
  TFailingSends const Failing(Wire::TEFrame::eMails, ENOBUFS);
  try {
    Wire::Send(Here(), NewFrame("text"));
    FAIL() << "sent";
  } catch (std::system_error const& Error) {
    EXPECT_EQ(Error.code().value(), ENOBUFS);
  }
}

// ---- receiving ----

TEST_F(FrameSocket, ReceivesOneFrameAtATime) {
  EXPECT_EQ(Receive(), TETransfer::eLater);
  EXPECT_TRUE(m_Other->SendBytes("first"));
  EXPECT_TRUE(m_Other->SendBytes("second"));
  ASSERT_EQ(Receive(), TETransfer::eDone);
  EXPECT_EQ(m_Receiver.get_Bytes(), "first");
  EXPECT_EQ(m_Receiver.get_File(), -1);
  ASSERT_EQ(Receive(), TETransfer::eDone);
  EXPECT_EQ(m_Receiver.get_Bytes(), "second");
  EXPECT_EQ(Receive(), TETransfer::eLater);
  EXPECT_EQ(m_Receiver.get_Bytes(), "");
}

TEST_F(FrameSocket, ReceivesAFrameOfTheLargestSize) {
  std::string const Largest(Wire::kFrameLimit, 'x');
  EXPECT_TRUE(m_Other->SendBytes(Largest));
  ASSERT_EQ(Receive(), TETransfer::eDone);
  EXPECT_EQ(m_Receiver.get_Bytes(), Largest);
}

TEST_F(FrameSocket, RefusesAFrameAboveTheLimit) {
  EXPECT_TRUE(m_Other->SendBytes(std::string(Wire::kFrameLimit + 1, 'x')));
  EXPECT_EQ(Receive(), TETransfer::eBroken);
  EXPECT_EQ(m_Receiver.get_Bytes(), "");
}

TEST_F(FrameSocket, EndsWithAnEmptyPacket) {
  EXPECT_TRUE(m_Other->SendBytes(""));
  EXPECT_EQ(Receive(), TETransfer::eEnded);
}

TEST_F(FrameSocket, EndsWithItsPeer) {
  m_Other.reset();
  EXPECT_EQ(Receive(), TETransfer::eEnded);
}

TEST_F(FrameSocket, EndsWhenThePeerHasClosedItsHalf) {
  EXPECT_EQ(shutdown(m_Other->get_Socket(), SHUT_WR), 0);
  EXPECT_EQ(Receive(), TETransfer::eEnded);
}

TEST_F(FrameSocket, ReceivesWhatWasSentBeforeTheEnd) {
  EXPECT_TRUE(m_Other->SendBytes("last"));
  m_Other.reset();
  ASSERT_EQ(Receive(), TETransfer::eDone);
  EXPECT_EQ(m_Receiver.get_Bytes(), "last");
  EXPECT_EQ(Receive(), TETransfer::eEnded);
}

// The system reports that before it hands out what had been sent.
TEST_F(FrameSocket, ReceivesWhatWasSentByAPeerThatHadNotReadAll) {
  EXPECT_EQ(Wire::Send(Here(), NewFrame("never read")), TETransfer::eDone);
  EXPECT_TRUE(m_Other->SendBytes("last"));
  m_Other.reset();
  ASSERT_EQ(Receive(), TETransfer::eDone);
  EXPECT_EQ(m_Receiver.get_Bytes(), "last");
  EXPECT_EQ(Receive(), TETransfer::eEnded);
}

// ---- descriptors ----

TEST_F(FrameSocket, ReceivesAFileAndClosesItWithTheNextFrame) {
  TCFileDescriptor const File = AnyFile();
  auto const Before = CountFiles();
  EXPECT_TRUE(m_Other->SendBytes("first", {File.get()}));
  EXPECT_TRUE(m_Other->SendBytes("second"));
  ASSERT_EQ(Receive(), TETransfer::eDone);
  struct stat Sent = {};
  struct stat Received = {};
  ASSERT_EQ(fstat(File.get(), &Sent), 0);
  ASSERT_EQ(fstat(m_Receiver.get_File(), &Received), 0);
  EXPECT_EQ(Received.st_ino, Sent.st_ino);
  EXPECT_EQ(fcntl(m_Receiver.get_File(), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  ASSERT_EQ(Receive(), TETransfer::eDone);
  EXPECT_EQ(m_Receiver.get_File(), -1);
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(FrameSocket, RefusesADescriptorThatIsNoMemoryFileAndKeepsNone) {
  TCFileDescriptor const Folder(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  auto const Before = CountFiles();
  EXPECT_TRUE(m_Other->SendBytes("folder", {Folder.get()}));
  EXPECT_TRUE(m_Other->SendBytes("socket", {m_Other->get_Socket()}));
  EXPECT_EQ(Receive(), TETransfer::eBroken);
  EXPECT_EQ(m_Receiver.get_File(), -1);
  EXPECT_EQ(Receive(), TETransfer::eBroken);
  EXPECT_EQ(m_Receiver.get_File(), -1);
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(FrameSocket, RefusesTwoFilesAndKeepsNone) {
  TCFileDescriptor const File = AnyFile();
  auto const Before = CountFiles();
  EXPECT_TRUE(m_Other->SendBytes("bytes", {File.get(), File.get()}));
  EXPECT_EQ(Receive(), TETransfer::eBroken);
  EXPECT_EQ(m_Receiver.get_File(), -1);
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(FrameSocket, RefusesManyFilesAndKeepsNone) {
  TCFileDescriptor const File = AnyFile();
  auto const Before = CountFiles();
  EXPECT_TRUE(m_Other->SendBytes("bytes", std::vector<int>(253, File.get())));
  EXPECT_EQ(Receive(), TETransfer::eBroken);
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(FrameSocket, RefusesAFileWhereNoneIsTakenAndKeepsNone) {
  TCFileDescriptor const File = AnyFile();
  auto const Before = CountFiles();
  for (std::size_t const Count : {1U, 2U, 253U}) {
    EXPECT_TRUE(m_Other->SendBytes("bytes", std::vector<int>(Count, File.get())));
    EXPECT_EQ(Receive(false), TETransfer::eBroken);
    EXPECT_EQ(m_Receiver.get_File(), -1);
    EXPECT_EQ(CountFiles(), Before);
  }
}

TEST_F(FrameSocket, RefusesAFileBesideAFrameAboveTheLimitAndKeepsNone) {
  TCFileDescriptor const File = AnyFile();
  auto const Before = CountFiles();
  EXPECT_TRUE(m_Other->SendBytes(std::string(Wire::kFrameLimit + 1, 'x'), {File.get()}));
  EXPECT_EQ(Receive(), TETransfer::eBroken);
  EXPECT_EQ(CountFiles(), Before);
}

TEST_F(FrameSocket, TakesNoCredentialsForAFile) {
  int const On = 1;
  ASSERT_EQ(setsockopt(Here(), SOL_SOCKET, SO_PASSCRED, &On, sizeof(On)), 0);
  EXPECT_TRUE(m_Other->SendBytes("bytes"));
  Receive();
  EXPECT_EQ(m_Receiver.get_File(), -1);
}

}  // namespace
