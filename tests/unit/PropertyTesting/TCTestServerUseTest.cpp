// SPDX-License-Identifier: MIT
// The life of a test server within its process.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Platform/Utility/TCMACAddress.h"
#include "tests/support/ForkedChild.h"
#include "tests/unit/PropertyTesting/TestServerFixture.h"

using Property::Testing::TCTestServer;

namespace {

constexpr char kVariable[] = "MAILROUTER_ADDRESS";

std::string Environment() {
  char const* const Text = getenv(kVariable);
  return Text != nullptr ? Text : "none";
}

// The folder of "unix:path=FOLDER/socket".
std::filesystem::path FolderOf(std::string const& Address) {
  return std::filesystem::path(Address.substr(Address.find('=') + 1)).parent_path();
}

std::string RefusalOf(std::string const& Device) {
  try {
    TCTestServer const Server(Device);
  } catch (TCException const& Refused) {
    return Refused.get_Message();
  }
  return "made";
}

}  // namespace

TEST(TCTestServerUseTest, IsWhereTheProcessLooksWhileItLives) {
  setenv(kVariable, "unix:path=/nowhere", 1);
  std::string Address;
  {
    TCTestServer const Server;
    Address = Server.get_Address();
    EXPECT_EQ(Environment(), Address);
    EXPECT_TRUE(std::filesystem::exists(FolderOf(Address)));
  }
  EXPECT_EQ(Environment(), "unix:path=/nowhere");
  EXPECT_FALSE(std::filesystem::exists(FolderOf(Address)));
}

TEST(TCTestServerUseTest, LeavesNoAddressWhereThereWasNone) {
  unsetenv(kVariable);
  { TCTestServer const Server; }
  EXPECT_EQ(Environment(), "none");
}

TEST(TCTestServerUseTest, IsForThisUserAlone) {
  TCTestServer const Server;
  EXPECT_EQ(std::filesystem::status(FolderOf(Server.get_Address())).permissions(),
            std::filesystem::perms::owner_all);
}

TEST(TCTestServerUseTest, GivesTheProcessItsDevice) {
  {
    TCTestServer const Server("02:00:00:00:00:42");
    EXPECT_EQ(TCMACAddress::Own("").get_AsString(':'), "02:00:00:00:00:42");
  }
  EXPECT_NE(TCMACAddress::Own("").get_AsString(':'), "02:00:00:00:00:42");
}

TEST(TCTestServerUseTest, RefusesADeviceThatIsNone) {
  EXPECT_EQ(RefusalOf(""), "\"\" is no MAC address, expected six bytes such as 02:00:00:00:00:01");
  EXPECT_EQ(RefusalOf("02:00:00:00:00:01:02"),
            "\"02:00:00:00:00:01:02\" is no MAC address, expected six bytes such as "
            "02:00:00:00:00:01");
}

TEST(TCTestServerUseTest, RefusesASecondOneAndGoesOn) {
  TStoreSchema const Schema;
  TCTestServer Server;
  EXPECT_EQ(RefusalOf(TCTestServer::kDevice),
            "there is a test server in this process already: destroy it before another one is "
            "made");
  Server.SetValue(Schema.m_Count, 1);
  EXPECT_EQ(Server.FindValue(Schema.m_Count), "1");
  EXPECT_EQ(Environment(), Server.get_Address());
}

TEST(TCTestServerUseTest, MeetsTheStoreOfTheOneBeforeWithoutItsValues) {
  TStoreSchema const Schema;
  std::optional<TCTestServer> Server(std::in_place);
  Server->SetValue(Schema.m_Name, "former");
  Property::TCPropertyCollectionDriver::Create(true);
  EXPECT_EQ(GetProperty(Schema.m_Name).get_AsString(), "former");
  Server.reset();
  Server.emplace();
  Server->WaitUntilArrived();
  EXPECT_EQ(GetProperty(Schema.m_Name).get_AsString(), "");
  SetProperty(Schema.m_Name, "present");
  Server->WaitUntilArrived();
  EXPECT_EQ(Server->FindValue(Schema.m_Name), "present");
}

TEST(TCTestServerUseTest, SaysThatItsFolderIsTaken) {
  std::filesystem::path Folder;
  {
    TCTestServer const Server;
    Folder = FolderOf(Server.get_Address());
  }
  std::ofstream(Folder) << "another's";
  EXPECT_EQ(RefusalOf(TCTestServer::kDevice),
            "cannot make the folder " + Folder.string() + " again for a test server: File exists");
  std::filesystem::remove(Folder);
  EXPECT_EQ(RefusalOf(TCTestServer::kDevice), "made");
}

TEST(TCTestServerUseTest, SaysThatItCanStoreNothing) {
  TCapturedLog const Log;
  TStoreSchema const Schema;
  TCTestServer Server;
  std::filesystem::path const Database = FolderOf(Server.get_Address()) / "values.db";
  std::filesystem::rename(Database, Database.string() + ".away");
  std::ofstream(Database) << "another's";
  EXPECT_THAT(ThrownText<TCException>([&] { Server.SetValue(Schema.m_Count, 1); }),
              ::testing::StartsWith("the test server can store nothing: cannot store in " +
                                    Database.string() + ": another file is in its place"));
}

// ---- forks ----

TEST(TCTestServerUseTest, ServesInAChildByItself) {
  TStoreSchema const Schema;
  TForkedChild Child([&] {
    TCTestServer Server;
    Property::TCPropertyCollectionDriver::Create(true);
    SetProperty(Schema.m_Name, "of the child");
    Server.WaitUntilArrived();
    return Server.FindValue(Schema.m_Name).value_or("none");
  });
  EXPECT_EQ(Child.Wait(), "of the child");
}

TEST(TCTestServerUseTest, DoesNothingInAForkedChild) {
  TStoreSchema const Schema;
  TCTestServer Server;
  Server.SetValue(Schema.m_Name, "stays");
  TForkedChild Child([&] {
    std::string const Text =
        ThrownText<TCException>([&] { Server.SetValue(Schema.m_Name, "child's"); });
    Server.~TCTestServer();
    return Text;
  });
  EXPECT_EQ(Child.Wait(), "the test server belongs to process " + std::to_string(getpid()) +
                              ", of which this is a forked child");
  EXPECT_EQ(Server.FindValue(Schema.m_Name), "stays");
}

TEST(TCTestServerUseTest, RefusesToServeAStoreThatLooksElsewhere) {
  TStoreSchema const Schema;
  TCTestServer const Server;
  Property::TCPropertyCollectionDriver::Create(true);
  TForkedChild Child([] { return RefusalOf(TCTestServer::kDevice); });
  EXPECT_EQ(Child.Wait(),
            "this process has a store already, which looks for its server elsewhere: make the "
            "test server before the store");
}
