// SPDX-License-Identifier: MIT
// A server that is handed its listening socket: it is the socket's guest, and its death costs
// nothing.
#include <fcntl.h>
#include <poll.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <utility>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/UnixSocket.h"

namespace {

constexpr int kHandedFile = 3;

struct HandedSocket : THostileFixture {
  HandedSocket() : m_Socket(ListenAt(SocketPath())) { EXPECT_GE(m_Socket.get(), 0); }

  std::unique_ptr<TProcess> StartHanded(std::vector<std::string> const& Options = {}) const {
    return StartServer(Options, [this] {
      int const Copy = fcntl(m_Socket.get(), F_DUPFD, kHandedFile + 1);
      dup2(Copy, kHandedFile);  // and without closing at the start of a program
      close(Copy);
      setenv("LISTEN_FDS", "1", 1);
      setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    });
  }

  void AwaitConnection() const {
    pollfd File = {m_Socket.get(), POLLIN, 0};
    EXPECT_EQ(poll(&File, 1, 60000), 1);
  }

  TCFileDescriptor m_Socket;
};

TEST_F(HandedSocket, ServesThoseWhoConnectedBeforeTheServerRan) {
  auto const Client = NewClient();
  Client->Say("create 0");
  AwaitConnection();
  m_Server = StartHanded();
  EXPECT_EQ(Client->Hear(), "created");
}

TEST_F(HandedSocket, IsLeftInItsPlaceAtTheEnd) {
  m_Server = StartHanded();
  ExpectNewcomerServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  EXPECT_TRUE(std::filesystem::exists(SocketPath()));
  m_Server = StartHanded();
  ExpectNewcomerServed();
}

// The number of changes that the database has stored, and of different ones.
std::pair<int, int> CountStored(std::string const& Database) {
  sqlite3* Connection = nullptr;
  EXPECT_EQ(sqlite3_open_v2(Database.c_str(), &Connection, SQLITE_OPEN_READONLY, nullptr),
            SQLITE_OK);
  std::pair<int, int> Counts;
  auto const Read = [](void* Result, int, char** Texts, char**) {
    *static_cast<std::pair<int, int>*>(Result) = {std::stoi(Texts[0]), std::stoi(Texts[1])};
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(Connection, "SELECT count(*), count(DISTINCT link) FROM history", Read,
                         &Counts, nullptr),
            SQLITE_OK);
  sqlite3_close(Connection);
  return Counts;
}

TEST_F(HandedSocket, OutlivesTheServerAndChangesOnTheirWayAreStoredOnce) {
  constexpr int kChanges = 5000 / kShare;
  m_Server = StartHanded();
  auto const Writer = StartClient();
  auto const Reader = StartClient();
  std::string const Count = std::to_string(kChanges);
  Writer->Say("fill 101 " + Count + " " + Count);
  Reader->Ask("await");
  EXPECT_EQ(m_Server->End(SIGKILL), -SIGKILL);
  EXPECT_EQ(Writer->Hear(), "filled");
  AwaitConnection();
  m_Server = StartHanded();
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  EXPECT_EQ(CountStored(File("values.db")), std::make_pair(kChanges, kChanges));
}

TEST_F(HandedSocket, ThatIsNoneIsRefused) {
  TCFileDescriptor const File(open("/dev/null", O_RDWR | O_CLOEXEC));
  TProcess Server(ServerCommand(), {}, [&File] {
    dup2(File.get(), kHandedFile);
    setenv("LISTEN_FDS", "1", 1);
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
  });
  EXPECT_EQ(Server.End(), 1);
  EXPECT_EQ(Server.Errors(),
            "property-server: the socket that was handed over is no listening Unix socket for "
            "sequenced packets\n");
}

}  // namespace
