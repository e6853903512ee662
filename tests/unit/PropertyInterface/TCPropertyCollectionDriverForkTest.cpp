// SPDX-License-Identifier: MIT
// Forked children of a process with a driver: they read its values and leave the rest to it.
#include <unistd.h>

#include <atomic>
#include <future>
#include <thread>

#include "CommonProperties/TCPropertyTransaction.h"
#include "DriverFixture.h"
#include "tests/support/ForkedChild.h"

using Property::TCPropertyCollection;
using Property::TCPropertyCollectionDriver;
using Property::TCPropertyTransaction;
using ::testing::ElementsAre;

namespace {

struct TCPropertyCollectionDriverFork : TDriverFixture {
  // The text of the exception that a set of `Data` ends with, and what is read afterwards.
  std::string SetAndRead(std::string const& Data) {
    std::string const Text = ThrownText<TCException>([&] { SetProperty(m_Schema.m_Name, Data); });
    return Text + "; " + GetProperty(m_Schema.m_Name).get_AsString();
  }

  static std::string Refusal() {
    return "the proxy and its store belong to process " + std::to_string(getpid()) +
           ", which this one was forked from: here values can be read, but nothing is sent, asked "
           "for or received";
  }

  static std::string NameMail(std::string const& Data) {
    return "property v2 Change 3: {id=1001 data=\"" + Data +
           "\" mac=\"00:11:22:33:44:55\" loaded=0}";
  }
};

struct TCPropertyCollectionDriverForkWithoutRouter : TSchemaFixture {};

}  // namespace

TEST_F(TCPropertyCollectionDriverFork, LeavesTheChildValuesToReadAndRefusesItsSets) {
  Start();
  SetProperty(m_Schema.m_Name, "before");

  TForkedChild Child([&] {
    std::string const Before = GetProperty(m_Schema.m_Name).get_AsString();
    return Before + "; " + SetAndRead("the child's");
  });

  EXPECT_EQ(Child.Wait(), "before; " + Refusal() + "; the child's");
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "before");
  SetProperty(m_Schema.m_Name, "after");
  EXPECT_THAT(SentMails(), ElementsAre(NameMail("before"), NameMail("after")));
}

TEST_F(TCPropertyCollectionDriverFork, DisturbsNoChangeThatIsPublishedToTheParent) {
  Start();

  TForkedChild Child([] { return std::string("exits"); });
  EXPECT_EQ(Child.Wait(), "exits");
  m_Server.Publish(4, 1, {{1001, "published", "", kOwnMAC}});

  ASSERT_TRUE(m_Notifier.WaitFor(1));
  EXPECT_THAT(m_Notifier.get_Lines(), ElementsAre("Name[]@00:11:22:33:44:55=published"));
}

TEST_F(TCPropertyCollectionDriverFork, RefusesTheChildWhatTheServerWouldBeAskedFor) {
  Start();

  TForkedChild Other([&] {
    return ThrownText<TCException>(
        [&] { GetProperty(m_Schema.m_Name, Accessories::TCRecordID(), kOtherMAC); });
  });
  TForkedChild Fetching([&] { return ThrownText<TCException>([&] { Driver()->Fetch(); }); });

  EXPECT_EQ(Other.Wait(), Refusal());
  EXPECT_EQ(Fetching.Wait(), Refusal());
}

// The child's thread has another id than the one that the transaction was opened with.
TEST_F(TCPropertyCollectionDriverFork, LeavesTheForkingThreadItsTransaction) {
  Start();
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  SetProperty(m_Schema.m_Name, "pending");

  TForkedChild Child([&] {
    std::string const Pending = GetProperty(m_Schema.m_Name).get_AsString();
    SetProperty(m_Schema.m_Count, 5);  // recorded, not sent
    return Pending + "; " + ThrownText<TCException>([&] { Transaction.Commit(); }) + "; " +
           GetProperty(m_Schema.m_Name).get_AsString();
  });

  EXPECT_EQ(Child.Wait(), "pending; " + Refusal() + "; pending");
  Transaction.Commit();
  EXPECT_THAT(SentMails(), ElementsAre(NameMail("pending")));
}

// The store's lock is held where a notifier is told.
TEST_F(TCPropertyCollectionDriverFork, InANotificationLeavesTheStoreUsable) {
  std::string Text;
  m_Notifier.m_OnTold = [&] {
    Text = TForkedChild([&] { return SetAndRead("the child's"); }).Wait();
  };
  Start();

  SetProperty(m_Schema.m_Name, "new");

  EXPECT_EQ(Text, Refusal() + "; the child's");
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCPropertyCollectionDriverFork, FindsNoLockTakenInTheChild) {
  Start();
  std::atomic<bool> Ending{false};
  std::thread Writer([&] {
    for (int Number = 0; !Ending; ++Number) {
      SetProperty(m_Schema.m_Count, Number);
      EXPECT_TRUE(Driver()->WaitForAcknowledgements(kPatienceMilliseconds));
    }
  });
  std::thread Reader([&] {
    while (!Ending) {
      GetProperty(m_Schema.m_Count);
      Property::TCPropertyID::Find(1002);
    }
  });

  for (int Fork = 0; Fork < 50; ++Fork) {
    TForkedChild Child([&] { return SetAndRead("the child's"); }, std::_Exit);
    EXPECT_EQ(Child.Wait(), Refusal() + "; the child's");
  }

  Ending = true;
  Writer.join();
  Reader.join();
}

// The store's lock is held by the thread that waits: it may be the child that starts the router.
TEST_F(TCPropertyCollectionDriverForkWithoutRouter, IsNotHeldUpByACreateThatWaitsForTheRouter) {
  std::string const Folder = MakeRouterFolder();
  auto Created = std::async(std::launch::async, [] { TCPropertyCollectionDriver::Create(false); });
  while (!TCPropertyCollectionDriver::get_Created()) {
    std::this_thread::yield();
  }

  TForkedChild Child([] { return ThrownText<TCException>([] { TCPropertyCollection::get(); }); },
                     std::_Exit);
  EXPECT_EQ(Child.Wait(), "Property collection has not been created");
  TPropertyTestServer const Server(Folder);
  Created.get();

  EXPECT_TRUE(TCPropertyCollectionDriver::get_Instance()->get_Connected());
  EXPECT_TRUE(IsStoreFree());
}
