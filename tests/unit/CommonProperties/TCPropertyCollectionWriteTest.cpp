// SPDX-License-Identifier: MIT
// The store's roads for writing: set, update, load and delete.
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::eNotifyDeleted;
using Property::TCBasicPropertyID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyID;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

struct TCPropertyCollectionSet : TStoreFixture {};
struct TCPropertyCollectionSetChoice : TStoreFixture {};
struct TCPropertyCollectionUpdate : TStoreFixture {};
struct TCPropertyCollectionLoad : TStoreFixture {};
struct TCPropertyCollectionDelete : TStoreFixture {};

struct TCPropertyCollectionCheckData : TStoreFixture {
  TCPropertyCollectionCheckData() { TCCommonPropertyObject::m_CheckData = true; }
  ~TCPropertyCollectionCheckData() override { TCCommonPropertyObject::m_CheckData = false; }
};

char const* const kUnknownChoice =
    "Invalid Value [99] assigned to SiteMode(2010) Choice Field. Default is chosen [Low level]";

}  // namespace

// ---- set: text and number ----

TEST_F(TCPropertyCollectionSet, StoresAMissingValue) {
  TCCommonPropertyObject const& Value = m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_EQ(&Value, Stored(m_Schema.m_SiteName, 5, ""));
  EXPECT_EQ(Value.GetRealValue(), "new");
  EXPECT_EQ(Value.get_Link(), TCRecordID(5));
  EXPECT_TRUE(Value.get_Defined());
  EXPECT_FALSE(Value.get_Loaded());
}

TEST_F(TCPropertyCollectionSet, ChangesAStoredValueInPlace) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteName, 5, "old", "");

  TCCommonPropertyObject const& Answer = m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_EQ(&Answer, Value);
  EXPECT_EQ(Value->GetRealValue(), "new");
  EXPECT_THAT(m_Store.m_Properties, SizeIs(1));
}

TEST_F(TCPropertyCollectionSet, CallsTheHookAndThenNotifies) {
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
  EXPECT_EQ(m_Store.get_Changed().front().GetRealValue(), "new");
  EXPECT_EQ(m_Store.get_Notified().front().first, eNotifyChanged);
  EXPECT_EQ(m_Store.get_Notified().front().second.GetRealValue(), "new");
}

TEST_F(TCPropertyCollectionSet, CallsOutForAChangeToo) {
  Store(m_Schema.m_SiteName, 5, "old", "");

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
}

TEST_F(TCPropertyCollectionSet, CallsOutWithTheLockFree) {
  ProbeLockInHooks();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_TRUE(m_LockFree.at("OnPropertyChanged"));
  EXPECT_TRUE(m_LockFree.at("Notify"));
}

TEST_F(TCPropertyCollectionSet, CallsOutWithTheLockFreeForAChange) {
  Store(m_Schema.m_SiteName, 5, "old", "");
  ProbeLockInHooks();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_TRUE(m_LockFree.at("OnPropertyChanged"));
  EXPECT_TRUE(m_LockFree.at("Notify"));
}

TEST_F(TCPropertyCollectionSet, HandsOutACopy) {
  m_Store.m_OnHook = [this](std::string const& Hook) {
    if (Hook == "OnPropertyChanged") {
      Store(m_Schema.m_SiteName, 5, "from another thread", "");
    }
  };

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_EQ(m_Store.get_Notified().front().second.GetRealValue(), "new");
}

TEST_F(TCPropertyCollectionSet, AnswersAnEqualValueAndCallsNobody) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteName, 5, "same", "");

  TCCommonPropertyObject const& Answer = m_Store.SetProperty(m_Schema.m_SiteName, 5, "same", "");

  EXPECT_EQ(&Answer, Value);
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionSet, TakesTwoEmptyTextsAsEqual) {
  Store(m_Schema.m_SiteName, 5, "", "");

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "", "");

  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionSet, ComparesEveryByte) {
  Store(m_Schema.m_SiteName, 5, std::string("a\0b", 3), "");

  m_Store.SetProperty(m_Schema.m_SiteName, 5, std::string("a\0c", 3), "");

  EXPECT_THAT(m_Store.get_Notified(), SizeIs(1));
}

TEST_F(TCPropertyCollectionSet, TellsOfAnEmptyTextForAMissingValue) {
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "", "");

  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
}

TEST_F(TCPropertyCollectionSet, LeavesTheLoadedMark) {
  Store(m_Schema.m_SiteName, 5, "old", "");

  EXPECT_TRUE(m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "").get_Loaded());
}

TEST_F(TCPropertyCollectionSet, WritesANumberInDecimal) {
  EXPECT_EQ(m_Store.SetProperty(m_Schema.m_Count, 5, -12, "").GetRealValue(), "-12");
}

TEST_F(TCPropertyCollectionSet, TakesAChoiceByItsValueText) {
  EXPECT_EQ(m_Store.SetProperty(m_Schema.m_SiteMode, 5, "high", "").GetRealValue(), "2012");
}

TEST_F(TCPropertyCollectionSet, ComparesAChoiceByItsValueText) {
  Store(m_Schema.m_SiteMode, 5, "2012", "");

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, "high", "");

  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionSet, TakesTheDefaultForAnUnknownChoiceText) {
  Store(m_Schema.m_SiteMode, 5, "2012", "");

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, "medium", "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2011");
  EXPECT_THAT(
      m_Log.get_Warnings(),
      ElementsAre("Invalid Property Value [medium] assigned to SiteMode(2010) Choice Field"));
}

TEST_F(TCPropertyCollectionSet, NormalisesABoolean) {
  EXPECT_EQ(m_Store.SetProperty(m_Schema.m_Flag, 5, "7", "").GetRealValue(), "1");
}

TEST_F(TCPropertyCollectionSet, StoresUnderTheCurrentMACWithoutOne) {
  m_Store.SetProperty(m_Schema.m_Name, 5, "own", "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, kOwnMAC), "own");
  EXPECT_EQ(Stored(m_Schema.m_Name, 5, kOwnMAC)->get_MAC(), TCMACAddress(kOwnMAC));
}

TEST_F(TCPropertyCollectionSet, StoresUnderAnExplicitMAC) {
  m_Store.SetProperty(m_Schema.m_Name, 5, "other", kOtherMAC);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, kOtherMAC), "other");
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Name, 5, ""));
}

TEST_F(TCPropertyCollectionSet, TakesAnEmptyMACAsItIsInTheCore) {
  m_Store.setProperty(m_Schema.m_Name, 5, "none", "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Name, 5, ""), "none");
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
}

TEST_F(TCPropertyCollectionSet, CallsOutInTheCoreToo) {
  m_Store.setProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
}

TEST_F(TCPropertyCollectionSet, CompletesTheSchemaWhenItIsNot) {
  TCBasicPropertyID::m_Initialized = false;

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
}

TEST_F(TCPropertyCollectionSet, HasStoredTheValueWhenTheHookThrows) {
  m_Store.m_OnHook = [](std::string const&) { throw TCException("hook", 1).Format("refused"); };

  TCException const Exception =
      CaughtException([this] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", ""); });

  EXPECT_EQ(Exception.get_Message(), "refused");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "new");
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged"));
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSet, KeepsNoTextForAChoiceFieldWithoutChoices) {
  auto& Bare = *new TCPropertyID("Bare", 9001, "", TCNullTypes<int>(), 0x10);
  Bare.set_Type(Property::eComboField);

  m_Store.SetProperty(Bare, 5, "text", "");

  EXPECT_EQ(m_Store.getPropertyData(Bare, 5, ""), "");
  EXPECT_EQ(m_Store.GetProperty(Bare, 5, "").get_AsString(), "");
}

TEST_F(TCPropertyCollectionSet, TakesTheTextOfTheValueItself) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteMode, 5, "99999", "");

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, Value->GetRealValue(), "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2011");
}

// ---- set: choice ----

TEST_F(TCPropertyCollectionSetChoice, StoresTheChoicesNumberAndCallsOut) {
  TCCommonPropertyObject const& Value =
      m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_EQ(&Value, Stored(m_Schema.m_SiteMode, 5, ""));
  EXPECT_EQ(Value.GetRealValue(), "2012");
  EXPECT_TRUE(Value.get_Loaded());
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
  EXPECT_EQ(m_Store.get_Notified().front().first, eNotifyChanged);
  EXPECT_EQ(m_Store.get_Changed().front().GetRealValue(), "2012");
}

TEST_F(TCPropertyCollectionSetChoice, ChangesAStoredChoice) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteMode, 5, "2011", "");

  TCCommonPropertyObject const& Answer =
      m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_EQ(&Answer, Value);
  EXPECT_EQ(Value->GetRealValue(), "2012");
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
}

TEST_F(TCPropertyCollectionSetChoice, AnswersAnEqualNumberAndCallsNobody) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteMode, 5, "2012", "");

  TCCommonPropertyObject const& Answer =
      m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_EQ(&Answer, Value);
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionSetChoice, ComparesTheRawTextAndNotTheNumber) {
  Store(m_Schema.m_SiteMode, 5, "02012", "");

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2012");
  EXPECT_THAT(m_Store.get_Notified(), SizeIs(1));
}

TEST_F(TCPropertyCollectionSetChoice, StoresTheDefaultForAnotherFieldsChoice) {
  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_OffID, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteMode, 5, ""), "2011");
  EXPECT_THAT(m_Log.get_Warnings(),
              ElementsAre("Invalid Value [1011] assigned to SiteMode(2010) Choice Field. "
                          "Default is chosen [Low level]"));
}

TEST_F(TCPropertyCollectionSetChoice, StoresUnderTheCurrentMACWithoutOne) {
  m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Mode, 5, kOwnMAC), "1011");
  EXPECT_THAT(m_Store.m_Properties, SizeIs(1));
}

TEST_F(TCPropertyCollectionSetChoice, MakesANewValueUnderTheCurrentMACWhateverIsGiven) {
  TCCommonPropertyObject const& Value =
      m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, kOtherMAC);

  EXPECT_EQ(Value.get_MAC(), TCMACAddress(kOwnMAC));
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Mode, 5, kOwnMAC), "1011");
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Mode, 5, kOtherMAC));
  EXPECT_EQ(m_Store.get_Changed().front().get_MAC(), TCMACAddress(kOwnMAC));
}

TEST_F(TCPropertyCollectionSetChoice, ChangesAStoredChoiceOfAnotherDevice) {
  Store(m_Schema.m_Mode, 5, "1012", kOtherMAC);

  m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, kOtherMAC);

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_Mode, 5, kOtherMAC), "1011");
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Mode, 5, kOwnMAC));
}

TEST_F(TCPropertyCollectionSetChoice, ChangesTheCurrentDevicesValueWhenAnotherDeviceHasNone) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_Mode, 5, "1012", kOwnMAC);

  TCCommonPropertyObject const& Answer =
      m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, kOtherMAC);

  EXPECT_EQ(&Answer, Value);
  EXPECT_EQ(Value->GetRealValue(), "1011");
  EXPECT_THAT(m_Store.m_Properties, SizeIs(1));
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
}

TEST_F(TCPropertyCollectionSetChoice, AnswersTheCurrentDevicesEqualValueWhenAnotherDeviceHasNone) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_Mode, 5, "1011", kOwnMAC);

  TCCommonPropertyObject const& Answer =
      m_Store.SetProperty(m_Schema.m_Mode, 5, m_Schema.m_OffID, kOtherMAC);

  EXPECT_EQ(&Answer, Value);
  EXPECT_THAT(m_Store.m_Properties, SizeIs(1));
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionSetChoice, CallsOutWithTheLockFree) {
  ProbeLockInHooks();

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_TRUE(m_LockFree.at("OnPropertyChanged"));
  EXPECT_TRUE(m_LockFree.at("Notify"));
}

TEST_F(TCPropertyCollectionSetChoice, CallsOutWithTheLockFreeForAChange) {
  Store(m_Schema.m_SiteMode, 5, "2011", "");
  ProbeLockInHooks();

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_TRUE(m_LockFree.at("OnPropertyChanged"));
  EXPECT_TRUE(m_LockFree.at("Notify"));
}

TEST_F(TCPropertyCollectionSetChoice, CompletesTheSchemaWhenItIsNot) {
  TCBasicPropertyID::m_Initialized = false;

  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
}

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

// ---- delete ----

TEST_F(TCPropertyCollectionDelete, RemovesAValueAndNotifies) {
  Store(m_Schema.m_SiteName, 5, "text", "");

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("Notify"));
  EXPECT_EQ(m_Store.get_Notified().front().first, eNotifyDeleted);
  EXPECT_EQ(m_Store.get_Notified().front().second.GetRealValue(), "text");
}

TEST_F(TCPropertyCollectionDelete, DoesNothingForAMissingValue) {
  Store(m_Schema.m_SiteName, 6, "other", "");

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Store.m_Properties, SizeIs(1));
  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDelete, NotifiesWithTheLockHeldBeforeItRemoves) {
  Store(m_Schema.m_SiteName, 5, "text", "");
  bool Exists = false;
  bool Free = true;
  m_Store.m_OnHook = [&](std::string const&) {
    Free = IsStoreFree();
    Exists = m_Store.ExistProperty(m_Schema.m_SiteName, 5, "");
  };

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_TRUE(Exists);
  EXPECT_FALSE(Free);
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDelete, KeepsTheValueWhenANotifierThrows) {
  Store(m_Schema.m_SiteName, 5, "text", "");
  m_Store.m_OnHook = [](std::string const&) { throw TCException("hook", 1).Format("refused"); };

  TCException const Exception =
      CaughtException([this] { m_Store.DeleteProperty(m_Schema.m_SiteName, 5, ""); });

  EXPECT_EQ(Exception.get_Message(), "refused");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "text");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDelete, SurvivesANotifierThatDeletesTheSameValue) {
  Store(m_Schema.m_SiteName, 5, "text", "");
  m_Store.m_OnHook = [this](std::string const&) {
    m_Store.m_OnHook = nullptr;
    m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");
  };

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(m_Store.get_Notified(), SizeIs(2));
}

TEST_F(TCPropertyCollectionDelete, TakesTheCurrentMACWithoutOne) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);

  m_Store.DeleteProperty(m_Schema.m_Name, 5, "");

  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOtherMAC));
}

TEST_F(TCPropertyCollectionDelete, KeepsTheObjectForHeldReferences) {
  TCCommonPropertyObject const& Held = m_Store.SetProperty(m_Schema.m_SiteName, 5, "held", "");

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_EQ(Held.GetRealValue(), "held");
}

TEST_F(TCPropertyCollectionDelete, IsFollowedByAFreshValueInTheSameObject) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteName, 5, "old", "");
  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  TCCommonPropertyObject const& Answer = m_Store.SetProperty(m_Schema.m_SiteName, 5, "", "");

  EXPECT_EQ(&Answer, Value);
  EXPECT_EQ(Value->GetRealValue(), "");
  EXPECT_FALSE(Value->get_Loaded());
  EXPECT_TRUE(Value->get_Defined());
}

TEST_F(TCPropertyCollectionDelete, LetsEveryRoadUseTheObjectAgain) {
  TCCommonPropertyObject const* const Value = Store(m_Schema.m_SiteMode, 5, "2011", "");
  auto const Delete = [this] { m_Store.DeleteProperty(m_Schema.m_SiteMode, 5, ""); };

  Delete();
  EXPECT_EQ(&m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, ""), Value);
  Delete();
  EXPECT_EQ(m_Store.LoadProperty(m_Schema.m_SiteMode, "2012", 5, ""), Value);
  Delete();
  EXPECT_EQ(m_Store.UpdateProperty(m_Schema.m_SiteMode, 5, "2012", ""), Value);
  Delete();
  m_Store.UpdateProperty(m_Schema.m_SiteMode, 5, "2012", true, "");
  EXPECT_EQ(Stored(m_Schema.m_SiteMode, 5, ""), Value);
  Delete();
  m_Store.LoadProperty(TCCommonPropertyObject(m_Schema.m_SiteMode, 5, ""));
  EXPECT_EQ(Stored(m_Schema.m_SiteMode, 5, ""), Value);
}

TEST_F(TCPropertyCollectionDelete, LetsTheRemovedValuesOwnTextBeStoredAgain) {
  TCCommonPropertyObject const& Held = m_Store.SetProperty(m_Schema.m_SiteName, 5, "held", "");

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");
  m_Store.LoadProperty(m_Schema.m_SiteName, Held.GetRealValue(), 5, "");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "held");

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");
  m_Store.SetProperty(m_Schema.m_SiteName, 5, Held.GetRealValue(), "");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "held");

  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");
  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, Held.GetRealValue(), true, "");
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "held");
}

// ---- delete by link ----

TEST_F(TCPropertyCollectionDelete, RemovesEveryPropertyOfALink) {
  Store(m_Schema.m_Name, 5, "a", kOwnMAC);
  Store(m_Schema.m_SiteName, 5, "b", "");
  Store(m_Schema.m_PlantName, 5, "c", "");
  Store(m_Schema.m_Loose, 5, "d", "");
  Store(m_Schema.m_SiteName, 6, "stays", "");

  m_Store.DeletePropertiesLinkedTo(5, TCNullTypes<int>(), "");

  EXPECT_THAT(m_Store.m_Properties, SizeIs(1));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_SiteName, 6, ""));
}

TEST_F(TCPropertyCollectionDelete, NotifiesOfALinksPropertiesInKeyOrder) {
  Store(m_Schema.m_PlantName, 5, "c", "");
  Store(m_Schema.m_Name, 5, "a", kOwnMAC);
  Store(m_Schema.m_SiteName, 5, "b", "");

  m_Store.DeletePropertiesLinkedTo(5, TCNullTypes<int>(), "");

  std::string Order;
  for (TTestStore::TNotification const& Notification : m_Store.get_Notified()) {
    EXPECT_EQ(Notification.first, eNotifyDeleted);
    Order += Notification.second.GetRealValue();
  }
  EXPECT_EQ(Order, "abc");
}

TEST_F(TCPropertyCollectionDelete, RemovesOnlyOneClassOfALink) {
  Store(m_Schema.m_SiteName, 5, "class 2", "");
  Store(m_Schema.m_PlantName, 5, "class 5", "");
  Store(m_Schema.m_Loose, 5, "no class", "");

  m_Store.DeletePropertiesLinkedTo(5, TCNullTypes<int>(5), "");

  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_PlantName, 5, ""));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Loose, 5, ""));
}

TEST_F(TCPropertyCollectionDelete, DoesNotTakeAMissingClassForClassZero) {
  Store(m_Schema.m_Loose, 5, "no class", "");

  m_Store.DeletePropertiesLinkedTo(5, TCNullTypes<int>(0), "");

  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Loose, 5, ""));
}

TEST_F(TCPropertyCollectionDelete, RemovesTheCurrentDevicesValuesOfALink) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);

  m_Store.DeletePropertiesLinkedTo(5, TCNullTypes<int>(), "");

  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOtherMAC));
  EXPECT_THAT(m_Store.get_Notified(), SizeIs(1));
}

TEST_F(TCPropertyCollectionDelete, RemovesTheGivenDevicesValuesOfALink) {
  Store(m_Schema.m_Name, 5, "own", kOwnMAC);
  Store(m_Schema.m_Name, 5, "other", kOtherMAC);
  Store(m_Schema.m_SiteName, 5, "all devices", "");

  m_Store.DeletePropertiesLinkedTo(5, TCNullTypes<int>(), kOtherMAC);

  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOwnMAC));
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Name, 5, kOtherMAC));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
}

TEST_F(TCPropertyCollectionDelete, RemovesTheNullLinksProperties) {
  Store(m_Schema.m_SiteName, TCRecordID(), "null", "");
  Store(m_Schema.m_SiteName, 5, "five", "");

  m_Store.DeletePropertiesLinkedTo(TCRecordID(), TCNullTypes<int>(), "");

  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, TCRecordID(), ""));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_SiteName, 5, ""));
}
