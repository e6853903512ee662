// SPDX-License-Identifier: MIT
// Sends whatever it is given, and waits for both directions at once.
#include "tests/support/FramePeer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr int kPatienceMilliseconds = 60000;
constexpr char kPathPrefix[] = "unix:path=";

std::string PathOf(std::string const& Address) {
  EXPECT_EQ(Address.rfind(kPathPrefix, 0), 0U) << Address;
  return Address.substr(std::strlen(kPathPrefix));
}

std::string ContentOf(int File) {
  struct stat Status = {};
  EXPECT_EQ(fstat(File, &Status), 0);
  std::string Content(static_cast<std::size_t>(Status.st_size), '\0');
  EXPECT_EQ(pread(File, Content.data(), Content.size(), 0), Status.st_size);
  return Content;
}

// Of the one file that a router may send beside a frame.
std::string TakeFile(msghdr& Message) {
  std::string Content;
  for (cmsghdr* Part = CMSG_FIRSTHDR(&Message); Part != nullptr;
       Part = CMSG_NXTHDR(&Message, Part)) {
    if (Part->cmsg_level == SOL_SOCKET && Part->cmsg_type == SCM_RIGHTS) {
      int Number = -1;
      std::memcpy(&Number, CMSG_DATA(Part), sizeof(Number));
      TCFileDescriptor const File(Number);
      Content = ContentOf(File.get());
    }
  }
  return Content;
}

bool IsAnswer(TSWireFrame const& Frame, TSWireFrame const& Request) {
  std::uint8_t const Answer =
      Request.Kind == WireKind::kHello ? WireKind::kWelcome : WireKind::kAnswer;
  return (Frame.Kind == Answer || Frame.Kind == WireKind::kRefused) &&
         Frame.Request == Request.Request;
}

}  // namespace

TFramePeer::TFramePeer(std::string const& Address) : TFramePeer(Connect(PathOf(Address))) {}

TFramePeer::TFramePeer(TCFileDescriptor Socket) : m_Socket(std::move(Socket)) {}

// ---- sending ----

TFramePeer::TEResult TFramePeer::SendNow(std::string const& Bytes, std::vector<int> const& Files) {
  std::vector<char> Control(CMSG_SPACE(Files.size() * sizeof(int)));
  iovec Part = {const_cast<char*>(Bytes.data()), Bytes.size()};
  msghdr Message = {};
  Message.msg_iov = &Part;
  Message.msg_iovlen = 1;
  if (!Files.empty()) {
    Message.msg_control = Control.data();
    Message.msg_controllen = Control.size();
    cmsghdr* const Header = CMSG_FIRSTHDR(&Message);
    Header->cmsg_level = SOL_SOCKET;
    Header->cmsg_type = SCM_RIGHTS;
    Header->cmsg_len = CMSG_LEN(Files.size() * sizeof(int));
    std::memcpy(CMSG_DATA(Header), Files.data(), Files.size() * sizeof(int));
  }
  if (sendmsg(m_Socket.get(), &Message, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0) {
    return TEResult::eDone;
  }
  return errno == EAGAIN || errno == ETOOMANYREFS ? TEResult::eLater : TEResult::eEnded;
}

bool TFramePeer::SendBytes(std::string const& Bytes, std::vector<int> const& Files) {
  if (SendQueued() == TEResult::eDone) {
    TEResult const Result = SendNow(Bytes, Files);
    if (Result != TEResult::eLater) {
      return Result == TEResult::eDone;
    }
  }
  m_Queue.push_back({Bytes, {}});
  for (int const File : Files) {
    m_Queue.back().Files.emplace_back(fcntl(File, F_DUPFD_CLOEXEC, 0));
  }
  return !m_HasEnded;
}

TFramePeer::TEResult TFramePeer::SendQueued() {
  while (!m_Queue.empty()) {
    std::vector<int> Files;
    for (TCFileDescriptor const& File : m_Queue.front().Files) {
      Files.push_back(File.get());
    }
    TEResult const Result = SendNow(m_Queue.front().Bytes, Files);
    if (Result != TEResult::eDone) {
      m_HasEnded = m_HasEnded || Result == TEResult::eEnded;
      return Result;
    }
    m_Queue.pop_front();
  }
  return TEResult::eDone;
}

bool TFramePeer::Flush() {
  TEResult Result = SendQueued();
  while (Result == TEResult::eLater && Wait(false)) {
    Result = SendQueued();
  }
  return Result == TEResult::eDone;
}

// ---- hearing ----

bool TFramePeer::Wait(bool ForReading) {
  pollfd File = {m_Socket.get(), 0, 0};
  File.events = static_cast<short>((ForReading ? POLLIN : 0) | (m_Queue.empty() ? 0 : POLLOUT));
  return poll(&File, 1, kPatienceMilliseconds) == 1;
}

// Who ends a connection with something unread is reported before what it has sent.
TFramePeer::TEResult TFramePeer::Receive(TSWireFrame& Frame) {
  std::string Bytes(kWireFrameLimit + 1, '\0');
  alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> Control = {};
  iovec Part = {Bytes.data(), Bytes.size()};
  msghdr Message = {};
  Message.msg_iov = &Part;
  Message.msg_iovlen = 1;
  ssize_t Count = 0;
  do {
    Message.msg_control = Control.data();
    Message.msg_controllen = Control.size();
    Count = recvmsg(m_Socket.get(), &Message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  } while (Count < 0 && errno == ECONNRESET);
  if (Count <= 0) {
    return Count < 0 && errno == EAGAIN ? TEResult::eLater : TEResult::eEnded;
  }
  EXPECT_EQ(Message.msg_flags & (MSG_TRUNC | MSG_CTRUNC), 0);
  Bytes.resize(static_cast<std::size_t>(Count));
  Frame = TSWireFrame::Decode(Bytes);
  Frame.FileContent = TakeFile(Message);
  return TEResult::eDone;
}

std::optional<TSWireFrame> TFramePeer::HearNew() {
  for (;;) {
    TSWireFrame Frame;
    TEResult const Result = Receive(Frame);
    if (Result == TEResult::eDone) {
      return Frame;
    }
    m_HasEnded = m_HasEnded || Result == TEResult::eEnded;
    if (Result == TEResult::eEnded || !Wait(true)) {
      return std::nullopt;
    }
    SendQueued();
  }
}

std::optional<TSWireFrame> TFramePeer::Hear() {
  if (m_Heard.empty()) {
    return HearNew();
  }
  TSWireFrame Frame = std::move(m_Heard.front());
  m_Heard.pop_front();
  return Frame;
}

std::vector<TSWireFrame> TFramePeer::TakeHeard() {
  std::vector<TSWireFrame> Frames;
  TSWireFrame Frame;
  TEResult Result = Receive(Frame);
  for (; Result == TEResult::eDone; Result = Receive(Frame)) {
    Frames.push_back(Frame);
  }
  m_HasEnded = m_HasEnded || Result == TEResult::eEnded;
  return Frames;
}

bool TFramePeer::HearEnd() {
  while (HearNew()) {
  }
  return m_HasEnded;
}

// ---- asking ----

std::optional<TSWireFrame> TFramePeer::HearAnswer(TSWireFrame const& Request) {
  if (!Send(Request)) {
    return std::nullopt;
  }
  while (auto Frame = HearNew()) {
    if (IsAnswer(*Frame, Request)) {
      return Frame;
    }
    m_Heard.push_back(std::move(*Frame));
  }
  return std::nullopt;
}

std::string TFramePeer::Call(TSWireFrame const& Request) {
  auto const Answer = HearAnswer(Request);
  if (!Answer) {
    return "no answer";
  }
  return Answer->Kind == WireKind::kRefused ? Answer->get_Texts().at(0) : std::string();
}

std::optional<TSWireFrame> TFramePeer::Ask(TSWireFrame const& Request) {
  auto Answer = HearAnswer(Request);
  return Answer && Answer->Kind != WireKind::kRefused ? std::move(Answer) : std::nullopt;
}

std::string TFramePeer::Greet(std::string const& Identity, std::int32_t Version) {
  return Call(WireGreeting(Identity, Version));
}
