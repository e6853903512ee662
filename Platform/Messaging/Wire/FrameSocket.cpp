// SPDX-License-Identifier: MIT
// Moves frames between the process and its sockets. The system keeps their borders.
#include "Platform/Messaging/Wire/FrameSocket.h"

#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

#include "Platform/Messaging/Wire/TCPromptClosing.h"
#include "Platform/Utility/TCException.h"

namespace Wire {

namespace {

constexpr char kSource[] = "../Platform/Messaging/Wire/FrameSocket";
constexpr int kSendBuffer = 256 << 10;   // bytes; holds frames of the largest size
constexpr std::size_t kMostFiles = 253;  // that the system lets a message have

// Whether the peer has gone, rather than that something is lacking here.
bool HasGone(int Error) {
  return Error == EPIPE || Error == ECONNRESET || Error == ENOTCONN || Error == EBADF;
}

void SetSendBuffer(int Socket) {
  setsockopt(Socket, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof(kSendBuffer));
}

// Nothing else has seals, and nobody waits when it is closed.
bool IsMemoryFile(int File) {
  return fcntl(File, F_GET_SEALS) >= 0;
}

// The file that came with a message, -1 for none. Others than a memory file, and more than one, are
// of no use to anybody and are closed.
bool TakeFile(msghdr& Message, TCFileDescriptor& File) {
  bool IsSound = true;
  for (cmsghdr* Part = CMSG_FIRSTHDR(&Message); Part != nullptr;
       Part = CMSG_NXTHDR(&Message, Part)) {
    if (Part->cmsg_level != SOL_SOCKET || Part->cmsg_type != SCM_RIGHTS) {
      continue;
    }
    std::size_t const Size = Part->cmsg_len - CMSG_LEN(0);
    for (std::size_t Place = 0; Place + sizeof(int) <= Size; Place += sizeof(int)) {
      int Number = -1;
      std::memcpy(&Number, CMSG_DATA(Part) + Place, sizeof(Number));
      if (IsSound && File.get() < 0 && IsMemoryFile(Number)) {
        File = TCFileDescriptor(Number);
      } else {
        TCPromptClosing const Closing;
        close(Number);
        IsSound = false;
      }
    }
  }
  return IsSound;
}

}  // namespace

TETransfer Send(int Socket, TCFrame const& Frame) {
  std::string_view const Bytes = Frame.get_Bytes();
  iovec Part = {const_cast<char*>(Bytes.data()), Bytes.size()};
  msghdr Message = {};
  Message.msg_iov = &Part;
  Message.msg_iovlen = 1;
  TCFileDescriptor File;
  alignas(cmsghdr) char Control[CMSG_SPACE(sizeof(int))] = {};
  if (Frame.get_Body()) {
    File = TCFileDescriptor(Frame.get_Body()->MakeMemoryFile());
    Message.msg_control = Control;
    Message.msg_controllen = sizeof(Control);
    cmsghdr* const Files = CMSG_FIRSTHDR(&Message);
    Files->cmsg_level = SOL_SOCKET;
    Files->cmsg_type = SCM_RIGHTS;
    Files->cmsg_len = CMSG_LEN(sizeof(int));
    int const Number = File.get();
    std::memcpy(CMSG_DATA(Files), &Number, sizeof(Number));
  }
  ssize_t Sent = 0;
  do {
    Sent = sendmsg(Socket, &Message, MSG_DONTWAIT | MSG_NOSIGNAL);
  } while (Sent < 0 && errno == EINTR);
  if (Sent >= 0) {
    return TETransfer::eDone;
  }
  if (errno == EAGAIN) {
    return TETransfer::eLater;
  }
  if (HasGone(errno)) {
    return TETransfer::eEnded;
  }
  throw std::system_error(errno, std::generic_category());
}

TCFrameReceiver::TCFrameReceiver() : m_Buffer(new char[kFrameLimit]) {}

TETransfer TCFrameReceiver::Receive(int Socket, bool WithFile) {
  m_File = TCFileDescriptor();
  m_Size = 0;
  iovec Part = {m_Buffer.get(), kFrameLimit};
  alignas(cmsghdr) char Control[CMSG_SPACE(kMostFiles * sizeof(int))];
  msghdr Message = {};
  Message.msg_iov = &Part;
  Message.msg_iovlen = 1;
  Message.msg_control = WithFile ? Control : nullptr;
  Message.msg_controllen = WithFile ? sizeof(Control) : 0;
  std::optional<TCPromptClosing> Closing;
  if (!WithFile) {
    Closing.emplace();
  }
  ssize_t Received = 0;
  do {
    // That the peer has gone and had not read all is said once, before what it has sent.
    Received = recvmsg(Socket, &Message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
  } while (Received < 0 && (errno == EINTR || errno == ECONNRESET));
  if (Received < 0) {
    return errno == EAGAIN ? TETransfer::eLater : TETransfer::eEnded;
  }
  TCFileDescriptor File;
  bool const IsSound = TakeFile(Message, File);
  if (Received == 0) {
    return TETransfer::eEnded;
  }
  if (!IsSound || (Message.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0) {
    return TETransfer::eBroken;
  }
  m_Size = static_cast<std::size_t>(Received);
  m_File = std::move(File);
  return TETransfer::eDone;
}

bool HasReadAll(int Socket) {
  int Unread = 0;
  return ioctl(Socket, SIOCOUTQ, &Unread) != 0 || Unread == 0;
}

TCFileDescriptor NewFrameSocket() {
  TCFileDescriptor File(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (File.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make a socket: %s", std::generic_category().message(errno).c_str());
  }
  SetSendBuffer(File.get());
  return File;
}

TCFileDescriptor AcceptFrameSocket(int Listening) {
  TCFileDescriptor File(accept4(Listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (File.get() >= 0) {
    SetSendBuffer(File.get());
  }
  return File;
}

}  // namespace Wire
