// SPDX-License-Identifier: MIT
// Speaks the wire protocol without the messaging library, by the names that it documents.
#include "tests/support/WirePeer.h"

#include <gtest/gtest.h>

#include <array>

namespace {

constexpr char kRouterPath[] = "/mailrouter";
constexpr char kRouterInterface[] = "mailrouter.Router1";
constexpr char kMailboxPath[] = "/mailbox/_40mailrouter_2eproperty";
constexpr unsigned kAllFields = 31;
constexpr std::array<char const*, 3> kWhose = {"another's", "own", "up to date"};

// A number of four bytes, the lowest first.
std::string Word(std::size_t Value) {
  std::string Bytes;
  for (unsigned Shift = 0; Shift < 32; Shift += 8) {
    Bytes.push_back(static_cast<char>((Value >> Shift) & 0xffU));
  }
  return Bytes;
}

// The values in the records of a mail.
std::string ReadValues(sd_bus_message* Mail) {
  std::string Values;
  EXPECT_GT(sd_bus_message_enter_container(Mail, 'a', "(uisssb)"), 0);
  while (sd_bus_message_enter_container(Mail, 'r', "uisssb") > 0) {
    unsigned Assigned = 0;
    int Number = 0;
    char const* Data = nullptr;
    EXPECT_GE(sd_bus_message_read(Mail, "uis", &Assigned, &Number, &Data), 0);
    EXPECT_GE(sd_bus_message_skip(Mail, "ssb"), 0);
    EXPECT_GE(sd_bus_message_exit_container(Mail), 0);
    Values += (Values.empty() ? "" : " ") + std::to_string(Number) + "=" + Data;
  }
  return Values;
}

}  // namespace

std::string TWirePeer::Greet(std::string const& Identity) {
  TCBusMessage const Hello = NewRouterCall("Hello");
  EXPECT_GE(sd_bus_message_append(Hello.get(), "sus", Identity.c_str(), 1U, ""), 0);
  m_Identity = Identity;
  return Call(Hello);
}

bool TWirePeer::Subscribe(std::uint64_t Epoch, std::uint64_t Sequence,
                          std::string const& Interface) {
  TCBusMessage const Subscription = NewRouterCall("Subscribe");
  EXPECT_GE(sd_bus_message_append(Subscription.get(), "stt", Interface.c_str(), Epoch, Sequence),
            0);
  EXPECT_GE(sd_bus_message_set_expect_reply(Subscription.get(), 0), 0);
  return Send(Subscription);
}

TCBusMessage TWirePeer::NewRouterCall(char const* Member) {
  return NewCall(kRouterPath, kRouterInterface, Member);
}

TCBusMessage TWirePeer::NewMailboxCall(char const* Member, char const* Interface) {
  return NewCall(kMailboxPath, Interface, Member);
}

TCBusMessage TWirePeer::NewMail(std::uint64_t Number, char const* Interface) {
  TCBusMessage Mail = NewMailboxCall("Send", Interface);
  EXPECT_GE(sd_bus_message_append(Mail.get(), "st", m_Identity.c_str(), Number), 0);
  EXPECT_GE(sd_bus_message_set_expect_reply(Mail.get(), 0), 0);
  return Mail;
}

TCBusMessage TWirePeer::NewRequest(char const* Interface) {
  TCBusMessage Request = NewMailboxCall("Request", Interface);
  EXPECT_GE(sd_bus_message_append(Request.get(), "s", m_Identity.c_str()), 0);
  return Request;
}

TCBusMessage TWirePeer::NewOwnerlessMail() {
  TCBusMessage Mail = NewCall("/mailbox/nobody", kProperty, "Send");
  EXPECT_GE(sd_bus_message_set_expect_reply(Mail.get(), 0), 0);
  return Mail;
}

TCBusMessage TWirePeer::NewChange(std::uint64_t Number, int Property, std::string const& Value,
                                  std::string const& Link, std::string const& MAC) {
  TCBusMessage Mail = NewMail(Number);
  EXPECT_GE(sd_bus_message_append(Mail.get(), "iia(uisssb)", 2, 3, 1, kAllFields, Property,
                                  Value.c_str(), Link.c_str(), MAC.c_str(), 0),
            0);
  return Mail;
}

TCBusMessage TWirePeer::NewTransaction(std::uint64_t Number,
                                       std::vector<std::pair<int, std::string>> const& Values) {
  TCBusMessage Mail = NewMail(Number);
  EXPECT_GE(sd_bus_message_append(Mail.get(), "ii", 2, 3), 0);
  EXPECT_GE(sd_bus_message_open_container(Mail.get(), 'a', "(uisssb)"), 0);
  for (auto const& [Property, Value] : Values) {
    EXPECT_GE(sd_bus_message_append(Mail.get(), "(uisssb)", kAllFields, Property, Value.c_str(), "",
                                    "", 0),
              0);
  }
  EXPECT_GE(sd_bus_message_close_container(Mail.get()), 0);
  return Mail;
}

TCBusMessage TWirePeer::NewMails(std::uint64_t First, std::uint32_t Count, char const* Fields,
                                 std::string const& Bytes) {
  TCBusMessage Mails = NewMailboxCall("SendMany");
  EXPECT_GE(sd_bus_message_append(Mails.get(), "stus", m_Identity.c_str(), First, Count, Fields),
            0);
  EXPECT_GE(sd_bus_message_append_array(Mails.get(), 'y', Bytes.data(), Bytes.size()), 0);
  EXPECT_GE(sd_bus_message_set_expect_reply(Mails.get(), 0), 0);
  return Mails;
}

std::string TWirePeer::PackedChange(int Property, std::string const& Value, std::string const& Link,
                                    std::string const& MAC) {
  std::string const Record = Word(kAllFields) + Word(static_cast<std::size_t>(Property)) +
                             Word(Value.size()) + Value + Word(Link.size()) + Link +
                             Word(MAC.size()) + MAC + std::string(1, '\0');
  return Word(2) + Word(3) + Word(Record.size()) + Record;
}

TCBusMessage TWirePeer::NewChanges(std::uint64_t First, int Property,
                                   std::vector<std::string> const& Values) {
  std::string Bytes;
  for (std::string const& Value : Values) {
    Bytes += PackedChange(Property, Value);
  }
  return NewMails(First, static_cast<std::uint32_t>(Values.size()), kChangeFields, Bytes);
}

TCBusMessage TWirePeer::NewRequestForAll() {
  TCBusMessage Request = NewRequest();
  EXPECT_GE(sd_bus_message_append(Request.get(), "iia(ui)", 1, 1, 1, 1, 1), 0);
  return Request;
}

TCBusMessage TWirePeer::NewRequestForOne() {
  constexpr unsigned kNumberLinkAndMAC = 13;
  TCBusMessage Request = NewRequest();
  EXPECT_GE(sd_bus_message_append(Request.get(), "iia(uisssb)", 1, 2, 1, kNumberLinkAndMAC, 201, "",
                                  "", "", 0),
            0);
  return Request;
}

std::uint64_t TWirePeer::AskEpoch() {
  std::uint64_t Epoch = 0;
  if (TCBusMessage const Answer = Ask(NewRequestForAll())) {
    EXPECT_GE(sd_bus_message_read_basic(Answer.get(), 't', &Epoch), 0);
  }
  return Epoch;
}

std::optional<std::uint64_t> TWirePeer::HearAcknowledged() {
  bool Ended = false;
  while (TCBusMessage const Message = HearMessage(Ended)) {
    if (sd_bus_message_is_signal(Message.get(), kRouterInterface, "Acknowledged") > 0) {
      std::uint64_t Number = 0;
      EXPECT_GE(sd_bus_message_read(Message.get(), "t", &Number), 0);
      return Number;
    }
  }
  return std::nullopt;
}

std::string TWirePeer::HearOfMail() {
  bool Ended = false;
  while (TCBusMessage const Message = HearMessage(Ended)) {
    std::uint64_t Skipped = 0;
    std::uint64_t Number = 0;
    std::uint8_t Whose = 0;
    if (sd_bus_message_is_signal(Message.get(), kRouterInterface, "Acknowledged") > 0) {
      EXPECT_GE(sd_bus_message_read(Message.get(), "t", &Number), 0);
      return "Acknowledged " + std::to_string(Number);
    }
    if (sd_bus_message_is_signal(Message.get(), kProperty, "PublishedOwn") > 0) {
      EXPECT_GE(sd_bus_message_read(Message.get(), "tttt", &Skipped, &Skipped, &Skipped, &Number),
                0);
      return "PublishedOwn " + std::to_string(Number);
    }
    if (sd_bus_message_is_signal(Message.get(), kProperty, "Published") > 0) {
      EXPECT_GE(sd_bus_message_read(Message.get(), "tttyt", &Skipped, &Skipped, &Skipped, &Whose,
                                    &Number),
                0);
      return "Published " + std::string(kWhose.at(Whose)) + " " + std::to_string(Number);
    }
  }
  return std::string();
}

std::string TWirePeer::HearValues() {
  bool Ended = false;
  while (TCBusMessage const Message = HearMessage(Ended)) {
    if (sd_bus_message_is_signal(Message.get(), kProperty, "Published") > 0) {
      EXPECT_GE(sd_bus_message_skip(Message.get(), "tttytii"), 0);
      return ReadValues(Message.get());
    }
  }
  return std::string();
}

bool TWirePeer::HearEnd() {
  bool Ended = false;
  while (TCBusMessage const Message = HearMessage(Ended)) {
    if (sd_bus_message_is_signal(Message.get(), "org.freedesktop.DBus.Local", "Disconnected") > 0) {
      return true;
    }
  }
  return Ended;
}
