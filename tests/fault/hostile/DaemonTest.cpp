// SPDX-License-Identifier: MIT
// The server under a service manager: what it reports, and what its end costs.
#include <poll.h>

#include <cstdlib>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/UnixSocket.h"
#include "tests/support/WirePeer.h"

namespace {

using Daemon = THostileFixture;

TEST_F(Daemon, ThatIsToldToEndWhileMailsArriveHasStoredWhatItAcknowledged) {
  constexpr std::uint64_t kMails = 20000 / kShare;
  m_Server = StartServer();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  for (std::uint64_t Number = 1; Number <= kMails; ++Number) {
    std::string const Text = std::to_string(Number);
    EXPECT_TRUE(Peer.Send(Peer.NewChange(Number, 101, Text, Text, kThisDevice)));
  }
  std::uint64_t Acknowledged = Peer.HearAcknowledged().value_or(0);
  EXPECT_GT(Acknowledged, 0U);
  kill(m_Server->get_Process(), SIGTERM);
  while (auto const Number = Peer.HearAcknowledged()) {
    EXPECT_GT(*Number, Acknowledged);
    Acknowledged = *Number;
  }
  EXPECT_EQ(m_Server->End(), 0);
  m_Server = StartServer();
  auto const Client = StartClient();
  for (std::uint64_t Number = 1; Number <= Acknowledged; Number += Number < 10 ? 1 : 97) {
    std::string const Text = std::to_string(Number);
    EXPECT_EQ(Client->Ask("exist 101 " + Text + " -"), "yes") << Text << " of " << Acknowledged;
  }
  EXPECT_EQ(Client->Ask("get 101 " + std::to_string(Acknowledged) + " -"),
            Hex(std::to_string(Acknowledged)));
}

// The service manager's end of NOTIFY_SOCKET.
class TManager {
 public:
  explicit TManager(std::string const& Path) : m_Socket(BindAt(Path, SOCK_DGRAM)) {
    EXPECT_GE(m_Socket.get(), 0);
  }

  // Hears reports until one has a line that begins with `Line`, and returns that report.
  std::string Hear(std::string const& Line) const {
    for (;;) {
      pollfd File = {m_Socket.get(), POLLIN, 0};
      char Bytes[4096];
      ssize_t const Count = poll(&File, 1, 60000) == 1 ? read(m_Socket.get(), Bytes, 4096) : -1;
      if (Count < 0) {
        ADD_FAILURE() << "no report " << Line;
        return "";
      }
      std::string const Report = "\n" + std::string(Bytes, static_cast<std::size_t>(Count));
      if (Report.find("\n" + Line) != std::string::npos) {
        return Report.substr(1);
      }
    }
  }

 private:
  TCFileDescriptor m_Socket;
};

TEST_F(Daemon, TellsItsManagerThatItIsReadyAliveAndStopping) {
  TManager const Manager(File("manager"));
  StartAll({}, [this] {
    setenv("NOTIFY_SOCKET", File("manager").c_str(), 1);
    setenv("WATCHDOG_USEC", "200000", 1);
    unsetenv("WATCHDOG_PID");
  });
  std::string const Ready = Manager.Hear("READY=1");
  EXPECT_NE(Ready.find("STATUS=Serving 0 values"), std::string::npos) << Ready;
  Manager.Hear("WATCHDOG=1");
  ExpectServed();
  Manager.Hear("WATCHDOG=1");
  kill(m_Server->get_Process(), SIGTERM);
  Manager.Hear("STOPPING=1");
  EXPECT_EQ(m_Server->End(), 0);
}

TEST_F(Daemon, ReadsItsConfigurationAgainWhenItIsTold) {
  TManager const Manager(File("manager"));
  StartAll(Configure("[limits]\nvalue_bytes = 4\n"),
           [this] { setenv("NOTIFY_SOCKET", File("manager").c_str(), 1); });
  EXPECT_EQ(m_Writer->Ask("set 201 - - " + Hex("too large")), "set");
  EXPECT_EQ(m_Writer->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
  Manager.Hear("READY=1");
  Configure("[limits]\nvalue_bytes = 40\n");
  kill(m_Server->get_Process(), SIGHUP);
  Manager.Hear("RELOADING=1");
  Manager.Hear("READY=1");
  EXPECT_EQ(m_Writer->Ask("set 201 - - " + Hex("large")), "set");
  EXPECT_EQ(m_Writer->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), Hex("large"));
  EndAndExpectLogged("The configuration was read again");
}

TEST_F(Daemon, KeepsItsConfigurationWhenTheNewOneIsBad) {
  TManager const Manager(File("manager"));
  StartAll(Configure("[limits]\nvalue_bytes = 4\n"),
           [this] { setenv("NOTIFY_SOCKET", File("manager").c_str(), 1); });
  Manager.Hear("READY=1");
  Configure("[limits]\nvalue_bytes = 40\nunknown = 1\n");
  kill(m_Server->get_Process(), SIGHUP);
  Manager.Hear("READY=1");
  EXPECT_EQ(m_Writer->Ask("set 201 - - " + Hex("too large")), "set");
  EXPECT_EQ(m_Writer->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
  EndAndExpectLogged("The former configuration stays in force: ");
}

}  // namespace
