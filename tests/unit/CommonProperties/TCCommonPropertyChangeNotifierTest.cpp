// SPDX-License-Identifier: MIT
// Who is told of a change, what arrives in the queue, and when the hook runs.
#include "CommonProperties/TCCommonPropertyChangeNotifier.h"

#include <iterator>
#include <memory>
#include <set>

#include "StoreFixture.h"
#include "TestNotifier.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;
using Property::eNotifyChanged;
using Property::eNotifyDeleted;
using Property::TCCommonPropertyChangeNotifier;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyID;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::SizeIs;

namespace {

using TLink = TCCommonPropertyChangeNotifier::TCClassGroupLink;

struct TCCommonPropertyChangeNotifierTest : TStoreFixture {};
struct TCClassGroupLinkTest : TStoreFixture {};

/// Has no hook of its own.
class TDeafNotifier : public TCCommonPropertyChangeNotifier {
 public:
  using TCCommonPropertyChangeNotifier::m_Queue;
};

void ExpectNoHook(TCException const& Exception) {
  EXPECT_EQ(Exception.get_Source(), "../CommonProperties/TCCommonPropertyChangeNotifier");
  EXPECT_EQ(Exception.get_Line(), 122);
  EXPECT_EQ(Exception.get_Condition(), "OnPropQueued() == true");
  EXPECT_EQ(Exception.get_Message(), "No method for fetching changes");
}

}  // namespace

// ---- registration ----

TEST_F(TCCommonPropertyChangeNotifierTest, ReceivesNothingUntilEnabled) {
  TTestNotifier Notifier;

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_FALSE(Notifier.get_Enabled());
  EXPECT_THAT(Notifier.get_Entries(), IsEmpty());
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsRegisteredByEnable) {
  TTestNotifier Notifier;

  Notifier.Enable();

  EXPECT_TRUE(Notifier.get_Enabled());
  EXPECT_THAT(*TTestStore::m_Notifiers, ElementsAre(&Notifier));
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsRegisteredOnceWhenEnabledTwice) {
  TTestNotifier Notifier;
  Notifier.Enable();
  Notifier.Enable();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(*TTestStore::m_Notifiers, SizeIs(1));
  EXPECT_THAT(Notifier.get_Entries(), SizeIs(1));
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsSkippedWhileItIsAddedButNotEnabled) {
  TTestNotifier Notifier;
  TCPropertyCollection::AddNotifier(&Notifier);

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(Notifier.get_Entries(), IsEmpty());
}

TEST_F(TCCommonPropertyChangeNotifierTest, LeavesTheStoreWhenDestroyed) {
  {
    TTestNotifier Notifier;
    Notifier.Enable();
  }

  EXPECT_THAT(*TTestStore::m_Notifiers, IsEmpty());
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");
}

TEST_F(TCCommonPropertyChangeNotifierTest, LeavesTheStoreByTheBaseAlone) {
  { TDeafNotifier().Enable(); }

  EXPECT_THAT(*TTestStore::m_Notifiers, IsEmpty());
}

TEST_F(TCCommonPropertyChangeNotifierTest, MayBeRemovedWhenNobodyWasEverAdded) {
  ASSERT_EQ(TTestStore::m_Notifiers, nullptr);

  { TTestNotifier Notifier; }

  EXPECT_EQ(TTestStore::m_Notifiers, nullptr);
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsNotPartOfTheStoresLife) {
  TTestNotifier Notifier;
  Notifier.Enable();

  m_Store.Clear();
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(Notifier.get_Entries(), SizeIs(1));
}

// ---- what arrives ----

TEST_F(TCCommonPropertyChangeNotifierTest, QueuesEveryKindOfChangeInOrder) {
  TTestNotifier Notifier;
  Notifier.Enable();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "set", "");
  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "updated", true, "");
  m_Store.LoadProperty(m_Schema.m_SiteName, "loaded", 5, "");
  m_Store.SetProperty(m_Schema.m_SiteMode, 5, m_Schema.m_HighID, "");
  m_Store.DeleteProperty(m_Schema.m_SiteName, 5, "");

  EXPECT_THAT(Notifier.get_Entries(),
              ElementsAre(Pair("set", eNotifyChanged), Pair("updated", eNotifyChanged),
                          Pair("loaded", eNotifyChanged), Pair("2012", eNotifyChanged),
                          Pair("loaded", eNotifyDeleted)));
}

TEST_F(TCCommonPropertyChangeNotifierTest, NumbersTheKindsOfChange) {
  EXPECT_EQ(static_cast<int>(eNotifyChanged), 1);
  EXPECT_EQ(static_cast<int>(eNotifyDeleted), 2);
}

TEST_F(TCCommonPropertyChangeNotifierTest, QueuesACopy) {
  TTestNotifier Notifier;
  Notifier.Enable();

  m_Store.UpdateProperty(m_Schema.m_Name, 5, "then", true, kOtherMAC);
  Store(m_Schema.m_Name, 5, "now", kOtherMAC);

  TCCommonPropertyObject const Copy = Notifier.m_Queue.front().first;
  EXPECT_EQ(Copy.GetRealValue(), "then");
  EXPECT_EQ(&Copy.get_ID(), &m_Schema.m_Name);
  EXPECT_EQ(Copy.get_Link(), TCRecordID(5));
  EXPECT_EQ(Copy.get_MAC(), TCMACAddress(kOtherMAC));
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsNotToldOfSilentWrites) {
  TTestNotifier Notifier;
  Notifier.Enable();

  m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "silent", "");
  m_Store.LoadProperty(TCCommonPropertyObject(m_Schema.m_SiteName, 6, ""));
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "silent", "");
  m_Store.Clear();

  EXPECT_THAT(Notifier.get_Entries(), IsEmpty());
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsOneOfSeveralToldInAddressOrder) {
  TTestNotifier Notifiers[3];
  std::vector<TTestNotifier*> Order;
  for (TTestNotifier& Notifier : Notifiers) {
    Notifier.m_OnQueued = [&Order, &Notifier] { Order.push_back(&Notifier); };
  }
  Notifiers[2].Enable();
  Notifiers[0].Enable();
  Notifiers[1].Enable();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(Order, ElementsAre(&Notifiers[0], &Notifiers[1], &Notifiers[2]));
}

// ---- the hook ----

TEST_F(TCCommonPropertyChangeNotifierTest, IsToldAfterTheEntryIsQueued) {
  TTestNotifier Notifier;
  std::size_t Queued = 0;
  Notifier.m_OnQueued = [&] { Queued = Notifier.m_Queue.size(); };
  Notifier.Enable();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_EQ(Queued, 1u);
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsToldWithTheStoresLockHeldAndItsOwnFree) {
  TTestNotifier Notifier;
  bool StoreFree = true;
  bool OwnFree = false;
  Notifier.m_OnQueued = [&] {
    StoreFree = IsStoreFree();
    OwnFree = IsFree(Notifier.m_Lock);
  };
  Notifier.Enable();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_FALSE(StoreFree);
  EXPECT_TRUE(OwnFree);
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCCommonPropertyChangeNotifierTest, IsToldOnTheThreadThatMadeTheChange) {
  TTestNotifier Notifier;
  std::thread::id Told;
  std::thread::id Changed;
  Notifier.m_OnQueued = [&] { Told = std::this_thread::get_id(); };
  Notifier.Enable();

  OnAnotherThread([&] {
    Changed = std::this_thread::get_id();
    m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");
  });

  EXPECT_EQ(Told, Changed);
}

TEST_F(TCCommonPropertyChangeNotifierTest, MakesTheChangeThrowWithoutAHook) {
  TDeafNotifier Notifier;
  Notifier.Enable();

  TCException const Exception =
      CaughtException([this] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", ""); });

  ExpectNoHook(Exception);
  EXPECT_EQ(m_Store.getPropertyData(m_Schema.m_SiteName, 5, ""), "new");
  ASSERT_THAT(Notifier.m_Queue, SizeIs(1));
  EXPECT_EQ(Notifier.m_Queue.front().first.GetRealValue(), "new");
  EXPECT_EQ(Notifier.m_Queue.front().second, eNotifyChanged);
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCCommonPropertyChangeNotifierTest, MakesTheChangeThrowWhenTheHookRefuses) {
  TTestNotifier Notifier;
  Notifier.m_Answer = false;
  Notifier.Enable();

  TCException const Exception =
      CaughtException([this] { m_Store.UpdateProperty(m_Schema.m_SiteName, 5, "new", true, ""); });

  ExpectNoHook(Exception);
  EXPECT_THAT(Notifier.get_Entries(), SizeIs(1));
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCCommonPropertyChangeNotifierTest, EndsTheWalkWhenItThrows) {
  TTestNotifier Notifiers[2];
  Notifiers[0].m_Answer = false;
  Notifiers[0].Enable();
  Notifiers[1].Enable();

  CaughtException([this] { m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", ""); });

  EXPECT_THAT(Notifiers[0].get_Entries(), SizeIs(1));
  EXPECT_THAT(Notifiers[1].get_Entries(), IsEmpty());
}

TEST_F(TCCommonPropertyChangeNotifierTest, TakesAPushWithoutBeingEnabled) {
  TTestNotifier Notifier;

  Notifier.Push(eNotifyDeleted, TCCommonPropertyObject(m_Schema.m_SiteName, 5, ""));

  EXPECT_THAT(Notifier.get_Entries(), ElementsAre(Pair("", eNotifyDeleted)));
}

TEST_F(TCCommonPropertyChangeNotifierTest, MayWriteToTheStoreFromItsHook) {
  TTestNotifier Notifier;
  Notifier.m_OnQueued = [this] { m_Store.SetProperty(m_Schema.m_PlantName, 5, "echo", ""); };
  Notifier.Enable();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(Notifier.get_Entries(),
              ElementsAre(Pair("new", eNotifyChanged), Pair("echo", eNotifyChanged)));
}

TEST_F(TCCommonPropertyChangeNotifierTest, MayRemoveItselfAndDestroyOthersFromItsHook) {
  std::map<TCCommonPropertyChangeNotifier*, std::unique_ptr<TTestNotifier>> Notifiers;
  for (int Count = 0; Count < 3; ++Count) {
    auto Notifier = std::make_unique<TTestNotifier>();
    Notifier->Enable();
    Notifiers[Notifier.get()] = std::move(Notifier);
  }
  TTestNotifier& First = *Notifiers.begin()->second;
  First.m_OnQueued = [&] {
    TCPropertyCollection::DelNotifier(&First);
    Notifiers.erase(std::next(Notifiers.begin()), Notifiers.end());
  };

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "new", "");

  EXPECT_THAT(First.get_Entries(), SizeIs(1));
  EXPECT_THAT(Notifiers, SizeIs(1));
  EXPECT_THAT(*TTestStore::m_Notifiers, IsEmpty());
}

TEST_F(TCCommonPropertyChangeNotifierTest, MayEnableOthersFromItsHook) {
  TTestNotifier Notifiers[2];
  Notifiers[0].m_OnQueued = [&] { Notifiers[1].Enable(); };
  Notifiers[0].Enable();

  m_Store.SetProperty(m_Schema.m_SiteName, 5, "first", "");
  m_Store.SetProperty(m_Schema.m_SiteName, 5, "second", "");

  EXPECT_THAT(Notifiers[0].get_Entries(), SizeIs(2));
  EXPECT_EQ(Notifiers[1].get_Entries().back().first, "second");
}

// ---- classes and groups ----

TEST_F(TCClassGroupLinkTest, IsAddedForTheClassAndTheParentOfAnObject) {
  std::set<TLink> Links;

  TCCommonPropertyChangeNotifier::Insert(TCCommonPropertyObject(m_Schema.m_SiteName, 5, ""), Links);

  ASSERT_THAT(Links, SizeIs(2));
  EXPECT_EQ(Links.begin()->get_ID(), 2);
  EXPECT_EQ(Links.begin()->get_Link(), TCRecordID(5));
  EXPECT_EQ(Links.rbegin()->get_ID(), 2000);
  EXPECT_EQ(Links.rbegin()->get_Link(), TCRecordID(5));
}

TEST_F(TCClassGroupLinkTest, IsAddedOnce) {
  std::set<TLink> Links;
  TCCommonPropertyObject const Object(m_Schema.m_SiteName, 5, "");

  TCCommonPropertyChangeNotifier::Insert(Object, Links);
  TCCommonPropertyChangeNotifier::Insert(Object, Links);

  EXPECT_THAT(Links, SizeIs(2));
}

TEST_F(TCClassGroupLinkTest, IsAddedForEachLink) {
  std::set<TLink> Links;

  TCCommonPropertyChangeNotifier::Insert(TCCommonPropertyObject(m_Schema.m_SiteName, 5, ""), Links);
  TCCommonPropertyChangeNotifier::Insert(TCCommonPropertyObject(m_Schema.m_SiteName, 6, ""), Links);

  EXPECT_THAT(Links, SizeIs(4));
}

TEST_F(TCClassGroupLinkTest, TakesAMissingClassAndParentAsZero) {
  std::set<TLink> Links;

  TCCommonPropertyChangeNotifier::Insert(TCCommonPropertyObject(m_Schema.m_Loose, 5, ""), Links);

  ASSERT_THAT(Links, SizeIs(1));
  EXPECT_EQ(Links.begin()->get_ID(), 0);
}

TEST_F(TCClassGroupLinkTest, IsOrderedBySignedNumberAndThenByLink) {
  EXPECT_TRUE(TLink(-1, 9) < TLink(1, 5));
  EXPECT_FALSE(TLink(1, 5) < TLink(-1, 9));
  EXPECT_TRUE(TLink(1, 5) < TLink(1, 6));
  EXPECT_FALSE(TLink(1, 6) < TLink(1, 5));
  EXPECT_TRUE(TLink(1, TCRecordID()) < TLink(1, -5));
  EXPECT_FALSE(TLink(1, 5) < TLink(1, 5));
}
