// SPDX-License-Identifier: MIT
// Changes on conditions, as the server decides on them.
#include <gmock/gmock.h>

#include "tests/support/MailSender.h"
#include "tests/unit/PropertyServer/ControlFixture.h"

namespace {

using Property::PropertyControl::kChange;
using Property::PropertyControl::kChangeIf;

// What a record expects.
TControlFiller Held(int Number, std::string const& Data) {
  return [=](TControlRecord& Record) {
    Record.m_ID = Number;
    Record.m_Held.set_AsBool(true);
    Record.m_Data.set_AsString(Data);
  };
}

TControlFiller Missing(int Number) {
  return [=](TControlRecord& Record) {
    Record.m_ID = Number;
    Record.m_Held.set_AsBool(false);
  };
}

struct PropertyServerChangeIf : TControlFixture {};

// User 65534, nobody, may read 1 and 2, and write 2 and 3.
constexpr char kRules[] =
    "[[rule]]\nproperties = [1]\nread = [\"user:nobody\"]\n"
    "[[rule]]\nproperties = [2]\nread = [\"user:nobody\"]\nwrite = [\"user:nobody\"]\n"
    "[[rule]]\nproperties = [3]\nwrite = [\"user:nobody\"]\n";

}  // namespace

TEST_F(PropertyServerChangeIf, ComparesAndChangesInOneStep) {
  Start();
  Set({{1, "a", "", ""}});
  EXPECT_EQ(Send(kChangeIf, {Held(1, "a"), Missing(2), Value(1, "b"), Value(2, "c")}),
            "transaction 2");
  EXPECT_EQ(AllTexts(), "1 data=\"b\";2 data=\"c\";");
}

TEST_F(PropertyServerChangeIf, ComparesAlsoWhereAChangeWaitsForItsConfirmation) {
  Start();
  Set({{1, "a", "", ""}});
  EXPECT_EQ(Send(kChange, {Seconds(60), Held(1, "x"), Value(1, "b")}),
            "not as expected: property 1");
  EXPECT_EQ(Send(kChange, {Seconds(60), Held(1, "a"), Missing(2), Value(1, "b")}), "transaction 2");
  EXPECT_EQ(AllTexts(), "1 data=\"b\";");
}

TEST_F(PropertyServerChangeIf, ChangesNothingWhereOneIsNotAsExpected) {
  Start();
  Set({{1, "a", "", ""}});
  EXPECT_EQ(Send(kChangeIf, {Held(1, "a"), Held(2, "x"), Value(1, "b")}),
            "not as expected: property 2");
  EXPECT_EQ(Send(kChangeIf, {Missing(1), Value(2, "b")}), "not as expected: property 1");
  EXPECT_EQ(AllTexts(), "1 data=\"a\";");
}

TEST_F(PropertyServerChangeIf, ComparesWithWhatWaitsToBeStored) {
  Start();
  Execute([this] {
    TSNorvReceivedMail First{{}, 1, Change({{1, "a", "", ""}})};
    First.Sender = NewSender("first");
    m_Service->m_Server.OnMail(First);
  });
  EXPECT_EQ(Send(kChangeIf, {Held(1, "a"), Value(1, "b")}), "transaction 2");
}

TEST_F(PropertyServerChangeIf, NamesTheFirstTwentyOfMany) {
  Start();
  std::vector<TControlFiller> Expected;
  for (int Number = 1; Number <= 22; ++Number) {
    Expected.push_back(Held(Number, "x"));
  }
  std::string const Reason = Send(kChangeIf, Expected);
  EXPECT_EQ(Reason.substr(0, 44), "not as expected: property 1, property 2, pro");
  EXPECT_EQ(Reason.substr(Reason.rfind(',')), ", property 20 and 2 others");
}

TEST_F(PropertyServerChangeIf, RemovesAValue) {
  Start();
  Set({{1, "a", "", ""}});
  EXPECT_EQ(Send(kChangeIf, {Held(1, "a"), Place(1)}), "transaction 2");
  EXPECT_EQ(AllTexts(), "");
}

TEST_F(PropertyServerChangeIf, RefusesRecordsThatNameNothing) {
  Start();
  EXPECT_EQ(Send(kChangeIf, {[](TControlRecord& Record) { Record.m_Held.set_AsBool(false); }}),
            "Malformed mail: a record without a property's number");
}

TEST_F(PropertyServerChangeIf, IsNoOracleForWhoMayNotRead) {
  Start(kRules);
  Set({{3, "secret", "", ""}});
  std::string const Refused = "user 65534 may not read property 3 and so expect nothing of it";
  EXPECT_EQ(SendAs(65534, kChangeIf, {Held(3, "secret"), Value(2, "x")}), Refused);
  EXPECT_EQ(SendAs(65534, kChangeIf, {Held(3, "guess"), Value(2, "x")}), Refused);
  EXPECT_EQ(SendAs(65534, kChangeIf, {Missing(3), Value(2, "x")}), Refused);
}

TEST_F(PropertyServerChangeIf, AsksForTheRightToWriteBeforeItCompares) {
  Start(kRules);
  Set({{1, "a", "", ""}});
  EXPECT_EQ(SendAs(65534, kChangeIf, {Held(1, "a"), Value(1, "b")}),
            "user 65534 may not write property 1");
  EXPECT_EQ(SendAs(65534, kChangeIf, {Held(1, "x"), Value(1, "b")}),
            "user 65534 may not write property 1");
  EXPECT_EQ(SendAs(65534, kChangeIf, {Held(1, "a"), Value(2, "b")}), "transaction 2");
}

TEST_F(PropertyServerChangeIf, IsSubjectToTheLimits) {
  Start("[limits]\nvalues = 1\nvalue_bytes = 4\n");
  EXPECT_EQ(Send(kChangeIf, {Missing(1), Value(1, "large")}),
            "property 1 has 5 bytes, at most 4 are allowed (value_bytes)");
  EXPECT_EQ(Send(kChangeIf, {Missing(1), Value(1, "a"), Value(2, "b")}),
            "there would be 2 values, at most 1 are allowed (values)");
}

TEST_F(PropertyServerChangeIf, IsTakenOnce) {
  Start();
  TSNorvReceivedMail Mail{{}, 1, Control(kChangeIf, {Missing(1), Value(1, "a")})};
  Mail.Sender = NewSender("sender");
  Execute([&] {
    m_Service->m_Server.OnMail(Mail);
    m_Service->m_Server.OnMail(Mail);
    m_Service->m_Server.Commit();
    m_Service->m_Server.OnMail(Mail);
    EXPECT_FALSE(m_Service->m_Database.FindLastMail(Mail.Sender).Outcome.Refusal.has_value());
  });
  EXPECT_EQ(AllTexts(), "1 data=\"a\";");
}
