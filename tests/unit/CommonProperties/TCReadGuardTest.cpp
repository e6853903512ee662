// SPDX-License-Identifier: MIT
// The guard of reads that belong together: who waits for it, and what its holder may do.
#include "CommonProperties/TCReadGuard.h"

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"
#include "TestNotifier.h"
#include "tests/support/ForkedChild.h"

using Accessories::TCRecordID;
using Property::TCCommonPropertyObject;
using Property::TCPropertyTransaction;
using Property::TCReadGuard;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// Puts a transaction into the store as the driver does: under one hold of the lock.
struct TCommittingStore : TTestStore {
  void CommitTransaction(TCPropertyTransaction* Transaction) override {
    TCCriticalSectionLock Lock(m_CSection);
    TTestStore::CommitTransaction(Transaction);
    for (auto const& [Key, Change] : Transaction->get_Changes()) {
      UpdateProperty(Key, Change->GetRealValue());
    }
  }
};

struct TCReadGuardTest : TStoreFixture {
  std::string Name() { return GetProperty(m_Schema.m_Name).get_AsString(); }
};
struct TCReadGuardInATransaction : TSchemaFixture {
  TCommittingStore m_Store;
};

}  // namespace

TEST_F(TCReadGuardTest, HoldsTheStoresLockWhileItLives) {
  {
    TCReadGuard const Guard;
    EXPECT_FALSE(IsStoreFree());
  }
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCReadGuardTest, IsHeldByItsOwnThreadOnly) {
  EXPECT_FALSE(TCReadGuard::IsHeld());
  TCReadGuard const Guard;
  EXPECT_TRUE(TCReadGuard::IsHeld());
  OnAnotherThread([] { EXPECT_FALSE(TCReadGuard::IsHeld()); });
}

TEST_F(TCReadGuardTest, EndsWithTheOutermostOfAThread) {
  auto Outer = std::make_unique<TCReadGuard const>();
  { TCReadGuard const Inner; }
  EXPECT_TRUE(TCReadGuard::IsHeld());
  EXPECT_FALSE(IsStoreFree());
  Outer.reset();
  EXPECT_FALSE(TCReadGuard::IsHeld());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCReadGuardTest, IsLeftWhenAnExceptionEndsItsScope) {
  EXPECT_THROW(
      {
        TCReadGuard const Guard;
        m_Store.getPropertyData(m_Schema.m_Name, TCRecordID(), kOwnMAC);
      },
      TCException);
  EXPECT_FALSE(TCReadGuard::IsHeld());
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCReadGuardTest, NeedsNoStoreOfTheSameThread) {
  std::atomic<bool> Held{false};
  OnAnotherThread([&Held] {
    TCReadGuard const Guard;
    Held = TCReadGuard::IsHeld();
  });
  EXPECT_TRUE(Held);
}

TEST_F(TCReadGuardTest, KeepsAnotherThreadsChangeBackUntilItsEnd) {
  Store(m_Schema.m_Name, TCRecordID(), "before", kOwnMAC);
  std::promise<void> Begun;
  auto Guard = std::make_unique<TCReadGuard const>();
  std::thread Writer([&] {
    Begun.set_value();
    SetProperty(m_Schema.m_Name, "after");
  });
  Begun.get_future().wait();

  for (int Read = 0; Read < 1000; ++Read) {
    ASSERT_EQ(Name(), "before");
    std::this_thread::yield();
  }
  Guard.reset();

  Writer.join();
  EXPECT_EQ(Name(), "after");
}

TEST_F(TCReadGuardTest, LetsItsHolderSetAndTell) {
  TTestNotifier Notifier;
  Notifier.Enable();
  ProbeLockInHooks();
  {
    TCReadGuard const Guard;
    SetProperty(m_Schema.m_Name, "set");
    EXPECT_EQ(Name(), "set");
  }
  EXPECT_THAT(m_Store.get_Calls(), ElementsAre("OnPropertyChanged", "Notify"));
  EXPECT_FALSE(m_LockFree["OnPropertyChanged"]);
  EXPECT_THAT(Notifier.get_Entries(),
              ElementsAre(TTestNotifier::TEntry("set", Property::eNotifyChanged)));
}

TEST_F(TCReadGuardTest, LeavesTheHooksOfOtherSetsWithoutTheLock) {
  ProbeLockInHooks();
  { TCReadGuard const Guard; }
  SetProperty(m_Schema.m_Name, "set");
  EXPECT_TRUE(m_LockFree["OnPropertyChanged"]);
}

TEST_F(TCReadGuardTest, MayBeTakenByANotifier) {
  Store(m_Schema.m_Count, TCRecordID(), "7", kOwnMAC);
  TTestNotifier Notifier;
  int Seen = 0;
  Notifier.m_OnQueued = [&] {
    TCReadGuard const Guard;
    Seen = GetProperty(m_Schema.m_Count).get_AsInteger();
  };
  Notifier.Enable();
  SetProperty(m_Schema.m_Name, "set");
  EXPECT_EQ(Seen, 7);
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCReadGuardTest, IsTheForkedChildsAsWell) {
  Store(m_Schema.m_Name, TCRecordID(), "before", kOwnMAC);
  auto Guard = std::make_unique<TCReadGuard const>();

  TForkedChild Child([&] {
    bool const Held = TCReadGuard::IsHeld() && !IsStoreFree();
    std::string const Read = Name();
    Guard.reset();
    bool const Left = !TCReadGuard::IsHeld() && IsStoreFree();
    return Read + (Held ? " held" : "") + (Left ? " left" : "");
  });

  EXPECT_EQ(Child.Wait(), "before held left");
  EXPECT_FALSE(IsStoreFree());
  Guard.reset();
  EXPECT_TRUE(IsStoreFree());
}

TEST_F(TCReadGuardTest, OfAnotherThreadDelaysAForkAndIsGoneInTheChild) {
  std::promise<void> Taken;
  std::promise<void> Forking;
  std::promise<void> Forked;
  std::thread Reader([&] {
    {
      TCReadGuard const Guard;
      Taken.set_value();
      Forking.get_future().wait();
    }
    Forked.get_future().wait();  // the child misses no thread that has ended
  });
  Taken.get_future().wait();
  Forking.set_value();

  TForkedChild Child([] {
    TCReadGuard const Guard;
    return std::string("taken");
  });

  EXPECT_EQ(Child.Wait(), "taken");
  Forked.set_value();
  Reader.join();
}

TEST_F(TCReadGuardInATransaction, SeesThePendingValuesOfItsOwnThread) {
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  SetProperty(m_Schema.m_Name, "pending");
  TCReadGuard const Guard;
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "pending");
}

TEST_F(TCReadGuardInATransaction, LetsItsHolderCommit) {
  TCPropertyTransaction Transaction;
  Transaction.Begin();
  SetProperty(m_Schema.m_Name, "committed");
  TCReadGuard const Guard;
  Transaction.Commit();
  EXPECT_EQ(GetProperty(m_Schema.m_Name).get_AsString(), "committed");
}

TEST_F(TCReadGuardInATransaction, SeesAnotherThreadsCommitWhole) {
  constexpr int kCommits = 2000;
  m_Store.UpdateProperty(m_Schema.m_Name, TCRecordID(), "0", kOwnMAC);
  m_Store.UpdateProperty(m_Schema.m_SiteName, TCRecordID(), "0", "");
  std::thread Writer([this] {
    for (int Commit = 1; Commit <= kCommits; ++Commit) {
      TCPropertyTransaction Transaction;
      Transaction.Begin();
      SetProperty(m_Schema.m_Name, Commit);
      SetProperty(m_Schema.m_SiteName, Commit);
      Transaction.Commit();
    }
  });
  int Halves = 0;
  for (int Last = 0; Last < kCommits;) {
    TCReadGuard const Guard;
    Last = GetProperty(m_Schema.m_Name).get_AsInteger();
    Halves += GetProperty(m_Schema.m_SiteName).get_AsInteger() != Last ? 1 : 0;
  }
  Writer.join();
  EXPECT_EQ(Halves, 0);
}
