// SPDX-License-Identifier: MIT
// How a transaction begins and ends, and which changes it keeps.
#include "CommonProperties/TCPropertyTransaction.h"

#include <memory>

#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Utility/TCUtilities.h"
#include "TransactionFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

namespace {

struct TCPropertyTransactionWithoutStore : TSchemaFixture {};

}  // namespace

// ---- begin and end ----

TEST_F(TCPropertyTransactionTest, IsNotOpenWhenConstructed) {
  EXPECT_FALSE(m_Transaction.get_Active());
  EXPECT_THAT(m_Transaction.get_Changes(), IsEmpty());
  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
}

TEST_F(TCPropertyTransactionTest, OpensForTheThreadThatBeginsIt) {
  m_Transaction.Begin();

  EXPECT_TRUE(m_Transaction.get_Active());
  EXPECT_EQ(TCPropertyCollection::InTransaction(), &m_Transaction);
  EXPECT_THAT(TTestStore::m_Transactions,
              ElementsAre(Pair(TCUtilities::GetCurrentThreadID(), &m_Transaction)));
}

TEST_F(TCPropertyTransactionTest, IsNotOpenForAnotherThread) {
  m_Transaction.Begin();
  TCPropertyTransaction* Open = &m_Transaction;

  OnAnotherThread([&] { Open = TCPropertyCollection::InTransaction(); });

  EXPECT_EQ(Open, nullptr);
}

TEST_F(TCPropertyTransactionTest, StaysOpenWhenItBeginsTwice) {
  m_Transaction.Begin();
  m_Transaction.Begin();

  EXPECT_EQ(TCPropertyCollection::InTransaction(), &m_Transaction);
}

TEST_F(TCPropertyTransactionTest, IsNotReplacedByASecondOne) {
  TCPropertyTransaction Second;
  m_Transaction.Begin();

  Second.Begin();

  EXPECT_EQ(TCPropertyCollection::InTransaction(), &m_Transaction);
  EXPECT_TRUE(Second.get_Active());
}

TEST_F(TCPropertyTransactionTest, IsClosedByTheRollbackOfASecondOne) {
  TCPropertyTransaction Second;
  m_Transaction.Begin();
  Second.Begin();

  Second.Rollback();

  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_TRUE(m_Transaction.get_Active());
  EXPECT_FALSE(Second.get_Active());
}

TEST_F(TCPropertyTransactionTest, EndsWithACommit) {
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  m_Transaction.Commit();

  EXPECT_FALSE(m_Transaction.get_Active());
  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_THAT(m_Store.get_Committed(), ElementsAre(&m_Transaction));
  EXPECT_THAT(m_Transaction.get_Changes(), SizeIs(1));
}

TEST_F(TCPropertyTransactionTest, HandsItsChangesToTheStoreOnACommitAndNothingElse) {
  m_Transaction.Begin();

  m_Transaction.Commit();

  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("CommitTransaction"));
}

TEST_F(TCPropertyTransactionTest, EndsWithARollback) {
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  m_Transaction.Rollback();

  EXPECT_FALSE(m_Transaction.get_Active());
  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_THAT(m_Transaction.get_Changes(), IsEmpty());
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, EndsWithTheStoresRollback) {
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  TCPropertyCollection::RollbackTransaction(&m_Transaction);

  EXPECT_FALSE(m_Transaction.get_Active());
  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_THAT(m_Transaction.get_Changes(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, EndsWithItsRemoval) {
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  TCPropertyCollection::RemoveTransaction(&m_Transaction);

  EXPECT_FALSE(m_Transaction.get_Active());
  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_THAT(m_Transaction.get_Changes(), SizeIs(1));
}

TEST_F(TCPropertyTransactionTest, EndsWithItsDestruction) {
  auto Transaction = std::make_unique<TCPropertyTransaction>();
  Transaction->Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  Transaction.reset();

  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
}

TEST_F(TCPropertyTransactionTest, MayBeginAgain) {
  m_Transaction.Begin();
  m_Transaction.Rollback();

  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "again", "");

  EXPECT_THAT(m_Transaction.get_Changes(), SizeIs(1));
}

TEST_F(TCPropertyTransactionTest, ClosesTheThreadsTransactionByACommitWithoutBegin) {
  TCPropertyTransaction Never;
  m_Transaction.Begin();

  Never.Commit();

  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_TRUE(m_Transaction.get_Active());
}

TEST_F(TCPropertyTransactionTest, ClosesTheThreadsTransactionByTheStoresRollbackWithoutBegin) {
  TCPropertyTransaction Never;
  m_Transaction.Begin();

  TCPropertyCollection::RollbackTransaction(&Never);

  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
}

TEST_F(TCPropertyTransactionTest, LeavesTheThreadsTransactionOpenByARollbackWithoutBegin) {
  TCPropertyTransaction Never;
  m_Transaction.Begin();

  Never.Rollback();

  EXPECT_EQ(TCPropertyCollection::InTransaction(), &m_Transaction);
}

TEST_F(TCPropertyTransactionTest, LeavesTheThreadsTransactionOpenByADestructionWithoutBegin) {
  m_Transaction.Begin();

  { TCPropertyTransaction Never; }

  EXPECT_EQ(TCPropertyCollection::InTransaction(), &m_Transaction);
}

TEST_F(TCPropertyTransactionWithoutStore, OpensAndRollsBack) {
  TCPropertyTransaction Transaction;

  Transaction.Begin();
  EXPECT_EQ(TCPropertyCollection::InTransaction(), &Transaction);
  Transaction.Rollback();
  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
}

TEST_F(TCPropertyTransactionWithoutStore, ThrowsOnACommit) {
  TCPropertyTransaction Transaction;
  Transaction.Begin();

  TCException const Exception = CaughtException([&] { Transaction.Commit(); });

  ExpectStoreException(Exception, "m_Instance!=__null", "Property collection has not been created");
  EXPECT_TRUE(Transaction.get_Active());
}

// ---- a thread's end ----

TEST_F(TCPropertyTransactionTest, IsForgottenWhenItsThreadEnds) {
  OnAnotherThread([this] { m_Transaction.Begin(); });

  EXPECT_THAT(TTestStore::m_Transactions, IsEmpty());
}

TEST_F(TCPropertyTransactionTest, StaysOpenWhenAnotherThreadEnds) {
  m_Transaction.Begin();
  TCPropertyTransaction Other;

  OnAnotherThread([&] { Other.Begin(); });

  EXPECT_THAT(TTestStore::m_Transactions,
              ElementsAre(Pair(TCUtilities::GetCurrentThreadID(), &m_Transaction)));
}

TEST_F(TCPropertyTransactionTest, MayBeGoneWhenItsThreadEnds) {
  OnAnotherThread([] {
    TCPropertyTransaction Transaction;
    Transaction.Begin();
  });

  EXPECT_THAT(TTestStore::m_Transactions, IsEmpty());
}

// ---- what is recorded ----

TEST_F(TCPropertyTransactionTest, RecordsAnObjectOfTheKey) {
  TCCommonPropertyObject const* const Object =
      m_Transaction.Changed(m_Schema.m_Name, 5, "pending", kOtherMAC);

  EXPECT_EQ(&Object->get_ID(), &m_Schema.m_Name);
  EXPECT_EQ(Object->get_Link(), TCRecordID(5));
  EXPECT_EQ(Object->get_MAC(), TCMACAddress(kOtherMAC));
  EXPECT_EQ(Object->GetRealValue(), "pending");
  EXPECT_TRUE(Object->get_Defined());
  EXPECT_TRUE(Object->get_Loaded());
  EXPECT_EQ(m_Transaction.Find(m_Schema.m_Name, 5, kOtherMAC), Object);
}

TEST_F(TCPropertyTransactionTest, FindsNothingUnderAnotherKey) {
  m_Transaction.Changed(m_Schema.m_Name, 5, "pending", kOtherMAC);

  EXPECT_EQ(m_Transaction.Find(m_Schema.m_Name, 6, kOtherMAC), nullptr);
  EXPECT_EQ(m_Transaction.Find(m_Schema.m_Name, 5, kOwnMAC), nullptr);
  EXPECT_EQ(m_Transaction.Find(m_Schema.m_Count, 5, kOtherMAC), nullptr);
}

TEST_F(TCPropertyTransactionTest, KeepsTheFirstOfTwoChangesOfOneKey) {
  TCCommonPropertyObject const* const First =
      m_Transaction.Changed(m_Schema.m_SiteName, 5, "first", "");

  TCCommonPropertyObject const* const Second =
      m_Transaction.Changed(m_Schema.m_SiteName, 5, "second", "");

  EXPECT_NE(First, Second);
  EXPECT_EQ(Second->GetRealValue(), "second");
  EXPECT_EQ(m_Transaction.Find(m_Schema.m_SiteName, 5, ""), First);
  EXPECT_EQ(First->GetRealValue(), "first");
  EXPECT_THAT(m_Transaction.get_Changes(), SizeIs(1));
}

TEST_F(TCPropertyTransactionTest, KeepsUnrecordedAnswersAliveUntilReset) {
  m_Transaction.Changed(m_Schema.m_SiteName, 5, "first", "");
  TCCommonPropertyObject const* const Second =
      m_Transaction.Changed(m_Schema.m_SiteName, 5, "second", "");
  TCCommonPropertyObject const* const Third =
      m_Transaction.Changed(m_Schema.m_SiteName, 5, "third", "");

  m_Transaction.Commit();

  EXPECT_EQ(Second->GetRealValue(), "second");
  EXPECT_EQ(Third->GetRealValue(), "third");
}

TEST_F(TCPropertyTransactionTest, OrdersChangesByKey) {
  m_Transaction.Changed(m_Schema.m_SiteName, 6, "c", "");
  m_Transaction.Changed(m_Schema.m_SiteName, 5, "b", "");
  m_Transaction.Changed(m_Schema.m_Name, 9, "a", kOwnMAC);

  std::string Order;
  for (auto const& Change : m_Transaction.get_Changes()) {
    Order += Change.second->GetRealValue();
  }
  EXPECT_EQ(Order, "abc");
}

TEST_F(TCPropertyTransactionTest, DropsItsChangesAndStaysOpenOnReset) {
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  m_Transaction.Reset();

  EXPECT_THAT(m_Transaction.get_Changes(), IsEmpty());
  EXPECT_TRUE(m_Transaction.get_Active());
  EXPECT_EQ(TCPropertyCollection::InTransaction(), &m_Transaction);
}
