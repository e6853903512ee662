// SPDX-License-Identifier: MIT
// The store's roads for values that the program sets: text, number and choice.
#include "CommonProperties/TCPropertyCollection.h"
#include "StoreFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::TCBasicPropertyID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

struct TCPropertyCollectionSet : TStoreFixture {};
struct TCPropertyCollectionSetChoice : TStoreFixture {};

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
