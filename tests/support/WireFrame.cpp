// SPDX-License-Identifier: MIT
// Writes and reads frames by what docs/protocol.md says of their bytes.
#include "tests/support/WireFrame.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

constexpr std::size_t kWordBytes = 4;
constexpr std::size_t kLongBytes = 8;

std::string Encoded(std::uint64_t Value, std::size_t Size) {
  std::string Bytes;
  for (std::size_t Byte = 0; Byte < Size; ++Byte) {
    Bytes.push_back(static_cast<char>((Value >> (8 * Byte)) & 0xffU));
  }
  return Bytes;
}

std::uint64_t Decoded(std::string_view Bytes, std::size_t Place, std::size_t Size) {
  std::uint64_t Value = 0;
  for (std::size_t Byte = 0; Byte < Size; ++Byte) {
    Value |= std::uint64_t{static_cast<unsigned char>(Bytes[Place + Byte])} << (8 * Byte);
  }
  return Value;
}

std::string_view Taken(std::string_view& Rest, std::size_t Size) {
  EXPECT_LE(Size, Rest.size());
  std::string_view const Bytes = Rest.substr(0, Size);
  Rest.remove_prefix(Bytes.size());
  return Bytes;
}

}  // namespace

std::string WireWord(std::uint64_t Value) {
  return Encoded(Value, kWordBytes);
}

std::string WireLong(std::uint64_t Value) {
  return Encoded(Value, kLongBytes);
}

std::string WireText(std::string_view Text) {
  return WireWord(Text.size()) + std::string(Text);
}

std::string WireMail(int SignalType, int SignalName, std::string_view Records) {
  return WireWord(static_cast<std::uint32_t>(SignalType)) +
         WireWord(static_cast<std::uint32_t>(SignalName)) + WireText(Records);
}

TCFileDescriptor WireMemoryFile(std::string_view Records) {
  constexpr int kAllSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;
  TCFileDescriptor File(memfd_create("mail", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(write(File.get(), Records.data(), Records.size()),
            static_cast<ssize_t>(Records.size()));
  EXPECT_EQ(fcntl(File.get(), F_ADD_SEALS, kAllSeals), 0);
  return File;
}

TSWireFrame& TSWireFrame::Add(int SignalType, int SignalName, std::string_view Records) {
  Mails += WireMail(SignalType, SignalName, Records);
  ++Count;
  return *this;
}

TSWireFrame& TSWireFrame::AddFile(int SignalType, int SignalName, int File) {
  Add(SignalType, SignalName, "");
  Files.push_back(File);
  return *this;
}

std::string TSWireFrame::Encode() const {
  std::string Bytes;
  Bytes += static_cast<char>(Kind);
  Bytes += static_cast<char>(Whose);
  Bytes += Files.empty() ? '\0' : '\1';
  for (std::string const* const Name : {&Mailbox, &Class, &Fields}) {
    Bytes += static_cast<char>(Name->size());
  }
  Bytes += Encoded(Count, sizeof(Count));
  Bytes += WireWord(static_cast<std::uint32_t>(Version)) + WireWord(0);
  Bytes += WireLong(Request) + WireLong(Number);
  Bytes += WireLong(Epoch) + WireLong(Previous) + WireLong(Sequence);
  return Bytes + Mailbox + Class + Fields + Mails;
}

TSWireFrame TSWireFrame::Decode(std::string_view Bytes) {
  TSWireFrame Frame;
  if (Bytes.size() < WirePlace::kNames) {
    ADD_FAILURE() << "a frame of " << Bytes.size() << " bytes";
    return Frame;
  }
  Frame.Kind = static_cast<std::uint8_t>(Bytes[WirePlace::kKind]);
  Frame.Whose = static_cast<std::uint8_t>(Bytes[WirePlace::kWhose]);
  Frame.Count = static_cast<std::uint16_t>(Decoded(Bytes, WirePlace::kCount, sizeof(Count)));
  Frame.Version = static_cast<std::int32_t>(Decoded(Bytes, WirePlace::kVersion, kWordBytes));
  EXPECT_EQ(Decoded(Bytes, WirePlace::kUnused, kWordBytes), 0U);
  Frame.Request = Decoded(Bytes, WirePlace::kRequest, kLongBytes);
  Frame.Number = Decoded(Bytes, WirePlace::kNumber, kLongBytes);
  Frame.Epoch = Decoded(Bytes, WirePlace::kEpoch, kLongBytes);
  Frame.Previous = Decoded(Bytes, WirePlace::kPrevious, kLongBytes);
  Frame.Sequence = Decoded(Bytes, WirePlace::kSequence, kLongBytes);
  std::string_view Rest = Bytes.substr(WirePlace::kNames);
  Frame.Mailbox = Taken(Rest, Decoded(Bytes, WirePlace::kMailboxLength, 1));
  Frame.Class = Taken(Rest, Decoded(Bytes, WirePlace::kClassLength, 1));
  Frame.Fields = Taken(Rest, Decoded(Bytes, WirePlace::kFieldsLength, 1));
  Frame.Mails = Rest;
  return Frame;
}

std::vector<TSWireMail> TSWireFrame::get_Mails() const {
  std::vector<TSWireMail> Result;
  std::string_view Rest = Mails;
  while (!Rest.empty() && !testing::Test::HasFailure()) {
    std::string_view const Head = Taken(Rest, 3 * kWordBytes);
    if (Head.size() < 3 * kWordBytes) {
      break;
    }
    auto const Size = static_cast<std::size_t>(Decoded(Head, 2 * kWordBytes, kWordBytes));
    Result.push_back({static_cast<std::int32_t>(Decoded(Head, 0, kWordBytes)),
                      static_cast<std::int32_t>(Decoded(Head, kWordBytes, kWordBytes)),
                      FileContent.empty() ? std::string(Taken(Rest, Size)) : FileContent});
  }
  EXPECT_EQ(Result.size(), Count);
  return Result;
}

std::vector<std::string> TSWireFrame::get_Texts() const {
  std::vector<std::string> Texts;
  std::vector<TSWireMail> const Records = get_Mails();
  if (Records.size() != 1) {
    ADD_FAILURE() << "not one mail";
    return Texts;
  }
  std::string_view Rest = Records.front().Records;
  Taken(Rest, kWordBytes);  // which fields are assigned
  for (std::size_t Field = 0; Field < Fields.size() && Rest.size() >= kWordBytes; ++Field) {
    auto const Size = static_cast<std::size_t>(Decoded(Taken(Rest, kWordBytes), 0, kWordBytes));
    Texts.emplace_back(Taken(Rest, Size));
  }
  return Texts;
}

TSWireFrame WireGreeting(std::string const& Identity, std::int32_t Version) {
  TSWireFrame Greeting;
  Greeting.Kind = WireKind::kHello;
  Greeting.Version = Version;
  Greeting.Fields = "ss";
  return Greeting.Add(0, 0, WireWord(3) + WireText(Identity) + WireText(""));
}
