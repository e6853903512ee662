// SPDX-License-Identifier: MIT
// What the server refuses, remembers and tells about itself, and when it tells of a change.
#include <gmock/gmock.h>
#include <unistd.h>

#include "ServiceFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

namespace {

using Property::TEDurability;
using Property::TSHistoryEntry;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct PropertyServerPolicy : TPropertyServiceFixture {
  std::vector<TSHistoryEntry> History() {
    std::vector<TSHistoryEntry> Entries;
    Execute([&] { Entries = m_Service->m_Database.ReadHistory(100); });
    return Entries;
  }

  std::string Status(std::string const& Name) {
    std::string Result;
    Execute([&] {
      for (auto const& [Figure, Value] : m_Service->m_Server.get_Status()) {
        Result = Figure == Name ? Value : Result;
      }
    });
    return Result;
  }
};

constexpr char kSmallValues[] = "[limits]\nvalue_bytes = 4\n";

}  // namespace

TEST_F(PropertyServerPolicy, RefusesAValueThatIsTooLarge) {
  Start(TEDurability::eFull, kSmallValues);
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "12345", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1:");
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr("refused: property 1 has 5 bytes, at most 4 are allowed "
                                    "(value_bytes)")));
  EXPECT_EQ(Status("refused mails"), "1");
}

TEST_F(PropertyServerPolicy, RefusesAWholeMailForOneValue) {
  Start(TEDurability::eFull, kSmallValues);
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "good", "", ""}, {2, "too large", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1:");
}

TEST_F(PropertyServerPolicy, GivesTheSenderBackWhatStands) {
  Start(TEDurability::eFull, kSmallValues);
  TPropertyProxy Writer;
  TPropertyProxy Other;
  Writer.Subscribe();
  Other.Subscribe();
  Writer.Send(Change({{1, "good", "", ""}}));
  Writer.Send(Change({{1, "too large", "", ""}, {2, "x", "", ""}}));
  EXPECT_THAT(Writer.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {id=1 data=\"good\" mac=\"\" loaded=1} {id=2 "
                          "data=\"\" mac=\"\" loaded=0}"));
  Writer.Send(Change({{3, "more", "", ""}}));
  EXPECT_THAT(Other.m_Published.WaitFor(2),
              ElementsAre("property v2 Event 1: {id=1 data=\"good\" mac=\"\" loaded=0}",
                          "property v2 Event 1: {id=3 data=\"more\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerPolicy, StoresAllMailsThatWaitInOneTransaction) {
  Start();
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "first", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  std::string const Before = Status("commits");
  Execute([&] {  // the router is busy, so they all wait in the socket
    for (int Number = 1; Number <= 50; ++Number) {
      Writer.Send(Change({{Number, "value", "", ""}}));
    }
  });
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_LE(std::stoi(Status("commits")) - std::stoi(Before), 5);
  EXPECT_EQ(Status("taken mails"), "51");
}

TEST_F(PropertyServerPolicy, TellsOfAChangeBeforeItIsStoredWhenThatIsRelaxed) {
  Start(TEDurability::eRelaxed);
  TPropertyProxy Writer;
  TPropertyProxy Reader;
  Writer.Send(Change({{1, "stands", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  Reader.Subscribe();
  Execute([] { DiskFaults::FillDisk(); });
  Writer.Send(Change({{1, "early", "", ""}}));
  EXPECT_THAT(Reader.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {id=1 data=\"early\" mac=\"\" loaded=0}"));
  EXPECT_FALSE(Writer.WaitForAcknowledgements(0));
  Execute([] { DiskFaults::Repair(); });
  EXPECT_TRUE(Writer.IsAcknowledged());
}

TEST_F(PropertyServerPolicy, TellsOfANewValueAndAllBehindItWhenItIsStored) {
  Start(TEDurability::eRelaxed);
  TPropertyProxy Writer;
  TPropertyProxy Reader;
  Writer.Send(Change({{1, "stands", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  Reader.Subscribe();
  Execute([] { DiskFaults::FillDisk(); });
  Writer.Send(Change({{2, "new", "", ""}}));
  Writer.Send(Change({{1, "behind", "", ""}}));
  EXPECT_EQ(Errors().WaitFor(1).size(), 1U);
  EXPECT_THAT(Reader.m_Published.WaitFor(0), IsEmpty());
  Execute([] { DiskFaults::Repair(); });
  EXPECT_THAT(Reader.m_Published.WaitFor(2),
              ElementsAre("property v2 Event 1: {id=2 data=\"new\" mac=\"\" loaded=0}",
                          "property v2 Event 1: {id=1 data=\"behind\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerPolicy, RemembersWhoChangedWhat) {
  Start();
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}}));
  Writer.Send(Change({{1, "b", "", ""}, {2, "c", "4", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  auto const Entries = History();  // newest first
  ASSERT_THAT(Entries, SizeIs(3));
  EXPECT_EQ(Entries[0].Number, 2);
  EXPECT_EQ(Entries[0].Link, Accessories::TCRecordID(4));
  EXPECT_EQ(Entries[0].From, std::nullopt);
  EXPECT_EQ(Entries[1].From, "a");
  EXPECT_EQ(Entries[1].To, "b");
  EXPECT_EQ(Entries[0].Transaction, Entries[1].Transaction);
  EXPECT_EQ(Entries[2].Transaction + 1, Entries[1].Transaction);
  EXPECT_EQ(Entries[2].Origin.Process, getpid());
  EXPECT_EQ(Entries[2].Origin.User, geteuid());
  EXPECT_EQ(Entries[2].Origin.ProcessName, "server_service_");
}

TEST_F(PropertyServerPolicy, KeepsSecretsOutOfTheHistory) {
  Start(TEDurability::eFull, "secret = [7]\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{7, "first secret", "", ""}}));
  Writer.Send(Change({{7, "second secret", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  auto const Entries = History();
  ASSERT_THAT(Entries, SizeIs(2));
  EXPECT_TRUE(Entries[0].Secret);
  EXPECT_EQ(Entries[0].From, std::nullopt);
  EXPECT_EQ(Entries[0].To, "");
}

TEST_F(PropertyServerPolicy, KeepsNoHistoryWhenNoneIsWanted) {
  Start(TEDurability::eFull, "[history]\nentries = 0\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(History(), IsEmpty());
}

TEST_F(PropertyServerPolicy, TakesAnotherConfigurationWhileItRuns) {
  Start(TEDurability::eFull, kSmallValues);
  Execute([&] { m_Service->m_Server.SetConfiguration(Configured("")); });
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "12345", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"12345\" mac=\"\" loaded=0}");
}
