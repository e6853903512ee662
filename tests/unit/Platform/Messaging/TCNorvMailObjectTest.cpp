// SPDX-License-Identifier: MIT
// Which record part a signal carries; addresses and class ids.
#include "Platform/Messaging/TCNorvMailObject.h"

#include <gtest/gtest.h>

#include "Platform/Messaging/TCNorvServiceName.h"

namespace {

TCNorvMailClassID const kClass("test", 1);

struct TObject : TCNorvMailObject {
  TObject() {
    AssignRecordType(kClass, eNorvRequest, 1, m_First, -1);
    AssignRecordType(kClass, eNorvChange, 3, m_Second, -1);
    AssignRecordType(kClass, eNorvChange, 3, m_First, -1);
  }
  TCNorvRecordObject m_First, m_Second;
};

TEST(MailObject, FindsThePartBoundToASignal) {
  TObject Object;
  EXPECT_EQ(Object.Find(kClass, 1, 1), &Object.m_First);
}

TEST(MailObject, KeepsTheFirstBindingOfASignal) {
  TObject Object;
  EXPECT_EQ(Object.Find(kClass, 2, 3), &Object.m_Second);
}

TEST(MailObject, FindsNothingForAnotherSignal) {
  TObject Object;
  EXPECT_EQ(Object.Find(kClass, 1, 3), nullptr);
  EXPECT_EQ(Object.Find(kClass, 2, 1), nullptr);
}

TEST(MailObject, FindsNothingForAnotherVersionOfTheClass) {
  TObject Object;
  EXPECT_EQ(Object.Find(TCNorvMailClassID("test", 2), 1, 1), nullptr);
}

TEST(MailClassID, KeepsNameAndVersion) {
  EXPECT_EQ(kClass.get_Name(), "test");
  EXPECT_EQ(kClass.get_Version(), 1);
}

TEST(MailClassID, DerivesTheSameKeyForTheSameClass) {
  EXPECT_EQ(kClass.get_ID(), TCNorvMailClassID("test", 1).get_ID());
  EXPECT_GE(kClass.get_ID(), 0);
}

TEST(MailClassID, DerivesAnotherKeyForAnotherVersionOrName) {
  EXPECT_NE(kClass.get_ID(), TCNorvMailClassID("test", 2).get_ID());
  EXPECT_NE(kClass.get_ID(), TCNorvMailClassID("tesu", 1).get_ID());
}

TEST(MailClassID, ComparesNameAndVersion) {
  EXPECT_TRUE(kClass == TCNorvMailClassID("test", 1));
  EXPECT_TRUE(kClass != TCNorvMailClassID("test", 2));
  EXPECT_TRUE(kClass != TCNorvMailClassID("other", 1));
}

TEST(ServiceName, KeepsMailboxAndProcess) {
  auto const Name = TCNorvServiceName::MakeLocalProcess("@box", "daemon");
  EXPECT_EQ(Name.get_Mailbox(), "@box");
  EXPECT_EQ(Name.get_Process(), "daemon");
}

TEST(ServiceName, ComparesMailboxAndProcess) {
  auto const Name = TCNorvServiceName::MakeLocalProcess("@box", "");
  EXPECT_TRUE(Name == TCNorvServiceName::MakeLocalProcess("@box", ""));
  EXPECT_TRUE(Name != TCNorvServiceName::MakeLocalProcess("@other", ""));
  EXPECT_TRUE(Name != TCNorvServiceName::MakeLocalProcess("@box", "daemon"));
}

}  // namespace
