// SPDX-License-Identifier: MIT
// Guarded reads beside received mails and commits, and what a guard's holder is refused.
#include <atomic>
#include <future>
#include <thread>

#include "CommonProperties/TCPropertyTransaction.h"
#include "CommonProperties/TCReadGuard.h"
#include "DriverFixture.h"

using Accessories::TCRecordID;
using Property::TCPropertyCollectionDriver;
using Property::TCPropertyTransaction;
using Property::TCReadGuard;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr int kGuardedRecords = 5000;  // as many as take long to put in, one after the other
constexpr int kGuardedMails = 5;

struct TCPropertyCollectionDriverGuard : TDriverFixture {
  int Count(int Link) { return GetProperty(m_Schema.m_Count, TCRecordID(Link)).get_AsInteger(); }

  /// Reads the first and the last of the values, under a guard, until they are `Last`. Returns how
  /// often they have differed.
  int CountHalves(int Last) {
    int Halves = 0;
    for (int First = -1; First != Last;) {
      TCReadGuard const Guard;
      First = Count(0);
      Halves += Count(kGuardedRecords - 1) != First ? 1 : 0;
    }
    return Halves;
  }
};

struct TCPropertyCollectionDriverGuardAtStart : TSchemaFixture {};

}  // namespace

TEST_F(TCPropertyCollectionDriverGuard, SeesAReceivedMailWhole) {
  Start();
  std::vector<TRecord> Records;
  for (int Link = 0; Link < kGuardedRecords; ++Link) {
    Records.push_back({1002, "0", std::to_string(Link), kOwnMAC});
  }
  Receive(4, 1, Records);

  auto Halves = std::async(std::launch::async, [this] { return CountHalves(kGuardedMails); });
  for (int Round = 1; Round <= kGuardedMails; ++Round) {
    for (TRecord& Record : Records) {
      Record.m_Data = std::to_string(Round);
    }
    Receive(4, 1, Records);
  }

  EXPECT_EQ(Halves.get(), 0);
}

TEST_F(TCPropertyCollectionDriverGuard, SeesACommitWhole) {
  Start();
  Receive(4, 1,
          {{1002, "0", "0", kOwnMAC}, {1002, "0", std::to_string(kGuardedRecords - 1), kOwnMAC}});

  auto Halves = std::async(std::launch::async, [this] { return CountHalves(kGuardedMails); });
  for (int Round = 1; Round <= kGuardedMails; ++Round) {
    TCPropertyTransaction Transaction;
    Transaction.Begin();
    for (int Link = 0; Link < kGuardedRecords; ++Link) {
      SetProperty(m_Schema.m_Count, Round, TCRecordID(Link));
    }
    Transaction.Commit();
  }

  EXPECT_EQ(Halves.get(), 0);
}

TEST_F(TCPropertyCollectionDriverGuard, KeepsAPublishedMailBackUntilItsEnd) {
  Start();
  {
    TCReadGuard const Guard;
    m_Server.Publish(4, 1, {{1001, "published", "", kOwnMAC}});
    // The answer to this thread's mail comes behind what was published.
    SetProperty(m_Schema.m_SiteName, "own");
    ASSERT_TRUE(Driver()->WaitForAcknowledgements(kPatienceMilliseconds));
    EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "");
  }
  ASSERT_TRUE(m_Notifier.WaitFor(2));
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "published");
}

TEST_F(TCPropertyCollectionDriverGuard, LetsItsHolderCommitAndSend) {
  Start();
  {
    TCReadGuard const Guard;
    TCPropertyTransaction Transaction;
    Transaction.Begin();
    SetProperty(m_Schema.m_Name, "committed");
    Transaction.Commit();
  }
  EXPECT_THAT(SentMails(), ElementsAre("property v2 Change 3: {id=1001 data=\"committed\" "
                                       "mac=\"00:11:22:33:44:55\" loaded=0}"));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=committed"));
}

TEST_F(TCPropertyCollectionDriverGuard, ReadsTheDefaultOfAMissingValueOfThisDevice) {
  Start();
  TCReadGuard const Guard;
  EXPECT_EQ(GetProperty(m_Schema.m_Mode).get_AsString(), "on");
}

TEST_F(TCPropertyCollectionDriverGuard, AsksForNoMissingValueOfAnotherDevice) {
  Start();
  std::size_t const Requests = m_Server.get_Requests().size();
  try {
    TCReadGuard const Guard;
    GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC);
    FAIL() << "nothing was thrown";
  } catch (TCException const& Exception) {
    EXPECT_EQ(Exception.get_Source(), "../PropertyInterface/TCPropertyCollectionDriver");
    EXPECT_EQ(Exception.get_Condition(), "!TCReadGuard::IsHeld()");
    EXPECT_EQ(Exception.get_Message(),
              "Property Name(1001) String Field of 00:11:22:33:44:66: the server is not asked "
              "while this thread "
              "holds a read guard");
  }
  EXPECT_EQ(m_Server.get_Requests().size(), Requests);
}

TEST_F(TCPropertyCollectionDriverGuard, AsksForAMissingValueWhileAnotherThreadHoldsOneLater) {
  Start();
  m_Server.AnswerOne({{1001, "other", "", kOtherMAC, true}});
  EXPECT_EQ(GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC).get_AsString(), "other");
  TCReadGuard const Guard;
  EXPECT_EQ(GetProperty(m_Schema.m_Name, TCRecordID(), kOtherMAC).get_AsString(), "other");
}

TEST_F(TCPropertyCollectionDriverGuard, RefusesToFetchAndKeepsTheValues) {
  Start();
  Receive(4, 1, {{1001, "kept", "", kOwnMAC}});
  {
    TCReadGuard const Guard;
    try {
      Driver()->Fetch();
      FAIL() << "nothing was thrown";
    } catch (TCException const& Exception) {
      EXPECT_EQ(Exception.get_Message(),
                "Fetch: the server is not asked while this thread holds a read guard");
    }
  }
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=kept"));
}

TEST_F(TCPropertyCollectionDriverGuardAtStart, RefusesToCreateTheStore) {
  TCReadGuard const Guard;
  try {
    TCPropertyCollectionDriver::Create(false);
    FAIL() << "nothing was thrown";
  } catch (TCException const& Exception) {
    EXPECT_EQ(Exception.get_Message(),
              "Create: the server is not asked while this thread holds a read guard");
  }
  EXPECT_EQ(TCPropertyCollectionDriver::get_Instance(), nullptr);
}
