// SPDX-License-Identifier: MIT
// What has become of changes.
#include "tests/unit/Bindings/BindingFixture.h"

namespace {

using TReceipt = THandleOf<property_receipt>;

struct ReceiptCallsTest : TBindingFixture {
  ReceiptCallsTest() { Open(); }

  TReceipt Of(property_status (*Make)(property_store const*, property_receipt**)) const {
    property_receipt* Receipt = nullptr;
    EXPECT_EQ(Make(m_Store.get(), &Receipt), PROPERTY_OK) << property_last_error();
    return TReceipt(Receipt);
  }
  void SetBrightness(int Percent) const {
    EXPECT_EQ(property_set_int(Find("Brightness").get(), Percent), PROPERTY_OK);
  }
};

std::size_t CountOf(TReceipt const& Receipt, std::int32_t* Complete = nullptr) {
  std::size_t Count = 99;
  EXPECT_EQ(property_refusal_count(Receipt.get(), &Count, Complete), PROPERTY_OK);
  return Count;
}

}  // namespace

TEST_F(ReceiptCallsTest, SayThatAChangeIsStored) {
  SetBrightness(60);
  TReceipt const Receipt = Of(property_receipt_last);
  EXPECT_EQ(property_receipt_wait(Receipt.get(), kPatience), PROPERTY_OK) << property_last_error();
  EXPECT_EQ(m_Server.FindValue(Field(kBrightness)), "60");
  std::int32_t Complete = 0;
  EXPECT_EQ(CountOf(Receipt, &Complete), 0U);
  EXPECT_EQ(Complete, 1);
}

TEST_F(ReceiptCallsTest, AreOfTheThreadsLastChangeOrOfAll) {
  m_Server.HoldAcknowledgements();
  OnAnotherThread([this] { SetBrightness(60); });
  EXPECT_EQ(property_receipt_wait(Of(property_receipt_last).get(), 0), PROPERTY_OK);
  TReceipt const All = Of(property_receipt_all);
  EXPECT_EQ(property_receipt_wait(All.get(), kShort), PROPERTY_TIMED_OUT);
  EXPECT_STREQ(property_last_error(), "the time has passed");
  EXPECT_EQ(CountOf(All), 0U);
  m_Server.ReleaseAcknowledgements();
  EXPECT_EQ(property_receipt_wait(All.get(), kPatience), PROPERTY_OK);
}

TEST_F(ReceiptCallsTest, SayWhyAChangeWasRefused) {
  m_Server.RefuseNextChange("not \x1b[31mtoday");
  SetBrightness(60);
  TReceipt const Receipt = Of(property_receipt_last);
  EXPECT_EQ(property_receipt_wait(Receipt.get(), kPatience), PROPERTY_REFUSED);
  EXPECT_STREQ(property_last_error(), "not \\x1b[31mtoday");
  ASSERT_EQ(CountOf(Receipt), 1U);
  char const* Reason = nullptr;
  ASSERT_EQ(property_refusal_reason(Receipt.get(), 0, &Reason), PROPERTY_OK);
  EXPECT_STREQ(Reason, "not \\x1b[31mtoday");
  EXPECT_EQ(property_refusal_reason(Receipt.get(), 1, &Reason), PROPERTY_NOT_FOUND);
  EXPECT_STREQ(property_last_error(), "there is no refusal 1 of 1");
  EXPECT_EQ(property_receipt_wait(Receipt.get(), 0), PROPERTY_REFUSED);
}

TEST_F(ReceiptCallsTest, NameTheValueThatWasRefused) {
  m_Server.ForbidWriting(Field(kBrightness));
  SetBrightness(60);
  TReceipt const Receipt = Of(property_receipt_last);
  ASSERT_EQ(property_receipt_wait(Receipt.get(), kPatience), PROPERTY_REFUSED);
  property_value* Value = nullptr;
  char const* Standing = "untouched";
  ASSERT_EQ(property_refusal_value(Receipt.get(), 0, 0, &Value, &Standing), PROPERTY_OK);
  EXPECT_STREQ(property_path(Value), "Device/Display/Brightness");
  EXPECT_EQ(Standing, nullptr);
  property_free_value(Value);
  EXPECT_EQ(property_refusal_value(Receipt.get(), 0, 1, &Value, nullptr), PROPERTY_NOT_FOUND);
  EXPECT_STREQ(property_last_error(), "the refusal is about 1 values, not 2");
  EXPECT_EQ(property_refusal_value(Receipt.get(), 1, 0, &Value, nullptr), PROPERTY_NOT_FOUND);
}

TEST_F(ReceiptCallsTest, MayBeWaitedForBySeveralThreads) {
  m_Server.HoldAcknowledgements();
  SetBrightness(60);
  TReceipt const Receipt = Of(property_receipt_last);
  auto const Wait = [&] { EXPECT_EQ(property_receipt_wait(Receipt.get(), -1), PROPERTY_OK); };
  std::thread First(Wait);
  std::thread Second(Wait);
  m_Server.ReleaseAcknowledgements();
  First.join();
  Second.join();
}

TEST_F(ReceiptCallsTest, RefuseArgumentsThatBreakRules) {
  property_receipt* Handle = nullptr;
  property_value* Value = nullptr;
  std::size_t Count = 0;
  char const* Reason = nullptr;
  EXPECT_EQ(property_receipt_last(nullptr, &Handle), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_receipt_last(m_Store.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_receipt_all(nullptr, &Handle), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_receipt_all(m_Store.get(), nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_receipt_wait(nullptr, 0), PROPERTY_BAD_ARGUMENT);
  TReceipt const Receipt = Of(property_receipt_all);
  EXPECT_EQ(property_receipt_wait(Receipt.get(), -2), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_refusal_count(nullptr, &Count, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_refusal_count(Receipt.get(), nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_refusal_reason(nullptr, 0, &Reason), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_refusal_reason(Receipt.get(), 0, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_refusal_value(nullptr, 0, 0, &Value, nullptr), PROPERTY_BAD_ARGUMENT);
  EXPECT_EQ(property_refusal_value(Receipt.get(), 0, 0, nullptr, nullptr), PROPERTY_BAD_ARGUMENT);
}
