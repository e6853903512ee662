// SPDX-License-Identifier: MIT
// Transactions that end with their scope, and those that the server decides on.
#include "PropertyInterface/TCScopedTransaction.h"

#include <stdexcept>
#include <thread>

#include "CommonProperties/TCReadGuard.h"
#include "ReceiptFixture.h"
#include "tests/support/ForkedChild.h"

namespace {

using Property::eCommitClosed;
using Property::eCommitConflict;
using Property::eCommitDone;
using Property::eCommitRefused;
using Property::eCommitUndecided;
using Property::TCPropertyCollection;
using Property::TCPropertyCollectionDriver;
using Property::TCPropertyReceipt;
using Property::TCScopedTransaction;
using Property::TEDurability;
using Property::TSConditionalCommit;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// "SiteName=here" for each value that is told.
struct TToldNotifier : Property::TCCommonPropertyChangeNotifier {
  ~TToldNotifier() override { TCPropertyCollection::DelNotifier(this); }
  bool OnPropQueued() override {
    TCCriticalSectionLock const Lock(m_Lock);
    for (auto const& [Object, Type] : m_Queue) {
      m_Told.Add(Object.get_ID().get_Name() + "=" + Object.GetRealValue());
    }
    m_Queue.clear();
    return true;
  }
  TLog<std::string> m_Told;
};

struct ScopedTransaction : TReceiptFixture {
  std::string Site() const { return GetProperty(m_Schema.m_SiteName).get_AsString(); }

  // What another process sets, once it is stored.
  static void SetElsewhere(int Number, std::string const& Data) {
    TPropertyProxy Other;
    Other.Send(Change({{Number, Data, "", ""}}));
    ASSERT_TRUE(Other.IsAcknowledged());
  }

  // Whether the value comes to be that.
  bool Becomes(TToldNotifier& Notifier, std::string const& Line) {
    for (std::size_t Count = 1;; ++Count) {
      std::vector<std::string> const Told = Notifier.m_Told.WaitFor(Count);
      if (Told.size() < Count || Told[Count - 1] == Line) {
        return Told.size() >= Count;
      }
    }
  }
};

}  // namespace

TEST_F(ScopedTransaction, CommitsWithAReceipt) {
  StartBoth();
  TCScopedTransaction Transaction;
  SetProperty(m_Schema.m_SiteName, "here");
  SetProperty(m_Schema.m_PlantName, "big");
  EXPECT_EQ(Outcome(Transaction.Commit()), "durable");
  EXPECT_FALSE(Transaction.get_Open());
  EXPECT_EQ(Site(), "here");
}

TEST_F(ScopedTransaction, GivesTheReceiptOfItsMailAlsoWhereANotifierSetsSomething) {
  struct TSettingNotifier : Property::TCCommonPropertyChangeNotifier {
    explicit TSettingNotifier(Property::TCPropertyID& ID) : m_ID(ID) {}
    ~TSettingNotifier() override { TCPropertyCollection::DelNotifier(this); }
    bool OnPropQueued() override {
      {
        TCCriticalSectionLock const Lock(m_Lock);
        m_Queue.clear();
      }
      SetProperty(m_ID, "good");
      return true;
    }
    Property::TCPropertyID& m_ID;
  };
  StartBoth();
  TSettingNotifier Notifier(m_Schema.m_PlantName);
  Notifier.Enable();
  TCScopedTransaction Transaction;
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  EXPECT_EQ(Outcome(Transaction.Commit()),
            "refused 2001: property 2001 has 9 bytes, at most 4 are allowed (value_bytes);");
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
}

TEST_F(ScopedTransaction, GivesTheReceiptOfNothingWhereNothingWasSet) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, kTooLarge);
  EXPECT_EQ(Outcome(TCScopedTransaction().Commit()), "durable");
}

TEST_F(ScopedTransaction, RollsBackAtTheEndOfItsScope) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "here");
  {
    TCScopedTransaction Transaction;
    SetProperty(m_Schema.m_SiteName, "away");
    EXPECT_EQ(Site(), "away");
  }
  EXPECT_EQ(Site(), "here");
  EXPECT_EQ(TCPropertyCollection::InTransaction(), nullptr);
}

TEST_F(ScopedTransaction, RollsBackWhileAnExceptionFlies) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "here");
  try {
    TCScopedTransaction Transaction;
    SetProperty(m_Schema.m_SiteName, "away");
    throw std::runtime_error("something");
  } catch (std::runtime_error const&) {
    EXPECT_EQ(Site(), "here");
  }
}

TEST_F(ScopedTransaction, RollsBackWhenToldTo) {
  StartBoth();
  TCScopedTransaction Transaction;
  SetProperty(m_Schema.m_SiteName, "away");
  Transaction.Rollback();
  Transaction.Rollback();
  EXPECT_EQ(Site(), "");
  SetProperty(m_Schema.m_SiteName, "here");  // a change like any other
  EXPECT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
}

TEST_F(ScopedTransaction, LeavesAloneWhatTheThreadHasBegunSince) {
  StartBoth();
  auto First = std::make_unique<TCScopedTransaction>();
  First->Commit();
  TCScopedTransaction Second;
  SetProperty(m_Schema.m_SiteName, "here");
  First.reset();
  EXPECT_NE(TCPropertyCollection::InTransaction(), nullptr);
  EXPECT_EQ(Outcome(Second.Commit()), "durable");
  EXPECT_EQ(Site(), "here");
}

TEST_F(ScopedTransaction, DoesNotNest) {
  StartBoth();
  TCScopedTransaction const Outer;
  EXPECT_EQ(CaughtException([] { TCScopedTransaction const Inner; }).get_Message(),
            "this thread has a transaction open: transactions do not nest");
  std::thread([] { TCScopedTransaction const OfAnotherThread; }).join();
  EXPECT_TRUE(Outer.get_Open());
}

TEST_F(ScopedTransaction, IsForTheThreadThatBeganIt) {
  StartBoth();
  TCScopedTransaction Transaction;
  std::thread([&] {
    EXPECT_EQ(CaughtException([&] { Transaction.Commit(); }).get_Message(),
              "a transaction is used by another thread than began it");
    EXPECT_EQ(CaughtException([&] { Transaction.Rollback(); }).get_Message(),
              "a transaction is used by another thread than began it");
    EXPECT_EQ(CaughtException([&] { Transaction.CommitIfUnchanged(); }).get_Message(),
              "a transaction is used by another thread than began it");
  }).join();
  EXPECT_TRUE(Transaction.get_Open());
}

TEST_F(ScopedTransaction, IsAnExceptionOnceItHasEnded) {
  StartBoth();
  TCScopedTransaction Transaction;
  Transaction.Commit();
  std::vector<std::function<void()>> const Uses = {
      [&] { Transaction.Commit(); }, [&] { Transaction.CommitIfUnchanged(); },
      [&] { Transaction.ExpectMissing(m_Schema.m_SiteName); },
      [&] { Transaction.Set(m_Schema.m_SiteName, "x"); }};
  for (auto const& Use : Uses) {
    EXPECT_EQ(CaughtException(Use).get_Message(), "the transaction has ended");
  }
}

TEST_F(ScopedTransaction, CommitsNothingWithoutADriver) {
  TCScopedTransaction Transaction;
  EXPECT_EQ(CaughtException([&] { Transaction.Commit(); }).get_Message(),
            "there is no store that sends changes to a server");
  EXPECT_EQ(CaughtException([&] { Transaction.CommitIfUnchanged(); }).get_Message(),
            "there is no store that sends changes to a server");
}

// ---- decided by the server ----

TEST_F(ScopedTransaction, ChangesWhatIsStillAsItWasRead) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "old");
  TToldNotifier Notifier;
  Notifier.Enable();
  TCScopedTransaction Transaction;
  Transaction.Expect(GetProperty(m_Schema.m_SiteName));
  SetProperty(m_Schema.m_SiteName, "new");
  SetProperty(m_Schema.m_PlantName, "too");
  EXPECT_EQ(Transaction.CommitIfUnchanged(kPatienceMilliseconds).Outcome, eCommitDone);
  EXPECT_EQ(Site(), "new");  // at once
  EXPECT_FALSE(Transaction.get_Open());
  SetElsewhere(3001, "last");
  ASSERT_TRUE(Becomes(Notifier, "PlantName=last"));
  EXPECT_THAT(Notifier.m_Told.WaitFor(3),
              ElementsAre("SiteName=new", "PlantName=too", "PlantName=last"));
}

TEST_F(ScopedTransaction, KeepsItsChangesToItselfUntilTheServerHasDecided) {
  StartBoth();
  Stop();
  TToldNotifier Notifier;
  Notifier.Enable();
  TCScopedTransaction Transaction;
  Transaction.ExpectMissing(m_Schema.m_SiteName);
  SetProperty(m_Schema.m_SiteName, "new");
  TSConditionalCommit const Result = Transaction.CommitIfUnchanged(1);
  EXPECT_EQ(Result.Outcome, eCommitUndecided);
  EXPECT_EQ(Site(), "");
  StartServer();
  EXPECT_EQ(Outcome(Result.Receipt), "durable");
  ASSERT_TRUE(Becomes(Notifier, "SiteName=new"));  // told by the proxy's thread
  EXPECT_EQ(Site(), "new");
  SetElsewhere(2001, "last");
  ASSERT_TRUE(Becomes(Notifier, "SiteName=last"));
  EXPECT_THAT(Notifier.m_Told.WaitFor(2), ElementsAre("SiteName=new", "SiteName=last"));
}

TEST_F(ScopedTransaction, ChangesNothingWhereAnyValueIsNotAsExpected) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "old");
  ASSERT_EQ(Outcome(TCPropertyReceipt::OfLast()), "durable");
  auto const Read = GetProperty(m_Schema.m_SiteName);
  SetElsewhere(2001, "else");
  TCScopedTransaction Transaction;
  Transaction.Expect(Read);
  Transaction.ExpectMissing(m_Schema.m_PlantName);
  SetProperty(m_Schema.m_PlantName, "new");
  TSConditionalCommit const Result = Transaction.CommitIfUnchanged(kPatienceMilliseconds);
  EXPECT_EQ(Result.Outcome, eCommitConflict);
  EXPECT_EQ(Result.Refusal.Reason, "not as expected: property 2001");
  ASSERT_THAT(Result.Refusal.Standing, SizeIs(1));
  EXPECT_EQ(&Result.Refusal.Standing[0].Key.get_ID(), &m_Schema.m_SiteName);
  EXPECT_EQ(Result.Refusal.Standing[0].Data, "else");
  EXPECT_EQ(GetProperty(m_Schema.m_PlantName).get_AsString(), "");
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=2001 data=\"else\" mac=\"\" loaded=0}");
}

TEST_F(ScopedTransaction, TakesUpWhatAConflictHasTold) {
  StartBoth();
  SetElsewhere(2001, "else");
  TCScopedTransaction First;
  First.ExpectMissing(m_Schema.m_SiteName);
  First.Set(m_Schema.m_SiteName, "mine");
  TSConditionalCommit const Conflict = First.CommitIfUnchanged(kPatienceMilliseconds);
  ASSERT_EQ(Conflict.Outcome, eCommitConflict);
  TCScopedTransaction Second;
  Second.Expect(Conflict.Refusal.Standing.at(0));
  Second.Set(m_Schema.m_SiteName, "mine");
  EXPECT_EQ(Second.CommitIfUnchanged(kPatienceMilliseconds).Outcome, eCommitDone);
  EXPECT_EQ(Site(), "mine");
}

TEST_F(ScopedTransaction, ExpectsNoValueWhereADefaultWasRead) {
  StartBoth();
  TCScopedTransaction First;
  First.Expect(GetProperty(m_Schema.m_Count));
  First.Set(m_Schema.m_Count, "1");
  EXPECT_EQ(First.CommitIfUnchanged(kPatienceMilliseconds).Outcome, eCommitDone);
  TCScopedTransaction Second;
  Second.ExpectMissing(m_Schema.m_Count);
  Second.Set(m_Schema.m_Count, "2");
  TSConditionalCommit const Result = Second.CommitIfUnchanged(kPatienceMilliseconds);
  EXPECT_EQ(Result.Outcome, eCommitConflict);
  EXPECT_EQ(Result.Refusal.Standing.at(0).Data, "1");
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), 1);
}

TEST_F(ScopedTransaction, SaysThatTheServerHoldsNoneOfWhatIsExpected) {
  StartBoth();
  auto const Read = GetProperty(m_Schema.m_SiteName);
  TCScopedTransaction Transaction;
  Transaction.Expect({Property::TCPropertyKey(m_Schema.m_SiteName, Accessories::TCRecordID(), ""),
                      std::string("here")});
  Transaction.Set(m_Schema.m_SiteName, "new");
  TSConditionalCommit const Result = Transaction.CommitIfUnchanged(kPatienceMilliseconds);
  EXPECT_EQ(Result.Outcome, eCommitConflict);
  EXPECT_FALSE(Result.Refusal.Standing.at(0).Data.has_value());
}

TEST_F(ScopedTransaction, IsRefusedForWhatTheServerDoesNotAllow) {
  StartBoth();
  TCScopedTransaction Transaction;
  Transaction.ExpectMissing(m_Schema.m_SiteName);
  Transaction.Set(m_Schema.m_SiteName, kTooLarge);
  TSConditionalCommit const Result = Transaction.CommitIfUnchanged(kPatienceMilliseconds);
  EXPECT_EQ(Result.Outcome, eCommitRefused);
  EXPECT_EQ(Result.Refusal.Reason,
            "property 2001 has 9 bytes, at most 4 are allowed (value_bytes)");
  EXPECT_EQ(&Result.Refusal.Keys.at(0).get_ID(), &m_Schema.m_SiteName);
  EXPECT_THAT(Result.Refusal.Standing, IsEmpty());
}

TEST_F(ScopedTransaction, SendsNothingWhereNothingIsSetOrExpected) {
  StartBoth();
  Stop();
  EXPECT_EQ(TCScopedTransaction().CommitIfUnchanged().Outcome, eCommitDone);
}

TEST_F(ScopedTransaction, OnlyComparesWhereNothingIsSet) {
  StartBoth();
  SetElsewhere(2001, "here");
  TCScopedTransaction Transaction;
  Transaction.ExpectMissing(m_Schema.m_SiteName);
  EXPECT_EQ(Transaction.CommitIfUnchanged(kPatienceMilliseconds).Outcome, eCommitConflict);
}

TEST_F(ScopedTransaction, SaysThatTheStoreWasClosed) {
  StartBoth();
  Driver()->Close();
  TCScopedTransaction Transaction;
  Transaction.Set(m_Schema.m_SiteName, "x");
  EXPECT_EQ(Transaction.CommitIfUnchanged().Outcome, eCommitClosed);
}

TEST_F(ScopedTransaction, ExpectsNothingOfWhatItHasSetOrCouldNotBeRead) {
  StartBoth();
  TCScopedTransaction Transaction;
  SetProperty(m_Schema.m_SiteName, "x");
  EXPECT_EQ(
      CaughtException([&] { Transaction.Expect(GetProperty(m_Schema.m_SiteName)); }).get_Message(),
      "SiteName was set in this transaction: read what is expected before it is set");
}

TEST_F(ScopedTransaction, IsNotDecidedWithinAReadGuard) {
  StartBoth();
  TCScopedTransaction Transaction;
  Transaction.Set(m_Schema.m_SiteName, "x");
  Property::TCReadGuard const Guard;
  EXPECT_EQ(CaughtException([&] { Transaction.CommitIfUnchanged(); }).get_Message(),
            "the server can not be asked to decide within a read guard");
  EXPECT_TRUE(Transaction.get_Open());
}

TEST_F(ScopedTransaction, IsDecidedAlsoForANotifier) {
  struct TCountingNotifier : Property::TCCommonPropertyChangeNotifier {
    explicit TCountingNotifier(TStoreSchema& Schema) : m_Schema(Schema) {}
    ~TCountingNotifier() override { TCPropertyCollection::DelNotifier(this); }
    bool OnPropQueued() override {
      bool Own = false;
      {
        TCCriticalSectionLock const Lock(m_Lock);
        Own = m_Queue.front().first.get_ID().get_Number() == 3001;
        m_Queue.clear();
      }
      if (!Own) {
        TCScopedTransaction Transaction;
        Transaction.Set(m_Schema.m_PlantName, "seen");
        auto const Result = Transaction.CommitIfUnchanged(kPatienceMilliseconds).Outcome;
        m_Results.Add(Result == eCommitDone ? GetProperty(m_Schema.m_PlantName).get_AsString()
                                            : "not done");
      }
      return true;
    }
    TStoreSchema& m_Schema;
    TLog<std::string> m_Results;
  };
  StartBoth();
  TCountingNotifier Notifier(m_Schema);
  Notifier.Enable();
  SetProperty(m_Schema.m_SiteName, "a");  // on this thread
  EXPECT_THAT(Notifier.m_Results.WaitFor(1), ElementsAre("seen"));
  SetElsewhere(2001, "b");  // on the proxy's
  EXPECT_THAT(Notifier.m_Results.WaitFor(2), ElementsAre("seen", "seen"));
}

TEST_F(ScopedTransaction, LeavesALaterChangeOfTheProcessInPlace) {
  StartBoth();
  SetProperty(m_Schema.m_SiteName, "old");
  for (int Turn = 0; Turn < 50; ++Turn) {
    std::thread Setting([this, Turn] { SetProperty(m_Schema.m_SiteName, std::to_string(Turn)); });
    TCScopedTransaction Transaction;
    Transaction.Set(m_Schema.m_SiteName, "mine");
    ASSERT_EQ(Transaction.CommitIfUnchanged(kPatienceMilliseconds).Outcome, eCommitDone);
    Setting.join();
  }
  ASSERT_EQ(Outcome(TCPropertyReceipt::OfAll()), "durable");
  TToldNotifier Notifier;
  Notifier.Enable();
  SetElsewhere(3001, "end");
  ASSERT_TRUE(Becomes(Notifier, "PlantName=end"));  // behind all
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=2001 data=\"" + Site() +
                             "\" mac=\"\" loaded=0} {id=3001 data=\"end\" mac=\"\" loaded=0}");
}

TEST_F(ScopedTransaction, LetsThreadsCountWithoutLosingOne) {
  constexpr int kThreads = 4;
  constexpr int kEach = 25;
  StartBoth();
  std::vector<std::thread> Threads;
  for (int Thread = 0; Thread < kThreads; ++Thread) {
    Threads.emplace_back([this] {
      for (int Done = 0; Done < kEach;) {
        TCScopedTransaction Transaction;
        auto const Value = GetProperty(m_Schema.m_Count);
        Transaction.Expect(Value);
        Transaction.Set(m_Schema.m_Count, std::to_string(Value.get_AsInteger() + 1));
        Done += Transaction.CommitIfUnchanged(kPatienceMilliseconds).Outcome == eCommitDone ? 1 : 0;
      }
    });
  }
  for (std::thread& Thread : Threads) {
    Thread.join();
  }
  EXPECT_EQ(GetProperty(m_Schema.m_Count).get_AsInteger(), kThreads * kEach);
}
