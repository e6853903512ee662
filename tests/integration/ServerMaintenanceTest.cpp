// SPDX-License-Identifier: MIT
// What the server's program does for who maintains it: figures, copies, checks, a disk too small.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "tests/integration/ProcessFixture.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

struct ServerMaintenance : TProcessFixture {
  // A database that no server uses, with one value of the motto.
  void MakeDatabase() const {
    auto const Server = StartServer();
    SetMotto("kept");
    EXPECT_EQ(Server->End(SIGTERM), 0);
  }
  void SetMotto(std::string const& Text) const {
    auto const Client = StartClient();
    EXPECT_EQ(Client->Ask("set 201 - - " + Hex(Text)), "set");
    EXPECT_EQ(Client->Ask("acknowledged"), "acknowledged");
  }
  std::unique_ptr<TProcess> Backup() const {
    return Start(ServerCommand({"--backup", File("copy.db")}));
  }
  // What a server says that serves the copy.
  std::string MottoOfCopy() const {
    std::string const CopyAddress = "unix:path=" + File("copy-socket");
    TProcess Server({SERVER_PROGRAM, "--address", CopyAddress, "--database", File("copy.db")}, {});
    EXPECT_THAT(Server.Hear(), StartsWith("ready: 1 values of "));
    TProcess Client({CLIENT_PROGRAM},
                    {{"MAILROUTER_ADDRESS", CopyAddress}, {"PROPERTY_OWN_MAC", kThisDevice}});
    EXPECT_EQ(Client.Ask("create 0"), "created");
    std::string Motto = Client.Ask("get 201 - -");
    EXPECT_EQ(Server.End(SIGTERM), 0);
    return Motto;
  }
};

TEST_F(ServerMaintenance, PrintsTheFiguresOfARunningServer) {
  auto const Server = StartServer();
  SetMotto("one");
  auto const Status = Start(ServerCommand({"--status"}));
  EXPECT_EQ(Status->Hear(), "values         1");
  EXPECT_EQ(Status->End(), 0);
  std::string const Rest = Status->Rest();
  EXPECT_THAT(Rest, HasSubstr("\ndurability     full\ntaken mails    1\nrefused mails  0\n"));
  EXPECT_THAT(Rest, HasSubstr("\ndatabase       " + File("values.db") + "\n"));
}

TEST_F(ServerMaintenance, HasNoFiguresWithoutAServer) {
  auto const Status = Start(ServerCommand({"--status"}));
  EXPECT_EQ(Status->End(), 1);
  EXPECT_EQ(Status->Errors(), "property-server: no property server at " + Address() +
                                  " (No such file or directory); start it or give its address with "
                                  "--address\n");
  EXPECT_EQ(Status->Rest(), "");
}

TEST_F(ServerMaintenance, CopiesTheDatabaseOfARunningServer) {
  auto const Server = StartServer();
  SetMotto("copied");
  auto const Copying = Backup();
  EXPECT_EQ(Copying->Hear().find(File("copy.db") + " is sound: schema "), 0U);
  EXPECT_EQ(Copying->End(), 0);
  SetMotto("newer than the copy");
  EXPECT_EQ(MottoOfCopy(), Hex("copied"));
}

TEST_F(ServerMaintenance, CopiesADatabaseThatNoServerUses) {
  MakeDatabase();
  auto const Copying = Backup();
  EXPECT_EQ(Copying->Hear().find(File("copy.db") + " is sound: schema "), 0U);
  EXPECT_EQ(Copying->End(), 0);
  EXPECT_EQ(MottoOfCopy(), Hex("kept"));
}

TEST_F(ServerMaintenance, CopiesNothingWhereThereIsNeitherServerNorDatabase) {
  auto const Copying = Backup();
  EXPECT_EQ(Copying->End(), 1);
  EXPECT_THAT(Copying->Errors(), HasSubstr("property-server: no property server at "));
  EXPECT_FALSE(std::filesystem::exists(File("values.db")));
  EXPECT_FALSE(std::filesystem::exists(File("copy.db")));
}

TEST_F(ServerMaintenance, ChecksADatabaseThatNoServerUses) {
  MakeDatabase();
  auto const Check = Start({SERVER_PROGRAM, "--check", File("values.db")});
  EXPECT_THAT(Check->Hear(),
              MatchesRegex(File("values.db") + " is sound: schema [0-9]+, 1 values, .*"));
  EXPECT_EQ(Check->End(), 0);
}

TEST_F(ServerMaintenance, TellsInACheckThatADatabaseIsDamaged) {
  MakeDatabase();
  std::filesystem::resize_file(File("values.db"), 5000);
  auto const Check = Start({SERVER_PROGRAM, "--check", File("values.db")});
  EXPECT_EQ(Check->End(), 1);
  EXPECT_THAT(Check->Errors(), StartsWith("property-server: " + File("values.db") + " is damaged"));
  EXPECT_EQ(Check->Rest(), "");
}

TEST_F(ServerMaintenance, ServesWithoutRoomForItsWholeLog) {
  auto const Server = StartServer({}, [] {
    constexpr rlim_t kFileSize = 1 << 20;  // a quarter of the log
    signal(SIGXFSZ, SIG_IGN);
    rlimit const Limit = {kFileSize, kFileSize};
    setrlimit(RLIMIT_FSIZE, &Limit);
  });
  SetMotto("stored all the same");
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), Hex("stored all the same"));
  EXPECT_EQ(Server->End(SIGTERM), 0);
  EXPECT_THAT(Server->Errors(), HasSubstr("cannot reserve the log of " + File("values.db") + ": "));
}

}  // namespace
