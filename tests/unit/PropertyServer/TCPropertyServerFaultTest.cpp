// SPDX-License-Identifier: MIT
// The server while its disk fails: nothing is acknowledged, nothing is lost, order is kept.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "PropertyServer/TCServerClient.h"
#include "tests/unit/PropertyServer/DiskFaults.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

using Property::TCPropertyDatabase;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

struct PropertyServerFault : TPropertyServiceFixture {
  PropertyServerFault() {
    Start();
    m_Writer.Send(Change({{1, "old", "", ""}}));
    EXPECT_TRUE(m_Writer.IsAcknowledged());
    m_Reader.Subscribe();
  }

  // From now on `Fault` is in force, and a change that was sent waits for its end.
  void SendDuring(void (*Fault)(), std::string const& Data) {
    Execute(Fault);
    m_Writer.Send(Change({{1, Data, "", ""}}));
    EXPECT_EQ(Errors().WaitFor(1).size(), 1U);
  }

  void ExpectRecovery() {
    Execute(DiskFaults::Repair);
    EXPECT_TRUE(m_Writer.IsAcknowledged());
    EXPECT_THAT(Warnings().WaitFor(1), ElementsAre("Changes are stored again"));
  }

  std::string Status(std::string const& Name) {
    std::string Value = "missing";
    Execute([&] {
      for (auto const& [Entry, Text] : m_Service->m_Server.get_Status()) {
        Value = Entry == Name ? Text : Value;
      }
    });
    return Value;
  }

  TPropertyProxy m_Writer;
  TPropertyProxy m_Reader;
};

std::string Published(std::string const& Data) {
  return "property v2 Event 1: {id=1 data=\"" + Data + "\" mac=\"\" loaded=0}";
}

}  // namespace

TEST_F(PropertyServerFault, NeitherAcknowledgesNorPublishesOnAFullDisk) {
  SendDuring(DiskFaults::FillDisk, "new");
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre("Changes wait until they can be stored: cannot commit to " + Path() +
                          ": database or disk is full (SQLite error 13)"));
  EXPECT_FALSE(m_Writer.WaitForAcknowledgements(0));
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"old\" mac=\"\" loaded=0}");
  EXPECT_THAT(m_Reader.m_Published.WaitFor(0), IsEmpty());
  ExpectRecovery();
}

TEST_F(PropertyServerFault, StoresAndPublishesWhenTheDiskHasRoomAgain) {
  SendDuring(DiskFaults::FillDisk, "new");
  ExpectRecovery();
  EXPECT_THAT(m_Reader.m_Published.WaitFor(1), ElementsAre(Published("new")));
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"new\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerFault, StoresAndPublishesWhenABrokenDiskWorksAgain) {
  SendDuring(DiskFaults::BreakDisk, "new");
  ExpectRecovery();
  EXPECT_THAT(m_Reader.m_Published.WaitFor(1), ElementsAre(Published("new")));
}

TEST_F(PropertyServerFault, KeepsTheOrderOfWhatWaits) {
  SendDuring(DiskFaults::FillDisk, "first");
  m_Writer.Send(Change({{1, "refused", "seven", ""}}));
  m_Writer.Send(Change({{1, "second", "", ""}}));
  m_Writer.Ask(RequestAll(1));  // answered behind the mails
  EXPECT_FALSE(m_Writer.WaitForAcknowledgements(0));
  ExpectRecovery();
  EXPECT_THAT(m_Reader.m_Published.WaitFor(2),
              ElementsAre(Published("first"), Published("second")));
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"second\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerFault, LogsTheBeginningOfAFaultOnce) {
  SendDuring(DiskFaults::FillDisk, "first");
  m_Writer.Send(Change({{1, "second", "", ""}}));
  m_Writer.Ask(RequestAll(1));
  ExpectRecovery();
  EXPECT_EQ(Errors().WaitFor(0).size(), 1U);
}

TEST_F(PropertyServerFault, LeavesWhatIsMoreThanMayWaitToItsSender) {
  constexpr int kMails = 6;
  Execute([&] {
    m_Service->m_Server.SetConfiguration(Configured("[limits]\nwaiting_bytes = 2000\n"));
  });
  SendDuring(DiskFaults::FillDisk, "0");
  for (int Mail = 1; Mail < kMails; ++Mail) {
    m_Writer.Send(Change({{1, std::to_string(Mail), "", ""}}));
  }
  EXPECT_THAT(Errors().WaitFor(2)[1],
              HasSubstr(" cannot be taken now: too much waits to be stored (waiting_bytes); its "
                        "connection is ended"));
  EXPECT_THAT(Warnings().WaitFor(1)[0],
              HasSubstr(" sends more than can be stored at once and is slowed down"));
  EXPECT_EQ(Status("waiting mails"), "4");

  Execute(DiskFaults::Repair);

  EXPECT_TRUE(m_Writer.IsAcknowledged());
  std::vector<std::string> All;
  for (int Mail = 0; Mail < kMails; ++Mail) {
    All.push_back(Published(std::to_string(Mail)));
  }
  EXPECT_EQ(m_Reader.m_Published.WaitFor(kMails), All);
}

TEST_F(PropertyServerFault, LeavesWhatWaitsToTheNextServer) {
  SendDuring(DiskFaults::FillDisk, "new");
  Stop();
  DiskFaults::Repair();
  Start();
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"new\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerFault, WorksAfterASecondFault) {
  SendDuring(DiskFaults::FillDisk, "first");
  ExpectRecovery();
  Execute(DiskFaults::BreakSync);
  m_Writer.Send(Change({{1, "second", "", ""}}));
  EXPECT_EQ(Errors().WaitFor(2).size(), 2U);
  Execute(DiskFaults::Repair);
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  EXPECT_THAT(m_Reader.m_Published.WaitFor(2),
              ElementsAre(Published("first"), Published("second")));
}

TEST_F(PropertyServerFault, GivesUpHistoryRatherThanChangesWhenTheDiskIsFull) {
  constexpr int kChanges = 300;
  Execute([] {
    DiskFaults::SkipSyncs();
    DiskFaults::LimitDisk(std::int64_t{12} << 20);
  });
  for (int Number = 1; Number <= kChanges; ++Number) {
    m_Writer.Send(Change({{1, std::to_string(Number) + std::string(50000, 'x'), "", ""}}));
    ASSERT_TRUE(m_Writer.IsAcknowledged()) << "change " << Number;
  }
  EXPECT_THAT(Errors().WaitFor(0), IsEmpty());
  Stop();
  DiskFaults::Repair();
  EXPECT_EQ(TCPropertyDatabase::Check(Path()).find(Path() + " is sound: schema "), 0U);
}

TEST_F(PropertyServerFault, AcknowledgesNothingWhileAnotherFileIsInTheDatabasesPlace) {
  std::string const Trouble =
      "cannot store in " + Path() +
      ": another file is in its place; take that away, or bring the former one back, and storing "
      "goes on; property-server --backup saves what is held";
  EXPECT_EQ(Status("trouble"), "none");
  std::ofstream(m_Folder + "/other") << "other";
  std::filesystem::rename(m_Folder + "/other", Path());

  m_Writer.Send(Change({{1, "new", "", ""}}));

  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre("Changes wait until they can be stored: " + Trouble));
  EXPECT_FALSE(m_Writer.WaitForAcknowledgements(0));
  EXPECT_EQ(Status("trouble"), Trouble);
  TCPropertyDatabase::WriteCopy(Property::TCServerClient(Address()).Backup(),
                                m_Folder + "/copy.db");
  EXPECT_THAT(TCPropertyDatabase::Check(m_Folder + "/copy.db"), HasSubstr(", 1 values, "));

  std::filesystem::remove(Path());
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  EXPECT_THAT(
      Warnings().WaitFor(2),
      ElementsAre(Path() + " was removed: all that it held is stored in a new file of that name",
                  "Changes are stored again"));
  EXPECT_EQ(Status("trouble"), "none");
  EXPECT_EQ(Errors().WaitFor(0).size(), 1U);
}
