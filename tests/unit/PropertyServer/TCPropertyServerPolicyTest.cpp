// SPDX-License-Identifier: MIT
// What the server refuses, remembers and tells about itself, and when it tells of a change.
#include <gmock/gmock.h>
#include <unistd.h>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyInterface/TCNorvServerObject.h"
#include "ServiceFixture.h"
#include "tests/support/MailSender.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

namespace {

using Property::TEDurability;
using Property::TSHistoryEntry;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct PropertyServerPolicy : TPropertyServiceFixture {
  std::vector<TSHistoryEntry> History() {
    std::vector<TSHistoryEntry> Entries;
    Execute([&] { Entries = m_Service->m_Database.ReadHistory(100); });
    return Entries;
  }

  std::string Status(std::string const& Name) {
    std::string Result;
    Execute([&] {
      for (auto const& [Figure, Value] : m_Service->m_Server.get_Status()) {
        Result = Figure == Name ? Value : Result;
      }
    });
    return Result;
  }
};

constexpr char kSmallValues[] = "[limits]\nvalue_bytes = 4\n";

}  // namespace

TEST_F(PropertyServerPolicy, RefusesAValueThatIsTooLarge) {
  Start(TEDurability::eFull, kSmallValues);
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "12345", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1:");
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr("refused: property 1 has 5 bytes, at most 4 are allowed "
                                    "(value_bytes)")));
  EXPECT_EQ(Status("refused mails"), "1");
}

TEST_F(PropertyServerPolicy, RefusesAWholeMailForOneValue) {
  Start(TEDurability::eFull, kSmallValues);
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "good", "", ""}, {2, "too large", "", ""}}));
  EXPECT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1:");
}

TEST_F(PropertyServerPolicy, GivesTheSenderBackWhatStands) {
  Start(TEDurability::eFull, kSmallValues);
  TPropertyProxy Writer;
  TPropertyProxy Other;
  Writer.Subscribe();
  Other.Subscribe();
  Writer.Send(Change({{1, "good", "", ""}}));
  Writer.Send(Change({{1, "too large", "", ""}, {2, "x", "", ""}}));
  EXPECT_THAT(Writer.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {id=1 data=\"good\" mac=\"\" loaded=1} {id=2 "
                          "mac=\"\" loaded=0}"));
  Writer.Send(Change({{3, "more", "", ""}}));
  EXPECT_THAT(Other.m_Published.WaitFor(2),
              ElementsAre("property v2 Event 1: {id=1 data=\"good\" mac=\"\" loaded=0}",
                          "property v2 Event 1: {id=3 data=\"more\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerPolicy, ForwardsWhatHasNoDataAlsoToWhoMayNotReadTheProperty) {
  Start(TEDurability::eFull, "group = \"12345\"\n");
  TSNorvMailSender Reader;
  Reader.User = 65534;
  TCNorvMailMessage<Property::TCNorvPropertyObject> Mail(Norv_PropertyMail, eNorvEvent, 1);
  Mail.CreateRecord()->SetRecord(1, "hidden", Accessories::TCRecordID(), true, "");
  TCNorvPropertyObject* const Refused = Mail.CreateRecord();
  Refused->SetRecord(2, "", Accessories::TCRecordID(), false, "");
  Refused->get_Record().m_Data.Unassign();
  TSNorvMailContent Forwarded = Mail.get_Content();
  Execute([&] { Forwarded.Body = m_Service->m_Server.OnForward(Reader, Mail.get_Content()); });
  ASSERT_NE(Forwarded.Body, nullptr);
  EXPECT_EQ(TCNorvMailMessage<Property::TCNorvPropertyObject>(Forwarded).get_AsText(),
            "property v2 Event 1: {id=2 mac=\"\" loaded=0}");
}

TEST_F(PropertyServerPolicy, RefusesAMailOfTooManyRecordsAndGivesItsSenderWhatStands) {
  Start(TEDurability::eFull, "[limits]\nmail_records = 2\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}, {2, "b", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  Writer.Subscribe();
  Writer.Send(Change({{1, "x", "", ""}, {2, "x", "", ""}, {3, "x", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre(HasSubstr(" refused: a mail has more than 2 records, the most that are "
                                    "allowed (mail_records)")));
  EXPECT_THAT(Writer.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {} {id=1 data=\"a\" mac=\"\" loaded=0} "
                          "{id=2 data=\"b\" mac=\"\" loaded=0}"));
  EXPECT_EQ(Status("refused mails"), "1");
}

TEST_F(PropertyServerPolicy, RefusesWhatMakesTheValuesTooMany) {
  Start(TEDurability::eFull, "[limits]\nvalues = 2\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}, {1, "a", "4", ""}}));
  Writer.Send(Change({{1, "b", "", ""}, {1, "b", "5", ""}}));  // as a whole
  Writer.Send(Change({{1, "c", "4", ""}}));                    // no more than there are
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr(" refused: there would be 3 values, at most 2 are allowed "
                                    "(values)")));
  EXPECT_EQ(AllValues(),
            "property v2 Change 1: {id=1 data=\"a\" mac=\"\" loaded=0} {id=1 data=\"c\" "
            "link=\"4\" mac=\"\" loaded=0}");
}

// Else whoever may write one property could use up what all programs need.
TEST_F(PropertyServerPolicy, KeepsAQuarterOfTheValuesFromWhomOnlyARuleLetsWrite) {
  Start(TEDurability::eFull,
        "[limits]\nvalues = 4\n[[rule]]\nproperties = [1]\nwrite = [\"everybody\"]\n");
  std::uint64_t Number = 0;
  for (char const* const Link : {"1", "2", "3", "4", "2"}) {
    TSNorvReceivedMail Mail{{}, ++Number, Change({{1, Link, Link, ""}})};
    Mail.Sender = NewSender("", 65534);
    Execute([&] { m_Service->m_Server.OnMail(Mail); });
  }
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr("user 65534) refused: there would be 4 values, at most 3 are "
                                    "allowed (values)")));
  TPropertyProxy Owner;
  Owner.Send(Change({{1, "d", "4", ""}}));
  ASSERT_TRUE(Owner.IsAcknowledged());
  EXPECT_EQ(Status("values"), "4");
  EXPECT_EQ(Status("refused mails"), "1");
}

TEST_F(PropertyServerPolicy, KeepsAQuarterOfTheBytesFromWhomOnlyARuleLetsWrite) {
  Start(TEDurability::eFull,
        "[limits]\nbytes = 8\n[[rule]]\nproperties = [1]\nwrite = [\"everybody\"]\n");
  TSNorvReceivedMail Mail{{}, 1, Change({{1, "1234567", "", ""}})};
  Mail.Sender = NewSender("", 65534);
  Execute([&] { m_Service->m_Server.OnMail(Mail); });
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr("refused: all values would have 7 bytes, at most 6 are allowed "
                                    "(bytes)")));
  TPropertyProxy Owner;
  Owner.Send(Change({{1, "12345678", "", ""}}));
  ASSERT_TRUE(Owner.IsAcknowledged());
  EXPECT_EQ(Status("refused mails"), "1");
}

TEST_F(PropertyServerPolicy, RefusesWhatMakesTheTextsTooLong) {
  Start(TEDurability::eFull, "[limits]\nbytes = 10\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "12345", "", ""}, {2, "123", "", ""}}));
  Writer.Send(Change({{1, "12345678", "", ""}}));
  Writer.Send(Change({{2, "12345", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(Warnings().WaitFor(1),
              ElementsAre(HasSubstr(" refused: all values would have 11 bytes, at most 10 are "
                                    "allowed (bytes)")));
  EXPECT_EQ(AllValues(),
            "property v2 Change 1: {id=1 data=\"12345\" mac=\"\" loaded=0} {id=2 "
            "data=\"12345\" mac=\"\" loaded=0}");
}

// The limit may have been larger before.
TEST_F(PropertyServerPolicy, TakesWhatMakesTooLongTextsNoLonger) {
  Start();
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "12345678", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  Execute([&] {
    m_Service->m_Server.SetConfiguration(Configured("[limits]\nvalues = 1\nbytes = 4\n"));
  });
  Writer.Send(Change({{1, "1234567", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"1234567\" mac=\"\" loaded=0}");
}

// So many records that they are refused although each takes next to nothing.
TEST_F(PropertyServerPolicy, RefusesALargeMailOfEmptyRecordsWithoutReadingThem) {
  Start();
  TPropertyProxy Writer;
  TCNorvMailBody::TCWriter Records("");
  for (int Index = 0; Index < 2000000; ++Index) {
    Records.BeginRecord(0);
  }
  Writer.Send({Norv_PropertyMail, eNorvChange, 3, Records.Finish()});
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(Errors().WaitFor(1),
              ElementsAre(HasSubstr(" refused: a mail has more than 100000 records, the most that "
                                    "are allowed (mail_records)")));
}

TEST_F(PropertyServerPolicy, AnswersOthersWhileItStoresAMailOfManyRecords) {
  constexpr int kRecords = 100000;
  Start();
  std::vector<TPropertyRecord> Records;
  for (int Number = 1; Number <= kRecords; ++Number) {
    Records.push_back({Number, "value", "", ""});
  }
  TPropertyProxy Writer;
  TPropertyProxy Other;
  Other.Ask(RequestAll(1));  // it is connected
  Writer.Send(Change(Records));
  int AnsweredMeanwhile = 0;
  while (!Writer.WaitForAcknowledgements(0)) {
    bool const WaitedBefore = Status("waiting mails") == "1";
    std::string const Answer = Other.Ask(RequestOne({kRecords, "", "", ""}));
    if (WaitedBefore && Status("waiting mails") == "1") {
      EXPECT_THAT(Answer, HasSubstr("data=\"\" mac=\"\" loaded=0"));
      ++AnsweredMeanwhile;
    }
  }
  EXPECT_GE(AnsweredMeanwhile, 1);
  EXPECT_EQ(Status("values"), std::to_string(kRecords));
}

TEST_F(PropertyServerPolicy, StoresAllMailsThatWaitInOneTransaction) {
  Start();
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "first", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  std::string const Before = Status("commits");
  Execute([&] {  // the router is busy, so they all wait in the socket
    for (int Number = 1; Number <= 50; ++Number) {
      Writer.Send(Change({{Number, "value", "", ""}}));
    }
  });
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_LE(std::stoi(Status("commits")) - std::stoi(Before), 5);
  EXPECT_EQ(Status("taken mails"), "51");
}

TEST_F(PropertyServerPolicy, TellsOfAChangeBeforeItIsStoredWhenThatIsRelaxed) {
  Start(TEDurability::eRelaxed);
  TPropertyProxy Writer;
  TPropertyProxy Reader;
  Writer.Send(Change({{1, "stands", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  Reader.Subscribe();
  Execute([] { DiskFaults::FillDisk(); });
  Writer.Send(Change({{1, "early", "", ""}}));
  EXPECT_THAT(Reader.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {id=1 data=\"early\" mac=\"\" loaded=0}"));
  EXPECT_FALSE(Writer.WaitForAcknowledgements(0));
  Execute([] { DiskFaults::Repair(); });
  EXPECT_TRUE(Writer.IsAcknowledged());
}

TEST_F(PropertyServerPolicy, TellsOfANewValueAndAllBehindItWhenItIsStored) {
  Start(TEDurability::eRelaxed);
  TPropertyProxy Writer;
  TPropertyProxy Reader;
  Writer.Send(Change({{1, "stands", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  Reader.Subscribe();
  Execute([] { DiskFaults::FillDisk(); });
  Writer.Send(Change({{2, "new", "", ""}}));
  Writer.Send(Change({{1, "behind", "", ""}}));
  EXPECT_EQ(Errors().WaitFor(1).size(), 1U);
  EXPECT_THAT(Reader.m_Published.WaitFor(0), IsEmpty());
  Execute([] { DiskFaults::Repair(); });
  EXPECT_THAT(Reader.m_Published.WaitFor(2),
              ElementsAre("property v2 Event 1: {id=2 data=\"new\" mac=\"\" loaded=0}",
                          "property v2 Event 1: {id=1 data=\"behind\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerPolicy, RemembersWhoChangedWhat) {
  Start();
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}}));
  Writer.Send(Change({{1, "b", "", ""}, {2, "c", "4", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  auto const Entries = History();  // newest first
  ASSERT_THAT(Entries, SizeIs(3));
  EXPECT_EQ(Entries[0].Number, 2);
  EXPECT_EQ(Entries[0].Link, Accessories::TCRecordID(4));
  EXPECT_EQ(Entries[0].From, std::nullopt);
  EXPECT_EQ(Entries[1].From, "a");
  EXPECT_EQ(Entries[1].To, "b");
  EXPECT_EQ(Entries[0].Transaction, Entries[1].Transaction);
  EXPECT_EQ(Entries[2].Transaction + 1, Entries[1].Transaction);
  EXPECT_EQ(Entries[2].Origin.Process, getpid());
  EXPECT_EQ(Entries[2].Origin.User, geteuid());
  EXPECT_EQ(Entries[2].Origin.ProcessName, "server_service_");
}

TEST_F(PropertyServerPolicy, LogsRefusalsOfAUserBesideTheFloodOfAnother) {
  constexpr uid_t kFlooding = 65534;
  constexpr uid_t kOther = 65533;
  constexpr int kFlood = 100;
  Start(TEDurability::eFull, kSmallValues);
  Execute([&] {
    for (std::uint64_t Number = 1; Number <= kFlood; ++Number) {
      TSNorvReceivedMail Mail{{}, Number, Change({{1, "too large", "", ""}})};
      Mail.Sender = NewSender("", kFlooding);
      m_Service->m_Server.OnMail(Mail);
    }
    TSNorvReceivedMail Mail{{}, 1, Change({{1, "too large", "", ""}})};
    Mail.Sender = NewSender("", kOther);
    m_Service->m_Server.OnMail(Mail);
  });
  auto const Lines = Warnings().WaitFor(0);
  EXPECT_LT(Lines.size(), std::size_t{kFlood});
  EXPECT_THAT(Lines, ::testing::Contains(HasSubstr("user 65534) refused: ")));
  EXPECT_THAT(Lines, ::testing::Contains(HasSubstr("user 65533) refused: ")));
}

TEST_F(PropertyServerPolicy, KeepsSecretsOutOfTheHistory) {
  Start(TEDurability::eFull, "secret = [7]\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{7, "first secret", "", ""}}));
  Writer.Send(Change({{7, "second secret", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  auto const Entries = History();
  ASSERT_THAT(Entries, SizeIs(2));
  EXPECT_TRUE(Entries[0].Secret);
  EXPECT_EQ(Entries[0].From, std::nullopt);
  EXPECT_EQ(Entries[0].To, "");
}

TEST_F(PropertyServerPolicy, KeepsNoHistoryWhenNoneIsWanted) {
  Start(TEDurability::eFull, "[history]\nentries = 0\n");
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_THAT(History(), IsEmpty());
}

TEST_F(PropertyServerPolicy, TakesAnotherConfigurationWhileItRuns) {
  Start(TEDurability::eFull, kSmallValues);
  Execute([&] { m_Service->m_Server.SetConfiguration(Configured("")); });
  TPropertyProxy Writer;
  Writer.Send(Change({{1, "12345", "", ""}}));
  ASSERT_TRUE(Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"12345\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerPolicy, SaysWhoMayAskForStatusAndCopies) {
  Start(TEDurability::eFull, "group = \"12345\"\n");
  TSNorvMailSender Stranger;
  Stranger.User = 65533;
  Stranger.Group = 65533;
  TSNorvMailSender Member;
  Member.User = 65534;
  Member.Group = 12345;
  TSNorvMailSender Root;
  Root.User = 0;
  std::vector<std::string> Answers;
  Execute([&] {
    for (TSNorvMailSender const& Sender : {Stranger, Member, Root}) {
      for (int const Signal : {Property::kServerStatus, Property::kServerBackup}) {
        TCNorvMailMessage<Property::TCNorvServerObject> Request(Property::Norv_ServerMail,
                                                                eNorvRequest, Signal);
        TSNorvMailContent Answer = Request.get_Content();
        try {
          m_Service->m_Server.OnRequest(Sender, Request.get_Content(), Answer);
          Answers.emplace_back("answered");
        } catch (TCException const& Refusal) {
          Answers.push_back(Refusal.get_Message());
        }
      }
    }
  });
  EXPECT_THAT(Answers, ElementsAre("user 65533 may not ask about the server, only root, the "
                                   "server's own user and members of the group 12345 may",
                                   "user 65533 may not copy the database, only root and the "
                                   "server's own user may",
                                   "answered",
                                   "user 65534 may not copy the database, only root and the "
                                   "server's own user may",
                                   "answered", "answered"));
}
