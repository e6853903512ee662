// SPDX-License-Identifier: MIT
// Values between processes: loading, changes, transactions, devices, and the server's death.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/integration/ProcessFixture.h"

namespace {

using SharedValues = TProcessFixture;

int Count(std::string const& Text, std::string const& Part) {
  int Result = 0;
  for (std::size_t Place = 0; (Place = Text.find(Part, Place)) != std::string::npos; ++Place) {
    ++Result;
  }
  return Result;
}

std::string const kThis = " 02:00:00:00:00:01 ";

TEST_F(SharedValues, AreLoadedAtStartUp) {
  auto const Server = StartServer();
  auto const Writer = StartClient();
  EXPECT_EQ(Writer->Ask("set 101 7 - " + Hex("seven")), "set");
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  auto const Reader = StartClient();
  EXPECT_EQ(Reader->Ask("exist 101 7 -"), "yes");
  EXPECT_EQ(Reader->Ask("get 101 7 -"), Hex("seven"));
}

TEST_F(SharedValues, SurviveTheirDatabasesRemovalAndTheServersDeath) {
  auto Server = StartServer();
  auto Writer = StartClient();
  EXPECT_EQ(Writer->Ask("set 101 7 - " + Hex("before")), "set");
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  std::filesystem::remove(File("values.db"));
  std::filesystem::remove(File("values.db-wal"));
  EXPECT_EQ(Writer->Ask("set 101 8 - " + Hex("after")), "set");
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  Server->End(SIGKILL);
  Writer.reset();

  Server = StartServer();
  auto const Reader = StartClient();
  EXPECT_EQ(Reader->Ask("get 101 7 -"), Hex("before"));
  EXPECT_EQ(Reader->Ask("get 101 8 -"), Hex("after"));
}

TEST_F(SharedValues, SurviveTheirDatabasesRemovalBeforeTheServerEnds) {
  auto Server = StartServer();
  auto Writer = StartClient();
  EXPECT_EQ(Writer->Ask("set 101 7 - " + Hex("seven")), "set");
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  Writer.reset();
  std::filesystem::remove(File("values.db"));
  EXPECT_EQ(Server->End(SIGTERM), 0);

  Server = StartServer();
  EXPECT_EQ(StartClient()->Ask("get 101 7 -"), Hex("seven"));
}

TEST_F(SharedValues, ArriveInAnotherProcessWithEveryByte) {
  auto const Server = StartServer();
  auto const Writer = StartClient();
  auto const Reader = StartClient();
  for (std::string const& Text : {std::string("plain"), std::string(), std::string("\xff\xfe"),
                                  std::string("a\0b", 3), std::string(std::size_t{1} << 20, 'x')}) {
    EXPECT_EQ(Writer->Ask("set 101 3 - " + Hex(Text)), "set");
    EXPECT_EQ(Reader->Ask("await"), "101 3" + kThis + Hex(Text));
    EXPECT_EQ(Writer->Ask("await"), "101 3" + kThis + Hex(Text));
  }
}

TEST_F(SharedValues, OfATransactionArriveTogetherInKeyOrder) {
  auto const Server = StartServer();
  auto const Writer = StartClient();
  auto const Reader = StartClient();
  Writer->Ask("begin");
  Writer->Ask("set 201 - - " + Hex("onward"));
  Writer->Ask("set 102 - - " + Hex("9"));
  Writer->Ask("set 101 - - " + Hex("north"));
  EXPECT_EQ(Reader->Ask("exist 102 - -"), "no");
  EXPECT_EQ(Writer->Ask("commit"), "committed");
  EXPECT_EQ(Reader->Ask("await"), "101 -" + kThis + Hex("north"));
  EXPECT_EQ(Reader->Ask("exist 201 - -"), "yes");
  EXPECT_EQ(Reader->Ask("await"), "102 -" + kThis + Hex("9"));
  EXPECT_EQ(Reader->Ask("await"), "201 - - " + Hex("onward"));
}

TEST_F(SharedValues, OfARolledBackTransactionDoNotArrive) {
  auto const Server = StartServer();
  auto const Writer = StartClient();
  auto const Reader = StartClient();
  Writer->Ask("begin");
  Writer->Ask("set 101 - - " + Hex("dropped"));
  EXPECT_EQ(Writer->Ask("rollback"), "rolled back");
  Writer->Ask("set 102 - - " + Hex("8"));
  EXPECT_EQ(Reader->Ask("await"), "102 -" + kThis + Hex("8"));
  EXPECT_EQ(Writer->Ask("get 101 - -"), Hex("unnamed"));
}

TEST_F(SharedValues, OfOtherDevicesAreFetchedWhenTheyAreReadAndNotBefore) {
  auto const Server = StartServer();
  auto const Other = StartClient(kOtherDevice);
  Other->Ask("set 101 - - " + Hex("other"));
  Other->Ask("set 201 - - " + Hex("for all"));
  Other->Ask("acknowledged");
  auto const Filtered = StartClient(kThisDevice, true);
  EXPECT_EQ(Filtered->Ask("exist 101 - 02:00:00:00:00:02"), "no");
  EXPECT_EQ(Filtered->Ask("get 201 - -"), Hex("for all"));
  EXPECT_EQ(Filtered->Ask("get 101 - 02:00:00:00:00:02"), Hex("other"));
  EXPECT_EQ(Filtered->Ask("exist 101 - 02:00:00:00:00:02"), "yes");
  EXPECT_EQ(Filtered->Ask("get 102 - 02:00:00:00:00:02"), "-");
  EXPECT_EQ(Filtered->Ask("exist 102 - 02:00:00:00:00:02"), "no");
}

TEST_F(SharedValues, OfOtherDevicesThatNobodyHasSetAreEmptyAndNotStored) {
  auto const Server = StartServer();
  auto const Client = StartClient();
  EXPECT_EQ(Client->Ask("get 101 - 02:00:00:00:00:02"), "-");
  EXPECT_EQ(Client->Ask("quiet 101 - 02:00:00:00:00:02"), "defined -");
  EXPECT_EQ(Client->Ask("exist 101 - 02:00:00:00:00:02"), "no");
}

TEST_F(SharedValues, OfOtherDevicesDoNotArriveAtAFilteredProcess) {
  auto const Server = StartServer();
  auto const Other = StartClient(kOtherDevice);
  auto const Filtered = StartClient(kThisDevice, true);
  Other->Ask("set 101 - - " + Hex("other"));
  Other->Ask("set 201 - - " + Hex("for all"));
  EXPECT_EQ(Filtered->Ask("await"), "201 - - " + Hex("for all"));
  EXPECT_EQ(Filtered->Ask("exist 101 - 02:00:00:00:00:02"), "no");
  EXPECT_EQ(Filtered->Ask("get 101 - 02:00:00:00:00:02"), Hex("other"));
  EXPECT_EQ(Filtered->Ask("await"), "101 - 02:00:00:00:00:02 " + Hex("other"));
  Other->Ask("set 101 - - " + Hex("held by now"));
  EXPECT_EQ(Filtered->Ask("await"), "101 - 02:00:00:00:00:02 " + Hex("held by now"));
}

TEST_F(SharedValues, OfChoicesArriveAsTheChoicesNumber) {
  auto const Server = StartServer();
  auto const Writer = StartClient();
  auto const Reader = StartClient();
  EXPECT_EQ(Writer->Ask("choose 103 2 - 1032"), "set");
  EXPECT_EQ(Reader->Ask("await"), "103 2" + kThis + Hex("1032"));
}

TEST_F(SharedValues, SurviveTheEndOfTheServer) {
  for (int const Signal : {SIGTERM, SIGKILL}) {
    auto Server = StartServer();
    auto const Writer = StartClient();
    std::string const Text = Hex("before signal " + std::to_string(Signal));
    Writer->Ask("set 101 - - " + Text);
    Writer->Ask("acknowledged");
    EXPECT_EQ(Server->End(Signal), Signal == SIGTERM ? 0 : -SIGKILL);
    Server = StartServer();
    auto const Reader = StartClient();
    EXPECT_EQ(Reader->Ask("get 101 - -"), Text);
  }
}

TEST_F(SharedValues, ChangedWhileTheServerIsAwayArriveWhenItIsBack) {
  auto Server = StartServer();
  auto const Writer = StartClient();
  auto const Reader = StartClient();
  Server->End(SIGKILL);
  EXPECT_EQ(Writer->Ask("set 101 - - " + Hex("first")), "set");
  EXPECT_EQ(Writer->Ask("get 101 - -"), Hex("first"));
  EXPECT_EQ(Writer->Ask("set 102 - - " + Hex("2")), "set");
  Server = StartServer();
  EXPECT_EQ(Writer->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(Reader->Ask("await"), "101 -" + kThis + Hex("first"));
  EXPECT_EQ(Reader->Ask("await"), "102 -" + kThis + Hex("2"));
}

TEST_F(SharedValues, ChangedWhileTheServerIsAwayAreTakenOnce) {
  auto Server = StartServer();
  auto const Writer = StartClient();
  Writer->Ask("set 101 1 - " + Hex("taken before"));
  Writer->Ask("acknowledged");
  Server->End(SIGKILL);
  Writer->Ask("set 101 2 - " + Hex("while away"));
  Writer->Ask("set 101 3 - " + Hex("while away"));
  Server = Start(ServerCommand({"--trace"}));
  Writer->Ask("acknowledged");
  EXPECT_EQ(Server->End(SIGTERM), 0);
  std::string const Output = Server->Rest();
  EXPECT_EQ(Count(Output, " Change 3: {id=101"), 2);
  EXPECT_EQ(Count(Output, " Event 1: {id=101 data=\"while away\" link=\"2\""), 1);
  EXPECT_EQ(Count(Output, " Event 1: {id=101 data=\"while away\" link=\"3\""), 1);
}

TEST_F(SharedValues, MissedByAProcessThatHungReachIt) {
  auto Server = StartServer();
  auto const Reader = StartClient();
  auto const Writer = StartClient();
  Reader->Pause();
  Server->End(SIGKILL);
  Server = StartServer();
  Writer->Ask("set 101 1 - " + Hex("missed"));
  Writer->Ask("acknowledged");
  Reader->Continue();
  EXPECT_EQ(Reader->Ask("await"), "101 1" + kThis + Hex("missed"));
}

TEST_F(SharedValues, AreTheSameEverywhereAfterWritersHaveCrossed) {
  auto const Server = StartServer();
  auto const First = StartClient();
  auto const Second = StartClient();
  auto const Third = StartClient();
  Server->Pause();
  First->Ask("set 102 - - " + Hex("1"));
  Second->Ask("set 102 - - " + Hex("2"));
  Server->Continue();
  First->Ask("acknowledged");
  Second->Ask("acknowledged");
  auto const Last = StartClient();
  std::string const Stored = Last->Ask("get 102 - -");
  Last->Ask("set 201 - - " + Hex("end"));  // a change of their own the others would hear at once
  for (TProcess* Client : {First.get(), Second.get(), Third.get()}) {
    EXPECT_EQ(Client->Ask("until 201 - - " + Hex("end")), "heard");
    EXPECT_EQ(Client->Ask("get 102 - -"), Stored);
  }
}

TEST_F(SharedValues, ThatNobodyHoldsAreGoneFromTheWriterThatWasRefused) {
  std::ofstream(File("server.toml")) << "[limits]\nvalue_bytes = 4\n";
  auto const Server = StartServer({"--config", File("server.toml")});
  auto const Writer = StartClient();
  auto const Other = StartClient();
  Writer->Ask("set 101 - - " + Hex("too large"));
  Writer->Ask("acknowledged");
  Other->Ask("set 102 - - " + Hex("8"));
  std::vector<std::string> Heard;
  do {
    Heard.push_back(Writer->Ask("await"));
  } while (Heard.back() != "102 -" + kThis + Hex("8"));
  ASSERT_GE(Heard.size(), 2U);
  EXPECT_EQ(Heard[Heard.size() - 2], "101 -" + kThis + Hex("too large") + " deleted");
  for (TProcess* Client : {Writer.get(), Other.get()}) {
    EXPECT_EQ(Client->Ask("exist 101 - -"), "no");
    EXPECT_EQ(Client->Ask("get 101 - -"), Hex("unnamed"));
  }
}

TEST_F(SharedValues, OfAMailThatWasNotReadAreGoneFromTheWriterThatWasRefused) {
  std::ofstream(File("server.toml")) << "[limits]\nmail_records = 1\n";
  auto const Server = StartServer({"--config", File("server.toml")});
  auto const Writer = StartClient();
  auto const Other = StartClient();
  Writer->Ask("set 101 1 - " + Hex("held"));
  Writer->Ask("begin");
  Writer->Ask("set 101 1 - " + Hex("refused"));
  Writer->Ask("set 101 2 - " + Hex("refused"));
  Writer->Ask("commit");
  Writer->Ask("acknowledged");
  EXPECT_EQ(Writer->Ask("until 101 2" + kThis + Hex("refused") + " deleted"), "heard");
  EXPECT_EQ(Writer->Ask("exist 101 2 -"), "no");
  EXPECT_EQ(Writer->Ask("get 101 1 -"), Hex("held"));
}

TEST_F(SharedValues, AreWaitedForByAProcessThatStartsBeforeTheServer) {
  auto const Client = NewClient();
  Client->Say("create 0");
  auto const Server = StartServer();
  EXPECT_EQ(Client->Hear(), "created");
}

TEST_F(SharedValues, AreNotLostByAProcessThatEndsAtOnce) {
  auto const Server = StartServer();
  auto const Writer = StartClient();
  for (int Number = 0; Number < 200; ++Number) {
    Writer->Say("set 101 " + std::to_string(Number) + " - " + Hex("last"));
  }
  EXPECT_EQ(Writer->End(), 0);
  auto const Reader = StartClient();
  EXPECT_EQ(Reader->Ask("exist 101 0 -"), "yes");
  EXPECT_EQ(Reader->Ask("exist 101 199 -"), "yes");
}

TEST_F(SharedValues, OfSeveralWritersReachEveryProcess) {
  constexpr int kWriters = 3;
  constexpr int kChanges = 50;
  auto const Server = StartServer();
  auto const Reader = StartClient();
  std::vector<std::unique_ptr<TProcess>> Writers;
  for (int Writer = 0; Writer < kWriters; ++Writer) {
    Writers.push_back(StartClient());
  }
  for (int Change = 0; Change < kChanges; ++Change) {
    for (int Writer = 0; Writer < kWriters; ++Writer) {
      Writers[static_cast<std::size_t>(Writer)]->Say("set 102 " + std::to_string(Writer) + " - " +
                                                     Hex(std::to_string(Change)));
    }
  }
  std::map<std::string, int> Last;
  for (int Received = 0; Received < kWriters * kChanges; ++Received) {
    std::string const Line = Reader->Ask("await");
    std::string const Link = Line.substr(4, 1);
    EXPECT_EQ(Line, "102 " + Link + kThis + Hex(std::to_string(Last[Link]++)));
  }
  EXPECT_EQ(Last.size(), 3U);
  auto const Late = StartClient();
  for (int Writer = 0; Writer < kWriters; ++Writer) {
    EXPECT_EQ(Late->Ask("get 102 " + std::to_string(Writer) + " -"),
              Hex(std::to_string(kChanges - 1)));
  }
}

}  // namespace
