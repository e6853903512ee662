// SPDX-License-Identifier: MIT
// What a field gives back for every kind that was assigned.
#include "Platform/Messaging/TCNorvField.h"

#include <gtest/gtest.h>

namespace {

using Accessories::TCRecordID;

TEST(Field, ReadsAsNothingWhenUnassigned) {
  TCNorvField const Field;
  EXPECT_FALSE(Field.IsAssigned());
  EXPECT_EQ(Field.get_Kind(), TENorvFieldKind::eAny);
  EXPECT_EQ(Field.get_AsInteger(), 0);
  EXPECT_EQ(Field.get_AsString(), "");
  EXPECT_FALSE(Field.get_AsBool());
  EXPECT_TRUE(Field.get_AsRecordID().IsNull());
}

TEST(Field, ConvertsAnInteger) {
  TCNorvField Field;
  Field.set_AsInteger(-12);
  EXPECT_EQ(Field.get_Kind(), TENorvFieldKind::eInteger);
  EXPECT_EQ(Field.get_AsInteger(), -12);
  EXPECT_EQ(Field.get_AsString(), "-12");
  EXPECT_TRUE(Field.get_AsBool());
  EXPECT_EQ(Field.get_AsRecordID(), TCRecordID(-12));
}

TEST(Field, ConvertsAText) {
  TCNorvField Field;
  Field.set_AsString("42");
  EXPECT_EQ(Field.get_Kind(), TENorvFieldKind::eString);
  EXPECT_EQ(Field.get_AsInteger(), 42);
  EXPECT_EQ(Field.get_AsString(), "42");
  EXPECT_TRUE(Field.get_AsBool());
  EXPECT_EQ(Field.get_AsRecordID(), TCRecordID(42));
}

TEST(Field, ReadsATextWithoutNumberAsZero) {
  TCNorvField Field;
  Field.set_AsString("true");
  EXPECT_EQ(Field.get_AsInteger(), 0);
  EXPECT_FALSE(Field.get_AsBool());
}

TEST(Field, KeepsAnEmptyTextApartFromNothing) {
  TCNorvField Field;
  Field.set_AsString("");
  EXPECT_TRUE(Field.IsAssigned());
  EXPECT_EQ(Field.get_AsString(), "");
  EXPECT_TRUE(Field.get_AsRecordID().IsNull());
}

TEST(Field, ConvertsABoolean) {
  TCNorvField Field;
  Field.set_AsBool(true);
  EXPECT_EQ(Field.get_Kind(), TENorvFieldKind::eBoolean);
  EXPECT_EQ(Field.get_AsInteger(), 1);
  EXPECT_EQ(Field.get_AsString(), "1");
  EXPECT_TRUE(Field.get_AsBool());
  EXPECT_EQ(Field.get_AsRecordID(), TCRecordID(1));
}

TEST(Field, ConvertsARecordIdentifier) {
  TCNorvField Field;
  Field.set_AsRecordID(TCRecordID(9));
  EXPECT_EQ(Field.get_Kind(), TENorvFieldKind::eRecordID);
  EXPECT_EQ(Field.get_AsInteger(), 9);
  EXPECT_EQ(Field.get_AsString(), "9");
  EXPECT_TRUE(Field.get_AsBool());
  EXPECT_EQ(Field.get_AsRecordID(), TCRecordID(9));
}

TEST(Field, KeepsANullRecordIdentifierApartFromNothing) {
  TCNorvField Field;
  Field.set_AsRecordID(TCRecordID());
  EXPECT_TRUE(Field.IsAssigned());
  EXPECT_EQ(Field.get_AsString(), "");
  EXPECT_TRUE(Field.get_AsRecordID().IsNull());
}

TEST(Field, HoldsTheKindLastAssigned) {
  TCNorvField Field;
  Field.set_AsString("text");
  Field = 3;
  EXPECT_EQ(Field.get_Kind(), TENorvFieldKind::eInteger);
  EXPECT_EQ(Field.get_AsString(), "3");
}

TEST(Field, ForgetsItsValue) {
  TCNorvField Field;
  Field = 3;
  Field.Unassign();
  EXPECT_FALSE(Field.IsAssigned());
  EXPECT_EQ(Field.get_AsInteger(), 0);
}

TEST(Field, ConvertsWithoutBeingAsked) {
  TCNorvField Field;
  Field = 5;
  int const Number = Field;
  std::string const Text = Field;
  EXPECT_EQ(Number, 5);
  EXPECT_EQ(Text, "5");
}

}  // namespace
