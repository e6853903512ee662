// SPDX-License-Identifier: MIT
// The layout of property mails: fields, signals, and what a record is filled with.
#include "PropertyInterface/TCNorvPropertyObject.h"

#include <gmock/gmock.h>

#include <string>
#include <tuple>
#include <type_traits>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/TCMACAddress.h"
#include "SignalParameter.h"
#include "tests/unit/CommonProperties/CaughtException.h"

using Accessories::TCRecordID;
using ::testing::ElementsAre;

namespace {

using TMail = TCNorvMailMessage<TCNorvPropertyObject>;

constexpr char kMAC[] = "00:11:22:33:44:66";

std::string TextOfAChange() {
  TMail Mail(TCNorvPropertyObject::m_MailClassID, 2, 3);
  Mail.CreateRecord()->SetRecord(5, "early", TCRecordID(), false, "");
  return Mail.get_AsText();
}

std::string const& EarlyText = *new std::string(TextOfAChange());
int const EarlyClassID = Norv_PropertyMail.get_ID();

struct TCNorvPropertyObjectRecordSignal : ::testing::TestWithParam<TSignal> {};
struct TCNorvPropertyObjectUnboundSignal : ::testing::TestWithParam<TSignal> {};

}  // namespace

// ---- mail class ----

TEST(TCNorvPropertyObjectTest, NamesTheMailClass) {
  EXPECT_EQ(Norv_PropertyMail.get_Name(), "property");
  EXPECT_EQ(Norv_PropertyMail.get_Version(), 2);
}

TEST(TCNorvPropertyObjectTest, UsesTheMailClassForItsMessages) {
  EXPECT_EQ(TCNorvPropertyObject::m_MailClassID, Norv_PropertyMail);
  EXPECT_EQ(TCNorvPropertyObject::m_MailClassID.get_ID(), Norv_PropertyMail.get_ID());
}

TEST(TCNorvPropertyObjectTest, IsTheSameClassUnderBothSpellings) {
  EXPECT_TRUE((std::is_same<TCNorvPropertyObject, Property::TCNorvPropertyObject>::value));
  EXPECT_EQ(&Norv_PropertyMail, &Property::Norv_PropertyMail);
}

TEST(TCNorvPropertyObjectTest, IsUsableInStaticInitialisers) {
  EXPECT_EQ(EarlyText, "property v2 Change 3: {id=5 data=\"early\" mac=\"\" loaded=0}");
  EXPECT_EQ(EarlyClassID, TCNorvMailClassID("property", 2).get_ID());
}

// ---- fields ----

TEST(TCNorvPropertyObjectTest, RegistersTheFieldsOfAValueInWireOrder) {
  TCNorvPropertyObject Object;

  EXPECT_THAT(Object.get_Record().get_FieldNames(),
              ElementsAre("id", "data", "link", "mac", "loaded"));
  EXPECT_EQ(Object.get_Record().get_Signature(), "isssb");
}

TEST(TCNorvPropertyObjectTest, RegistersTheFieldOfARequestForAll) {
  TCNorvPropertyObject Object;

  EXPECT_THAT(Object.get_Request().get_FieldNames(), ElementsAre("action"));
  EXPECT_EQ(Object.get_Request().get_Signature(), "i");
}

TEST(TCNorvPropertyObjectTest, HasOnlyUnassignedFieldsWhenConstructed) {
  TCNorvPropertyObject Object;

  EXPECT_EQ(Object.get_Record().get_AsText(), "");
  EXPECT_EQ(Object.get_Request().get_AsText(), "");
}

// ---- signals ----

TEST_P(TCNorvPropertyObjectRecordSignal, CarriesValues) {
  TCNorvPropertyObject Object;

  EXPECT_EQ(Object.Find(Norv_PropertyMail, GetParam().m_Type, GetParam().m_Name),
            &Object.get_Record());
}

INSTANTIATE_TEST_SUITE_P(Signals, TCNorvPropertyObjectRecordSignal,
                         ::testing::Values(TSignal{1, 2}, TSignal{2, 3}, TSignal{4, 2},
                                           TSignal{4, 1}, TSignal{2, 1}),
                         SignalName);

TEST(TCNorvPropertyObjectTest, CarriesTheRequestForAllInItsOwnSignal) {
  TCNorvPropertyObject Object;

  EXPECT_EQ(Object.Find(Norv_PropertyMail, 1, 1), &Object.get_Request());
}

TEST_P(TCNorvPropertyObjectUnboundSignal, CarriesNoRecords) {
  TCNorvPropertyObject Object;

  EXPECT_EQ(Object.Find(Norv_PropertyMail, GetParam().m_Type, GetParam().m_Name), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Signals, TCNorvPropertyObjectUnboundSignal,
                         ::testing::Values(TSignal{1, 3}, TSignal{2, 2}, TSignal{4, 3},
                                           TSignal{0, 1}, TSignal{3, 1}, TSignal{1, 0}),
                         SignalName);

TEST(TCNorvPropertyObjectTest, CarriesNoRecordsInMailsOfAnotherVersion) {
  TCNorvPropertyObject Object;

  EXPECT_EQ(Object.Find(TCNorvMailClassID("property", 1), 2, 3), nullptr);
}

// ---- filling ----

TEST(TCNorvPropertyObjectTest, FillsAllFieldsOfALinkedValue) {
  TCNorvPropertyObject Object;

  Object.SetRecord(1001, "text", TCRecordID(7), true, kMAC);

  EXPECT_EQ(int{Object.get_Record().m_ID}, 1001);
  EXPECT_EQ(Object.get_Record().m_Data.get_AsString(), "text");
  EXPECT_EQ(Object.get_Record().m_Link.get_AsRecordID(), TCRecordID(7));
  EXPECT_TRUE(Object.get_Record().m_Loaded.get_AsBool());
  EXPECT_EQ(Object.get_Record().m_MAC.get_AsString(), kMAC);
}

TEST(TCNorvPropertyObjectTest, FillsEachFieldOfAValueWithItsKind) {
  TCNorvPropertyObject Object;

  Object.SetRecord(1001, "text", TCRecordID(7), false, kMAC);

  EXPECT_EQ(Object.get_Record().m_ID.get_Kind(), TENorvFieldKind::eInteger);
  EXPECT_EQ(Object.get_Record().m_Data.get_Kind(), TENorvFieldKind::eString);
  EXPECT_EQ(Object.get_Record().m_Link.get_Kind(), TENorvFieldKind::eString);
  EXPECT_EQ(Object.get_Record().m_Loaded.get_Kind(), TENorvFieldKind::eBoolean);
  EXPECT_EQ(Object.get_Record().m_MAC.get_Kind(), TENorvFieldKind::eString);
}

TEST(TCNorvPropertyObjectTest, LeavesTheLinkOfAnUnlinkedValueUnset) {
  TCNorvPropertyObject Object;

  Object.SetRecord(1001, "text", TCRecordID(), false, kMAC);

  EXPECT_FALSE(Object.get_Record().m_Link.IsAssigned());
}

TEST(TCNorvPropertyObjectTest, KeepsAnEarlierLinkWhenTheNewOneIsNull) {
  TCNorvPropertyObject Object;
  Object.SetRecord(1001, "text", TCRecordID(7), false, kMAC);

  Object.SetRecord(1001, "text", TCRecordID(), false, kMAC);

  EXPECT_EQ(Object.get_Record().m_Link.get_AsRecordID(), TCRecordID(7));
}

TEST(TCNorvPropertyObjectTest, WritesAnEmptyMACForAValueWithoutDevice) {
  TCNorvPropertyObject Object;

  Object.SetRecord(1001, "text", TCRecordID(), false, TCMACAddress().get_AsString(':'));

  EXPECT_TRUE(Object.get_Record().m_MAC.IsAssigned());
  EXPECT_EQ(Object.get_Record().m_MAC.get_AsString(), "");
}

TEST(TCNorvPropertyObjectTest, RequestsAPropertyByNumberLinkAndMAC) {
  TCNorvPropertyObject Object;

  Object.RequestProperty(1001, TCRecordID(7), kMAC);

  EXPECT_EQ(Object.get_Record().get_AsText(), "id=1001 link=7 mac=\"00:11:22:33:44:66\"");
  EXPECT_EQ(Object.get_Record().m_Link.get_Kind(), TENorvFieldKind::eRecordID);
}

TEST(TCNorvPropertyObjectTest, WritesTheNullLinkOfARequest) {
  TCNorvPropertyObject Object;

  Object.RequestProperty(1001, TCRecordID(), kMAC);

  EXPECT_TRUE(Object.get_Record().m_Link.IsAssigned());
  EXPECT_TRUE(Object.get_Record().m_Link.get_AsRecordID().IsNull());
}

TEST(TCNorvPropertyObjectTest, LeavesDataAndLoadedOfARequestUnset) {
  TCNorvPropertyObject Object;

  Object.RequestProperty(1001, TCRecordID(), kMAC);

  EXPECT_FALSE(Object.get_Record().m_Data.IsAssigned());
  EXPECT_FALSE(Object.get_Record().m_Loaded.IsAssigned());
}

// ---- messages ----

TEST(TCNorvPropertyObjectTest, AppendsRecordsInTheOrderOfTheirCreation) {
  TMail Mail(TCNorvPropertyObject::m_MailClassID, 2, 3);

  TCNorvPropertyObject* const First = Mail.CreateRecord();
  TCNorvPropertyObject* const Second = Mail.CreateRecord();

  EXPECT_EQ(Mail.RecordCount(), 2);
  EXPECT_EQ(Mail.GetRecord(0), First);
  EXPECT_EQ(Mail.GetRecord(1), Second);
}

TEST(TCNorvPropertyObjectTest, TravelsWithEveryField) {
  TMail Mail(TCNorvPropertyObject::m_MailClassID, 2, 3);
  Mail.CreateRecord()->SetRecord(1001, "text", TCRecordID(7), true, kMAC);
  Mail.CreateRecord()->SetRecord(1002, "", TCRecordID(), false, "");
  TMail Received(TCNorvPropertyObject::m_MailClassID, 2, 3);

  Received.Copy(Mail);

  EXPECT_EQ(Received.get_AsText(),
            "property v2 Change 3: {id=1001 data=\"text\" link=\"7\" mac=\"00:11:22:33:44:66\" "
            "loaded=1} {id=1002 data=\"\" mac=\"\" loaded=0}");
  EXPECT_FALSE(Received.GetMailRecord(1)->get_Record().m_Link.IsAssigned());
}

TEST(TCNorvPropertyObjectTest, RefusesARecordForAnUnboundSignal) {
  TMail Mail(TCNorvPropertyObject::m_MailClassID, 1, 3);

  TCException const Exception = CaughtException([&] { Mail.CreateRecord(); });

  EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/TCNorvMailMessage");
  EXPECT_EQ(Exception.get_Line(), 283);
  EXPECT_EQ(Exception.get_Condition(), "SetRecordType(Object,RecordCount()) == true");
  EXPECT_EQ(Exception.get_Message(),
            "SignalType Request and Signalname 3 have no associated records");
  EXPECT_EQ(Mail.RecordCount(), 0);
}

TEST(TCNorvPropertyObjectTest, RefusesARecordIndexOutOfBounds) {
  TMail Mail(TCNorvPropertyObject::m_MailClassID, 2, 3);
  Mail.CreateRecord();

  TCException const Exception = CaughtException([&] { Mail.GetRecord(1); });

  EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/TCNorvMessage");
  EXPECT_EQ(Exception.get_Line(), 221);
  EXPECT_EQ(Exception.get_Condition(), "Index < (int) m_Records.size()");
  EXPECT_EQ(Exception.get_Message(), "Index out of bounds");
}
