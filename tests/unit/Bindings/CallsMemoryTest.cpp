// SPDX-License-Identifier: MIT
// Calls during which memory runs out.
#include "tests/unit/Bindings/BindingFixture.h"
#include "tests/unit/CommonProperties/FailingAllocations.h"

namespace {

struct CallsMemoryTest : TBindingFixture {
  CallsMemoryTest() { Open(); }
};

// Each allocation of the call fails once; returns how many there are.
template <class TCall>
int FailEach(TCall const& Call) {
  for (int Failures = 0;; ++Failures) {
    property_status Status = PROPERTY_OK;
    bool Failed = false;
    {
      TFailingAllocation const Failing(Failures);
      Status = Call();
      Failed = Failing.HasFailed();
    }
    if (!Failed) {
      EXPECT_EQ(Status, PROPERTY_OK) << property_last_error();
      return Failures;
    }
    EXPECT_EQ(Status, PROPERTY_NO_MEMORY) << property_last_error();
    EXPECT_STREQ(property_last_error(), "memory has run out");
  }
}

}  // namespace

TEST_F(CallsMemoryTest, AreToldOfAtEachPlaceOfAFind) {
  property_value* Value = nullptr;
  EXPECT_GT(
      FailEach([&] { return property_find(m_Store.get(), "UserName[7]", kOtherDevice, &Value); }),
      0);
  property_free_value(Value);
}

TEST_F(CallsMemoryTest, AreToldOfAtEachPlaceOfARead) {
  TValue const Value = Find("Motto");
  std::string const Long(1000, 'x');
  ASSERT_EQ(property_set_text(Value.get(), Long.c_str(), Long.size()), PROPERTY_OK);
  char* Text = nullptr;
  EXPECT_GT(FailEach([&] { return property_get_text(Value.get(), &Text, nullptr); }), 0);
  EXPECT_EQ(Text, Long);
  property_free(Text);
}

TEST_F(CallsMemoryTest, AreToldOfAtEachPlaceOfATransactionsBegin) {
  property_transaction* Transaction = nullptr;
  EXPECT_GT(FailEach([&] { return property_begin(m_Store.get(), &Transaction); }), 0);
  EXPECT_EQ(property_commit(Transaction, nullptr), PROPERTY_OK);
  property_free_transaction(Transaction);
}

TEST_F(CallsMemoryTest, LoseNoChangeThatIsWatched) {
  property_watch* Watch = nullptr;
  ASSERT_EQ(property_watch_new(m_Store.get(), &Watch), PROPERTY_OK);
  EXPECT_GT(FailEach([&] { return property_watch_all(Watch); }), 0);
  property_free_watch(Watch);
}
