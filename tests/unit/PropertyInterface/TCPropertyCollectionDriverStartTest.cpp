// SPDX-License-Identifier: MIT
// From nothing to a loaded store, and what stands in the way.
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <thread>

#include "DriverFixture.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

using Accessories::TCRecordID;
using Property::TCBasicPropertyID;
using Property::TCPropertyCollection;
using Property::TCPropertyCollectionDriver;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

struct TCPropertyCollectionDriverStart : TDriverFixture {};
struct TCPropertyCollectionDriverWithoutRouter : TSchemaFixture {};
struct TCPropertyCollectionDriverBesideAStore : TSchemaFixture {};

thread_local bool t_NoDescriptorFree = false;

TCException CreateWithoutDescriptor() {
  t_NoDescriptorFree = true;
  TCException const Exception = CaughtException([] { TCPropertyCollectionDriver::Create(false); });
  t_NoDescriptorFree = false;
  return Exception;
}

}  // namespace

// In place of the system's, which the libraries would call. Not by a limit of the process, because
// the sanitizers need descriptors for their own checks.
extern "C" __attribute__((visibility("default"))) int eventfd(unsigned int Count,
                                                              int Flags) noexcept {
  if (t_NoDescriptorFree) {
    errno = EMFILE;
    return -1;
  }
  return static_cast<int>(syscall(SYS_eventfd2, Count, Flags));
}

// ---- before Create ----

TEST_F(TCPropertyCollectionDriverStart, HasNeitherInstanceNorStoreBeforeCreate) {
  EXPECT_FALSE(TCPropertyCollectionDriver::get_Created());
  EXPECT_EQ(TCPropertyCollectionDriver::get_Instance(), nullptr);
  TCException const Exception = CaughtException([] { TCPropertyCollection::get(); });
  ExpectStoreException(Exception, "m_Instance!=__null", "Property collection has not been created");
}

// ---- Create ----

TEST_F(TCPropertyCollectionDriverStart, BecomesTheStoreOfTheProcess) {
  TCPropertyCollectionDriver::Create(false);

  EXPECT_TRUE(TCPropertyCollectionDriver::get_Created());
  ASSERT_NE(Driver(), nullptr);
  EXPECT_EQ(TCPropertyCollection::get(), Driver());
}

TEST_F(TCPropertyCollectionDriverStart, IsConnectedOnceCreated) {
  TCPropertyCollectionDriver::Create(false);

  EXPECT_TRUE(Driver()->get_Connected());
}

TEST_F(TCPropertyCollectionDriverStart, CompletesTheSchema) {
  TCPropertyCollectionDriver::Create(false);

  EXPECT_TRUE(TCBasicPropertyID::m_Initialized);
}

TEST_F(TCPropertyCollectionDriverStart, AsksForAllPropertiesWithoutTheFilter) {
  TCPropertyCollectionDriver::Create(false);

  EXPECT_FALSE(Driver()->get_OwnMACOnly());
  EXPECT_THAT(m_Server.get_Requests(), ElementsAre("property v2 Request 1: {action=1}"));
  EXPECT_THAT(SentMails(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverStart, AsksForItsOwnPropertiesWithTheFilter) {
  TCPropertyCollectionDriver::Create(true);

  EXPECT_TRUE(Driver()->get_OwnMACOnly());
  EXPECT_THAT(m_Server.get_Requests(), ElementsAre("property v2 Request 1: {action=0}"));
}

TEST_F(TCPropertyCollectionDriverStart, LoadsTheAnswer) {
  m_Server.AnswerAll({{2001, "Harbour", "", ""},
                      {1001, "mine", "", kOwnMAC},
                      {1001, "theirs", "", kOtherMAC},
                      {1002, "5", "7", kOwnMAC}});

  TCPropertyCollectionDriver::Create(false);

  EXPECT_THAT(StoredLines(),
              ElementsAre("Name[]@00:11:22:33:44:55=mine", "Name[]@00:11:22:33:44:66=theirs",
                          "Count[7]@00:11:22:33:44:55=5", "SiteName[]@=Harbour"));
}

TEST_F(TCPropertyCollectionDriverStart, MarksWhatItLoadsAsLoaded) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});

  TCPropertyCollectionDriver::Create(false);

  EXPECT_TRUE(GetProperty(m_Schema.m_Name).get_Loaded());
}

TEST_F(TCPropertyCollectionDriverStart, LoadsWithoutNotifications) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  m_Notifier.Enable();

  TCPropertyCollectionDriver::Create(false);

  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverStart, LoadsOnlyItsOwnOfAnAnswerWithTheFilter) {
  m_Server.AnswerAll(
      {{1001, "mine", "", kOwnMAC}, {1001, "theirs", "", kOtherMAC}, {2001, "Harbour", "", ""}});

  TCPropertyCollectionDriver::Create(true);

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine", "SiteName[]@=Harbour"));
}

TEST_F(TCPropertyCollectionDriverStart, MissesNothingPublishedBetweenAnswerAndSubscription) {
  m_Server.AnswerAll({{1001, "loaded", "", kOwnMAC}});
  std::promise<void> Requested;
  std::promise<void> Held;
  auto const Published = std::async(std::launch::async, [&] {
    Requested.get_future().wait();
    TCCriticalSectionLock const Lock(TTestStore::m_CSection);  // keeps the driver from subscribing
    Held.set_value();
    m_Server.Publish(4, 1, {{1001, "published", "", kOwnMAC}});  // once the answer is sent
  });
  m_Server.OnRequest([&] {
    Requested.set_value();
    Held.get_future().wait();
  });
  m_Notifier.Enable();

  TCPropertyCollectionDriver::Create(false);

  ASSERT_TRUE(m_Notifier.WaitFor(1));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=published"));
  EXPECT_EQ(GetProperty(m_Schema.m_Name).GetRealValue(), "published");
}

TEST_F(TCPropertyCollectionDriverStart, ListensOnceCreated) {
  Start();

  m_Server.Publish(4, 1, {{1001, "published", "", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(1));
  EXPECT_EQ(GetProperty(m_Schema.m_Name).GetRealValue(), "published");
}

TEST_F(TCPropertyCollectionDriverStart, DoesNotHoldTheStoreWhileItWaitsForTheAnswer) {
  bool Free = false;
  m_Server.OnRequest([&] { Free = IsStoreFree(); });

  TCPropertyCollectionDriver::Create(false);

  EXPECT_TRUE(Free);
}

// ---- traces ----

TEST_F(TCPropertyCollectionDriverStart, TracesTheRequestForAllAndItsEnd) {
  TCapturedTraces const Traces;

  TCPropertyCollectionDriver::Create(false);

  EXPECT_THAT(Traces.get_Traces(),
              ElementsAre("COMMON: Property Request All", "COMMON: Property Request All Done"));
}

TEST_F(TCPropertyCollectionDriverStart, TracesTheEndOfAFailedRequestForAll) {
  TCapturedTraces const Traces;
  m_Server.Refuse();

  EXPECT_THROW(TCPropertyCollectionDriver::Create(false), TCException);

  EXPECT_THAT(Traces.get_Traces(),
              ElementsAre("COMMON: Property Request All", "COMMON: Property Request All Done"));
}

TEST_F(TCPropertyCollectionDriverStart, TracesNothingOfTheRequestWhileTheChannelIsOff) {
  TCapturedTraces const Traces;
  DEBUG_COMMON.set_Enabled(false);

  TCPropertyCollectionDriver::Create(false);

  EXPECT_THAT(Traces.get_Traces(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverStart, HoldsTheStoreWhileItTakesTheAnswerIn) {
  std::map<std::string, bool> Free;
  TCapturedTraces const Traces([&](std::string const& Text) { Free[Text] = IsStoreFree(); });

  TCPropertyCollectionDriver::Create(false);

  EXPECT_TRUE(Free.at("Property Request All"));
  EXPECT_FALSE(Free.at("Property Request All Done"));
}

// ---- Create that fails ----

TEST_F(TCPropertyCollectionDriverStart, RefusesASecondCreate) {
  TCPropertyCollectionDriver::Create(true);

  TCException const Exception = CaughtException([] { TCPropertyCollectionDriver::Create(false); });

  ExpectDriverException(Exception, 82, "m_Instance==__null", "");
}

TEST_F(TCPropertyCollectionDriverStart, LeavesTheFirstUntouchedByASecondCreate) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  TCPropertyCollectionDriver::Create(true);
  TCPropertyCollectionDriver* const First = Driver();

  EXPECT_THROW(TCPropertyCollectionDriver::Create(false), TCException);

  EXPECT_EQ(Driver(), First);
  EXPECT_TRUE(First->get_OwnMACOnly());
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine"));
  EXPECT_EQ(m_Server.get_Requests().size(), 1u);
}

TEST_F(TCPropertyCollectionDriverStart, LeavesTheStoreFreeAfterARefusedCreate) {
  TCPropertyCollectionDriver::Create(true);

  EXPECT_THROW(TCPropertyCollectionDriver::Create(false), TCException);

  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverStart, SaysThatThePropertiesCouldNotBeFetched) {
  m_Server.Refuse();

  TCException const Exception = CaughtException([] { TCPropertyCollectionDriver::Create(false); });

  ExpectDriverException(Exception, 163, "", "Unable to fetch properties");
}

TEST_F(TCPropertyCollectionDriverStart, StaysTheEmptyStoreWhenThePropertiesCouldNotBeFetched) {
  m_Server.Refuse();

  EXPECT_THROW(TCPropertyCollectionDriver::Create(true), TCException);

  EXPECT_EQ(TCPropertyCollection::get(), Driver());
  EXPECT_TRUE(TCPropertyCollectionDriver::get_Created());
  EXPECT_TRUE(Driver()->get_OwnMACOnly());
  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverStart, RefusesASecondCreateAfterAFailedOneToo) {
  m_Server.Refuse();
  EXPECT_THROW(TCPropertyCollectionDriver::Create(true), TCException);
  m_Server.Refuse(false);

  TCException const Exception = CaughtException([] { TCPropertyCollectionDriver::Create(true); });

  ExpectDriverException(Exception, 82, "m_Instance==__null", "");
}

TEST_F(TCPropertyCollectionDriverStart, IsCompletedByAFetchWhenThePropertiesCouldNotBeFetched) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}, {1001, "theirs", "", kOtherMAC}});
  m_Server.Refuse();
  EXPECT_THROW(TCPropertyCollectionDriver::Create(true), TCException);
  m_Server.Refuse(false);
  m_Notifier.Enable();

  Driver()->Fetch();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine"));
  m_Server.Publish(4, 1, {{1001, "published", "", kOwnMAC}});
  ASSERT_TRUE(m_Notifier.WaitFor(1));
  EXPECT_EQ(GetProperty(m_Schema.m_Name).GetRealValue(), "published");
}

TEST_F(TCPropertyCollectionDriverStart, LeavesNothingBehindWhenItCanNotBeConstructed) {
  TCException const Exception = CreateWithoutDescriptor();

  EXPECT_EQ(Exception.get_Message(), "cannot make an event descriptor: Too many open files");
  EXPECT_EQ(Driver(), nullptr);
  EXPECT_FALSE(TCPropertyCollectionDriver::get_Created());
  EXPECT_TRUE(IsStoreFree());
  ExpectStoreException(CaughtException([this] { SetProperty(m_Schema.m_Name, "lost"); }),
                       "m_Instance!=__null", "Property collection has not been created");
}

TEST_F(TCPropertyCollectionDriverStart, CanBeCreatedAfterItCouldNotBeConstructed) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  CreateWithoutDescriptor();

  Start();

  EXPECT_EQ(TCPropertyCollection::get(), Driver());
  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=mine"));
  SetProperty(m_Schema.m_Name, "new");
  EXPECT_EQ(SentMails().size(), 1u);
}

TEST_F(TCPropertyCollectionDriverBesideAStore, PassesOnThatThereIsAStoreAlready) {
  TTestStore const Store;

  TCException const Exception = CaughtException([] { TCPropertyCollectionDriver::Create(false); });

  ExpectStoreException(Exception, "m_Instance==__null",
                       "Property collection has already been created");
  EXPECT_EQ(TCPropertyCollectionDriver::get_Instance(), nullptr);
  EXPECT_FALSE(TCPropertyCollectionDriver::get_Created());
  EXPECT_EQ(TCPropertyCollection::get(), &Store);
}

// ---- waiting for the router ----

TEST_F(TCPropertyCollectionDriverWithoutRouter, HoldsTheStoreUntilTheRouterAppears) {
  std::string const Folder = MakeRouterFolder();
  auto Created = std::async(std::launch::async, [] { TCPropertyCollectionDriver::Create(false); });
  while (!TCPropertyCollectionDriver::get_Created()) {
    std::this_thread::yield();
  }
  bool const FreeMeanwhile = IsStoreFree();
  bool const ConnectedMeanwhile = TCPropertyCollectionDriver::get_Instance()->get_Connected();

  TPropertyTestServer const Server(Folder);
  Created.get();

  EXPECT_FALSE(FreeMeanwhile);
  EXPECT_FALSE(ConnectedMeanwhile);
  EXPECT_TRUE(TCPropertyCollectionDriver::get_Instance()->get_Connected());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverWithoutRouter, IsTheStoreForOthersOnceItIsInitialised) {
  std::string const Folder = MakeRouterFolder();
  auto Created = std::async(std::launch::async, [] { TCPropertyCollectionDriver::Create(false); });
  while (!TCPropertyCollectionDriver::get_Created()) {
    std::this_thread::yield();
  }
  std::atomic<bool> Asking{false};
  auto Connected = std::async(std::launch::async, [&Asking] {
    Asking = true;
    return static_cast<TCPropertyCollectionDriver*>(TCPropertyCollection::get())->get_Connected();
  });
  for (int Round = 0; Round < 1000 || !Asking; ++Round) {
    std::this_thread::yield();
  }

  TPropertyTestServer const Server(Folder);
  Created.get();

  EXPECT_TRUE(Connected.get());
}

// ---- Init and Fetch again ----

TEST_F(TCPropertyCollectionDriverStart, DropsTheFilterWhenItIsInitialisedAgain) {
  TCPropertyCollectionDriver::Create(true);

  Driver()->Init();

  EXPECT_FALSE(Driver()->get_OwnMACOnly());
  EXPECT_TRUE(Driver()->get_Connected());
}

TEST_F(TCPropertyCollectionDriverStart, ReplacesTheWholeStoreByAnotherFetch) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}, {1002, "5", "", kOwnMAC}});
  Start();
  m_Server.AnswerAll({{1001, "later", "", kOwnMAC}});

  Driver()->Fetch();

  EXPECT_THAT(StoredLines(), ElementsAre("Name[]@00:11:22:33:44:55=later"));
  EXPECT_THAT(m_Notifier.get_Lines(), IsEmpty());
}

TEST_F(TCPropertyCollectionDriverStart, LeavesTheStoreEmptyWhenAnotherFetchFails) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  TCPropertyCollectionDriver::Create(false);
  m_Server.Refuse();

  TCException const Exception = CaughtException([] { Driver()->Fetch(); });

  ExpectDriverException(Exception, 163, "", "Unable to fetch properties");
  EXPECT_THAT(StoredLines(), IsEmpty());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverStart, EmptiesTheStoreBeforeItAsks) {
  m_Server.AnswerAll({{1001, "mine", "", kOwnMAC}});
  TCPropertyCollectionDriver::Create(false);
  std::vector<std::string> Meanwhile{"not asked"};
  m_Server.OnRequest([&] { Meanwhile = StoredLines(); });

  Driver()->Fetch();

  EXPECT_THAT(Meanwhile, IsEmpty());
}

// ---- the end ----

TEST_F(TCPropertyCollectionDriverWithoutRouter, KeepsItsInstanceWhenItIsDestroyed) {
  TPropertyTestServer const Server;
  TCPropertyCollectionDriver::Create(false);
  TCPropertyCollectionDriver* const Address = TCPropertyCollectionDriver::get_Instance();
  Address->Clear();

  delete Address;

  EXPECT_EQ(TCPropertyCollectionDriver::get_Instance(), Address);
  TCException const Exception = CaughtException([] { TCPropertyCollectionDriver::Create(false); });
  ExpectDriverException(Exception, 82, "m_Instance==__null", "");
}
