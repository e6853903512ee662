// SPDX-License-Identifier: MIT
// Names on the wire, and several mails in one message.
#include "Platform/Messaging/MailWire.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <new>
#include <tuple>

#include "tests/support/UnreadBus.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using std::string_literals::operator""s;

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
        "mailrouter.class.property.v", "mailrouter.class.property.vx",
        // other spellings of one
        "mailrouter.class._70roperty.v2", "mailrouter.class.a_2Eb.v2",
        "mailrouter.class.property.v02", "mailrouter.class.property.v_2d2"}) {
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
  for (std::string const& Text :
       {"zero\0byte"s, "\x80"s, "\xc3"s, "\xc0\xaf"s, "\xe0\x80\x80"s, "\xed\xa0\x80"s,
        "\xf0\x8f\xbf\xbf"s, "\xf4\x90\x80\x80"s, "\xff"s, "\xe2\x82"s}) {
    EXPECT_FALSE(FitsInline(Text)) << Text;
  }
}

TEST(MailWire, CarriesAnyTextPacked) {
  EXPECT_TRUE(FitsInline("zero\0byte"s, MailWire::TEForm::ePacked));
  EXPECT_TRUE(FitsInline("\xff", MailWire::TEForm::ePacked));
  EXPECT_FALSE(FitsInline(std::string(MailWire::kInlineLimit - 7, 'x'), MailWire::TEForm::ePacked));
}

TEST(MailWire, CarriesLargeMailsInAMemoryFile) {
  EXPECT_TRUE(FitsInline(std::string(MailWire::kInlineLimit - 8, 'x')));
  EXPECT_FALSE(FitsInline(std::string(MailWire::kInlineLimit - 7, 'x')));
}

// ---- several mails in one message ----

TCBusMessage NewMails(TUnreadBus const& Bus, char const* Fields, std::string const& Bytes) {
  TCBusMessage Message = Bus.NewMessage();
  EXPECT_GE(sd_bus_message_append_basic(Message.get(), 's', Fields), 0);
  EXPECT_GE(sd_bus_message_append_array(Message.get(), 'y', Bytes.data(), Bytes.size()), 0);
  return Message;
}

// A message as its receiver has it.
void Seal(TCBusMessage const& Message) {
  EXPECT_GE(sd_bus_message_seal(Message.get(), 1, 0), 0);
  EXPECT_GE(sd_bus_message_rewind(Message.get(), 1), 0);
}

std::string Refusal(TCBusMessage const& Message, std::size_t Count) {
  Seal(Message);
  return CaughtException([&] { MailWire::ReadMails(Message.get(), Count); }).get_Message();
}

// A mail (2, 3) with one record of an integer.
std::string const kMail = "\2\0\0\0\3\0\0\0\x08\0\0\0\1\0\0\0\7\0\0\0"s;
// A mail (-1, 5) without records.
std::string const kBare = "\xff\xff\xff\xff\5\0\0\0\0\0\0\0"s;

TEST(MailWire, ReadsTheMailsThatItHasAppended) {
  TUnreadBus const Bus;
  TCBusMessage const Message = Bus.NewMessage();
  std::string const Record = kMail.substr(12);
  MailWire::AppendMails(Message.get(), {"i", {{2, 3, Record}, {-1, 5, ""}, {1, 1, Record}}});
  Seal(Message);
  auto const Group = MailWire::ReadMails(Message.get(), 3);
  EXPECT_STREQ(Group.Fields, "i");
  std::vector<std::tuple<int, int, std::string>> Mails;
  for (auto const& Mail : Group.Mails) {
    Mails.emplace_back(Mail.SignalType, Mail.SignalName, Mail.Records);
  }
  EXPECT_EQ(Mails, (decltype(Mails){{2, 3, Record}, {-1, 5, ""}, {1, 1, Record}}));
}

TEST(MailWire, AppendsMailsOneAfterTheOther) {
  TUnreadBus const Bus;
  TCBusMessage const Message = Bus.NewMessage();
  MailWire::AppendMails(Message.get(), {"i", {{2, 3, kMail.substr(12)}, {-1, 5, ""}}});
  Seal(Message);
  char const* Fields = nullptr;
  void const* Bytes = nullptr;
  std::size_t Size = 0;
  ASSERT_GE(sd_bus_message_read_basic(Message.get(), 's', &Fields), 0);
  ASSERT_GE(sd_bus_message_read_array(Message.get(), 'y', &Bytes, &Size), 0);
  EXPECT_EQ(std::string(static_cast<char const*>(Bytes), Size), kMail + kBare);
}

TEST(MailWire, UnpacksAMail) {
  TCNorvMailClassID const Class("test", 1);
  MailWire::TSMailGroup const Group{"i", MailWire::SplitMails(kMail, 1)};
  TSNorvMailContent const Content = MailWire::UnpackMail(Group, Group.Mails[0], Class);
  EXPECT_EQ(Content.MailClass, Class);
  EXPECT_EQ(Content.SignalType, 2);
  EXPECT_EQ(Content.SignalName, 3);
  EXPECT_EQ(Content.Body->get_Bytes(), kMail.substr(12));
  EXPECT_EQ(MailWire::PackedSize(Content), kMail.size());
}

TEST(MailWire, RefusesToUnpackRecordsThatLie) {
  std::string const Short = kMail.substr(0, 8) + "\7" + kMail.substr(9, 10);
  auto const Unpack = [](char const* Fields, std::string const& Bytes) {
    return CaughtException([&] {
             MailWire::TSMailGroup const Group{Fields, MailWire::SplitMails(Bytes, 1)};
             MailWire::UnpackMail(Group, Group.Mails[0], TCNorvMailClassID("test", 1));
           })
        .get_Message();
  };
  EXPECT_EQ(Unpack("i", Short), "Malformed mail: a record ends early");
  EXPECT_EQ(Unpack("x", kMail), "Malformed mail: a field of an unknown type");
  EXPECT_EQ(Unpack("s", kMail), "Malformed mail: a record ends early");
  EXPECT_EQ(Unpack("", kMail), "Malformed mail: an assigned field that the record does not have");
}

TEST(MailWire, RefusesMailsThatAreNotWhatWasAnnounced) {
  TUnreadBus const Bus;
  struct TCase {
    std::string Bytes;
    std::size_t Count;
    char const* Reason;
  };
  for (TCase const& Case : {
           TCase{"", 1, "1 announced, 0 and 0 bytes found"},
           TCase{kMail, 0, "0 announced, 1 and 0 bytes found"},
           TCase{kMail, 2, "2 announced, 1 and 0 bytes found"},
           TCase{kMail + kBare, 1, "1 announced, 2 and 0 bytes found"},
           TCase{kMail + "\0"s, 1, "1 announced, 1 and 1 bytes found"},
           TCase{kMail + kBare.substr(0, 11), 2, "2 announced, 1 and 11 bytes found"},
           TCase{kMail.substr(0, 11), 1, "1 announced, 0 and 11 bytes found"},
           TCase{kMail.substr(0, 19), 1, "one ends early"},
           TCase{kBare + kMail.substr(0, 12), 2, "one ends early"},
           TCase{kMail.substr(0, 8) + "\xff\xff\xff\xff"s + kMail.substr(12), 1, "one ends early"},
           TCase{kMail.substr(0, 8) + "\7"s + kMail.substr(9), 1,
                 "1 announced, 1 and 1 bytes found"},
       }) {
    EXPECT_EQ(Refusal(NewMails(Bus, "i", Case.Bytes), Case.Count),
              std::string("Malformed mails: ") + Case.Reason);
  }
}

TEST(MailWire, TakesAsManyMailsAsAMessageMayHaveAndNotMore) {
  TUnreadBus const Bus;
  auto const Many = [](std::size_t Count) {
    std::string Bytes;
    while (Count-- > 0) {
      Bytes += kBare;
    }
    return Bytes;
  };
  TCBusMessage const Full = NewMails(Bus, "", Many(256));
  Seal(Full);
  EXPECT_EQ(MailWire::ReadMails(Full.get(), 256).Mails.size(), 256U);
  EXPECT_EQ(Refusal(NewMails(Bus, "", Many(257)), 257),
            "Malformed mails: 257 with 3084 bytes in one message, at most 256 with 65536");
  std::string const Large = "\1\0\0\0\1\0\0\0\xf5\xff\0\0"s + std::string(65525, 'x');
  EXPECT_EQ(Refusal(NewMails(Bus, "s", Large), 1),
            "Malformed mails: 1 with 65537 bytes in one message, at most 256 with 65536");
  EXPECT_EQ(Refusal(NewMails(Bus, "s", ""), 4294967295U),
            "Malformed mails: 4294967295 with 0 bytes in one message, at most 256 with 65536");
}

TEST(MailWire, RefusesMailsOfOtherTypes) {
  TUnreadBus const Bus;
  TCBusMessage const Typed = Bus.NewMessage();
  EXPECT_GE(sd_bus_message_append(Typed.get(), "iia(ui)", 2, 3, 0), 0);
  EXPECT_EQ(Refusal(Typed, 1),
            "Malformed mail: cannot read the fields of the records: No such device or address");
  TCBusMessage const Words = Bus.NewMessage();
  EXPECT_GE(sd_bus_message_append(Words.get(), "sau", "i", 1, 7), 0);
  EXPECT_EQ(Refusal(Words, 1),
            "Malformed mail: cannot read packed records: No such device or address");
  TCBusMessage const More = NewMails(Bus, "i", kMail);
  EXPECT_GE(sd_bus_message_append(More.get(), "u", 7), 0);
  EXPECT_EQ(Refusal(More, 1), "Malformed mail: more than its records");
}

// ---- results of the bus library ----

TEST(MailWire, CallsAFailingConnectionByItsName) {
  EXPECT_EQ(CaughtException([] { MailWire::Require(-ENOTCONN, "greet"); }).get_Message(),
            "cannot greet: Transport endpoint is not connected");
}

TEST(MailWire, DoesNotTakeALackOfMemoryForADefectOfAMail) {
  EXPECT_THROW(MailWire::Require(-ENOMEM, "greet"), std::bad_alloc);
  EXPECT_THROW(MailWire::RequireSound(-ENOMEM, "read a text"), std::bad_alloc);
}

}  // namespace
