// SPDX-License-Identifier: MIT
// Sends changes to a router that keeps up, and takes some from it, one after the other, under
// callgrind. All threads of the process are counted; none has anything else to do.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>

#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "benchmarks/BenchmarkSchema.h"
#include "benchmarks/instructions/ChangePeer.h"
#include "benchmarks/support/Measurement.h"
#include "benchmarks/support/Processes.h"

namespace {

using ChangePeer::TSCommand;

constexpr int kValues = 200;  // each waits for the other process, twice

int Require(int Result, char const* What) {
  if (Result < 0) {
    throw std::runtime_error(std::string("cannot ") + What);
  }
  return Result;
}

// The router's process, at a socket in a private folder; ends with this one.
class TCRouter {
 public:
  TCRouter() {
    std::string const Path = m_Folder.get_Path() / "socket";
    sockaddr_un Name = {};
    Name.sun_family = AF_UNIX;
    Path.copy(Name.sun_path, sizeof(Name.sun_path) - 1);
    int const Listening = Require(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0), "listen");
    Require(bind(Listening, reinterpret_cast<sockaddr const*>(&Name), sizeof(Name)), "bind");
    Require(listen(Listening, 1), "listen");
    int Commands[2];
    int Reports[2];
    Require(pipe2(Commands, O_CLOEXEC), "make a pipe");
    Require(pipe2(Reports, O_CLOEXEC), "make a pipe");
    pid_t const Parent = getpid();
    if (Require(fork(), "fork") == 0) {
      Become(Listening, Commands[0], Reports[1], Parent);
    }
    close(Listening);
    close(Commands[0]);
    close(Reports[1]);
    m_Commands = Commands[1];
    m_Reports = Reports[0];
    setenv("MAILROUTER_ADDRESS", ("unix:path=" + Path).c_str(), 1);
  }

  void Tell(TSCommand const& Command) const {
    Require(static_cast<int>(write(m_Commands, &Command, sizeof(Command))), "tell the router");
  }
  void WaitForFrame() const {
    char Byte = 0;
    if (read(m_Reports, &Byte, sizeof(Byte)) != sizeof(Byte)) {
      throw std::runtime_error("the router has ended");
    }
  }

 private:
  [[noreturn]] static void Become(int Listening, int Commands, int Reports, pid_t Parent) {
    constexpr int kClear = 10;  // of the numbers that are given away
    int const Files[] = {fcntl(Listening, F_DUPFD, kClear), fcntl(Commands, F_DUPFD, kClear),
                         fcntl(Reports, F_DUPFD, kClear)};
    dup2(Files[0], ChangePeer::kListening);
    dup2(Files[1], ChangePeer::kCommands);
    dup2(Files[2], ChangePeer::kReports);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() == Parent) {
      execl(CHANGE_PEER, "change_peer", nullptr);
    }
    _exit(1);
  }

  Benchmark::TCPrivateFolder m_Folder;
  int m_Commands = -1;
  int m_Reports = -1;
};

// Asks for the next change when it is told of one, and says when the last has come.
class TCNextAsker : public Property::TCCommonPropertyChangeNotifier {
 public:
  explicit TCNextAsker(TCRouter const& Router, Benchmark::TSSchema const& Schema)
      : m_Router(Router), m_Schema(Schema) {
    Enable();
  }
  ~TCNextAsker() override { Property::TCPropertyCollection::DelNotifier(this); }

  // Every value once, each to `Value`.
  void TakeAll(int Value) {
    m_Next = 0;
    m_Value = Value;
    AskNext();
    m_Done.Receive();
  }

 protected:
  bool OnPropQueued() override {
    {
      TCCriticalSectionLock const Lock(m_Lock);
      m_Queue.clear();
    }
    AskNext();
    return true;
  }

 private:
  void AskNext() {
    if (m_Next == kValues) {
      m_Done.Send(0);
      return;
    }
    // Counted before: the answer may come on the proxy's thread before this function returns.
    auto const Next = static_cast<std::size_t>(m_Next++);
    m_Router.Tell({m_Schema.m_Integers[Next]->get_Number(), m_Value});
  }

  TCRouter const& m_Router;
  Benchmark::TSSchema const& m_Schema;
  Benchmark::TCPipe m_Done;
  int m_Next = 0;
  int m_Value = 0;
};

// Once unmeasured, so that what happens the first time only does not count. The proxy's thread
// does a part of the work.
void Count(std::string const& Name, std::function<void(int Value)> const& ChangeAll) {
  std::string const Trigger = Name + " " + std::to_string(kValues) + " in all threads";
  ChangeAll(1);
  CALLGRIND_ZERO_STATS;
  ChangeAll(2);
  CALLGRIND_DUMP_STATS_AT(Trigger.c_str());
}

void CountChanges() {
  TCRouter const Router;
  Benchmark::TSSchema const& Schema = Benchmark::MakeSchema(kValues);
  Property::TCPropertyCollectionDriver::Create(false);
  Count("set_on_its_way", [&](int Value) {
    for (Property::TCPropertyID const* const ID : Schema.m_Integers) {
      SetProperty(*ID, Value);
      Router.WaitForFrame();
    }
  });
  Router.Tell({ChangePeer::kAcknowledge, 0});
  Property::TCPropertyCollectionDriver::get_Instance()->WaitForAcknowledgements();
  TCNextAsker Notifier(Router, Schema);
  Count("subscriber_change", [&](int Value) { Notifier.TakeAll(Value + 2); });
}

}  // namespace

int main(int /*Count*/, char** Arguments) {
  setenv("PROPERTY_OWN_MAC", ChangePeer::kDevice, 1);
  return Benchmark::RunMeasurements(Arguments[0], CountChanges);
}
