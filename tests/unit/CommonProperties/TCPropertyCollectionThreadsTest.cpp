// SPDX-License-Identifier: MIT
// Several threads at the store at once; meant to be run under the thread sanitizer too.
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "StoreFixture.h"
#include "TestNotifier.h"

using Accessories::TCNullTypes;
using Property::eNotifyChanged;
using Property::TCCommonPropertyObject;
using Property::TCPropertyCollection;
using Property::TCPropertyTransaction;
using ::testing::Each;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr int kRounds = 200;

thread_local unsigned long ThreadsSession = 0;

unsigned long AnswerThreadsSession() {
  return ThreadsSession;
}

/// Holds every thread back until all have come.
class TGate {
 public:
  explicit TGate(int Threads) : m_Missing(Threads) {}

  void Pass() {
    std::unique_lock<std::mutex> Lock(m_Lock);
    if (--m_Missing == 0) {
      m_All.notify_all();
    }
    m_All.wait(Lock, [this] { return m_Missing <= 0; });
  }

 private:
  std::mutex m_Lock;
  std::condition_variable m_All;
  int m_Missing;
};

/// Runs `Action(number)` on `Threads` threads that begin together, and waits for their ends.
template <class TAction>
void InParallel(int Threads, TAction Action) {
  TGate Gate(Threads);
  std::vector<std::thread> Running;
  for (int Number = 0; Number < Threads; ++Number) {
    Running.emplace_back([&Gate, &Action, Number] {
      Gate.Pass();
      Action(Number);
    });
  }
  for (std::thread& Thread : Running) {
    Thread.join();
  }
}

struct TCPropertyCollectionThreads : TStoreFixture {};
struct TCPropertyCollectionThreadsAtStart : TSchemaFixture {};

}  // namespace

TEST_F(TCPropertyCollectionThreadsAtStart, CreateOneStore) {
  std::optional<TTestStore> Stores[4];
  std::atomic<int> Refused{0};

  InParallel(4, [&](int Number) {
    try {
      Stores[Number].emplace();
    } catch (TCException const& Exception) {
      EXPECT_EQ(Exception.get_Message(), "Property collection has already been created");
      ++Refused;
    }
  });

  EXPECT_EQ(Refused, 3);
  for (std::optional<TTestStore>& Store : Stores) {
    EXPECT_EQ(Store.has_value(), Store.has_value() && TCPropertyCollection::get() == &*Store);
  }
}

TEST_F(TCPropertyCollectionThreadsAtStart, GetAStoreOnlyWhenItIsComplete) {
  /// Takes its time to be constructed, on a thread that holds the lock.
  struct TSlowStore : TTestStore {
    TSlowStore(TGate& Registered, std::atomic<bool>& Complete) {
      Registered.Pass();
      for (int Round = 0; Round < 1000; ++Round) {
        std::this_thread::yield();
      }
      Complete = true;
    }
  };
  TGate Registered(2);
  std::atomic<bool> Complete{false};
  std::optional<TSlowStore> Store;
  std::thread Creator([&] {
    TCCriticalSectionLock Lock(TTestStore::m_CSection);
    Store.emplace(Registered, Complete);
  });

  Registered.Pass();
  TCPropertyCollection const* const Got = TCPropertyCollection::get();
  bool const WasComplete = Complete;

  Creator.join();
  EXPECT_EQ(Got, &*Store);
  EXPECT_TRUE(WasComplete);
}

TEST_F(TCPropertyCollectionThreads, ReadOnlyWhatWasWritten) {
  Store(m_Schema.m_SiteName, 1, "begin", "");
  std::atomic<int> Strange{0};

  InParallel(4, [&](int Number) {
    for (int Round = 0; Round < kRounds; ++Round) {
      if (Number % 2 == 0) {
        m_Store.SetProperty(m_Schema.m_SiteName, 1, "value " + std::to_string(Round), "");
        continue;
      }
      std::string const Read = m_Store.GetProperty(m_Schema.m_SiteName, 1, "").GetRealValue();
      if (Read != "begin" && Read.compare(0, 6, "value ") != 0) {
        ++Strange;
      }
    }
  });

  EXPECT_EQ(Strange, 0);
}

TEST_F(TCPropertyCollectionThreads, UseEveryOperationAtOnce) {
  TTestNotifier Notifier;
  Notifier.Enable();
  TCCommonPropertyObject const Whole(m_Schema.m_SiteName, 2, "");

  InParallel(4, [&](int) {
    for (int Round = 0; Round < kRounds; ++Round) {
      std::string const Text = std::to_string(Round);
      m_Store.SetProperty(m_Schema.m_Name, 1, Text, "");
      m_Store.SetProperty(m_Schema.m_Count, 1, Round, kOtherMAC);
      m_Store.SetProperty(m_Schema.m_Mode, 1, Round % 2 == 0 ? m_Schema.m_OffID : m_Schema.m_OnID,
                          "");
      m_Store.UpdateProperty(m_Schema.m_SiteName, 1, Text, true, "");
      m_Store.LoadProperty(m_Schema.m_PlantName, Text, 1, "");
      m_Store.LoadProperty(Whole);
      m_Store.GetProperty(m_Schema.m_Name, true, 1, "");
      m_Store.ExistProperty(m_Schema.m_Mode, 1, "");
      m_Store.GetProperties(m_Schema.m_SiteName);
      m_Store.DeleteProperty(m_Schema.m_Count, 1, kOtherMAC);
      m_Store.DeletePropertiesLinkedTo(2, TCNullTypes<int>(), "");
    }
  });

  EXPECT_THAT(Notifier.get_Entries(), SizeIs(m_Store.get_Notified().size()));
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_Count, 1, kOtherMAC));
  EXPECT_FALSE(m_Store.ExistProperty(m_Schema.m_SiteName, 2, ""));
  EXPECT_TRUE(m_Store.ExistProperty(m_Schema.m_PlantName, 1, ""));
}

TEST_F(TCPropertyCollectionThreads, TellOfEverySetOnce) {
  TTestNotifier Notifier;
  Notifier.Enable();

  InParallel(4, [&](int Number) {
    for (int Round = 0; Round < kRounds; ++Round) {
      m_Store.SetProperty(m_Schema.m_SiteName, Number, std::to_string(Round), "");
    }
  });

  EXPECT_THAT(Notifier.get_Entries(), SizeIs(4 * kRounds));
  EXPECT_THAT(m_Store.get_Changed(), SizeIs(4 * kRounds));
}

TEST_F(TCPropertyCollectionThreads, SeeTheirOwnTransactionsOnly) {
  std::atomic<int> Strange{0};

  InParallel(4, [&](int Number) {
    std::string const Mine = std::to_string(Number);
    for (int Round = 0; Round < kRounds; ++Round) {
      TCPropertyTransaction Transaction;
      Transaction.Begin();
      m_Store.SetProperty(m_Schema.m_SiteName, 1, Mine, "");
      if (m_Store.GetProperty(m_Schema.m_SiteName, 1, "").GetRealValue() != Mine) {
        ++Strange;
      }
      if (TCPropertyCollection::InTransaction() != &Transaction) {
        ++Strange;
      }
      if (Round % 2 == 0) {
        Transaction.Commit();
      }
    }
  });

  EXPECT_EQ(Strange, 0);
  EXPECT_THAT(m_Store.m_Properties, IsEmpty());
  EXPECT_THAT(TTestStore::m_Transactions, IsEmpty());
}

TEST_F(TCPropertyCollectionThreads, LeaveNoTransactionToLaterThreads) {
  std::vector<std::unique_ptr<TCPropertyTransaction>> Abandoned(40);
  std::atomic<int> Inherited{0};

  for (auto& Transaction : Abandoned) {
    Transaction = std::make_unique<TCPropertyTransaction>();
    OnAnotherThread([&] {
      if (TCPropertyCollection::InTransaction() != nullptr) {
        ++Inherited;
      }
      Transaction->Begin();
    });
  }

  EXPECT_EQ(Inherited, 0);
  EXPECT_THAT(TTestStore::m_Transactions, IsEmpty());
}

TEST_F(TCPropertyCollectionThreads, ActForTheirOwnSessionsDevices) {
  TCPropertyCollection::SetSessionCallback(&AnswerThreadsSession);
  std::atomic<int> Strange{0};

  InParallel(4, [&](int Number) {
    ThreadsSession = static_cast<unsigned long>(Number);
    std::string const MAC = "00:00:00:00:00:0" + std::to_string(Number);
    for (int Round = 0; Round < kRounds; ++Round) {
      TCPropertyCollection::SetCurrentSession(ThreadsSession, MAC);
      m_Store.SetProperty(m_Schema.m_Name, 1, MAC + std::to_string(Round), "");
      TCCommonPropertyObject const Read = m_Store.GetProperty(m_Schema.m_Name, 1, "");
      if (Read.GetRealValue() != MAC + std::to_string(Round) ||
          Read.get_MAC() != TCMACAddress(MAC)) {
        ++Strange;
      }
      TCPropertyCollection::DeleteSession(ThreadsSession);
    }
  });

  EXPECT_EQ(Strange, 0);
  EXPECT_THAT(TTestStore::m_SessionList, IsEmpty());
  EXPECT_THAT(m_Store.m_Properties, SizeIs(4));
}

TEST_F(TCPropertyCollectionThreads, ComeAndGoAsNotifiersWhileOthersWrite) {
  std::atomic<bool> Stop{false};
  std::thread Writer([&] {
    for (int Round = 0; !Stop; ++Round) {
      m_Store.UpdateProperty(m_Schema.m_SiteName, 1, std::to_string(Round), true, "");
    }
  });

  std::vector<std::vector<TTestNotifier::TEntry>> Received;
  for (int Round = 0; Round < kRounds; ++Round) {
    TTestNotifier Notifier;
    Notifier.Enable();
    m_Store.UpdateProperty(m_Schema.m_PlantName, 1, std::to_string(Round), true, "");
    Received.push_back(Notifier.get_Entries());
  }
  Stop = true;
  Writer.join();

  EXPECT_THAT(*TTestStore::m_Notifiers, IsEmpty());
  EXPECT_THAT(Received,
              Each(Each(::testing::Field(&TTestNotifier::TEntry::second, eNotifyChanged))));
  EXPECT_THAT(Received, Each(SizeIs(::testing::Ge(1u))));
}

TEST_F(TCPropertyCollectionThreads, WaitForANotificationBeforeTheyDestroyANotifier) {
  TTestNotifier Busy;
  auto Leaving = std::make_unique<TTestNotifier>();
  TGate Told(2);
  std::atomic<bool> HookDone{false};
  Busy.m_OnQueued = [&] {
    Told.Pass();
    for (int Round = 0; Round < 1000; ++Round) {
      std::this_thread::yield();
    }
    HookDone = true;
  };
  Busy.Enable();
  Leaving->Enable();
  std::thread Writer([this] { m_Store.SetProperty(m_Schema.m_SiteName, 1, "new", ""); });

  Told.Pass();
  Leaving.reset();
  bool const WaitedForTheHook = HookDone;

  Writer.join();
  EXPECT_TRUE(WaitedForTheHook);
  EXPECT_THAT(*TTestStore::m_Notifiers, SizeIs(1));
}

TEST_F(TCPropertyCollectionThreads, EnableNotifiersWhileOthersNotify) {
  TTestNotifier Notifiers[8];
  std::atomic<bool> Stop{false};
  std::thread Writer([&] {
    for (int Round = 0; !Stop; ++Round) {
      m_Store.SetProperty(m_Schema.m_SiteName, 1, std::to_string(Round), "");
    }
  });

  InParallel(4, [&](int) {
    for (TTestNotifier& Notifier : Notifiers) {
      Notifier.Enable();
    }
  });
  Stop = true;
  Writer.join();

  EXPECT_THAT(*TTestStore::m_Notifiers, SizeIs(8));
}

TEST_F(TCPropertyCollectionThreads, DrainAQueueThatOthersFill) {
  TTestNotifier Notifier;
  std::mutex Lock;
  std::condition_variable Filled;
  int Waiting = 0;
  Notifier.m_OnQueued = [&] {
    std::lock_guard<std::mutex> Guard(Lock);
    ++Waiting;
    Filled.notify_one();
  };
  Notifier.Enable();
  std::vector<std::string> Drained;

  std::thread Drain([&] {
    while (Drained.size() < kRounds) {
      {
        std::unique_lock<std::mutex> Guard(Lock);
        Filled.wait(Guard, [&] { return Waiting > 0; });
        --Waiting;
      }
      TCCriticalSectionLock Guard(Notifier.m_Lock);
      Drained.push_back(Notifier.m_Queue.front().first.GetRealValue());
      Notifier.m_Queue.pop_front();
    }
  });
  for (int Round = 0; Round < kRounds; ++Round) {
    m_Store.SetProperty(m_Schema.m_SiteName, 1, std::to_string(Round), "");
  }
  Drain.join();

  for (int Round = 0; Round < kRounds; ++Round) {
    EXPECT_EQ(Drained[static_cast<std::size_t>(Round)], std::to_string(Round));
  }
}
