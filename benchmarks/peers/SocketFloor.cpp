// SPDX-License-Identifier: MIT
// The floor of everything that crosses processes: bare packets over Unix sockets that keep message
// borders, with nothing stored, checked or looked up on their way.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <list>
#include <stdexcept>
#include <string>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"
#include "benchmarks/support/Watcher.h"

namespace {

constexpr int kReaders = 100;
constexpr std::size_t kTextLength = 40;
constexpr std::size_t kPacketLimit = 256;

sockaddr_un AddressOf(std::string const& Path) {
  sockaddr_un Address = {};
  Address.sun_family = AF_UNIX;
  Path.copy(Address.sun_path, sizeof(Address.sun_path) - 1);
  return Address;
}

int NewSocket() {
  return socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
}

// A socket in a private folder, which processes made later inherit.
class TCListener {
 public:
  explicit TCListener(std::string const& Path) : m_Socket(NewSocket()) {
    sockaddr_un const Address = AddressOf(Path);
    if (bind(m_Socket, reinterpret_cast<sockaddr const*>(&Address), sizeof(Address)) != 0 ||
        listen(m_Socket, kReaders) != 0) {
      throw std::runtime_error("cannot listen at " + Path);
    }
  }
  TCListener(TCListener const&) = delete;
  TCListener& operator=(TCListener const&) = delete;
  ~TCListener() { close(m_Socket); }

  int Accept() const {
    int const Connection = accept4(m_Socket, nullptr, nullptr, SOCK_CLOEXEC);
    if (Connection < 0) {
      throw std::runtime_error("cannot accept a connection");
    }
    return Connection;
  }

 private:
  int m_Socket;
};

// One end of a connection, of which packets are read one by one.
class TCConnection {
 public:
  explicit TCConnection(std::string const& Path) : m_Socket(NewSocket()) {
    sockaddr_un const Address = AddressOf(Path);
    if (connect(m_Socket, reinterpret_cast<sockaddr const*>(&Address), sizeof(Address)) != 0) {
      throw std::runtime_error("cannot connect to " + Path);
    }
  }
  explicit TCConnection(TCListener const& Listener) : m_Socket(Listener.Accept()) {}
  TCConnection(TCConnection const&) = delete;
  TCConnection& operator=(TCConnection const&) = delete;
  ~TCConnection() { close(m_Socket); }

  void Send(std::string const& Packet) const {
    if (send(m_Socket, Packet.data(), Packet.size(), MSG_NOSIGNAL) < 0) {
      throw std::runtime_error("cannot send");
    }
  }

  // Calls `Take` with each packet that comes, until the other end closes.
  template <class TTake>
  void ReceiveAll(TTake Take) const {
    char Packet[kPacketLimit];
    for (ssize_t Size = 0; (Size = recv(m_Socket, Packet, sizeof(Packet), 0)) > 0;) {
      Take(std::string(Packet, static_cast<std::size_t>(Size)));
    }
  }

 private:
  int m_Socket;
};

// A key and a text of kTextLength characters that begins with a time.
std::string StampedPacket(long long Stamp) {
  std::string Text = std::to_string(Stamp);
  Text.resize(kTextLength, ' ');
  return std::string(kTextLength, 'k') + Text;
}

void Read(std::string const& Path, Benchmark::TCWatcher::TSeen const& Seen) {
  TCConnection const Server(Path);
  Seen(0);
  Server.ReceiveAll(
      [&](std::string const& Packet) { Seen(std::stoll(Packet.substr(kTextLength))); });
}

// Passes on what the second connection sends to the first.
void Forward(TCListener const& Listener) {
  TCConnection const Reader(Listener);
  TCConnection const Writer(Listener);
  Writer.ReceiveAll([&](std::string const& Packet) { Reader.Send(Packet); });
}

void MeasureTwoHops(int Changes) {
  Benchmark::TCPrivateFolder const Folder;
  std::string const Path = Folder.get_Path() / "socket";
  TCListener const Listener(Path);
  Benchmark::TCWatcher const Reading(
      [&](Benchmark::TCWatcher::TSeen const& Seen) { Read(Path, Seen); });
  Benchmark::TCProcess const Forwarding("the forwarding process", [&] { Forward(Listener); });
  Reading.WaitReady();
  TCConnection const Server(Path);
  auto const Send = [&](long long Stamp) { Server.Send(StampedPacket(Stamp)); };
  Benchmark::Report({"seqpacket", "two_hops", "", "us"}, Reading.Measure(Changes, Send));
}

void MeasureFanOut(int Changes) {
  Benchmark::TCPrivateFolder const Folder;
  std::string const Path = Folder.get_Path() / "socket";
  TCListener const Listener(Path);
  Benchmark::TCWatcher const Reading(
      [&](Benchmark::TCWatcher::TSeen const& Seen) { Read(Path, Seen); }, kReaders);
  std::list<TCConnection> Readers;
  for (int Reader = 0; Reader < kReaders; ++Reader) {
    Readers.emplace_back(Listener);
  }
  Reading.WaitReady();
  auto const SendToAll = [&](long long Stamp) {
    std::string const Packet = StampedPacket(Stamp);
    for (TCConnection const& Reader : Readers) {
      Reader.Send(Packet);
    }
  };
  Benchmark::Report({"seqpacket", "fan_out_100", "", "us"}, Reading.Measure(Changes, SendToAll));
}

void Measure(Benchmark::TSEffort const& Effort) {
  MeasureTwoHops(Effort.m_Changes);
  MeasureFanOut(Effort.m_Changes);
}

}  // namespace

int main(int ArgumentCount, char** Arguments) {
  return Benchmark::RunPeer(ArgumentCount, Arguments, "seqpacket", Measure);
}
