// SPDX-License-Identifier: MIT
// Starts, fills and ends a property server.
#include "benchmarks/process/Server.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TCException.h"
#include "PropertyServer/TCServerClient.h"
#include "benchmarks/process/Clients.h"
#include "benchmarks/support/Measurement.h"

namespace Benchmark {

namespace {

constexpr int kFillTransaction = 1000;
constexpr std::chrono::milliseconds kRetryTime(1);
constexpr std::chrono::seconds kPatience(60);
constexpr char const* kListening = "00010000";  // of the flags in /proc/net/unix

void FillIntegers(TSSchema const& Schema) {
  auto const Size = static_cast<int>(Schema.m_Integers.size());
  for (int First = 0; First < Size; First += kFillTransaction) {
    Property::TCPropertyTransaction Transaction;
    Transaction.Begin();
    for (int Index = First; Index < std::min(Size, First + kFillTransaction); ++Index) {
      SetProperty(*Schema.m_Integers[static_cast<std::size_t>(Index)], Index + 1);
    }
    Transaction.Commit();
  }
}

// Asks the system: a connection that only tries would be a failed one to the server.
bool IsListening(std::string const& Socket) {
  std::ifstream Sockets("/proc/net/unix");
  for (std::string Line; std::getline(Sockets, Line);) {
    std::istringstream Words(Line);
    std::string Number, References, Protocol, Flags, Type, State, Inode, Path;
    Words >> Number >> References >> Protocol >> Flags >> Type >> State >> Inode >> Path;
    if (Path == Socket && Flags == kListening) {
      return true;
    }
  }
  return false;
}

// On a loaded machine the server may take longer than whoever asks for its status waits.
void AskUntilAnswered(std::string const& Address, TClock::time_point Deadline) {
  while (true) {
    try {
      Property::TCServerClient(Address).Status();
      return;
    } catch (TCException const&) {
      if (TClock::now() > Deadline) {
        throw;
      }
    }
  }
}

}  // namespace

TCServer::TCServer(std::string const& Program, std::string const& Durability, int Size)
    : m_Program(Program),
      m_Durability(Durability),
      m_Socket((m_Folder.get_Path() / "socket").string()),
      m_Address("unix:path=" + m_Socket) {
  setenv("MAILROUTER_ADDRESS", m_Address.c_str(), 1);
  setenv("PROPERTY_OWN_MAC", kOwnMAC.c_str(), 1);
  Start();
  WaitForAnswer();
  Fill(Size);
}

void TCServer::Start() {
  m_Process.emplace(std::vector<std::string>{m_Program, "--address", m_Address, "--database",
                                             (m_Folder.get_Path() / "values.db").string(),
                                             "--durability", m_Durability});
}

void TCServer::Stop() {
  m_Process->Signal(SIGTERM);
  m_Process->Wait();
}

// The proxy's own attempts to connect are too far apart to tell when the server is there.
void TCServer::WaitForAnswer() const {
  auto const Deadline = TClock::now() + kPatience;
  while (!IsListening(m_Socket)) {
    if (TClock::now() > Deadline) {
      throw std::runtime_error("the server has not started in time");
    }
    std::this_thread::sleep_for(kRetryTime);
  }
  TCProcess Client("the asking process", [&] { AskUntilAnswered(m_Address, Deadline); });
  Client.Wait();
}

void TCServer::Fill(int Size) const {
  TCProcess Filling("the filling process", [&] {
    auto const& Schema = Connect(Size);
    FillIntegers(Schema);
    for (int Stamp = 0; Stamp < kStampFields; ++Stamp) {
      SetProperty(StampField(Schema, Stamp), std::to_string(Stamp));
    }
    WaitUntilDurable();
  });
  Filling.Wait();
}

}  // namespace Benchmark
