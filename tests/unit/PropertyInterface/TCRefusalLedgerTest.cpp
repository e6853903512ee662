// SPDX-License-Identifier: MIT
// What is remembered of refusals, and what it means for a receipt.
#include "PropertyInterface/TCRefusalLedger.h"

#include <gmock/gmock.h>

#include "PropertyInterface/TCRefusalTelling.h"
#include "tests/unit/CommonProperties/CaughtException.h"
#include "tests/unit/PropertyServer/ControlFixture.h"

namespace {

using Property::eReceiptDurable;
using Property::eReceiptRefused;
using Property::eReceiptUnknown;
using Property::TCRefusalLedger;
using Property::TSPropertyReceipt;
using Property::PropertyControl::kRefusals;
using ::testing::SizeIs;

TControlFiller Refused(std::uint64_t Mail, std::string const& Reason = "no") {
  return [=](TControlRecord& Record) {
    Record.m_Mail.set_AsString(std::to_string(Mail));
    Record.m_Refused.set_AsBool(true);
    Record.m_Text.set_AsString(Reason);
  };
}

TControlFiller Forgotten(std::uint64_t Mail) {
  return [=](TControlRecord& Record) { Record.m_Mail.set_AsString(std::to_string(Mail)); };
}

struct RefusalLedger : ::testing::Test {
  void Take(std::vector<TControlFiller> const& Fillers, std::uint64_t Acknowledged = 0) {
    m_Ledger.Take(Control(kRefusals, Fillers), Acknowledged);
  }

  TCRefusalLedger m_Ledger;
};

}  // namespace

TEST_F(RefusalLedger, KnowsWhichMailsWereRefused) {
  Take({Refused(3), Refused(5)});
  EXPECT_EQ(m_Ledger.Look(1, 2).Outcome, eReceiptDurable);
  EXPECT_EQ(m_Ledger.Look(3, 3).Outcome, eReceiptRefused);
  EXPECT_EQ(m_Ledger.Look(4, 4).Outcome, eReceiptDurable);
  EXPECT_THAT(m_Ledger.Look(1, 9).Refusals, SizeIs(2));
}

TEST_F(RefusalLedger, TakesWhatIsToldAgainOnce) {
  Take({Refused(3)});
  Take({Refused(3), Refused(5)});
  EXPECT_THAT(m_Ledger.Look(1, 9).Refusals, SizeIs(2));
}

TEST_F(RefusalLedger, DoesNotKnowWhatTheServerHasForgotten) {
  Take({Forgotten(7), Refused(9)}, 4);
  EXPECT_EQ(m_Ledger.Look(1, 4).Outcome, eReceiptDurable);  // was acknowledged before
  EXPECT_EQ(m_Ledger.Look(5, 5).Outcome, eReceiptUnknown);
  EXPECT_EQ(m_Ledger.Look(7, 8).Outcome, eReceiptUnknown);
  EXPECT_EQ(m_Ledger.Look(8, 8).Outcome, eReceiptDurable);
  TSPropertyReceipt const All = m_Ledger.Look(1, 9);
  EXPECT_EQ(All.Outcome, eReceiptRefused);
  EXPECT_FALSE(All.Complete);
}

TEST_F(RefusalLedger, KnowsWhatItHadHeardBeforeTheServerForgotIt) {
  Take({Refused(3)});
  Take({Forgotten(3)}, 3);
  EXPECT_EQ(m_Ledger.Look(3, 3).Outcome, eReceiptRefused);
  EXPECT_TRUE(m_Ledger.Look(3, 3).Complete);
}

TEST_F(RefusalLedger, NeverTakesARefusalThatItDroppedForASuccess) {
  for (std::uint64_t Mail = 1; Mail <= TCRefusalLedger::kMostMails + 2; ++Mail) {
    Take({Refused(2 * Mail)});
  }
  EXPECT_EQ(m_Ledger.Look(4, 4).Outcome, eReceiptRefused);  // the newest one that was dropped
  EXPECT_EQ(m_Ledger.Look(2, 2).Outcome, eReceiptUnknown);
  EXPECT_EQ(m_Ledger.Look(3, 3).Outcome, eReceiptUnknown);
  EXPECT_EQ(m_Ledger.Look(5, 5).Outcome, eReceiptDurable);
  EXPECT_EQ(m_Ledger.Look(6, 6).Outcome, eReceiptRefused);
  EXPECT_FALSE(m_Ledger.Look(1, 9).Complete);
}

TEST_F(RefusalLedger, IsBoundedInBytesToo) {
  std::string const Long(TCRefusalLedger::kMostBytes / 2, 'x');
  Take({Refused(1, Long)});
  Take({Refused(2, Long)});
  Take({Refused(3, Long)});
  EXPECT_THAT(m_Ledger.Look(1, 3).Refusals, SizeIs(1));
  EXPECT_EQ(m_Ledger.Look(2, 2).Outcome, eReceiptRefused);
}

TEST_F(RefusalLedger, DoesNotKnowWhatItCanNotRead) {
  EXPECT_EQ(CaughtException([&] { Take({Refused(0)}, 4); }).get_Message(),
            "Malformed mail: a refusal of no mail");
  EXPECT_EQ(CaughtException([&] { m_Ledger.Take(Foreign(4, 1), 4); }).get_Message(),
            "Malformed mail: records of another layout");
  EXPECT_EQ(m_Ledger.Look(4, 4).Outcome, eReceiptDurable);
  EXPECT_EQ(m_Ledger.Look(5, 5).Outcome, eReceiptUnknown);
}

TEST_F(RefusalLedger, WritesAReasonFromOutsideInOneHarmlessLine) {
  EXPECT_EQ(Property::TCRefusalTelling::Describe({{}, "bad\nline\x1b[2J", {}}),
            "The server has refused a change: bad\\nline\\x1b[2J");
}
