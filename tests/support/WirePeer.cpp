// SPDX-License-Identifier: MIT
// Speaks to the property server without the messaging library.
#include "tests/support/WirePeer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string_view>

namespace {

constexpr std::array<char const*, 3> kWhose = {"another's", "own", "up to date"};
constexpr std::size_t kTexts = 3;  // of a change

TSWireFrame NewFrame(std::uint8_t Kind, std::string const& Class, std::int32_t Version) {
  TSWireFrame Frame;
  Frame.Kind = Kind;
  Frame.Mailbox = TWirePeer::kMailbox;
  Frame.Class = Class;
  Frame.Version = Version;
  Frame.Fields = TWirePeer::kChangeFields;
  return Frame;
}

std::uint32_t TakeWord(std::string_view& Rest) {
  std::uint32_t Word = 0;
  EXPECT_GE(Rest.size(), sizeof(Word));
  for (std::size_t Byte = 0; Byte < sizeof(Word) && !Rest.empty(); ++Byte) {
    Word |= static_cast<std::uint32_t>(static_cast<unsigned char>(Rest.front())) << (8 * Byte);
    Rest.remove_prefix(1);
  }
  return Word;
}

// The values in the records of a change.
std::string ReadValues(std::string_view Records) {
  std::string Values;
  while (!Records.empty() && !testing::Test::HasFailure()) {
    TakeWord(Records);  // which fields are assigned
    std::uint32_t const Number = TakeWord(Records);
    std::array<std::string, kTexts> Texts;
    for (std::string& Text : Texts) {
      std::uint32_t const Size = TakeWord(Records);
      Text = Records.substr(0, Size);
      Records.remove_prefix(Text.size());
    }
    Records.remove_prefix(1);
    Values += (Values.empty() ? "" : " ") + std::to_string(Number) + "=" + Texts[0];
  }
  return Values;
}

}  // namespace

bool TWirePeer::Subscribe(std::uint64_t Epoch, std::uint64_t Sequence, std::string const& Class,
                          std::int32_t Version) {
  TSWireFrame Subscription;
  Subscription.Kind = WireKind::kSubscribe;
  Subscription.Class = Class;
  Subscription.Version = Version;
  Subscription.Epoch = Epoch;
  Subscription.Sequence = Sequence;
  return Send(Subscription);
}

TSWireFrame TWirePeer::NewMail(std::uint64_t Number, std::string const& Class,
                               std::int32_t Version) {
  TSWireFrame Mail = NewFrame(WireKind::kMails, Class, Version);
  Mail.Number = Number;
  return Mail;
}

TSWireFrame TWirePeer::NewRequest(std::string const& Class, std::int32_t Version) {
  TSWireFrame Request = NewFrame(WireKind::kRequest, Class, Version);
  Request.Request = NextRequest();
  return Request;
}

TSWireFrame TWirePeer::NewOwnerlessMail(std::string const& Records) {
  TSWireFrame Mail = NewMail(1);
  Mail.Mailbox = "nobody";
  return Mail.Add(kChange[0], kChange[1], Records);
}

std::string TWirePeer::ChangeRecord(int Property, std::string const& Value, std::string const& Link,
                                    std::string const& MAC, unsigned Assigned) {
  return WireWord(Assigned) + WireWord(static_cast<std::uint32_t>(Property)) + WireText(Value) +
         WireText(Link) + WireText(MAC) + std::string(1, '\0');
}

TSWireFrame TWirePeer::NewChange(std::uint64_t Number, int Property, std::string const& Value,
                                 std::string const& Link, std::string const& MAC) {
  return NewMail(Number).Add(kChange[0], kChange[1], ChangeRecord(Property, Value, Link, MAC));
}

TSWireFrame TWirePeer::NewTransaction(std::uint64_t Number,
                                      std::vector<std::pair<int, std::string>> const& Values) {
  std::string Records;
  for (auto const& [Property, Value] : Values) {
    Records += ChangeRecord(Property, Value);
  }
  return NewMail(Number).Add(kChange[0], kChange[1], Records);
}

TSWireFrame TWirePeer::NewMails(std::uint64_t First, std::uint16_t Count, char const* Fields,
                                std::string const& Bytes) {
  TSWireFrame Mails = NewMail(First);
  Mails.Fields = Fields;
  Mails.Count = Count;
  Mails.Mails = Bytes;
  return Mails;
}

std::string TWirePeer::PackedChange(int Property, std::string const& Value, std::string const& Link,
                                    std::string const& MAC) {
  return WireMail(kChange[0], kChange[1], ChangeRecord(Property, Value, Link, MAC));
}

TSWireFrame TWirePeer::NewChanges(std::uint64_t First, int Property,
                                  std::vector<std::string> const& Values) {
  TSWireFrame Mails = NewMail(First);
  for (std::string const& Value : Values) {
    Mails.Add(kChange[0], kChange[1], ChangeRecord(Property, Value));
  }
  return Mails;
}

TSWireFrame TWirePeer::NewRequestForAll() {
  TSWireFrame Request = NewRequest();
  Request.Fields = "i";
  return Request.Add(kRequestAll[0], kRequestAll[1], WireWord(1) + WireWord(1));
}

TSWireFrame TWirePeer::NewRequestForOne() {
  constexpr unsigned kNumberLinkAndMAC = 13;
  return NewRequest().Add(kRequestOne[0], kRequestOne[1],
                          ChangeRecord(201, "", "", "", kNumberLinkAndMAC));
}

std::uint64_t TWirePeer::AskEpoch() {
  auto const Answer = Ask(NewRequestForAll());
  return Answer ? Answer->Epoch : 0;
}

std::optional<std::uint64_t> TWirePeer::HearAcknowledged() {
  while (auto const Frame = Hear()) {
    if (Frame->Kind == WireKind::kAcknowledged) {
      return Frame->Number;
    }
  }
  return std::nullopt;
}

std::string TWirePeer::HearOfMail() {
  while (auto const Frame = Hear()) {
    std::string const Number = std::to_string(Frame->Number);
    if (Frame->Kind == WireKind::kAcknowledged) {
      return "Acknowledged " + Number;
    }
    if (Frame->Kind == WireKind::kPublished) {
      return Frame->Whose == WireWhose::kOwnKept
                 ? "PublishedOwn " + Number
                 : "Published " + std::string(kWhose.at(Frame->Whose)) + " " + Number;
    }
  }
  return std::string();
}

std::string TWirePeer::HearValues() {
  while (auto const Frame = Hear()) {
    if (Frame->Kind == WireKind::kPublished && Frame->Whose != WireWhose::kOwnKept) {
      std::string Records;
      for (TSWireMail const& Mail : Frame->get_Mails()) {
        Records += Mail.Records;
      }
      return ReadValues(Records);
    }
  }
  return std::string();
}
