// SPDX-License-Identifier: MIT
// Which device's value is meant when the caller names none.
#include "CommonProperties/TCPropertyCollection.h"
#include "StoreFixture.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

thread_local unsigned long CallersSession = 7;
bool LockFreeInCallback = true;

unsigned long AnswerSession() {
  return CallersSession;
}

unsigned long ProbeLock() {
  LockFreeInCallback = IsStoreFree();
  return 7;
}

/// Tests run with a callback that answers 7; nothing is known of that session yet.
struct TCPropertyCollectionSessions : TStoreFixture {
  TCPropertyCollectionSessions() { TCPropertyCollection::SetSessionCallback(&AnswerSession); }
};

struct TCPropertyCollectionNoSessions : TStoreFixture {};
struct TCPropertyCollectionSessionsWithoutStore : TSchemaFixture {};

void ExpectNoSession(TCException const& Exception) {
  ExpectStoreException(Exception, "Itr!=m_SessionList.end()",
                       "No Mac address saved for current session");
}

}  // namespace

// ---- without sessions ----

TEST_F(TCPropertyCollectionNoSessions, MeansTheOwnDeviceForADeviceLinkedProperty) {
  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), "00:11:22:33:44:55");
}

TEST_F(TCPropertyCollectionNoSessions, MeansNoDeviceForASystemWideProperty) {
  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_SiteName), "");
}

TEST_F(TCPropertyCollectionNoSessions, IgnoresTheSessionTable) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), kOwnMAC);
}

TEST_F(TCPropertyCollectionNoSessions, AsksASystemWidePropertyWithoutTheLock) {
  TTestStore::m_CSection.Enter();
  std::string MAC = "unset";

  OnAnotherThread([&] { MAC = TCPropertyCollection::GetCurrentMAC(m_Schema.m_SiteName); });

  TTestStore::m_CSection.Leave();
  EXPECT_EQ(MAC, "");
}

TEST_F(TCPropertyCollectionSessionsWithoutStore, KnowNoOwnDeviceBeforeAStoreExists) {
  Property::TCBasicPropertyID::Initialize();

  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), "");
}

TEST_F(TCPropertyCollectionSessionsWithoutStore, ThrowOnASessionBeforeAStoreExists) {
  TCException const Exception =
      CaughtException([] { TCPropertyCollection::SetCurrentSession(7, kOtherMAC); });

  ExpectStoreException(Exception, "m_Instance!=__null", "Property collection has not been created");
  EXPECT_THAT(TTestStore::m_SessionList, ElementsAre(Pair(7, kOtherMAC)));
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessionsWithoutStore, ThrowOnAnEndedSessionBeforeAStoreExists) {
  CaughtException([] { TCPropertyCollection::SetCurrentSession(7, kOtherMAC); });

  TCException const Exception = CaughtException([] { TCPropertyCollection::DeleteSession(7); });

  ExpectStoreException(Exception, "m_Instance!=__null", "Property collection has not been created");
  EXPECT_THAT(TTestStore::m_SessionList, IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

// ---- with sessions ----

TEST_F(TCPropertyCollectionSessions, ThrowForASessionWithoutDevice) {
  TCException const Exception =
      CaughtException([this] { TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name); });

  ExpectNoSession(Exception);
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, MeanTheDeviceOfTheCallersSession) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), kOtherMAC);
}

TEST_F(TCPropertyCollectionSessions, ReadTheValueOfTheSessionsDevice) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_Name, 5, "").GetRealValue(), "other");
}

TEST_F(TCPropertyCollectionSessions, DifferByCaller) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);
  TCPropertyCollection::SetCurrentSession(8, kThirdMAC);
  std::string MAC;

  OnAnotherThread([&] {
    CallersSession = 8;
    MAC = TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name);
  });

  EXPECT_EQ(MAC, kThirdMAC);
  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), kOtherMAC);
}

TEST_F(TCPropertyCollectionSessions, KeepTheLastDeviceOfASession) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);
  TCPropertyCollection::SetCurrentSession(7, kThirdMAC);

  EXPECT_THAT(TTestStore::m_SessionList, ElementsAre(Pair(7, kThirdMAC)));
}

TEST_F(TCPropertyCollectionSessions, TakeTheMACTextUnchecked) {
  TCPropertyCollection::SetCurrentSession(7, "no MAC at all");

  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), "no MAC at all");
}

TEST_F(TCPropertyCollectionSessions, ReadUnderNoDeviceWhenTheTextIsNoMAC) {
  Store(m_Schema.m_Name, 5, "none", "");
  TCPropertyCollection::SetCurrentSession(7, "no MAC at all");

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_Name, 5, "").GetRealValue(), "none");
}

TEST_F(TCPropertyCollectionSessions, AreNumberedWithoutSign) {
  CallersSession = static_cast<unsigned long>(-1);
  TCPropertyCollection::SetCurrentSession(static_cast<unsigned long>(-1), kThirdMAC);
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), kThirdMAC);
  EXPECT_THAT(TTestStore::m_SessionList,
              ElementsAre(Pair(7, kOtherMAC), Pair(static_cast<unsigned long>(-1), kThirdMAC)));
}

TEST_F(TCPropertyCollectionSessions, ThrowAgainAfterTheirEnd) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  TCPropertyCollection::DeleteSession(7);

  ExpectNoSession(CaughtException([this] { m_Store.GetProperty(m_Schema.m_Name, 5, ""); }));
}

TEST_F(TCPropertyCollectionSessions, LeaveTheirValuesBehind) {
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  TCPropertyCollection::DeleteSession(7);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, kOtherMAC), "other");
}

TEST_F(TCPropertyCollectionSessions, MeanNothingToASystemWideProperty) {
  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_SiteName), "");
}

TEST_F(TCPropertyCollectionSessions, AreSwitchedOffByANullCallback) {
  TCPropertyCollection::SetSessionCallback(nullptr);

  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name), kOwnMAC);
}

TEST_F(TCPropertyCollectionSessions, DoNotMatterWhenTheMACIsGiven) {
  Store(m_Schema.m_Name, 5, "third", kThirdMAC);

  EXPECT_EQ(m_Store.GetProperty(m_Schema.m_Name, 5, kThirdMAC).GetRealValue(), "third");
}

TEST_F(TCPropertyCollectionSessions, AreTakenForAnObjectWithoutMAC) {
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);
  TCCommonPropertyObject Object(m_Schema.m_Name, 5, "");

  m_Store.getProperty(Object, false, "");

  EXPECT_EQ(Object.GetRealValue(), "other");
}

// ---- failures pass through every operation ----

TEST_F(TCPropertyCollectionSessions, FailARead) {
  ExpectNoSession(CaughtException([this] { m_Store.GetProperty(m_Schema.m_Name, 5, ""); }));
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, FailAReadWithoutException) {
  ExpectNoSession(CaughtException([this] { m_Store.GetProperty(m_Schema.m_Name, true, 5, ""); }));
}

TEST_F(TCPropertyCollectionSessions, FailTheReadCore) {
  TCCommonPropertyObject Object(m_Schema.m_Name, 5, "");

  ExpectNoSession(CaughtException([&] { m_Store.getProperty(Object, true, ""); }));
  EXPECT_TRUE(Object.get_Defined());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, FailATestForPresence) {
  ExpectNoSession(CaughtException([this] { m_Store.ExistProperty(m_Schema.m_Name, 5, ""); }));
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, FailASetBeforeAnythingChanges) {
  ExpectNoSession(CaughtException([this] { m_Store.SetProperty(m_Schema.m_Name, 5, "x", ""); }));
  ExpectNoSession(CaughtException([this] { m_Store.SetProperty(m_Schema.m_Count, 5, 1, ""); }));
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, FailAChoiceSetBeforeAnythingChanges) {
  ExpectNoSession(
      CaughtException([this] { m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, ""); }));
  ExpectNoSession(CaughtException(
      [this] { m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, kOtherMAC); }));
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, FailADeletion) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);

  ExpectNoSession(CaughtException([this] { m_Store.DeleteProperty(m_Schema.m_Name, 5, ""); }));

  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, FailADeletionByLink) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);

  ExpectNoSession(CaughtException(
      [this] { m_Store.DeletePropertiesLinkedTo(5, Accessories::TCNullTypes<int>(), ""); }));

  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
  EXPECT_TRUE(IsStoreFree());
}

// ---- hooks and the lock ----

TEST_F(TCPropertyCollectionSessions, TellTheHookOfANewDevice) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  EXPECT_THAT(m_Store.get_SetSessions(), ElementsAre(Pair(7, kOtherMAC)));
}

TEST_F(TCPropertyCollectionSessions, HaveTheDeviceBeforeTheHookRuns) {
  std::string MAC;
  m_Store.m_OnHook = [&](std::string const&) {
    MAC = TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name);
  };

  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  EXPECT_EQ(MAC, kOtherMAC);
}

TEST_F(TCPropertyCollectionSessions, TellTheHookOfTheEndOfAnUnknownSession) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);

  TCPropertyCollection::DeleteSession(8);

  EXPECT_THAT(m_Store.get_DeletedSessions(), ElementsAre(8));
  EXPECT_THAT(TTestStore::m_SessionList, ElementsAre(Pair(7, kOtherMAC)));
}

TEST_F(TCPropertyCollectionSessions, CallTheHooksWithTheLockHeld) {
  ProbeLockInHooks();

  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);
  TCPropertyCollection::DeleteSession(7);

  EXPECT_FALSE(m_LockFree.at("DoSetSession"));
  EXPECT_FALSE(m_LockFree.at("DoDeleteSession"));
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSessions, CallTheCallbackWithTheLockHeld) {
  TCPropertyCollection::SetCurrentSession(7, kOtherMAC);
  TCPropertyCollection::SetSessionCallback(&ProbeLock);

  TCPropertyCollection::GetCurrentMAC(m_Schema.m_Name);

  EXPECT_FALSE(LockFreeInCallback);
  EXPECT_TRUE(IsStoreFree());
}
