// SPDX-License-Identifier: MIT
// The floor of everything that crosses processes: bare sd-bus messages between peers over unix
// sockets, with nothing stored, checked or looked up on their way.
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"
#include "benchmarks/support/Watcher.h"

namespace {

constexpr int kReaders = 100;
constexpr std::size_t kTextLength = 40;
constexpr std::uint64_t kForever = UINT64_MAX;
constexpr char const* kInterface = "floor.Change";
constexpr char const* kChanged = "Changed";

int Check(int Result, char const* Action) {
  if (Result < 0) {
    throw std::runtime_error(std::string(Action) + ": " + std::strerror(-Result));
  }
  return Result;
}

// A socket in a private folder, which processes made later inherit.
class TCListener {
 public:
  explicit TCListener(std::string const& Path)
      : m_Socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un Address = {};
    Address.sun_family = AF_UNIX;
    Path.copy(Address.sun_path, sizeof(Address.sun_path) - 1);
    if (bind(m_Socket, reinterpret_cast<sockaddr*>(&Address), sizeof(Address)) != 0 ||
        listen(m_Socket, kReaders) != 0) {
      throw std::runtime_error("cannot listen at " + Path);
    }
  }
  TCListener(TCListener const&) = delete;
  TCListener& operator=(TCListener const&) = delete;
  ~TCListener() { close(m_Socket); }

  int Accept() const {
    int const Connection = accept4(m_Socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (Connection < 0) {
      throw std::runtime_error("cannot accept a connection");
    }
    return Connection;
  }

 private:
  int m_Socket;
};

// One end of a connection, of which messages are read one by one.
class TCConnection {
 public:
  explicit TCConnection(std::string const& Path) {
    Check(sd_bus_new(&m_Bus), "make a connection");
    Check(sd_bus_set_address(m_Bus, ("unix:path=" + Path).c_str()), "set an address");
    Start();
  }
  explicit TCConnection(TCListener const& Listener) {
    Check(sd_bus_new(&m_Bus), "make a connection");
    int const Socket = Listener.Accept();
    sd_id128_t ID;
    Check(sd_id128_randomize(&ID), "make an ID");
    Check(sd_bus_set_fd(m_Bus, Socket, Socket), "take a connection");
    Check(sd_bus_set_server(m_Bus, 1, ID), "be a server");
    Start();
  }
  TCConnection(TCConnection const&) = delete;
  TCConnection& operator=(TCConnection const&) = delete;
  ~TCConnection() { sd_bus_close_unref(m_Bus); }

  void Send(char const* First, char const* Second) const {
    Check(sd_bus_emit_signal(m_Bus, "/floor", kInterface, kChanged, "ss", First, Second), "send");
  }

  // Calls `Take` with the texts of each message that comes, until the other end closes.
  template <class TTake>
  void ReceiveAll(TTake Take) const {
    while (true) {
      TMessage const Message = NextMessage();
      if (sd_bus_message_is_signal(Message.get(), kInterface, kChanged) == 0) {
        return;
      }
      char const* First = nullptr;
      char const* Second = nullptr;
      Check(sd_bus_message_read(Message.get(), "ss", &First, &Second), "read a message");
      Take(First, Second);
    }
  }

 private:
  using TMessage = std::unique_ptr<sd_bus_message, sd_bus_message* (*)(sd_bus_message*)>;

  // The library makes one itself when the other end has closed.
  TMessage NextMessage() const {
    sd_bus_message* Message = nullptr;
    while (Message == nullptr) {
      if (Check(sd_bus_process(m_Bus, &Message), "receive") == 0) {
        Check(sd_bus_wait(m_Bus, kForever), "wait for a message");
      }
    }
    return {Message, sd_bus_message_unref};
  }

  // Each end needs the other's part of the authentication, so that both must be made at once.
  void Start() {
    Check(sd_bus_start(m_Bus), "connect");
    while (Check(sd_bus_is_ready(m_Bus), "authenticate") == 0) {
      if (Check(sd_bus_process(m_Bus, nullptr), "authenticate") == 0) {
        Check(sd_bus_wait(m_Bus, kForever), "authenticate");
      }
    }
  }

  sd_bus* m_Bus = nullptr;
};

// A text of kTextLength characters that begins with a time.
std::string StampText(long long Stamp) {
  std::string Text = std::to_string(Stamp);
  Text.resize(kTextLength, ' ');
  return Text;
}

void Read(std::string const& Path, Benchmark::TCWatcher::TSeen const& Seen) {
  TCConnection const Server(Path);
  Seen(0);
  Server.ReceiveAll([&](char const*, char const* Stamp) { Seen(std::stoll(Stamp)); });
}

// Passes on what the second connection sends to the first.
void Forward(TCListener const& Listener) {
  TCConnection const Reader(Listener);
  TCConnection const Writer(Listener);
  Writer.ReceiveAll([&](char const* Key, char const* Value) { Reader.Send(Key, Value); });
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
  std::string const Key(kTextLength, 'k');
  auto const Send = [&](long long Stamp) { Server.Send(Key.c_str(), StampText(Stamp).c_str()); };
  Benchmark::Report({"sd-bus", "two_hops", "", "us"}, Reading.Measure(Changes, Send));
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
  std::string const Key(kTextLength, 'k');
  auto const SendToAll = [&](long long Stamp) {
    std::string const Text = StampText(Stamp);
    for (TCConnection const& Reader : Readers) {
      Reader.Send(Key.c_str(), Text.c_str());
    }
  };
  Benchmark::Report({"sd-bus", "fan_out_100", "", "us"}, Reading.Measure(Changes, SendToAll));
}

void Measure(Benchmark::TSEffort const& Effort) {
  MeasureTwoHops(Effort.m_Changes);
  MeasureFanOut(Effort.m_Changes);
}

}  // namespace

int main(int ArgumentCount, char** Arguments) {
  return Benchmark::RunPeer(ArgumentCount, Arguments, "sd-bus", Measure);
}
