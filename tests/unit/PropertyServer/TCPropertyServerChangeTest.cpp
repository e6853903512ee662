// SPDX-License-Identifier: MIT
// What the server makes of changes: stored, published, acknowledged, or refused.
#include <gmock/gmock.h>

#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/support/MailSender.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

using Accessories::TCRecordID;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

namespace {

struct PropertyServerChange : TPropertyServiceFixture {
  PropertyServerChange() { Start(); }

  // Sends `Mail` and a sound change behind it; only the latter takes effect.
  void ExpectRefused(TSNorvMailContent const& Mail, std::string const& Reason) {
    m_Reader.Subscribe();
    m_Writer.Send(Mail);
    m_Writer.Send(Change({{9, "sound", "", ""}}));
    EXPECT_TRUE(m_Writer.IsAcknowledged());
    EXPECT_THAT(Errors().WaitFor(1), ElementsAre(EndsWith(" refused: " + Reason)));
    EXPECT_EQ(AllValues(), "property v2 Change 1: {id=9 data=\"sound\" mac=\"\" loaded=0}");
    EXPECT_THAT(m_Reader.m_Published.WaitFor(1),
                ElementsAre("property v2 Event 1: {id=9 data=\"sound\" mac=\"\" loaded=0}"));
  }

  // Hands the server a mail as the router does, and has it stored: nobody waits for an
  // acknowledgement.
  void Receive(std::string const& Identity, std::uint64_t Number, std::string const& Data) {
    TSNorvReceivedMail Mail{{}, Number, Change({{1, Data, "", ""}})};
    Mail.Sender = NewSender(Identity);
    Execute([&] {
      m_Service->m_Server.OnMail(Mail);
      m_Service->m_Server.Commit();
    });
  }

  TPropertyProxy m_Writer;
  TPropertyProxy m_Reader;
};

}  // namespace

TEST_F(PropertyServerChange, IsStoredAndPublishedToOthersWithItsRecordsInOrder) {
  m_Reader.Subscribe();
  m_Writer.Send(Change({{2, "b", "7", "00:11:22:33:44:66"}, {1, "a", "", ""}}));
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  EXPECT_THAT(m_Reader.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1:"
                          " {id=2 data=\"b\" link=\"7\" mac=\"00:11:22:33:44:66\" loaded=0}"
                          " {id=1 data=\"a\" mac=\"\" loaded=0}"));
  EXPECT_EQ(AllValues(),
            "property v2 Change 1:"
            " {id=1 data=\"a\" mac=\"\" loaded=0}"
            " {id=2 data=\"b\" link=\"7\" mac=\"00:11:22:33:44:66\" loaded=0}");
}

TEST_F(PropertyServerChange, IsNotPublishedToItsOrigin) {
  m_Writer.Subscribe();
  m_Writer.Send(Change({{1, "own", "", ""}}));
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  m_Reader.Send(Change({{1, "another's", "", ""}}));
  EXPECT_THAT(m_Writer.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {id=1 data=\"another's\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerChange, OfOneKeyTwiceInAMailLeavesTheLastValue) {
  m_Writer.Send(Change({{1, "first", "", ""}, {1, "second", "", ""}}));
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"second\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerChange, WithoutRecordsIsAcknowledgedAndNotPublished) {
  m_Reader.Subscribe();
  m_Writer.Send(Change({}));
  m_Writer.Send(Change({{1, "a", "", ""}}));
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  EXPECT_THAT(m_Reader.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {id=1 data=\"a\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerChange, IsHeldByTheNextServer) {
  m_Writer.Send(Change({{1, "kept", "7", ""}}));
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  Stop();
  Start();
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"kept\" link=\"7\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerChange, ThatIsRepeatedIsDropped) {
  m_Reader.Subscribe();
  Receive("sender", 1, "first");
  Receive("sender", 2, "second");
  Receive("sender", 1, "first");
  Receive("another", 1, "third");
  EXPECT_THAT(m_Reader.m_Published.WaitFor(3),
              ElementsAre("property v2 Event 1: {id=1 data=\"first\" mac=\"\" loaded=0}",
                          "property v2 Event 1: {id=1 data=\"second\" mac=\"\" loaded=0}",
                          "property v2 Event 1: {id=1 data=\"third\" mac=\"\" loaded=0}"));
}

TEST_F(PropertyServerChange, ThatIsRepeatedAfterARestartIsDropped) {
  Receive("sender", 1, "first");
  Receive("sender", 2, "second");
  Stop();
  Start();
  Receive("sender", 1, "first");
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"second\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerChange, IsNoRepeatOfWhatAnotherUserSentAsTheSameIdentity) {
  TSNorvReceivedMail Foreign{{}, 1000000, Change({{1, "foreign", "", ""}})};
  Foreign.Sender = NewSender("sender", 65534);
  Execute([&] { m_Service->m_Server.OnMail(Foreign); });  // who may not write
  Receive("sender", 1, "first");
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"first\" mac=\"\" loaded=0}");
  Stop();
  Start();
  Receive("sender", 2, "second");
  EXPECT_EQ(AllValues(), "property v2 Change 1: {id=1 data=\"second\" mac=\"\" loaded=0}");
}

TEST_F(PropertyServerChange, ThatWasRefusedIsNotTakenWhenItIsRepeated) {
  TSNorvReceivedMail Mail{{}, 1, Change({{1, "a", "", ""}})};
  Mail.Sender = NewSender("sender");
  Execute([&] { m_Service->m_Server.OnRefused(Mail); });
  Receive("sender", 1, "a");
  EXPECT_EQ(AllValues(), "property v2 Change 1:");
}

TEST_F(PropertyServerChange, OfAnotherMailClassIsRefused) {
  ExpectRefused({TCNorvMailClassID("property", 3), eNorvChange, 3, Change({}).Body},
                "property v3 Change 3 is no change of properties");
}

TEST_F(PropertyServerChange, OfAnotherSignalIsRefused) {
  ExpectRefused(Values(eNorvEvent, 1, {{1, "a", "", ""}}),
                "property v2 Event 1 is no change of properties");
}

TEST_F(PropertyServerChange, OfAnotherLayoutIsRefused) {
  ExpectRefused(Foreign(eNorvChange, 3), "Malformed mail: records of another layout");
}

TEST_F(PropertyServerChange, WithALinkThatIsNoNumberIsRefusedAsAWhole) {
  ExpectRefused(Change({{1, "a", "", ""}, {2, "b", "seven", ""}}),
                "Malformed mail: a link that is no number");
}

TEST_F(PropertyServerChange, WithADeviceThatIsNoMACIsRefusedAsAWhole) {
  ExpectRefused(Change({{1, "a", "", ""}, {2, "b", "", "00:11"}}),
                "Malformed mail: a device that is no MAC address");
}

TEST_F(PropertyServerChange, WithoutANumberIsRefused) {
  TCNorvMailBody::TCWriter Writer("isssb");
  Writer.BeginRecord(0);
  for (char Code : std::string("isssb")) {
    TSNorvFieldValue Value;
    Value.Code = Code;
    Writer.AppendField(Value);
  }
  ExpectRefused({Norv_PropertyMail, eNorvChange, 3, Writer.Finish()},
                "Malformed mail: a record without a property's number");
}

TEST_F(PropertyServerChange, ThatAProcessMissedDuringARestartIsPublishedToIt) {
  m_Writer.Send(Change({{1, "before", "", ""}}));
  EXPECT_TRUE(m_Writer.IsAcknowledged());
  m_Reader.Subscribe();
  Stop();
  Store({{1, TCRecordID(), TCMACAddress(), "meanwhile"}});
  Start();
  EXPECT_THAT(m_Reader.m_Published.WaitFor(1),
              ElementsAre("property v2 Event 1: {} {id=1 data=\"meanwhile\" mac=\"\" loaded=0}"));
}

// A server is made by the thread that turns the router's loop, or before anybody does.
TEST_F(PropertyServerChange, HasOneServerOnly) {
  std::string Message = "nothing was thrown";
  m_Service->m_Router.Execute([this, &Message] {
    try {
      TPropertyService::TOpenServer const Second(
          m_Service->m_Router, m_Service->m_Database, Property::TEDurability::eFull, false,
          std::make_shared<Property::TCServerConfiguration const>());
    } catch (TCException const& Failure) {
      Message = Failure.get_Message();
    }
  });
  EXPECT_EQ(Message, "mailbox @mailrouter.property has an owner");
}
