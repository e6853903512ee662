// SPDX-License-Identifier: MIT
// A router, a server, a writer and a subscriber in one thread, at a time that stands still.
#include "benchmarks/instructions/ServerRoads.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyServer.h"
#include "benchmarks/instructions/Counting.h"
#include "benchmarks/support/Processes.h"

// The server's time to store what waits never comes, on however slow a machine.
extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t /*Clock*/,
                                                                    timespec* Time) noexcept {
  *Time = {1700000000, 0};
  return 0;
}

namespace Benchmark {

namespace {

constexpr int kFillings = 25;  // that make the values, each so many
constexpr int kValuesOfMail = 400;
constexpr int kChanges = 500;  // fewer than the server takes before it stores them at once
constexpr int kStep = 7;       // from one changed value to the next
constexpr std::uint64_t kLargeNumber = 1000000000000000000;  // as long as a time
constexpr std::size_t kPacketLimit = 65536;
constexpr char kDevice[] = "02:00:00:00:00:01";

// ---- frames, as docs/protocol.md has them ----

constexpr unsigned char kHello = 1;
constexpr unsigned char kSubscribe = 4;
constexpr unsigned char kMails = 5;
constexpr std::size_t kBeforeNumber = 12;  // bytes of a head behind the version, all 0 here
constexpr std::size_t kBehindNumber = 24;

std::string Number(std::uint64_t Value, int Bytes) {
  std::string Encoded;
  for (int Byte = 0; Byte < Bytes; ++Byte) {
    Encoded.push_back(static_cast<char>(Value >> (8 * Byte) & 0xffU));
  }
  return Encoded;
}

std::string Text(std::string const& Value) {
  return Number(Value.size(), 4) + Value;
}

std::string Mail(unsigned Type, unsigned Name, std::string const& Records) {
  return Number(Type, 4) + Number(Name, 4) + Text(Records);
}

std::string Frame(unsigned char Kind, std::string const& Mailbox, std::string const& Class,
                  std::string const& Fields, unsigned Version, std::uint64_t MailNumber,
                  std::string const& OneMail) {
  std::string Head = Number(Kind, 3);
  for (std::string const* const Part : {&Mailbox, &Class, &Fields}) {
    Head += static_cast<char>(Part->size());
  }
  Head += Number(OneMail.empty() ? 0 : 1, 2) + Number(Version, 4);
  Head.append(kBeforeNumber, '\0');
  Head += Number(MailNumber, 8) + std::string(kBehindNumber, '\0');
  return Head + Mailbox + Class + Fields + OneMail;
}

std::string Hello(std::string const& Identity) {
  std::string const Record = Number(3, 4) + Text(Identity) + Text(kDevice);
  return Frame(kHello, "", "", "ss", 1, 0, Mail(0, 0, Record));
}

std::string Record(int Property, std::string const& Value) {
  constexpr unsigned kAssigned = 0x1b;  // all but the link
  return Number(kAssigned, 4) + Number(static_cast<unsigned>(Property), 4) + Text(Value) +
         Text("") + Text(kDevice) + Number(0, 1);
}

std::string Change(std::uint64_t MailNumber, std::string const& Records) {
  return Frame(kMails, "@mailrouter.property", "property", "isssb", 2, MailNumber,
               Mail(2, 3, Records));
}

// ---- the four of them ----

// A connection of a process. Its packets are made before and not read, so that both cost nothing.
class TCPeer {
 public:
  explicit TCPeer(std::string const& Path)
      : m_Socket(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0)) {
    sockaddr_un Address = {};
    Address.sun_family = AF_UNIX;
    Path.copy(Address.sun_path, sizeof(Address.sun_path) - 1);
    if (connect(m_Socket.get(), reinterpret_cast<sockaddr const*>(&Address), sizeof(Address)) !=
        0) {
      throw std::runtime_error("cannot connect to " + Path);
    }
  }

  void Send(std::string const& Packet) const {
    if (send(m_Socket.get(), Packet.data(), Packet.size(), MSG_NOSIGNAL) < 0) {
      throw std::runtime_error("cannot send");
    }
  }
  // Throws std::runtime_error when nothing has come.
  void Receive() {
    if (recv(m_Socket.get(), m_Packet, sizeof(m_Packet), MSG_DONTWAIT) <= 0) {
      throw std::runtime_error("nothing has come");
    }
  }

 private:
  TCFileDescriptor m_Socket;
  char m_Packet[kPacketLimit] = {};
};

class TCRoads {
 public:
  TCRoads()
      : m_Path((m_Folder.get_Path() / "socket").string()),
        m_Database((m_Folder.get_Path() / "values.db").string()),
        m_Router("unix:path=" + m_Path),
        m_Server(m_Router, m_Database, Property::TEDurability::eRelaxed, false,
                 std::make_shared<Property::TCServerConfiguration const>()),
        m_Writer(m_Path),
        m_Subscriber(m_Path) {
    for (TCPeer* const Peer : {&m_Writer, &m_Subscriber}) {
      Peer->Send(Hello(std::string(32, Peer == &m_Writer ? 'a' : 'b')));
      Turn();
      Peer->Receive();
      Peer->Send(Frame(kSubscribe, "", "property", "", 2, 0, ""));
      Turn();
    }
    Fill();
  }

  /// The packet of the writer's next mail, which changes one value.
  std::string NextChange() {
    int const Property = static_cast<int>(m_LastMail) * kStep % (kFillings * kValuesOfMail) + 1;
    ++m_LastMail;
    return Change(m_LastMail, Record(Property, std::to_string(kLargeNumber + m_LastMail)));
  }
  /// From the writer's packet to the subscriber's.
  void Pass(std::string const& Packet) {
    m_Writer.Send(Packet);
    m_Router.get_Loop().Turn();
    m_Subscriber.Receive();
  }

 private:
  void Turn() {
    while (m_Router.get_Loop().Turn(TCNorvEventLoop::TCTime::zero())) {
    }
  }

  // Values that nobody has are told of when they are stored.
  void Fill() {
    for (int Filling = 0; Filling < kFillings; ++Filling) {
      std::string Records;
      for (int Value = 0; Value < kValuesOfMail; ++Value) {
        Records += Record(Filling * kValuesOfMail + Value + 1, std::to_string(Value));
      }
      m_Writer.Send(Change(++m_LastMail, Records));
      Turn();
      m_Server.Commit();
      m_Subscriber.Receive();
      m_Writer.Receive();  // that they are published
      m_Writer.Receive();  // that they are stored
    }
  }

  TCPrivateFolder const m_Folder;
  std::string const m_Path;
  Property::TCPropertyDatabase m_Database;
  TCNorvMailRouter m_Router;
  Property::TCPropertyServer m_Server;
  TCPeer m_Writer;
  TCPeer m_Subscriber;
  std::uint64_t m_LastMail = 0;
};

}  // namespace

void CountServerRoads() {
  TCRoads Roads;
  std::vector<std::string> Packets(kChanges + 1);
  std::generate(Packets.begin(), Packets.end(), [&Roads] { return Roads.NextChange(); });
  auto Next = Packets.begin();
  Count("server_relaxed_change", std::vector<int>(kChanges), [&](int /*Change*/) {
    Roads.Pass(*Next);
    ++Next;
  });
}

}  // namespace Benchmark
