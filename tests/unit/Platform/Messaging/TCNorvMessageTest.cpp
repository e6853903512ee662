// SPDX-License-Identifier: MIT
// Mails and their records: building, reading, copying.
#include "Platform/Messaging/TCNorvMessage.h"

#include <gmock/gmock.h>

#include "MessagingFixture.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

TEST(Message, KeepsRecordsInTheOrderOfCreation) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  Append(Mail, 2, "two");
  EXPECT_EQ(Mail.RecordCount(), 2);
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(1, "one"), Pair(2, "two")));
}

TEST(Message, CreatesNoRecordForAnUnboundSignal) {
  TTestMail Mail(TestClass(), eNorvRequest, 3);
  TCException const Exception = CaughtException([&] { Mail.CreateRecord(); });
  EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/TCNorvMailMessage");
  EXPECT_EQ(Exception.get_Line(), 283);
  EXPECT_EQ(Exception.get_Condition(), "SetRecordType(Object,RecordCount()) == true");
  EXPECT_EQ(Exception.get_Message(),
            "SignalType Request and Signalname 3 have no associated records");
}

TEST(Message, KeepsEarlierRecordsWhenOneCanNotBeAttached) {
  struct TUnbound : TCNorvMailObject {
  } Unbound;
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  EXPECT_FALSE(Mail.SetRecordType(&Unbound, 1));
  EXPECT_FALSE(Mail.SetRecordType(nullptr, 1));
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(1, "one")));
}

TEST(Message, AttachesARecordNowhereButInItsRange) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  TTestObject Object;
  EXPECT_FALSE(Mail.SetRecordType(&Object, 1));
  EXPECT_FALSE(Mail.SetRecordType(&Object, -1));
  EXPECT_EQ(Mail.RecordCount(), 0);
}

TEST(Message, ReplacesARecord) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  auto* const Object = new TTestObject;  // the mail's from here on
  Object->m_Record.m_Number = 2;
  EXPECT_TRUE(Mail.SetRecordType(Object, 0));
  EXPECT_TRUE(Mail.SetRecordType(Object, 0));
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(2, "")));
}

void ExpectOutOfBounds(TCNorvMessage const& Mail, int Index) {
  TCException const Exception = CaughtException([&] { Mail.GetRecord(Index); });
  EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/TCNorvMessage");
  EXPECT_EQ(Exception.get_Line(), 221);
  EXPECT_EQ(Exception.get_Condition(), "Index < (int) m_Records.size()");
  EXPECT_EQ(Exception.get_Message(), "Index out of bounds");
}

TEST(Message, ThrowsForARecordBehindTheLast) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  ExpectOutOfBounds(Mail, 0);
  Append(Mail, 1);
  ExpectOutOfBounds(Mail, 1);
}

TEST(Message, ThrowsForANegativeRecord) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1);
  ExpectOutOfBounds(Mail, -1);
}

TEST(Message, CopiesClassSignalAndRecords) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  TTestMail Copy(TestClass(), eNorvRequest, 2);
  Copy.Copy(Mail);
  EXPECT_EQ(Copy.get_SignalType(), eNorvChange);
  EXPECT_EQ(Copy.get_SignalName(), 1);
  EXPECT_EQ(Copy.get_MailClassID(), TestClass());
  EXPECT_THAT(Records(Copy), ElementsAre(Pair(1, "one")));
}

TEST(Message, CopyIsIndependentOfItsSource) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  TTestMail Copy(TestClass(), eNorvChange, 1);
  Copy.Copy(Mail);
  Mail.GetMailRecord(0)->m_Record.m_Number = 2;
  EXPECT_THAT(Records(Copy), ElementsAre(Pair(1, "one")));
}

TEST(Message, CopiesAReceivedMailWithOneChangedRecord) {
  TTestMail Built(TestClass(), eNorvChange, 1);
  Append(Built, 1, "one");
  Append(Built, 2, "two");
  TTestMail Received(Built.get_Content());
  Received.GetMailRecord(1)->m_Record.m_Number = 3;
  TTestMail Copy(TestClass(), eNorvChange, 1);
  Copy.Copy(Received);
  EXPECT_THAT(Records(Copy), ElementsAre(Pair(1, "one"), Pair(3, "two")));
}

TEST(Message, CopiesItself) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  Mail.Copy(Mail);
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(1, "one")));
}

TEST(Message, CopiesAMailWithoutRecords) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  TTestMail Copy(TestClass(), eNorvChange, 1);
  Append(Copy, 1);
  Copy.Copy(Mail);
  EXPECT_EQ(Copy.RecordCount(), 0);
}

TEST(Message, RefusesToCopyRecordsOfAnotherLayout) {
  TTestMail Other(TestClass(), eNorvRequest, 2);
  Other.CreateRecord()->m_Other.m_Flag.set_AsBool(true);
  TSNorvMailContent Content = Other.get_Content();
  Content.SignalName = 1;
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  TCException const Exception = CaughtException([&] { Mail.SetContent(Content); });
  EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/TCNorvMessage");
  EXPECT_EQ(Exception.get_Message(), "Malformed mail: records of type (b) where (isv) is expected");
  EXPECT_EQ(Mail.get_SignalType(), eNorvChange);
  EXPECT_THAT(Records(Mail), ElementsAre(Pair(1, "one")));
}

TEST(Message, RefusesToReadAReceivedRecordOfAnotherLayout) {
  TTestMail Other(TestClass(), eNorvRequest, 2);
  Other.CreateRecord()->m_Other.m_Flag.set_AsBool(true);
  TSNorvMailContent Content = Other.get_Content();
  Content.SignalName = 1;
  TTestMail const Mail(Content);
  TCException const Exception = CaughtException([&] { Mail.GetRecord(0); });
  EXPECT_EQ(Exception.get_Message(), "Malformed mail: records of type (b) where (isv) is expected");
}

TEST(Message, GivesNoRecordsOfASignalThatBindsNone) {
  TSNorvMailContent Content = OneRecord(eNorvChange, 1);
  Content.SignalName = 9;
  TTestMail const Mail(Content);
  EXPECT_EQ(Mail.RecordCount(), 1);
  TCException const Exception = CaughtException([&] { Mail.GetRecord(0); });
  EXPECT_EQ(Exception.get_Message(),
            "SignalType Change and Signalname 9 have no associated records");
}

TEST(Message, WithoutRecordClassGivesNoReceivedRecords) {
  TCNorvMessage const Mail(OneRecord(eNorvChange, 1));
  TCException const Exception = CaughtException([&] { Mail.GetRecord(0); });
  EXPECT_EQ(Exception.get_Message(), "The mail has no record class");
}

TEST(Message, NamesSignalTypes) {
  EXPECT_EQ(TCNorvMessage::SignalTypename(1), "Request");
  EXPECT_EQ(TCNorvMessage::SignalTypename(2), "Change");
  EXPECT_EQ(TCNorvMessage::SignalTypename(4), "Event");
  EXPECT_EQ(TCNorvMessage::SignalTypename(3), "Unknown");
}

TEST(Message, PrintsItself) {
  TTestMail Mail(TestClass(), eNorvChange, 1);
  Append(Mail, 1, "one");
  Append(Mail, 2, "two");
  EXPECT_EQ(Mail.get_AsText(), "test v1 Change 1: {number=1 text=\"one\"} {number=2 text=\"two\"}");
}

}  // namespace
