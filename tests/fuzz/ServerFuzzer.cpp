// SPDX-License-Identifier: MIT
// Whatever a peer sends, the server goes on and serves everybody else. The input is the packets
// that the peer sends, each after two bytes that say how long it is; a proxy that keeps to the
// protocol is served every so often.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <string>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Messaging/TCNorvMailRouter.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvControlObject.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyServer/TCPropertyDatabase.h"
#include "PropertyServer/TCPropertyServer.h"
#include "tests/support/PrivateFolder.h"
#include "tests/support/UnixSocket.h"

namespace PropertyControl = Property::PropertyControl;
namespace PropertyProtocol = Property::PropertyProtocol;

namespace {

constexpr unsigned kRunsBetweenProofs = 2000;
constexpr int kPatience = 30000;  // milliseconds

void Require(bool Condition) {
  if (!Condition) {
    std::abort();
  }
}

class TServer {
 public:
  explicit TServer(std::string const& Folder)
      : m_Database(Folder + "/values.db"),
        m_Router("unix:path=" + Folder + "/socket"),
        m_Server(m_Router, m_Database, Property::TEDurability::eRelaxed, false,
                 std::make_shared<Property::TCServerConfiguration const>()) {}

  // Everything that can be done without waiting.
  void Turn() {
    for (int Turns = 0; Turns < 1000 && m_Router.get_Loop().Turn(TCNorvEventLoop::TCTime::zero());
         ++Turns) {
    }
  }

  void TurnUntil(std::future<bool> const& Done) {
    while (Done.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      m_Router.get_Loop().Turn(std::chrono::milliseconds(1));
    }
  }

 private:
  Property::TCPropertyDatabase m_Database;
  TCNorvMailRouter m_Router;
  Property::TCPropertyServer m_Server;
};

// One server for many runs, made anew now and then so that its values stay few.
class TWorld {
 public:
  TWorld() {
    SetSyslogSink([](int /*Priority*/, std::string const& /*Text*/) {});
    std::filesystem::path const Memory("/dev/shm");
    m_Folder = std::filesystem::exists(Memory) ? MakePrivateFolder(Memory) : MakePrivateFolder();
    setenv("MAILROUTER_ADDRESS", ("unix:path=" + m_Folder + "/socket").c_str(), 1);
    Renew();
  }
  TWorld(TWorld const&) = delete;
  TWorld& operator=(TWorld const&) = delete;
  ~TWorld() {
    m_Server.reset();
    std::filesystem::remove_all(m_Folder);
  }

  void Run(std::string const& Bytes) {
    {
      TCFileDescriptor const Socket = Connect();
      SendPackets(Socket.get(), AsNewSender(Bytes));
    }
    m_Server->Turn();
    if (++m_Runs % kRunsBetweenProofs == 0) {
      ProveServed();
      Renew();
    }
  }

 private:
  // The corpus' peer is called "fuzz". Were it the same one in every run, its mails would be
  // repeats, which nobody looks at.
  std::string AsNewSender(std::string Bytes) const {
    constexpr char kName[] = "fuzz";
    std::string Name;
    for (unsigned Rest = m_Runs; Name.size() < sizeof(kName) - 1; Rest /= 26) {
      Name += static_cast<char>('a' + Rest % 26);
    }
    for (std::size_t Place = 0; (Place = Bytes.find(kName, Place)) != std::string::npos;
         Place += Name.size()) {
      Bytes.replace(Place, Name.size(), Name);
    }
    return Bytes;
  }

  void Renew() {
    m_Server.reset();
    std::filesystem::remove(m_Folder + "/values.db");
    m_Server = std::make_unique<TServer>(m_Folder);
  }

  TCFileDescriptor Connect() {
    TCFileDescriptor Socket = ::Connect(m_Folder + "/socket");
    fcntl(Socket.get(), F_SETFL, O_NONBLOCK);
    m_Server->Turn();
    return Socket;
  }

  // The last packet may be shorter than it says.
  void SendPackets(int Socket, std::string const& Bytes) {
    constexpr std::size_t kLengthSize = 2;
    for (std::size_t Place = 0; Place + kLengthSize <= Bytes.size();) {
      std::size_t const Length = static_cast<unsigned char>(Bytes[Place]) |
                                 std::size_t{static_cast<unsigned char>(Bytes[Place + 1])} << 8U;
      std::string const Packet = Bytes.substr(Place + kLengthSize, Length);
      Place += kLengthSize + Packet.size();
      if (send(Socket, Packet.data(), Packet.size(), MSG_NOSIGNAL) < 0) {
        break;
      }
      m_Server->Turn();
    }
  }

  void ProveServed() {
    auto const Served = std::async(std::launch::async, [] {
      TCNorvServiceProxy Proxy;
      auto const Mailbox = TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, "");
      TCNorvMailMessage<Property::TCNorvPropertyObject> Change(
          Norv_PropertyMail, PropertyProtocol::kChange.Type, PropertyProtocol::kChange.Name);
      Change.CreateRecord()->SetRecord(1, "sound", Accessories::TCRecordID(), false, "");
      TCNorvMailMessage<Property::TCNorvPropertyObject> Request(Norv_PropertyMail,
                                                                PropertyProtocol::kRequestOne.Type,
                                                                PropertyProtocol::kRequestOne.Name);
      Request.CreateRecord()->RequestProperty(1, Accessories::TCRecordID(), "");
      TCNorvMailMessage<Property::TCNorvControlObject> Outcome(Property::Norv_ControlMail,
                                                               PropertyControl::kOutcome.Type,
                                                               PropertyControl::kOutcome.Name);
      return Proxy.WaitForMailRouter(kPatience) && Change.Send(Mailbox, &Proxy, 0) &&
             Proxy.WaitForAcknowledgements(kPatience) &&
             Proxy.SendAndWait(Mailbox, Request, kPatience) && Request.RecordCount() == 1 &&
             Request.GetMailRecord(0)->get_Record().m_Data.get_AsString() == "sound" &&
             Proxy.SendAndWait(Mailbox, Outcome, kPatience) && Outcome.RecordCount() == 1 &&
             !Outcome.GetMailRecord(0)->get_Record().m_Refused.get_AsBool();
    });
    m_Server->TurnUntil(Served);
    Require(const_cast<std::future<bool>&>(Served).get());
  }

  std::string m_Folder;
  std::unique_ptr<TServer> m_Server;
  unsigned m_Runs = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* Data, std::size_t Size) {
  static TWorld World;
  World.Run(std::string(reinterpret_cast<char const*>(Data), Size));
  return 0;
}
