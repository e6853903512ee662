// SPDX-License-Identifier: MIT
// What the server answers who asks about itself, and what it reports without being asked.
#include <gmock/gmock.h>
#include <sqlite3.h>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/TCNorvServerObject.h"
#include "tests/unit/PropertyServer/DiskFaults.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

namespace {

using Property::TEDurability;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

struct PropertyServerAdministration : TPropertyServiceFixture {
  // Asks as a user of that number; the reason when it is refused.
  std::string Ask(unsigned User, int Signal) {
    TSNorvMailSender Sender;
    Sender.User = User;
    Sender.Group = User;
    TCNorvMailMessage<Property::TCNorvServerObject> const Request(Property::Norv_ServerMail,
                                                                  eNorvRequest, Signal);
    std::string Result = "answered";
    Execute([&] {
      TSNorvMailContent Answer = Request.get_Content();
      try {
        m_Service->m_Server.OnRequest(Sender, Request.get_Content(), Answer);
      } catch (TCException const& Refusal) {
        Result = Refusal.get_Message();
      }
    });
    return Result;
  }
};

}  // namespace

TEST_F(PropertyServerAdministration, RefusesAQuestionThatItDoesNotKnow) {
  Start();
  EXPECT_EQ(Ask(0, 99), "the server knows no question 99");
}

TEST_F(PropertyServerAdministration, ReportsTheBeginningAndTheEndOfAFault) {
  Start();
  TLog<std::string> Reports;
  Execute([&] {
    m_Service->m_Server.SetStatusSink([&](std::string const& Text) { Reports.Add(Text); });
    DiskFaults::FillDisk();
  });
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "waits", "", ""}}));
  EXPECT_THAT(Reports.WaitFor(1),
              ElementsAre("Changes wait until they can be stored: cannot commit to " + Path() +
                          ": database or disk is full (SQLite error 13)"));
  Execute(DiskFaults::Repair);
  EXPECT_TRUE(Writer.IsAcknowledged());
  std::vector<std::string> const All = Reports.WaitFor(2);
  ASSERT_EQ(All.size(), 2U);
  EXPECT_EQ(All[1], "Changes are stored again");
  Stop();
}

TEST_F(PropertyServerAdministration, RefusesAMailWhoseValuesAreTooManyBytes) {
  Start(TEDurability::eFull, "[limits]\nvalue_bytes = 8\nmail_bytes = 10\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "1234", "", ""}, {2, "1234", "", ""}, {3, "1234", "", ""}}));
  Writer.Send(Change({{4, "12345678", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(EndsWith(" refused: the values have 12 bytes, at most 10 are allowed in "
                                   "one mail (mail_bytes)")));
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=4 data=\"12345678\" mac=\"\" loaded=0}");
}

// Whether a mail was taken before is known to the disk only: so it has to come again.
TEST_F(PropertyServerAdministration, TakesAMailWhenTheDiskCanBeReadAgain) {
  constexpr int kValues = 3000;  // more than the database library keeps in memory
  std::vector<Property::TSPropertyRecord> Records;
  for (int Number = 1; Number <= kValues; ++Number) {
    Records.push_back({Number, Accessories::TCRecordID(), TCMACAddress(), std::string(2000, 'x')});
  }
  Store(Records);
  Start();
  TLog<std::string> Failures;
  Execute([&] {
    DiskFaults::Watch([&](DiskFaults::TSOperation const& Operation) {
      bool const Fails =
          Operation.Kind == DiskFaults::TEOperation::eRead && Failures.WaitFor(0).size() < 2;
      if (Fails) {
        Failures.Add(Operation.File);
      }
      return Fails ? SQLITE_IOERR_READ : SQLITE_OK;
    });
  });
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "new", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(Failures.WaitFor(0), ElementsAre("values.db", "values.db"));
  EXPECT_THAT(Writer.Ask(RequestOne({1, "", "", ""})), HasSubstr("data=\"new\""));
  Execute([] { DiskFaults::Watch(nullptr); });
}
