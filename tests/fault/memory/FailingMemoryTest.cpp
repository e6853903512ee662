// SPDX-License-Identifier: MIT
// Memory that runs out while a mail is decoded or taken costs that attempt and nothing else.
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include "Platform/Messaging/TCNorvMailBody.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/support/MailSender.h"
#include "tests/unit/CommonProperties/FailingAllocations.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

namespace {

using Property::TEDurability;
using ::testing::ElementsAre;

void Nothing() {}

struct FailingMemory : TPropertyServiceFixture {
  // What the router does with a mail, with each of its allocations failing once.
  int TakeWithFailures(TSNorvReceivedMail const& Mail) {
    int Failures = 0;
    Execute(
        [&] { Failures = FailEachAllocation([&] { m_Service->m_Server.OnMail(Mail); }, Nothing); });
    return Failures;
  }

  static TSNorvReceivedMail NewMail(std::uint64_t Number, std::string const& Data) {
    TSNorvReceivedMail Mail{
        {}, Number, Change({{1, Data, "4", "00:11:22:33:44:55"}, {2, Data, "", ""}})};
    Mail.Sender = NewSender("a sender with a name of some length");
    return Mail;
  }

  std::size_t CountHistory() {
    std::size_t Count = 0;
    Execute([&] {
      m_Service->m_Server.Commit();
      Count = m_Service->m_Database.ReadHistory(100).size();
    });
    return Count;
  }
};

}  // namespace

TEST_F(FailingMemory, CostsAMemoryFileNothing) {
  auto const Body = Change({{1, std::string(100, 'a'), "4", ""}, {2, "b", "", ""}}).Body;
  int const File = Body->MakeMemoryFile();
  std::shared_ptr<TCNorvMailBody const> Read;
  int const Failures = FailEachAllocation(
      [&] { Read = TCNorvMailBody::FromMemoryFile(File, Body->get_Signature()); }, Nothing);
  close(File);
  EXPECT_GT(Failures, 2);
  ASSERT_EQ(Read->get_Count(), 2);
  EXPECT_EQ(Read->get_Record(0), Body->get_Record(0));
}

TEST_F(FailingMemory, CostsARecordNothing) {
  auto const Body = Change({{1, std::string(100, 'a'), "4", "00:11:22:33:44:55"}}).Body;
  Property::TCNorvPropertyObject Object;
  int const Failures =
      FailEachAllocation([&] { Object.get_Record().Decode(Body->get_Record(0)); }, Nothing);
  EXPECT_GT(Failures, 1);
  EXPECT_EQ(Object.get_Record().m_Data.get_AsString(), std::string(100, 'a'));
}

TEST_F(FailingMemory, HasAMailTakenOnceWhenItComesAgain) {
  Start();
  EXPECT_GT(TakeWithFailures(NewMail(1, std::string(50, 'a'))), 10);
  EXPECT_EQ(CountHistory(), 2U);
  EXPECT_GT(TakeWithFailures(NewMail(2, std::string(60, 'b'))), 5);
  EXPECT_EQ(CountHistory(), 4U);
}

TEST_F(FailingMemory, HasAMailTakenOnceWhenItIsPublishedBeforeItIsStored) {
  Start(TEDurability::eRelaxed);
  TPropertyProxy Reader;
  Reader.Subscribe();
  EXPECT_GT(TakeWithFailures(NewMail(1, std::string(50, 'a'))), 10);
  EXPECT_EQ(CountHistory(), 2U);
  EXPECT_EQ(Reader.m_Published.WaitFor(1).size(), 1U);
}

TEST_F(FailingMemory, CostsACommitOnlyTime) {
  Start();
  TPropertyProxy Reader;
  Reader.Subscribe();
  int Failures = 0;
  Execute([&] {
    m_Service->m_Server.OnMail(NewMail(1, std::string(50, 'a')));
    for (bool Stored = false; !Stored; ++Failures) {
      TFailingAllocation const Failing(Failures);
      Stored = m_Service->m_Server.Commit();
    }
  });
  EXPECT_GT(Failures, 5);
  EXPECT_EQ(CountHistory(), 2U);
  EXPECT_EQ(Reader.m_Published.WaitFor(1).size(), 1U);
}
