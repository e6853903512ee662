// SPDX-License-Identifier: MIT
// Names on the wire.
#include "Platform/Messaging/MailWire.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

TEST(MailWire, MakesAPathOfAMailbox) {
  EXPECT_EQ(MailWire::MailboxPath("@mailrouter.property"), "/mailbox/_40mailrouter_2eproperty");
}

TEST(MailWire, MakesAnInterfaceOfAMailClass) {
  EXPECT_EQ(MailWire::ClassInterface(TCNorvMailClassID("property", 2)),
            "mailrouter.class.property.v2");
  EXPECT_EQ(MailWire::ClassInterface(TCNorvMailClassID("a.b", 1)), "mailrouter.class.a_2eb.v1");
}

TEST(MailWire, FindsTheMailClassOfAnInterface) {
  EXPECT_EQ(MailWire::ParseClassInterface("mailrouter.class.a_2eb.v12"),
            TCNorvMailClassID("a.b", 12));
}

TEST(MailWire, FindsNoMailClassInOtherInterfaces) {
  for (char const* const Interface :
       {"", "mailrouter.Router1", "mailrouter.class.property", "mailrouter.class.v2",
        "mailrouter.class.property.v", "mailrouter.class.property.vx"}) {
    EXPECT_FALSE(MailWire::ParseClassInterface(Interface)) << Interface;
  }
  EXPECT_FALSE(MailWire::ParseClassInterface(nullptr));
}

TEST(MailWire, RefusesNamesThatAreTooLong) {
  EXPECT_EQ(CaughtException([] {
              MailWire::ClassInterface(TCNorvMailClassID(std::string(300, 'x'), 1));
            }).get_Message(),
            "mailrouter.class." + std::string(300, 'x') +
                ".v1 is no interface that a mail class can have");
}

TEST(MailWire, PrefersAGivenAddressToTheEnvironment) {
  setenv("MAILROUTER_ADDRESS", "unix:path=/tmp/environment", 1);
  EXPECT_EQ(MailWire::RouterAddress("unix:path=/tmp/given"), "unix:path=/tmp/given");
  EXPECT_EQ(MailWire::RouterAddress(""), "unix:path=/tmp/environment");
}

TEST(MailWire, FallsBackToTheSystemsAddress) {
  setenv("MAILROUTER_ADDRESS", "", 1);
  EXPECT_EQ(MailWire::RouterAddress(""), "unix:path=/run/mailrouter/socket");
}

bool FitsInline(std::string const& Text, MailWire::TEForm Form = MailWire::TEForm::eTyped) {
  TCNorvMailBody::TCWriter Writer("s");
  Writer.BeginRecord(1);
  Writer.AppendField({true, 's', 0, Text});
  return MailWire::FitsInline(*Writer.Finish(), Form);
}

TEST(MailWire, CarriesValidTextsInTheMessage) {
  for (char const* const Text : {"", "plain", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x98\x80",
                                 "\xed\x9f\xbf", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_TRUE(FitsInline(Text)) << Text;
  }
}

TEST(MailWire, CarriesOtherTextsInAMemoryFile) {
  using std::string_literals::operator""s;
  for (std::string const& Text :
       {"zero\0byte"s, "\x80"s, "\xc3"s, "\xc0\xaf"s, "\xe0\x80\x80"s, "\xed\xa0\x80"s,
        "\xf0\x8f\xbf\xbf"s, "\xf4\x90\x80\x80"s, "\xff"s, "\xe2\x82"s}) {
    EXPECT_FALSE(FitsInline(Text)) << Text;
  }
}

TEST(MailWire, CarriesAnyTextPacked) {
  using std::string_literals::operator""s;
  EXPECT_TRUE(FitsInline("zero\0byte"s, MailWire::TEForm::ePacked));
  EXPECT_TRUE(FitsInline("\xff", MailWire::TEForm::ePacked));
  EXPECT_FALSE(FitsInline(std::string(MailWire::kInlineLimit - 7, 'x'), MailWire::TEForm::ePacked));
}

TEST(MailWire, CarriesLargeMailsInAMemoryFile) {
  EXPECT_TRUE(FitsInline(std::string(MailWire::kInlineLimit - 8, 'x')));
  EXPECT_FALSE(FitsInline(std::string(MailWire::kInlineLimit - 7, 'x')));
}

}  // namespace
