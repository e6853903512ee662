// SPDX-License-Identifier: MIT
// Pending changes: who sees them, which are kept, and how a transaction ends.
#include "CommonProperties/TCPropertyTransaction.h"

#include <memory>

#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Utility/TCUtilities.h"
#include "StoreFixture.h"

using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

namespace {

struct TCPropertyTransactionTest : TStoreFixture {
  TCPropertyTransaction m_Transaction;
};

struct TCPropertyTransactionWithoutStore : TSchemaFixture {};

void CutToThree(TCCommonPropertyObject& Object) {
  Object.set_Data(Object.GetRealValue().substr(0, 3));
}

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

// ---- the store's reads ----

TEST_F(TCPropertyTransactionTest, LetsItsThreadReadThePendingValue) {
  Store(m_Schema.m_SiteName, 5, "stored", "");
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, 5, "").GetRealValue(), "pending");
  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, true, 5, "").GetRealValue(), "pending");
}

TEST_F(TCPropertyTransactionTest, LetsOtherThreadsReadTheStoredValue) {
  Store(m_Schema.m_SiteName, 5, "stored", "");
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");
  std::string Read;

  OnAnotherThread([&] { Read = m_Store.GetProperty(m_Schema.m_SiteName, 5, "").GetRealValue(); });

  EXPECT_EQ(Read, "stored");
}

TEST_F(TCPropertyTransactionTest, ReadsWhatItDidNotChangeFromTheStore) {
  Store(m_Schema.m_SiteName, 6, "stored", "");
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, 6, "").GetRealValue(), "stored");
}

TEST_F(TCPropertyTransactionTest, ReadsAPendingValueOfTheCurrentDevice) {
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_Name, 5, "pending", "");

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_Name, 5, kOwnMAC).GetRealValue(), "pending");
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, DoesNotFetchAPendingValue) {
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  m_Store.GetProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, ReadsThroughTheValidatorAndWritesItsCorrectionBackAtOnce) {
  Store(m_Schema.m_SiteName, 5, "stored", "");
  m_Store.AssignValidator(m_Schema.m_SiteName, &CutToThree);
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, 5, "").GetRealValue(), "pen");

  EXPECT_EQ(m_Transaction.Find(m_Schema.m_SiteName, 5, "")->GetRealValue(), "pen");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "pen");
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("Notify"));
}

TEST_F(TCPropertyTransactionTest, CanNotCorrectAPendingValueThatIsNotStored) {
  m_Store.AssignValidator(m_Schema.m_SiteName, &CutToThree);
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");

  TCException const Exception =
      CaughtException([this] { m_Store.GetProperty(m_Schema.m_SiteName, 5, ""); });

  ExpectStoreException(Exception, "",
                       "Updating a non existing Property SiteName(2001) String Field");
  EXPECT_TRUE(IsStoreFree());
}

// ---- the store's sets ----

TEST_F(TCPropertyTransactionTest, TakesASetOfAMissingValue) {
  m_Transaction.Begin();

  TCCommonPropertyObject const& Answer = m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_EQ(&Answer, m_Transaction.Find(m_Schema.m_SiteName, 5, ""));
  EXPECT_EQ(Answer.GetRealValue(), "new");
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, TakesAChangeOfAStoredValue) {
  Store(m_Schema.m_SiteName, 5, "stored", "");
  m_Transaction.Begin();

  TCCommonPropertyObject const& Answer = m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_EQ(&Answer, m_Transaction.Find(m_Schema.m_SiteName, 5, ""));
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "stored");
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, RecordsNothingForAValueThatIsStoredAlready) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteName, 5, "same", "");
  m_Transaction.Begin();

  TCCommonPropertyObject const& Answer = m_Store.SetProperty(m_Schema.m_SiteName, 5, "same", "");

  EXPECT_EQ(&Answer, Value);
  EXPECT_THAT(m_Transaction.get_Changes(), IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, AnswersTheSecondOfTwoSetsAndKeepsTheFirst) {
  m_Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "first", "");

  TCCommonPropertyObject const& Answer = m_Store.SetProperty(m_Schema.m_SiteName, 5, "second", "");

  EXPECT_EQ(Answer.GetRealValue(), "second");
  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, 5, "").GetRealValue(), "first");
}

TEST_F(TCPropertyTransactionTest, TakesANumberInDecimal) {
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_Count, 5, -7, kOtherMAC);

  EXPECT_EQ(m_Transaction.Find(m_Schema.m_Count, 5, kOtherMAC)->GetRealValue(), "-7");
}

TEST_F(TCPropertyTransactionTest, TakesASetOfTheCoreUnderTheMACAsItIs) {
  m_Transaction.Begin();

  m_Store.setProperty(m_Schema.m_Name, 5, "none", "");

  EXPECT_NE(m_Transaction.Find(m_Schema.m_Name, 5, ""), nullptr);
}

TEST_F(TCPropertyTransactionTest, ReadsAChoicesTextAsANumber) {
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, "2012", "");

  EXPECT_EQ(m_Transaction.Find(m_Schema.m_SiteMode, 5, "")->GetRealValue(), "2012");
}

TEST_F(TCPropertyTransactionTest, TakesTheDefaultForAChoicesValueText) {
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, "high", "");

  EXPECT_EQ(m_Transaction.Find(m_Schema.m_SiteMode, 5, "")->GetRealValue(), "2011");
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Value [high] assigned to SiteMode(2010) Choice Field. "
                          "Default is chosen [Low level]"));
}

TEST_F(TCPropertyTransactionTest, DoesNotNormaliseABoolean) {
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_Flag, 5, "yes", "");

  EXPECT_EQ(m_Transaction.Find(m_Schema.m_Flag, 5, kOwnMAC)->GetRealValue(), "yes");
}

TEST_F(TCPropertyTransactionTest, TakesAChoiceSetOfAMissingValueUnderTheGivenMAC) {
  m_Transaction.Begin();

  TCCommonPropertyObject const& Answer =
      m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, kOtherMAC);

  EXPECT_EQ(&Answer, m_Transaction.Find(m_Schema.m_Mode, 5, kOtherMAC));
  EXPECT_EQ(Answer.GetRealValue(), "1011");
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, TakesAChoiceSetOfAStoredValue) {
  Store(m_Schema.m_Mode, 5, "1012", kOwnMAC);
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, "");

  EXPECT_EQ(m_Transaction.Find(m_Schema.m_Mode, 5, kOwnMAC)->GetRealValue(), "1011");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Mode, 5, kOwnMAC), "1012");
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, RecordsNothingForAChoiceThatIsStoredAlready) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_Mode, 5, "1011", kOwnMAC);
  m_Transaction.Begin();

  TCCommonPropertyObject const& Answer =
      m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, "");

  EXPECT_EQ(&Answer, Value);
  EXPECT_THAT(m_Transaction.get_Changes(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, LetsAnotherThreadSetTheStore) {
  m_Transaction.Begin();

  OnAnotherThread([this] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "direct", ""); });

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "direct");
  EXPECT_THAT(m_Transaction.get_Changes(), IsEmpty());
}

TEST_F(TCPropertyTransactionTest, LeavesTheStoreFreeAfterEverySet) {
  m_Transaction.Begin();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "text", "");
  EXPECT_TRUE(IsStoreFree());
  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");
  EXPECT_TRUE(IsStoreFree());
}
