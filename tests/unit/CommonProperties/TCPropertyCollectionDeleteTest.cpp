// SPDX-License-Identifier: MIT
// Values that leave the store, one by one and with their record.
#include "CommonProperties/TCPropertyCollection.h"
#include "StoreFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::eNotifyDeleted;
using Property::TCCommonPropertyObject;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

struct TCPropertyCollectionDelete : TStoreFixture {};

}  // namespace

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
