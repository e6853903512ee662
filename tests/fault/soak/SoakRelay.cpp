// SPDX-License-Identifier: MIT
// Passes frames and descriptors on.
#include "tests/fault/soak/SoakRelay.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tests/support/UnixSocket.h"

namespace {

constexpr std::size_t kPieceSize = std::size_t{128} << 10;  // more than a frame has
constexpr std::size_t kFilesAtOnce = 64;

TCFileDescriptor NewSocket() {
  return TCFileDescriptor(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

TCFileDescriptor Listen(std::string const& Path) {
  TCFileDescriptor Socket = ListenAt(Path, SOCK_SEQPACKET | SOCK_NONBLOCK);
  if (Socket.get() < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot listen at " + Path);
  }
  return Socket;
}

std::vector<TCFileDescriptor> FilesOf(msghdr& Message) {
  std::vector<TCFileDescriptor> Files;
  for (cmsghdr* Part = CMSG_FIRSTHDR(&Message); Part != nullptr;
       Part = CMSG_NXTHDR(&Message, Part)) {
    if (Part->cmsg_level == SOL_SOCKET && Part->cmsg_type == SCM_RIGHTS) {
      std::vector<int> Numbers((Part->cmsg_len - CMSG_LEN(0)) / sizeof(int));
      std::memcpy(Numbers.data(), CMSG_DATA(Part), Numbers.size() * sizeof(int));
      for (int const Number : Numbers) {
        Files.emplace_back(Number);
      }
    }
  }
  return Files;
}

}  // namespace

// ---- one direction ----

void TSoakStream::Take(TSPiece Piece) {
  if (m_Limit && Piece.Bytes.size() > *m_Limit) {
    m_IsCut = true;
    return;
  }
  if (m_Limit) {
    *m_Limit -= Piece.Bytes.size();
    m_IsCut = *m_Limit == 0;
  }
  m_Size += Piece.Bytes.size();
  m_Pieces.push_back(std::move(Piece));
}

bool TSoakStream::Read(int File) {
  std::string Bytes(kPieceSize, '\0');
  alignas(cmsghdr) std::array<char, CMSG_SPACE(kFilesAtOnce * sizeof(int))> Control;
  iovec Place = {Bytes.data(), Bytes.size()};
  msghdr Message = {};
  Message.msg_iov = &Place;
  Message.msg_iovlen = 1;
  Message.msg_control = Control.data();
  Message.msg_controllen = Control.size();
  ssize_t Count = 0;
  do {  // who has gone and had not read all is reported once, before what it has sent
    Count = recvmsg(File, &Message, MSG_CMSG_CLOEXEC);
  } while (Count < 0 && errno == ECONNRESET);
  if (Count <= 0) {
    return Count < 0 && errno == EAGAIN;
  }
  Bytes.resize(static_cast<std::size_t>(Count));
  Take({std::move(Bytes), FilesOf(Message)});
  return true;
}

bool TSoakStream::Write(int File) {
  TSPiece& Piece = m_Pieces.front();
  alignas(cmsghdr) std::array<char, CMSG_SPACE(kFilesAtOnce * sizeof(int))> Control = {};
  iovec Place = {Piece.Bytes.data(), Piece.Bytes.size()};
  msghdr Message = {};
  Message.msg_iov = &Place;
  Message.msg_iovlen = 1;
  if (!Piece.Files.empty()) {
    std::vector<int> Numbers;
    for (TCFileDescriptor const& Descriptor : Piece.Files) {
      Numbers.push_back(Descriptor.get());
    }
    std::size_t const Size = Numbers.size() * sizeof(int);
    Message.msg_control = Control.data();
    Message.msg_controllen = CMSG_SPACE(Size);
    cmsghdr* const Part = CMSG_FIRSTHDR(&Message);
    Part->cmsg_level = SOL_SOCKET;
    Part->cmsg_type = SCM_RIGHTS;
    Part->cmsg_len = CMSG_LEN(Size);
    std::memcpy(CMSG_DATA(Part), Numbers.data(), Size);
  }
  ssize_t const Count = sendmsg(File, &Message, MSG_NOSIGNAL);
  if (Count < 0) {
    return errno == EAGAIN;
  }
  m_Size -= Piece.Bytes.size();
  m_Pieces.pop_front();
  return true;
}

// ---- the relay ----

TSoakRelay::TSoakRelay(std::string RouterSocket, std::vector<std::string> const& Ports)
    : m_RouterSocket(std::move(RouterSocket)), m_Wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  for (std::string const& Path : Ports) {
    m_Ports.push_back(Listen(Path));
  }
  m_Thread = std::thread([this] { Run(); });
}

TSoakRelay::~TSoakRelay() {
  m_Ending = true;
  eventfd_write(m_Wake.get(), 1);
  m_Thread.join();
}

bool TSoakRelay::Cut(std::size_t Port, TEDirection Direction, std::size_t Bytes) {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  bool Any = false;
  for (TSLink& Link : m_Links) {
    if (Link.Port == Port) {
      Any = true;
      (Direction == TEDirection::eToRouter ? Link.ToRouter : Link.FromRouter).Limit(Bytes);
    }
  }
  eventfd_write(m_Wake.get(), 1);
  return Any;
}

void TSoakRelay::Accept(std::size_t Port) {
  TCFileDescriptor Process(
      accept4(m_Ports[Port].get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  TCFileDescriptor Router = NewSocket();
  // Nobody listens there while the server is dead: its processes see a connection that ends.
  if (Process.get() >= 0 && ConnectTo(Router.get(), m_RouterSocket)) {
    m_Links.push_back({Port, std::move(Process), std::move(Router), {}, {}});
  }
}

bool TSoakRelay::Pass(TSoakStream& Stream, int From, short Events, int To) {
  // After the end of one side what it had sent still goes to the other.
  bool Open = true;
  for (int Count = 0; Open && (Events & (POLLIN | POLLHUP)) != 0 && !Stream.IsFull() &&
                      !Stream.IsCut() && Count < 64;
       ++Count) {
    Open = Stream.Read(From);
  }
  for (int Count = 0; !Stream.IsEmpty() && Count < 64; ++Count) {
    if (!Stream.Write(To)) {
      return false;
    }
  }
  return (Open && !Stream.IsCut()) || !Stream.IsEmpty();
}

bool TSoakRelay::Serve(TSLink& Link, short ProcessEvents, short RouterEvents) {
  bool const Open = Pass(Link.ToRouter, Link.Process.get(), ProcessEvents, Link.Router.get()) &&
                    Pass(Link.FromRouter, Link.Router.get(), RouterEvents, Link.Process.get());
  m_Cuts += !Open && (Link.ToRouter.IsCut() || Link.FromRouter.IsCut()) ? 1U : 0U;
  return Open;
}

void TSoakRelay::Run() {
  while (!m_Ending) {
    std::vector<pollfd> Files = {{m_Wake.get(), POLLIN, 0}};
    for (TCFileDescriptor const& Port : m_Ports) {
      Files.push_back({Port.get(), POLLIN, 0});
    }
    auto const Events = [](TSoakStream const& In, TSoakStream const& Out) {
      return static_cast<short>((In.IsFull() || In.IsCut() ? 0 : POLLIN) |
                                (Out.IsEmpty() ? 0 : POLLOUT));
    };
    {
      std::lock_guard<std::mutex> const Lock(m_Mutex);
      for (TSLink const& Link : m_Links) {
        Files.push_back({Link.Process.get(), Events(Link.ToRouter, Link.FromRouter), 0});
        Files.push_back({Link.Router.get(), Events(Link.FromRouter, Link.ToRouter), 0});
      }
    }
    poll(Files.data(), Files.size(), -1);
    eventfd_t Ignored = 0;
    eventfd_read(m_Wake.get(), &Ignored);
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    std::size_t Place = 1 + m_Ports.size();
    for (auto Link = m_Links.begin(); Link != m_Links.end(); Place += 2) {
      bool const Open = Serve(*Link, Files[Place].revents, Files[Place + 1].revents);
      Link = Open ? std::next(Link) : m_Links.erase(Link);
    }
    for (std::size_t Port = 0; Port < m_Ports.size(); ++Port) {
      if ((Files[1 + Port].revents & POLLIN) != 0) {
        Accept(Port);
      }
    }
  }
}
