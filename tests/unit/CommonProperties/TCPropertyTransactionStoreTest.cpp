// SPDX-License-Identifier: MIT
// What the store reads and sets on a thread with an open transaction, and on others.
#include "CommonProperties/TCPropertyTransaction.h"

#include "TransactionFixture.h"

using Property::TCCommonPropertyObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

void CutToThree(TCCommonPropertyObject& Object) {
  Object.set_Data(Object.GetRealValue().substr(0, 3));
}

}  // namespace

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
