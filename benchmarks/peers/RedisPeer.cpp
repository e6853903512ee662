// SPDX-License-Identifier: MIT
// Redis, a server of its own over a unix socket, with its append-only file.
#include <hiredis/hiredis.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/peers/Peer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"
#include "benchmarks/support/Watcher.h"

namespace {

constexpr int kStartAttempts = 1000;
constexpr useconds_t kAttemptMicroseconds = 10000;
constexpr int kPipelined = 1000;
constexpr int kLargestLoads = 3;
constexpr char const* kChannel = "changes";

using TCommand = std::vector<std::string>;

class TCReply {
 public:
  explicit TCReply(void* Reply) : m_Reply(static_cast<redisReply*>(Reply), freeReplyObject) {
    if (m_Reply == nullptr) {
      throw std::runtime_error("the server does not answer");
    }
    if (m_Reply->type == REDIS_REPLY_ERROR) {
      throw std::runtime_error(m_Reply->str);
    }
  }

  std::string get_Text() const { return TextOf(*m_Reply); }
  std::size_t get_Size() const { return m_Reply->elements; }
  std::string get_Element(std::size_t Index) const { return TextOf(*m_Reply->element[Index]); }

 private:
  static std::string TextOf(redisReply const& Reply) {
    return Reply.str == nullptr ? std::string() : std::string(Reply.str, Reply.len);
  }

  std::unique_ptr<redisReply, void (*)(void*)> m_Reply;
};

class TCConnection {
 public:
  explicit TCConnection(std::string const& Socket)
      : m_Context(redisConnectUnix(Socket.c_str()), redisFree) {
    if (m_Context == nullptr || m_Context->err != 0) {
      throw std::runtime_error("cannot connect with the server");
    }
  }

  // Sends nothing yet.
  void Append(TCommand const& Command) const {
    std::vector<char const*> Texts;
    std::vector<std::size_t> Lengths;
    for (std::string const& Part : Command) {
      Texts.push_back(Part.data());
      Lengths.push_back(Part.size());
    }
    redisAppendCommandArgv(m_Context.get(), static_cast<int>(Command.size()), Texts.data(),
                           Lengths.data());
  }

  // Sends what is appended, and waits for the next answer.
  TCReply Receive() const {
    void* Reply = nullptr;
    redisGetReply(m_Context.get(), &Reply);
    return TCReply(Reply);
  }

  TCReply Run(TCommand const& Command) const {
    Append(Command);
    return Receive();
  }

 private:
  std::unique_ptr<redisContext, void (*)(redisContext*)> m_Context;
};

// With an empty database in a private folder.
class TCServer {
 public:
  explicit TCServer(std::string const& Synchronisation)
      : m_Socket(m_Folder.get_Path() / "socket"),
        m_Process({"redis-server", "--port", "0", "--unixsocket", m_Socket, "--dir",
                   m_Folder.get_Path(), "--logfile", m_Folder.get_Path() / "log", "--appendonly",
                   "yes", "--appendfsync", Synchronisation, "--save", ""}) {
    for (int Attempt = 0; access(m_Socket.c_str(), F_OK) != 0; ++Attempt) {
      if (Attempt == kStartAttempts) {
        throw std::runtime_error("redis-server does not start");
      }
      usleep(kAttemptMicroseconds);
    }
    TCConnection(m_Socket).Run({"PING"});
  }

  std::string const& get_Socket() const { return m_Socket; }

 private:
  Benchmark::TCPrivateFolder m_Folder;
  std::string m_Socket;
  Benchmark::TCProcess m_Process;
};

void Fill(TCConnection const& Connection, int Size) {
  for (int Begin = 0; Begin < Size; Begin += kPipelined) {
    for (int Index = Begin; Index < Begin + kPipelined; ++Index) {
      Connection.Append({"SET", Benchmark::KeyName(Index), Benchmark::ValueText(Index)});
    }
    for (int Index = Begin; Index < Begin + kPipelined; ++Index) {
      Connection.Receive();
    }
  }
}

// Connects and fetches every value, many with each command.
// A program that looks for its values by name has them in a map. The keys come in its order, which
// is what it takes fastest.
double LoadMilliseconds(std::string const& Socket, int Size) {
  auto const Begin = Benchmark::TClock::now();
  TCConnection const Connection(Socket);
  std::map<std::string, std::string> Values;
  for (int Index = 0; Index < Size;) {
    TCommand Command = {"MGET"};
    for (int const End = Index + kPipelined; Index < End; ++Index) {
      Command.push_back(Benchmark::KeyName(Index));
    }
    TCReply const Reply = Connection.Run(Command);
    for (std::size_t Element = 0; Element < Reply.get_Size(); ++Element) {
      Values.emplace_hint(Values.end(), std::move(Command[Element + 1]),
                          Reply.get_Element(Element));
    }
  }
  double const Time = Benchmark::MicrosecondsSince(Begin) / 1000;
  auto const Last = Values.find(Benchmark::KeyName(Size - 1));
  if (Values.size() != static_cast<std::size_t>(Size) || Last == Values.end() ||
      Last->second.empty()) {
    throw std::runtime_error("a load has not found all values");
  }
  return Time;
}

void MeasureRead(TCConnection const& Connection, int Size, int Calls) {
  auto const Order = Benchmark::ShuffledIndices(Size);
  auto const Read = [&](int Call) {
    auto const Index = Order[static_cast<std::size_t>(Call % Size)];
    if (Connection.Run({"GET", Benchmark::KeyName(Index)}).get_Text().empty()) {
      throw std::runtime_error("a value is missing");
    }
  };
  Benchmark::Report({"redis", "read", "", "us", Size}, Benchmark::TimeCalls(Calls, Read));
}

void RunTransaction(TCConnection const& Connection, std::vector<TCommand> const& Commands) {
  Connection.Append({"MULTI"});
  for (TCommand const& Command : Commands) {
    Connection.Append(Command);
  }
  Connection.Append({"EXEC"});
  for (std::size_t Answer = 0; Answer < Commands.size() + 1; ++Answer) {
    Connection.Receive();
  }
  if (Connection.Receive().get_Size() != Commands.size()) {
    throw std::runtime_error("a transaction was not executed");
  }
}

void MeasureWrites(TCConnection const& Connection, int Size, std::string const& Setting,
                   int Calls) {
  auto const Order = Benchmark::ShuffledIndices(Size);
  int Writes = 0;
  auto const Write = [&] {
    auto const Index = Order[static_cast<std::size_t>(Writes++ % Size)];
    return TCommand{"SET", Benchmark::KeyName(Index), Benchmark::ValueText(Writes)};
  };
  auto const Transaction = [&](int) {
    std::vector<TCommand> Commands(Benchmark::kTransactionSize);
    for (TCommand& Command : Commands) {
      Command = Write();
    }
    RunTransaction(Connection, Commands);
  };
  Benchmark::Report({"redis", "write", Setting, "us", Size},
                    Benchmark::TimeCalls(Calls, [&](int) { Connection.Run(Write()); }));
  Benchmark::Report({"redis", "transaction_100", Setting, "us", Size},
                    Benchmark::TimeCalls(Calls, Transaction));
}

void Subscribe(std::string const& Socket, Benchmark::TCWatcher::TSeen const& Seen) {
  TCConnection const Connection(Socket);
  Connection.Run({"SUBSCRIBE", kChannel});
  Seen(0);
  while (true) {
    Seen(std::stoll(Connection.Receive().get_Element(2)));
  }
}

void MeasurePublish(std::string const& Socket, int Changes) {
  Benchmark::TCWatcher const Subscribing(
      [&](Benchmark::TCWatcher::TSeen const& Seen) { Subscribe(Socket, Seen); });
  Subscribing.WaitReady();
  TCConnection const Connection(Socket);
  auto const Publish = [&](long long Stamp) {
    Connection.Run({"PUBLISH", kChannel, std::to_string(Stamp)});
  };
  Benchmark::Report({"redis", "publish", "", "us"}, Subscribing.Measure(Changes, Publish));
}

void MeasureRelaxed(Benchmark::TSEffort const& Effort) {
  auto Sizes = Effort.m_Sizes;
  Sizes.push_back(Sizes.back() * 10);
  for (int const Size : Sizes) {
    TCServer const Server("everysec");
    TCConnection const Connection(Server.get_Socket());
    Fill(Connection, Size);
    Benchmark::ReportLoads("redis", Size, Size == Sizes.back() ? kLargestLoads : Effort.m_Loads,
                           [&] { return LoadMilliseconds(Server.get_Socket(), Size); });
    if (Size == Effort.m_Sizes.front()) {
      MeasurePublish(Server.get_Socket(), Effort.m_Changes);
      MeasureRead(Connection, Size, Effort.m_Calls);
      MeasureWrites(Connection, Size, "everysec", Effort.m_Changes);
    }
  }
}

void Measure(Benchmark::TSEffort const& Effort) {
  MeasureRelaxed(Effort);
  int const Size = Effort.m_Sizes.front();
  TCServer const Server("always");
  TCConnection const Connection(Server.get_Socket());
  Fill(Connection, Size);
  MeasureWrites(Connection, Size, "always", Effort.m_Durable);
}

}  // namespace

int main(int ArgumentCount, char** Arguments) {
  return Benchmark::RunPeer(ArgumentCount, Arguments, "redis", Measure);
}
