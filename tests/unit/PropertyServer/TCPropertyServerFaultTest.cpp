// SPDX-License-Identifier: MIT
// The server while its disk fails: nothing is acknowledged, nothing is lost, order is kept.
#include <gmock/gmock.h>

#include "tests/unit/PropertyServer/DiskFaults.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

using ::testing::ElementsAre;
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
