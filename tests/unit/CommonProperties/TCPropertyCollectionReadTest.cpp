// SPDX-License-Identifier: MIT
// What the store answers, and when it fetches.
#include "CommonProperties/TCPropertyCollection.h"

#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

struct TCPropertyCollectionReads : TStoreFixture {};

}  // namespace

// ---- reading a value ----

TEST_F(TCPropertyCollectionReads, AnswersACopyOfTheStoredValue) {
  TCCommonPropertyObject* const Value = Store(m_Schema.m_SiteName, 5, "text", "");

  TCCommonPropertyObject Read = m_Store.GetProperty(m_Schema.m_SiteName, 5, "");
  Value->SetRealValue("changed");

  EXPECT_EQ(Read.GetRealValue(), "text");
  EXPECT_TRUE(Read.get_Defined());
  EXPECT_TRUE(Read.get_Loaded());
  EXPECT_EQ(&Read.get_ID(), &m_Schema.m_SiteName);
  EXPECT_EQ(Read.get_Link(), TCRecordID(5));
  EXPECT_TRUE(Read.get_MAC().Empty());
}

TEST_F(TCPropertyCollectionReads, AnswersTheStoredNumberOfAChoice) {
  Store(m_Schema.m_SiteMode, 5, "2012", "");

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteMode, 5, "").GetRealValue(), "2012");
}

TEST_F(TCPropertyCollectionReads, AnswersWhetherTheStoredValueWasLoaded) {
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "set, not loaded", "");

  EXPECT_FALSE(m_Store.GetProperty(m_Schema.m_SiteName, 5, "").get_Loaded());
}

TEST_F(TCPropertyCollectionReads, DoesNotFetchWhatIsStored) {
  Store(m_Schema.m_SiteName, 5, "text", "");

  m_Store.GetProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionReads, TracesAHit) {
  Store(m_Schema.m_SiteName, 5, "text", "");
  m_Log.EnableTraces();

  m_Store.GetProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Get SiteName(2001) String Field link(5). Data [text]"));
}

TEST_F(TCPropertyCollectionReads, KeepsValuesOfDifferentMACsApart) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);
  Store(m_Schema.m_Name, 5, "none", "");

  EXPECT_THAT(m_Store.m_Properties, SizeIs(3));
  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_Name, 5, kOwnMAC).GetRealValue(), "own");
  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_Name, 5, kOtherMAC).GetRealValue(), "other");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, ""), "none");
}

TEST_F(TCPropertyCollectionReads, KeepsValuesOfDifferentLinksApart) {
  Store(m_Schema.m_SiteName, 5, "five", "");
  Store(m_Schema.m_SiteName, TCRecordID(), "null", "");

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, 5, "").GetRealValue(), "five");
  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, TCRecordID(), "").GetRealValue(), "null");
}

TEST_F(TCPropertyCollectionReads, TakesTheOwnMACForADeviceLinkedPropertyWithoutOne) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);

  TCCommonPropertyObject const Read = m_Store.GetProperty(m_Schema.m_Name, 5, "");

  EXPECT_EQ(Read.GetRealValue(), "own");
  EXPECT_EQ(Read.get_MAC(), TCMACAddress(kOwnMAC));
}

TEST_F(TCPropertyCollectionReads, UsesAnExplicitMACForASystemWideProperty) {
  Store(m_Schema.m_SiteName, 5, "all", "");
  Store(m_Schema.m_SiteName, 5, "other", kOtherMAC);

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_SiteName, 5, kOtherMAC).GetRealValue(), "other");
}

TEST_F(TCPropertyCollectionReads, FetchesAMissingValueByItsKey) {
  m_Store.m_FetchResult = [](TCCommonPropertyObject& Object) {
    Object.SetRealValue("fetched");
    return true;
  };

  TCCommonPropertyObject const Read = m_Store.GetProperty(m_Schema.m_Name, 5, kOtherMAC);

  EXPECT_EQ(Read.GetRealValue(), "fetched");
  EXPECT_TRUE(Read.get_Defined());
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnFetchProperty"));
  TCCommonPropertyObject const Asked = m_Store.get_Fetched().front();
  EXPECT_EQ(&Asked.get_ID(), &m_Schema.m_Name);
  EXPECT_EQ(Asked.get_Link(), TCRecordID(5));
  EXPECT_EQ(Asked.get_MAC(), TCMACAddress(kOtherMAC));
  EXPECT_TRUE(Asked.get_Defined());
  EXPECT_FALSE(Asked.get_Loaded());
  EXPECT_EQ(Asked.GetRealValue(), "");
}

TEST_F(TCPropertyCollectionReads, StoresNothingOnAFetch) {
  m_Store.m_FetchResult = [](TCCommonPropertyObject&) { return true; };

  m_Store.GetProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
}

TEST_F(TCPropertyCollectionReads, TracesAFetch) {
  m_Store.m_FetchResult = [](TCCommonPropertyObject&) { return true; };
  m_Log.EnableTraces();

  m_Store.GetProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Created SiteName(2001) String Field link(5). Data []"));
}

TEST_F(TCPropertyCollectionReads, AnswersAnUndefinedValueWhenTheFetchFailsWithoutException) {
  TCCommonPropertyObject const Read = m_Store.GetProperty(m_Schema.m_SiteName, true, 5, "");

  EXPECT_FALSE(Read.get_Defined());
  EXPECT_EQ(Read.GetRealValue(), "");
  EXPECT_EQ(&Read.get_ID(), &m_Schema.m_SiteName);
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Timeout. Cannot fetch property SiteName(2001) String Field"));
}

TEST_F(TCPropertyCollectionReads, ThrowsWhenTheFetchFails) {
  TCException const Exception =
      CaughtException([this] { m_Store.GetProperty(m_Schema.m_SiteName, 5, ""); });

  ExpectStoreException(Exception, "", "Unable to load Property SiteName(2001) String Field");
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Timeout. Cannot fetch property SiteName(2001) String Field"));
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionReads, ThrowsWhenTheFetchFailsAndExceptionsAreAskedFor) {
  TCException const Exception =
      CaughtException([this] { m_Store.GetProperty(m_Schema.m_SiteName, false, 5, ""); });

  ExpectStoreException(Exception, "", "Unable to load Property SiteName(2001) String Field");
}

TEST_F(TCPropertyCollectionReads, TracesAFailedFetch) {
  m_Log.EnableTraces();

  m_Store.GetProperty(m_Schema.m_SiteName, true, 5, "");

  EXPECT_THAT(m_Log.get_Traces(),
              ElementsAre("Get Failed SiteName(2001) String Field link(5). Data []"));
}

TEST_F(TCPropertyCollectionReads, FetchesWithTheLockFree) {
  ProbeLockInHooks();

  m_Store.GetProperty(m_Schema.m_SiteName, true, 5, "");

  EXPECT_TRUE(m_LockFree.at("OnFetchProperty"));
}

TEST_F(TCPropertyCollectionReads, PassesOnWhatAFetchThrows) {
  m_Store.m_FetchResult = [](TCCommonPropertyObject&) -> bool {
    throw TCException("fetch", 1).Format("broken");
  };

  TCException const Exception =
      CaughtException([this] { m_Store.GetProperty(m_Schema.m_SiteName, true, 5, ""); });

  EXPECT_EQ(Exception.get_Message(), "broken");
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

// ---- the read core ----

TEST_F(TCPropertyCollectionReads, CompletesTheGivenObject) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  TCCommonPropertyObject Object(m_Schema.m_Name, 5, "");

  TCCommonPropertyObject const& Answer = m_Store.getProperty(Object, false, "");

  EXPECT_EQ(&Answer, &Object);
  EXPECT_EQ(Object.GetRealValue(), "own");
  EXPECT_TRUE(Object.get_Loaded());
  EXPECT_EQ(Object.get_MAC(), TCMACAddress(kOwnMAC));
}

TEST_F(TCPropertyCollectionReads, UsesTheObjectsMACAndNotTheText) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);
  TCCommonPropertyObject Object(m_Schema.m_Name, 5, kOtherMAC);

  m_Store.getProperty(Object, false, kOwnMAC);

  EXPECT_EQ(Object.GetRealValue(), "other");
}

TEST_F(TCPropertyCollectionReads, DefinesAnUndefinedObjectOnAHit) {
  Store(m_Schema.m_SiteName, 5, "text", "");
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 6, "");
  m_Store.getProperty(Object, true, "");
  ASSERT_FALSE(Object.get_Defined());
  Store(m_Schema.m_SiteName, 6, "late", "");

  m_Store.getProperty(Object, false, "");

  EXPECT_TRUE(Object.get_Defined());
  EXPECT_EQ(Object.GetRealValue(), "late");
}

TEST_F(TCPropertyCollectionReads, LeavesTheObjectsDataWhenTheFetchFails) {
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");
  Object.SetRealValue("mine");

  m_Store.getProperty(Object, true, "");

  EXPECT_EQ(Object.GetRealValue(), "mine");
  EXPECT_TRUE(Object.get_Loaded());
  EXPECT_FALSE(Object.get_Defined());
}

TEST_F(TCPropertyCollectionReads, UndefinesTheObjectBeforeItThrows) {
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");

  TCException const Exception = CaughtException([&] { m_Store.getProperty(Object, false, ""); });

  ExpectStoreException(Exception, "", "Unable to load Property SiteName(2001) String Field");
  EXPECT_FALSE(Object.get_Defined());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionReads, AsksNoTransactionInTheReadCore) {
  Store(m_Schema.m_SiteName, 5, "stored", "");
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "pending", "");
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");

  m_Store.getProperty(Object, false, "");

  EXPECT_EQ(Object.GetRealValue(), "stored");
}

// ---- raw data, presence, lists ----

TEST_F(TCPropertyCollectionReads, AnswersTheStoredTextItself) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteMode, 5, "2012", "");

  std::string const& Data = m_Store.getPropertyData(m_Schema.m_SiteMode, 5, "");

  EXPECT_EQ(&Data, &Value->GetRealValue());
  EXPECT_EQ(Data, "2012");
}

TEST_F(TCPropertyCollectionReads, ThrowsAndFetchesNothingForMissingData) {
  m_Store.m_FetchResult = [](TCCommonPropertyObject&) { return true; };

  TCException const Exception =
      CaughtException([this] { m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""); });

  ExpectStoreException(Exception, "",
                       "getting a non existing Property SiteName(2001) String Field");
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_THAT(m_Log.get_Warnings(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionReads, TakesAnEmptyMACForDataAsItIs) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);

  TCException const Exception =
      CaughtException([this] { m_Store.getPropertyData(m_Schema.m_Name, 5, ""); });

  ExpectStoreException(Exception, "", "getting a non existing Property Name(1001) String Field");
}

TEST_F(TCPropertyCollectionReads, KnowsWhichValuesAreStored) {
  Store(m_Schema.m_SiteName, 5, "text", "");

  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 6, ""));
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, kOwnMAC));
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionReads, AsksForTheCurrentDevicesValueWithoutAMAC) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Count, 5, "1", kOtherMAC);

  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Name, 5, ""));
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Count, 5, ""));
}

TEST_F(TCPropertyCollectionReads, ListsWhatTheHookAnswers) {
  Store(m_Schema.m_SiteName, 5, "five", "");
  Store(m_Schema.m_SiteName, 6, "six", "");
  Store(m_Schema.m_PlantName, 5, "plant", "");

  std::list<TCCommonPropertyObject> const List = m_Store.GetProperties(m_Schema.m_SiteName);

  ASSERT_THAT(List, SizeIs(2));
  EXPECT_EQ(List.front().GetRealValue(), "five");
  EXPECT_EQ(List.back().GetRealValue(), "six");
  EXPECT_THAT(m_Store.get_LoadedLists(), ElementsAre(&m_Schema.m_SiteName));
}

TEST_F(TCPropertyCollectionReads, ListsWithTheLockHeld) {
  ProbeLockInHooks();

  m_Store.GetProperties(m_Schema.m_SiteName);

  EXPECT_FALSE(m_LockFree.at("DoLoadPropertyList"));
  EXPECT_TRUE(IsStoreFree());
}
