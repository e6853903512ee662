// SPDX-License-Identifier: MIT
// Transactions: their ends, the threads that they belong to, and changes on conditions.
#include <condition_variable>
#include <mutex>

#include "CommonProperties/TCPropertyCollection.h"
#include "tests/unit/Bindings/BindingFixture.h"

namespace {

using TTransaction = THandleOf<property_transaction>;
using TReceipt = THandleOf<property_receipt>;

struct TransactionCallsTest : TBindingFixture {
  TransactionCallsTest() { Open(); }

  // The status of a commit on conditions, with a receipt of it.
  property_status Decide(TTransaction const& Transaction, int Timeout = kPatience) {
    property_receipt* Receipt = nullptr;
    property_status const Status =
        property_commit_if_unchanged(Transaction.get(), Timeout, &Receipt);
    m_Receipt.reset(Receipt);
    return Status;
  }

  TReceipt m_Receipt;
};

// Lets two threads go on in turns.
class TTurns {
 public:
  void Reach(int Turn) {
    std::lock_guard<std::mutex> const Guard(m_Lock);
    m_Turn = Turn;
    m_Changed.notify_all();
  }
  void Await(int Turn) {
    std::unique_lock<std::mutex> Guard(m_Lock);
    m_Changed.wait(Guard, [&] { return m_Turn >= Turn; });
  }

 private:
  std::mutex m_Lock;
  std::condition_variable m_Changed;
  int m_Turn = 0;
};

}  // namespace

TEST_F(TransactionCallsTest, ShowChangesToTheirOwnThreadUntilTheyAreCommitted) {
  TValue const Value = Find("Brightness");
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK);
  EXPECT_EQ(IntOf(Value), 60);
  OnAnotherThread([&] { EXPECT_EQ(IntOf(Value), 80); });
  property_receipt* Receipt = nullptr;
  ASSERT_EQ(property_commit(Transaction.get(), &Receipt), PROPERTY_OK) << property_last_error();
  EXPECT_EQ(property_receipt_wait(Receipt, kPatience), PROPERTY_OK);
  property_free_receipt(Receipt);
  EXPECT_EQ(m_Server.FindValue(Field(kBrightness)), "60");
}

TEST_F(TransactionCallsTest, CommitWithoutAReceipt) {
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_set_choice(Find("Mode").get(), kNight), PROPERTY_OK);
  EXPECT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_OK);
  EXPECT_EQ(TextOf(Find("Mode").get()), "night");
}

TEST_F(TransactionCallsTest, DropChangesThatAreRolledBackOrGivenBack) {
  TValue const Value = Find("Brightness");
  TTransaction const First = Begin();
  ASSERT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK);
  EXPECT_EQ(property_rollback(First.get()), PROPERTY_OK);
  EXPECT_EQ(property_rollback(First.get()), PROPERTY_OK);
  EXPECT_EQ(IntOf(Value), 80);
  TTransaction Second = Begin();
  ASSERT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK);
  Second.reset();
  EXPECT_EQ(IntOf(Value), 80);
}

TEST_F(TransactionCallsTest, DoNotNest) {
  TTransaction const Transaction = Begin();
  property_transaction* Second = nullptr;
  EXPECT_EQ(property_begin(m_Store.get(), &Second), PROPERTY_IN_TRANSACTION);
  EXPECT_STREQ(property_last_error(),
               "this thread has a transaction open: transactions do not nest");
  EXPECT_EQ(Second, nullptr);
}

TEST_F(TransactionCallsTest, AreNotUsedAfterTheirEnd) {
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_OK);
  EXPECT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_ENDED);
  EXPECT_STREQ(property_last_error(), "the transaction has ended");
  EXPECT_EQ(property_expect(Transaction.get(), Find("Mode").get()), PROPERTY_ENDED);
  EXPECT_EQ(Decide(Transaction), PROPERTY_ENDED);
  EXPECT_EQ(property_rollback(Transaction.get()), PROPERTY_OK);
  TTransaction const Next = Begin();
  EXPECT_EQ(property_commit(Next.get(), nullptr), PROPERTY_OK);
}

TEST_F(TransactionCallsTest, SayThatAValueIsSetOtherwiseTwice) {
  TValue const Value = Find("Brightness");
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK);
  EXPECT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK);
  EXPECT_EQ(property_set_int(Value.get(), 61), PROPERTY_SET_TWICE);
  EXPECT_STREQ(property_last_error(),
               "Device/Display/Brightness was set otherwise in this transaction already");
  EXPECT_EQ(IntOf(Value), 60);
}

TEST_F(TransactionCallsTest, BelongToOneThread) {
  TTransaction const Transaction = Begin();
  OnAnotherThread([&] {
    EXPECT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_WRONG_THREAD);
    EXPECT_STREQ(property_last_error(), "the transaction belongs to the thread that has begun it");
    EXPECT_EQ(property_rollback(Transaction.get()), PROPERTY_WRONG_THREAD);
    EXPECT_EQ(property_expect(Transaction.get(), Find("Mode").get()), PROPERTY_WRONG_THREAD);
    EXPECT_EQ(property_commit_if_unchanged(Transaction.get(), -1, nullptr), PROPERTY_WRONG_THREAD);
  });
  EXPECT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_OK);
}

TEST_F(TransactionCallsTest, EndOnTheirThreadWhenAnotherGivesThemBack) {
  TValue const Value = Find("Brightness");
  TTransaction Transaction = Begin();
  ASSERT_EQ(property_set_int(Value.get(), 60), PROPERTY_OK);
  OnAnotherThread([&] { Transaction.reset(); });
  EXPECT_EQ(IntOf(Value), 80);
  EXPECT_EQ(property_set_int(Value.get(), 61), PROPERTY_OK);
  m_Server.WaitUntilArrived();
  EXPECT_EQ(m_Server.FindValue(Field(kBrightness)), "61");
}

TEST_F(TransactionCallsTest, EndWithTheirThread) {
  TTransaction Transaction;
  OnAnotherThread([&] { Transaction = Begin(); });
  EXPECT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_WRONG_THREAD);
  Transaction.reset();
  EXPECT_EQ(Property::TCPropertyCollection::InTransaction(), nullptr);
}

TEST_F(TransactionCallsTest, EndWhereThreadAndHandleEndAtOnce) {
  for (int Round = 0; Round < 100; ++Round) {
    TTransaction Transaction;
    TTurns Turns;
    std::thread Thread([&] {
      Transaction = Begin();
      Turns.Reach(1);
    });
    Turns.Await(1);
    Transaction.reset();
    Thread.join();
  }
  TTransaction const Transaction = Begin();
  EXPECT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_OK);
}

// ---- on conditions ----

TEST_F(TransactionCallsTest, AreDoneWhileValuesAreAsExpected) {
  TValue const Value = Find("Brightness");
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_expect(Transaction.get(), Value.get()), PROPERTY_OK) << property_last_error();
  ASSERT_EQ(property_set_int(Value.get(), IntOf(Value) + 1), PROPERTY_OK);
  EXPECT_EQ(Decide(Transaction), PROPERTY_OK) << property_last_error();
  EXPECT_EQ(IntOf(Value), 81);
  EXPECT_EQ(m_Server.FindValue(Field(kBrightness)), "81");
  std::size_t Count = 9;
  EXPECT_EQ(property_refusal_count(m_Receipt.get(), &Count, nullptr), PROPERTY_OK);
  EXPECT_EQ(Count, 0U);
}

TEST_F(TransactionCallsTest, AreNotDoneWhenAnotherHasChangedAValue) {
  TValue const Value = Find("Brightness");
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_expect(Transaction.get(), Value.get()), PROPERTY_OK);
  ASSERT_EQ(property_set_int(Value.get(), 81), PROPERTY_OK);
  m_Server.SetValue(Field(kBrightness), 7);
  EXPECT_EQ(Decide(Transaction), PROPERTY_CONFLICT);
  EXPECT_STRNE(property_last_error(), "");
  property_value* Refused = nullptr;
  char const* Standing = nullptr;
  ASSERT_EQ(property_refusal_value(m_Receipt.get(), 0, 0, &Refused, &Standing), PROPERTY_OK);
  EXPECT_EQ(property_number(Refused), kBrightness);
  EXPECT_STREQ(property_device(Refused), Property::Testing::TCTestServer::kDevice);
  EXPECT_STREQ(Standing, "7");
  property_free_value(Refused);
  EXPECT_EQ(property_receipt_wait(m_Receipt.get(), 0), PROPERTY_CONFLICT);
}

TEST_F(TransactionCallsTest, AreRefusedWhatIsNotAllowed) {
  m_Server.SetConfiguration(
      "[[rule]]\nproperties = [111]\nread = [\"everybody\"]\nwrite = [\"user:65534\"]\n");
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_set_int(Find("Brightness").get(), 81), PROPERTY_OK);
  EXPECT_EQ(Decide(Transaction), PROPERTY_REFUSED);
  char const* Reason = nullptr;
  ASSERT_EQ(property_refusal_reason(m_Receipt.get(), 0, &Reason), PROPERTY_OK);
  EXPECT_STREQ(Reason, property_last_error());
  EXPECT_EQ(IntOf(Find("Brightness")), 80);
}

TEST_F(TransactionCallsTest, WaitNoLongerForADecisionThanTheyAreTold) {
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_set_int(Find("Brightness").get(), 81), PROPERTY_OK);
  m_Server.Pause();
  EXPECT_EQ(Decide(Transaction, kShort), PROPERTY_TIMED_OUT);
  m_Server.Resume();
  EXPECT_EQ(property_receipt_wait(m_Receipt.get(), kPatience), PROPERTY_OK);
  EXPECT_EQ(m_Server.FindValue(Field(kBrightness)), "81");
}

TEST_F(TransactionCallsTest, StayOpenWhereAGuardForbidsToDecide) {
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_guard_enter(m_Store.get()), PROPERTY_OK);
  EXPECT_EQ(Decide(Transaction), PROPERTY_IN_GUARD);
  ASSERT_EQ(property_guard_leave(m_Store.get()), PROPERTY_OK);
  EXPECT_EQ(Decide(Transaction), PROPERTY_OK);
}

TEST_F(TransactionCallsTest, ExpectNothingOfWhatTheyHaveSet) {
  TTransaction const Transaction = Begin();
  ASSERT_EQ(property_set_int(Find("Brightness").get(), 81), PROPERTY_OK);
  EXPECT_EQ(property_expect(Transaction.get(), Find("Brightness").get()), PROPERTY_BAD_ARGUMENT);
  EXPECT_STREQ(property_last_error(),
               "Device/Display/Brightness was set in this transaction: expect it before");
}

TEST_F(TransactionCallsTest, RefuseArgumentsThatBreakRules) {
  property_transaction* Handle = nullptr;
  EXPECT_EQ(property_begin(nullptr, &Handle), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_begin(m_Store.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_expect(nullptr, Find("Mode").get()), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_commit(nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_commit_if_unchanged(nullptr, -1, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_rollback(nullptr), PROPERTY_BAD_ARGUMENT);
  TTransaction const Transaction = Begin();
  EXPECT_EQ(property_expect(Transaction.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(Decide(Transaction, -2), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_commit(Transaction.get(), nullptr), PROPERTY_OK);
}
