// SPDX-License-Identifier: MIT
// The store's life, and which properties are system-wide.
#include "CommonProperties/TCPropertyCollection.h"

#include <memory>

#include "CommonProperties/TCPropertyInitOverride.h"
#include "StoreFixture.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::TCBasicPropertyID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyID;
using Property::TCPropertyKey;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionSingleton : TSchemaFixture {};
struct TCPropertyCollectionLife : TStoreFixture {};
struct TCPropertyCollectionSystemWide : TStoreFixture {};

/// A store that does nothing of its own, not even when it is destroyed.
class TBareStore : public TCPropertyCollection {
 public:
  using TCPropertyCollection::m_Instance;
  using TCPropertyCollection::m_Properties;
  std::list<TCCommonPropertyObject> DoLoadPropertyList(TCPropertyID const&) override { return {}; }
};

/// Fails after the store that it derives from is registered.
class TFailingStore : public TBareStore {
 public:
  TFailingStore() { throw TCException("TFailingStore", 1).Format("no descriptor"); }
};

/// A value that notes its end.
class TNotedValue : public TCCommonPropertyObject {
 public:
  TNotedValue(TCPropertyID const& ID, TCRecordID const& Link, std::vector<int>& Ends)
      : TCCommonPropertyObject(ID, Link, ""), m_Ends(Ends) {}
  ~TNotedValue() override { m_Ends.push_back(get_Link().get_AsInteger()); }

 private:
  std::vector<int>& m_Ends;
};

template <class TStore>
void Place(TStore& Store, TCCommonPropertyObject* Value) {
  Store.m_Properties.emplace(TCPropertyKey(Value->get_ID(), Value->get_Link(), Value->get_MAC()),
                             Value);
}

}  // namespace

// ---- the singleton ----

TEST_F(TCPropertyCollectionSingleton, IsNotCreatedByAskingForIt) {
  TCException const Exception = CaughtException([] { TCPropertyCollection::get(); });

  ExpectStoreException(Exception, "m_Instance!=__null", "Property collection has not been created");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSingleton, IsTheFirstStoreConstructed) {
  TTestStore Store;

  EXPECT_EQ(TCPropertyCollection::get(), &Store);
}

TEST_F(TCPropertyCollectionSingleton, StaysTheFirstWhenASecondIsConstructed) {
  TTestStore Store;
  Store.UpdateProperty(m_Schema.m_SiteName, 5, "kept", "");

  TCException const Exception = CaughtException([] { TTestStore Second; });

  ExpectStoreException(Exception, "m_Instance==__null",
                       "Property collection has already been created");
  EXPECT_EQ(TCPropertyCollection::get(), &Store);
  EXPECT_EQ(Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "kept");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSingleton, CompletesTheSchemaAtItsConstruction) {
  ASSERT_FALSE(TCBasicPropertyID::m_Initialized);

  TTestStore Store;

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
  EXPECT_EQ(m_Schema.m_Name.get_ClassID(), TCNullTypes<int>(1));
}

TEST_F(TCPropertyCollectionSingleton, IsNotRegisteredWhenTheSchemaIsInvalid) {
  new TCPropertyID("Untyped", 9000, "", TCNullTypes<int>(), 0x01);

  TCException const Exception = CaughtException([] { TTestStore Store; });

  EXPECT_EQ(Exception.get_Message(), "Property Untyped(9000) Field does not specify Field Type");
  EXPECT_EQ(TTestStore::m_Instance, nullptr);
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSingleton, IsNotRegisteredWhenASubclassCanNotBeConstructed) {
  EXPECT_THROW(TFailingStore(), TCException);

  EXPECT_EQ(TBareStore::m_Instance, nullptr);
  TCException const Exception = CaughtException([] { TCPropertyCollection::get(); });
  ExpectStoreException(Exception, "m_Instance!=__null", "Property collection has not been created");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSingleton, CanBeConstructedAfterASubclassCouldNot) {
  EXPECT_THROW(TFailingStore(), TCException);

  TTestStore Store;

  EXPECT_EQ(TCPropertyCollection::get(), &Store);
  SetProperty(m_Schema.m_SiteName, "works");
  EXPECT_EQ(GetProperty(m_Schema.m_SiteName).GetRealValue(), "works");
}

TEST_F(TCPropertyCollectionSingleton,
       IsNotRegisteredWhenItCanNotBeConstructedDuringAnotherFailure) {
  struct TEnd {
    ~TEnd() {
      EXPECT_THROW(TFailingStore(), TCException);
      EXPECT_EQ(TBareStore::m_Instance, nullptr);
      m_Store = new TTestStore;
    }
    TTestStore*& m_Store;
  };
  TTestStore* Store = nullptr;

  try {
    TEnd const End{Store};
    throw TCException("Test", 1);
  } catch (TCException const&) {
    EXPECT_EQ(TCPropertyCollection::get(), Store);
  }

  std::unique_ptr<TTestStore> const Owner(Store);
}

TEST_F(TCPropertyCollectionSingleton, StaysTheFirstWhenASecondCanNotBeConstructed) {
  TTestStore Store;

  EXPECT_THROW(TFailingStore(), TCException);

  EXPECT_EQ(TCPropertyCollection::get(), &Store);
}

TEST_F(TCPropertyCollectionSingleton, TakesTheDevicesOwnMACAtItsConstruction) {
  TTestStore Store;

  TCMACAddress::SetOwn(TCMACAddress(kOtherMAC));

  EXPECT_EQ(TTestStore::m_OwnMACAddress, "00:11:22:33:44:55");
}

TEST_F(TCPropertyCollectionSingleton, HoldsTheLockWhileItCompletesTheSchema) {
  struct TProbe : Property::TCPropertyInitOverride {
    explicit TProbe(TCBasicPropertyID* Node) : TCPropertyInitOverride(Node) {}
    void DoInitialize() override { m_Free = IsStoreFree(); }
    bool m_Free = true;
  };
  auto& Probe = *new TProbe(&m_Schema.m_Name);

  TTestStore Store;

  EXPECT_FALSE(Probe.m_Free);
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionSingleton, BeginsEmptyAndNotReady) {
  TTestStore Store;

  EXPECT_THAT(Store.m_Properties, IsEmpty());
  EXPECT_THAT(Store.m_Validators, IsEmpty());
  EXPECT_THAT(TTestStore::m_SessionList, IsEmpty());
  EXPECT_THAT(TTestStore::m_Transactions, IsEmpty());
  EXPECT_EQ(TTestStore::m_Notifiers, nullptr);
  EXPECT_EQ(TTestStore::m_FPGetCurrentSession, nullptr);
  EXPECT_FALSE(TTestStore::m_Ready);
}

TEST_F(TCPropertyCollectionSingleton, StaysRegisteredAndKeepsItsValuesAliveWhenDestroyed) {
  auto Store = std::make_unique<TBareStore>();
  TCPropertyCollection const* const Address = Store.get();
  std::unique_ptr<TCCommonPropertyObject> const Value(
      Store->UpdateProperty(m_Schema.m_SiteName, 5, "alive", ""));

  Store.reset();

  EXPECT_EQ(TBareStore::m_Instance, Address);
  EXPECT_EQ(Value->GetRealValue(), "alive");
}

TEST_F(TCPropertyCollectionSingleton, FreesItsRemovedValuesWhenDestroyed) {
  std::vector<int> Ends;
  auto Store = std::make_unique<TBareStore>();
  Place(*Store, new TNotedValue(m_Schema.m_SiteName, 5, Ends));
  Store->DeleteProperty(m_Schema.m_SiteName, 5, "");
  ASSERT_THAT(Ends, IsEmpty());

  Store.reset();

  EXPECT_THAT(Ends, ElementsAre(5));
}

// ---- emptying ----

TEST_F(TCPropertyCollectionLife, ClearDeletesEveryValueInKeyOrder) {
  std::vector<int> Ends;
  Place(m_Store, new TNotedValue(m_Schema.m_SiteName, 9, Ends));
  Place(m_Store, new TNotedValue(m_Schema.m_SiteName, 5, Ends));
  Place(m_Store, new TNotedValue(m_Schema.m_Name, 7, Ends));

  m_Store.Clear();

  EXPECT_THAT(Ends, ElementsAre(7, 5, 9));
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
}

TEST_F(TCPropertyCollectionLife, ClearCallsNoHook) {
  Store(m_Schema.m_SiteName, 5, "x", "");

  m_Store.Clear();

  EXPECT_THAT(m_Store.get_Calls(), IsEmpty());
}

TEST_F(TCPropertyCollectionLife, ClearFreesRemovedValues) {
  std::vector<int> Ends;
  Place(m_Store, new TNotedValue(m_Schema.m_SiteName, 5, Ends));
  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  m_Store.Clear();

  EXPECT_THAT(Ends, ElementsAre(5));
}

TEST_F(TCPropertyCollectionLife, ClearedStoreTakesValuesAgain) {
  Store(m_Schema.m_SiteName, 5, "before", "");

  m_Store.Clear();
  Store(m_Schema.m_SiteName, 5, "after", "");

  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "after");
}

// ---- system-wide properties ----

TEST_F(TCPropertyCollectionSystemWide, IsWhatBelongsToNoDeviceLinkedClass) {
  EXPECT_FALSE(TCPropertyCollection::IsSystemWideProperty(TCNullTypes<int>(1)));
  EXPECT_TRUE(TCPropertyCollection::IsSystemWideProperty(TCNullTypes<int>(2)));
  EXPECT_FALSE(TCPropertyCollection::IsSystemWideProperty(m_Schema.m_Name));
  EXPECT_TRUE(TCPropertyCollection::IsSystemWideProperty(m_Schema.m_SiteName));
}

TEST_F(TCPropertyCollectionSystemWide, TestsANullClassAsClassZero) {
  EXPECT_TRUE(TCPropertyCollection::IsSystemWideProperty(TCNullTypes<int>()));
  EXPECT_TRUE(TCPropertyCollection::IsSystemWideProperty(m_Schema.m_Loose));
}

TEST_F(TCPropertyCollectionSystemWide, ThrowsForAnUnknownClass) {
  TCException const Exception =
      CaughtException([] { TCPropertyCollection::IsSystemWideProperty(TCNullTypes<int>(6)); });

  EXPECT_EQ(Exception.get_Message(), "Property Container 6 have no Orvane link specification");
}

TEST_F(TCPropertyCollectionSystemWide, AsksTheDefinitionsOwnClassAndNoInheritedOne) {
  TCPropertyID& Late = *new TCPropertyID("Late", 1099, "", 1000, 0x20);

  EXPECT_EQ(Late.get_classid(), TCNullTypes<int>(1));
  EXPECT_TRUE(TCPropertyCollection::IsSystemWideProperty(Late));
  EXPECT_EQ(TCPropertyCollection::GetCurrentMAC(Late), "");
}

TEST_F(TCPropertyCollectionSystemWide, ListsTheSystemWideClassesWithoutNull) {
  ASSERT_EQ(TCBasicPropertyID::m_Classlist.count(TCNullTypes<int>()), 1u);
  ASSERT_EQ(TCBasicPropertyID::m_Classlist.count(TCNullTypes<int>(1)), 1u);

  EXPECT_THAT(TCPropertyCollection::GetSystemwideClassIDs(),
              ElementsAre(TCRecordID(2), TCRecordID(5)));
}

TEST_F(TCPropertyCollectionSystemWide, MapsFunctionsToClasses) {
  EXPECT_EQ(TCPropertyCollection::GetClassIDForWPFunction(23), TCNullTypes<int>(44));
  EXPECT_EQ(TCPropertyCollection::GetClassIDForWPFunction(24), TCNullTypes<int>(47));
  EXPECT_EQ(TCPropertyCollection::GetClassIDForWPFunction(101), TCNullTypes<int>(107));
  EXPECT_EQ(TCPropertyCollection::GetClassIDForWPFunction(102), TCNullTypes<int>(108));
  EXPECT_EQ(TCPropertyCollection::GetClassIDForWPFunction(103), TCNullTypes<int>(110));
  EXPECT_EQ(TCPropertyCollection::GetClassIDForWPFunction(104), TCNullTypes<int>(109));
}

TEST_F(TCPropertyCollectionSystemWide, MapsEveryOtherFunctionToNull) {
  for (int const Function : {-1, 0, 1, 22, 25, 44, 100, 105, 107, 110}) {
    EXPECT_TRUE(TCPropertyCollection::GetClassIDForWPFunction(Function).IsNull()) << Function;
  }
}
