// SPDX-License-Identifier: MIT
// Registration of fields and their encoded form.
#include "Platform/Messaging/TCNorvRecordObject.h"

#include <gmock/gmock.h>

#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using ::testing::ElementsAre;

struct TRecord : TCNorvRecordObject {
  TRecord() {
    Add(m_Last, "last", TENorvFieldKind::eBoolean);
    Add(m_Number, "number", TENorvFieldKind::eInteger);
    Add(m_Link, "link", TENorvFieldKind::eRecordID);
    Add(m_Any, "any");
  }
  TCNorvField m_Number, m_Link, m_Any, m_Last;
};

std::shared_ptr<TCNorvMailBody const> Encoded(TRecord const& Record) {
  TCNorvMailBody::TCWriter Writer(Record.get_Signature());
  Record.Encode(Writer);
  return Writer.Finish();
}

TEST(RecordObject, NamesItsFieldsInTheOrderOfRegistration) {
  EXPECT_THAT(TRecord().get_FieldNames(), ElementsAre("last", "number", "link", "any"));
}

TEST(RecordObject, SignsItsFieldsInTheOrderOfRegistration) {
  EXPECT_EQ(TRecord().get_Signature(), "bisv");
}

TEST(RecordObject, EncodesFieldByField) {
  TRecord Record;
  Record.m_Last.set_AsBool(true);
  Record.m_Number = 258;
  Record.m_Link.set_AsRecordID(Accessories::TCRecordID(7));
  Record.m_Any.set_AsString("x");
  std::string const Expected(
      "\x0f\0\0\0"
      "\1"
      "\2\1\0\0"
      "\1\0\0\0"
      "7"
      "s"
      "\1\0\0\0"
      "x",
      20);
  EXPECT_EQ(Encoded(Record)->get_Record(0), Expected);
}

TEST(RecordObject, EncodesUnassignedFieldsAsNothing) {
  std::string const Expected(
      "\0\0\0\0"
      "\0"
      "\0\0\0\0"
      "\0\0\0\0"
      "s"
      "\0\0\0\0",
      18);
  EXPECT_EQ(Encoded(TRecord())->get_Record(0), Expected);
}

TEST(RecordObject, DecodesWhatItEncodes) {
  TRecord Record;
  Record.m_Last.set_AsBool(true);
  Record.m_Number = -5;
  Record.m_Link.set_AsRecordID(Accessories::TCRecordID());
  Record.m_Any = 6;
  TRecord Decoded;
  Decoded.Decode(Encoded(Record)->get_Record(0));
  EXPECT_TRUE(Decoded.m_Last.get_AsBool());
  EXPECT_EQ(Decoded.m_Number.get_AsInteger(), -5);
  EXPECT_TRUE(Decoded.m_Link.IsAssigned());
  EXPECT_TRUE(Decoded.m_Link.get_AsRecordID().IsNull());
  EXPECT_EQ(Decoded.m_Any.get_Kind(), TENorvFieldKind::eInteger);
}

TEST(RecordObject, UnassignsWhatTheEncodedRecordLeavesOut) {
  TRecord Record;
  Record.m_Number = 5;
  std::shared_ptr<TCNorvMailBody const> const Body = Encoded(TRecord());
  Record.Decode(Body->get_Record(0));
  EXPECT_FALSE(Record.m_Number.IsAssigned());
}

TEST(RecordObject, SendsADeclaredFieldAsItsKindWhateverWasAssigned) {
  TRecord Record;
  Record.m_Number.set_AsString("17");
  TRecord Decoded;
  Decoded.Decode(Encoded(Record)->get_Record(0));
  EXPECT_EQ(Decoded.m_Number.get_Kind(), TENorvFieldKind::eInteger);
  EXPECT_EQ(Decoded.m_Number.get_AsInteger(), 17);
}

TEST(RecordObject, PrintsItsAssignedFields) {
  TRecord Record;
  Record.m_Number = 5;
  Record.m_Any.set_AsString("text");
  EXPECT_EQ(Record.get_AsText(), "number=5 any=\"text\"");
}

TEST(RecordObject, HasAtMost32Fields) {
  struct TWide : TCNorvRecordObject {
    TWide() {
      for (TCNorvField& Field : m_Fields) {
        Add(Field, "field", TENorvFieldKind::eInteger);
      }
    }
    TCNorvField m_Fields[33];
  } const Wide;
  TCException const Exception =
      CaughtException([&] { TCNorvMailBody::TCWriter const Writer(Wide.get_Signature()); });
  EXPECT_EQ(Exception.get_Message(), "Malformed mail: too many fields in a record");
}

}  // namespace
