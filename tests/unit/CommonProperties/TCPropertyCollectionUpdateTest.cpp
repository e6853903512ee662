// SPDX-License-Identifier: MIT
// The store's roads for values that arrive: update and load, and bad data on all roads.
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"

using Property::eNotifyChanged;
using Property::TCCommonPropertyObject;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionUpdate : TStoreFixture {};
struct TCPropertyCollectionLoad : TStoreFixture {};

struct TCPropertyCollectionCheckData : TStoreFixture {
  TCPropertyCollectionCheckData() { TCCommonPropertyObject::m_CheckData = true; }
  ~TCPropertyCollectionCheckData() override { TCCommonPropertyObject::m_CheckData = false; }
};

char const* const kUnknownChoice =
    "Invalid Value [99] assigned to SiteMode(2010) Choice Field. Default is chosen [Low level]";

}  // namespace

// ---- update ----

TEST_F(TCPropertyCollectionUpdate, StoresRawTextAndNotifies) {
  Store(m_Schema.m_SiteMode, 5, "2011", "");

  EXPECT_TRUE(m_Store.UpdateProperty(m_Schema.m_SiteMode, 5, "2012", false, ""));

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2012");
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("Notify"));
  EXPECT_EQ(m_Store.get_Notified().front().first, eNotifyChanged);
  EXPECT_EQ(m_Store.get_Notified().front().second.GetRealValue(), "2012");
}

TEST_F(TCPropertyCollectionUpdate, MarksAnEqualValueAsLoadedAndTellsNobody) {
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "same", "");
  m_Store.ForgetCalls();

  EXPECT_FALSE(m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "same", false, ""));

  EXPECT_TRUE(Stored(m_Schema.m_SiteName, 5, "")->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionUpdate, AddsAMissingValueAndNotifies) {
  EXPECT_TRUE(m_Store.UpdateProperty(m_Schema.m_Name, 5, "new", true, kOtherMAC));

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, kOtherMAC), "new");
  EXPECT_TRUE(Stored(m_Schema.m_Name, 5, kOtherMAC)->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("Notify"));
  EXPECT_EQ(m_Store.get_Notified().front().first, eNotifyChanged);
}

TEST_F(TCPropertyCollectionUpdate, ThrowsForAMissingValueThatIsNotToBeAdded) {
  TCException const Exception =
      CaughtException([this] { m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", false, ""); });

  ExpectStoreException(Exception, "",
                       "Updating a non existing Property SiteName(2001) String Field");
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionUpdate, TakesAnEmptyMACAsItIs) {
  m_Store.UpdateProperty(m_Schema.m_Name, 5, "none", true, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, ""), "none");
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
}

TEST_F(TCPropertyCollectionUpdate, StoresWithoutMACBesideTheOwnValueThatStandsForIt) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  ASSERT_TRUE(m_Store.ExistProperty(m_Schema.m_Name, 5, ""));

  m_Store.UpdateProperty(m_Schema.m_Name, 5, "none", "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, ""), "none");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, kOwnMAC), "own");
}

TEST_F(TCPropertyCollectionUpdate, NotifiesWithTheLockHeldAndTheStoredValue) {
  Store(m_Schema.m_SiteName, 5, "old", "");
  TCCommonPropertyObject const* const Value = Stored(m_Schema.m_SiteName, 5, "");
  std::string DuringNotify;
  bool Free = true;
  m_Store.m_OnHook = [&](std::string const&) {
    Free = IsStoreFree();
    DuringNotify = Value->GetRealValue();
  };

  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", false, "");

  EXPECT_FALSE(Free);
  EXPECT_EQ(DuringNotify, "new");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionUpdate, NotifiesOfANewValueWithTheLockHeldAndTheValueStored) {
  bool Free = true;
  bool Exists = false;
  m_Store.m_OnHook = [&](std::string const&) {
    Free = IsStoreFree();
    Exists = m_Store.ExistProperty(m_Schema.m_SiteName, 5, "");
  };

  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", true, "");

  EXPECT_FALSE(Free);
  EXPECT_TRUE(Exists);
}

TEST_F(TCPropertyCollectionUpdate, IsNotTakenByATransaction) {
  TCPropertyTransaction Transaction;
  Transaction.Begin();

  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", true, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "new");
  EXPECT_THAT(Transaction.get_Changes(), IsEmpty());
}

TEST_F(TCPropertyCollectionUpdate, HasStoredTheValueWhenANotifierThrows) {
  m_Store.m_OnHook = [](std::string const&) { throw TCException("hook", 1).Format("refused"); };

  TCException const Exception =
      CaughtException([this] { m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", true, ""); });

  EXPECT_EQ(Exception.get_Message(), "refused");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "new");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionUpdate, IsSilentInItsShortForm) {
  TCCommonPropertyObject* const Added = m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", "");
  TCCommonPropertyObject* const Changed =
      m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "newer", "");

  EXPECT_EQ(Added, Stored(m_Schema.m_SiteName, 5, ""));
  EXPECT_EQ(Changed, Added);
  EXPECT_EQ(Added->GetRealValue(), "newer");
  EXPECT_TRUE(Added->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionUpdate, AnswersNullForAnEqualTextInItsShortForm) {
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "same", "");

  EXPECT_EQ(m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "same", ""), nullptr);
  EXPECT_TRUE(Stored(m_Schema.m_SiteName, 5, "")->get_Loaded());
}

TEST_F(TCPropertyCollectionUpdate, TakesAnEmptyMACAsItIsInItsShortForm) {
  m_Store.UpdateProperty(m_Schema.m_Name, 5, "none", "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, ""), "none");
}

// ---- load ----

TEST_F(TCPropertyCollectionLoad, StoresACopyOfAnObjectAndTellsNobody) {
  TCCommonPropertyObject Object(m_Schema.m_Name, 5, kOtherMAC);
  Object.SetRealValue("whole");

  m_Store.LoadProperty(Object);

  TCCommonPropertyObject const* const Value = Stored(m_Schema.m_Name, 5, kOtherMAC);
  ASSERT_NE(Value, nullptr);
  EXPECT_NE(Value, &Object);
  EXPECT_EQ(Value->GetRealValue(), "whole");
  EXPECT_TRUE(Value->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionLoad, KeepsAStoredValueWhenAnObjectIsLoaded) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteName, 5, "stored", "");
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");
  Object.SetRealValue("other");

  m_Store.LoadProperty(Object);

  EXPECT_EQ(Stored(m_Schema.m_SiteName, 5, ""), Value);
  EXPECT_EQ(Value->GetRealValue(), "stored");
}

TEST_F(TCPropertyCollectionLoad, TakesAnObjectsEmptyMACAsItIs) {
  m_Store.LoadProperty(TCCommonPropertyObject(m_Schema.m_Name, 5, ""));

  EXPECT_NE(Stored(m_Schema.m_Name, 5, ""), nullptr);
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
}

TEST_F(TCPropertyCollectionLoad, KeepsAnObjectsMarks) {
  TCCommonPropertyObject Object(m_Schema.m_SiteName, 5, "");
  m_Store.getProperty(Object, true, "");

  m_Store.LoadProperty(Object);

  EXPECT_FALSE(Stored(m_Schema.m_SiteName, 5, "")->get_Defined());
  EXPECT_FALSE(Stored(m_Schema.m_SiteName, 5, "")->get_Loaded());
}

TEST_F(TCPropertyCollectionLoad, StoresTextAndCallsOut) {
  TCCommonPropertyObject* const Value = m_Store.LoadProperty(m_Schema.m_SiteMode, "2012", 5, "");

  EXPECT_EQ(Value, Stored(m_Schema.m_SiteMode, 5, ""));
  EXPECT_EQ(Value->GetRealValue(), "2012");
  EXPECT_TRUE(Value->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
  EXPECT_EQ(m_Store.get_Notified().front().first, eNotifyChanged);
}

TEST_F(TCPropertyCollectionLoad, CallsOutForAMissingValueEvenWithTheEmptyText) {
  m_Store.LoadProperty(m_Schema.m_SiteName, "", 5, "");

  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
}

TEST_F(TCPropertyCollectionLoad, CallsOutForAChangedText) {
  TCCommonPropertyObject* const Value = Store(m_Schema.m_SiteName, 5, "old", "");

  EXPECT_EQ(m_Store.LoadProperty(m_Schema.m_SiteName, "new", 5, ""), Value);

  EXPECT_EQ(Value->GetRealValue(), "new");
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
}

TEST_F(TCPropertyCollectionLoad, CallsNobodyForAnEqualText) {
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "same", "");
  m_Store.ForgetCalls();

  TCCommonPropertyObject* const Value = m_Store.LoadProperty(m_Schema.m_SiteName, "same", 5, "");

  EXPECT_EQ(Value, Stored(m_Schema.m_SiteName, 5, ""));
  EXPECT_TRUE(Value->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionLoad, CallsOutWithTheLockFree) {
  ProbeLockInHooks();

  m_Store.LoadProperty(m_Schema.m_SiteName, "new", 5, "");

  EXPECT_TRUE(m_LockFree.at("OnPropertyChanged"));
  EXPECT_TRUE(m_LockFree.at("Notify"));
}

TEST_F(TCPropertyCollectionLoad, CallsOutWithTheLockFreeForAChange) {
  Store(m_Schema.m_SiteName, 5, "old", "");
  ProbeLockInHooks();

  m_Store.LoadProperty(m_Schema.m_SiteName, "new", 5, "");

  EXPECT_TRUE(m_LockFree.at("OnPropertyChanged"));
  EXPECT_TRUE(m_LockFree.at("Notify"));
}

TEST_F(TCPropertyCollectionLoad, TakesAnEmptyMACAsItIs) {
  m_Store.LoadProperty(m_Schema.m_Name, "none", 5, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, ""), "none");
}

TEST_F(TCPropertyCollectionLoad, IsNotTakenByATransaction) {
  TCPropertyTransaction Transaction;
  Transaction.Begin();

  m_Store.LoadProperty(m_Schema.m_SiteName, "new", 5, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "new");
  EXPECT_THAT(Transaction.get_Changes(), IsEmpty());
}

// ---- with bad data refused ----

TEST_F(TCPropertyCollectionCheckData, UpdateOfAMissingValueStoresNothing) {
  TCException const Exception =
      CaughtException([this] { m_Store.UpdateProperty(m_Schema.m_SiteMode, 5, "99", true, ""); });

  EXPECT_EQ(Exception.get_Message(), kUnknownChoice);
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionCheckData, SilentUpdateOfAMissingValueStoresNothing) {
  TCException const Exception =
      CaughtException([this] { m_Store.UpdateProperty(m_Schema.m_SiteMode, 5, "99", ""); });

  EXPECT_EQ(Exception.get_Message(), kUnknownChoice);
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionCheckData, UpdateKeepsTheRemovedValueThatItCanNotFill) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteMode, 5, "2012", "");
  m_Store.DeleteProperty(m_Schema.m_SiteMode, 5, "");

  CaughtException([this] { m_Store.UpdateProperty(m_Schema.m_SiteMode, 5, "99", true, ""); });

  EXPECT_EQ(Value->GetRealValue(), "2012");
  EXPECT_EQ(Store(m_Schema.m_SiteMode, 5, "2011", ""), Value);
}

TEST_F(TCPropertyCollectionCheckData, UpdateOfAStoredValueStoresTheDefaultAndTellsNobody) {
  Store(m_Schema.m_SiteMode, 5, "2012", "");

  CaughtException([this] { m_Store.UpdateProperty(m_Schema.m_SiteMode, 5, "99", true, ""); });

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2011");
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionCheckData, LoadLeavesTheDefaultChoiceBehind) {
  TCException const Exception =
      CaughtException([this] { m_Store.LoadProperty(m_Schema.m_SiteMode, "99", 5, ""); });

  EXPECT_EQ(Exception.get_Message(), kUnknownChoice);
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2011");
  EXPECT_FALSE(Stored(m_Schema.m_SiteMode, 5, "")->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionCheckData, ChoiceSetLeavesTheDefaultChoiceBehind) {
  TCException const Exception = CaughtException(
      [this] { m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_OffID, ""); });

  EXPECT_EQ(Exception.get_Message(),
            "Invalid Value [1011] assigned to SiteMode(2010) Choice Field. Default is chosen "
            "[Low level]");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2011");
  EXPECT_FALSE(Stored(m_Schema.m_SiteMode, 5, "")->get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionCheckData, TextSetInATransactionRecordsNothing) {
  TCPropertyTransaction Transaction;
  Transaction.Begin();

  TCException const Exception =
      CaughtException([this] { m_Store.SetProperty(m_Schema.m_SiteMode, 5, "99", ""); });

  EXPECT_EQ(Exception.get_Message(), kUnknownChoice);
  EXPECT_THAT(Transaction.get_Changes(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}
