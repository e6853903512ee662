// SPDX-License-Identifier: MIT
// Frames as tests write and read them: without the messaging library, byte by byte, so that a test
// can lie in each of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Utility/TCFileDescriptor.h"

/// The kinds of frames.
namespace WireKind {
constexpr std::uint8_t kHello = 1;
constexpr std::uint8_t kWelcome = 2;
constexpr std::uint8_t kRefused = 3;
constexpr std::uint8_t kSubscribe = 4;
constexpr std::uint8_t kMails = 5;
constexpr std::uint8_t kRequest = 6;
constexpr std::uint8_t kAnswer = 7;
constexpr std::uint8_t kPublished = 8;
constexpr std::uint8_t kAcknowledged = 9;
}  // namespace WireKind

/// Whose a published mail is.
namespace WireWhose {
constexpr std::uint8_t kAnothers = 0;
constexpr std::uint8_t kOwn = 1;
constexpr std::uint8_t kUpToDate = 2;
constexpr std::uint8_t kOwnKept = 3;
}  // namespace WireWhose

/// Where a frame has what.
namespace WirePlace {
constexpr std::size_t kKind = 0;
constexpr std::size_t kWhose = 1;
constexpr std::size_t kFile = 2;
constexpr std::size_t kMailboxLength = 3;
constexpr std::size_t kClassLength = 4;
constexpr std::size_t kFieldsLength = 5;
constexpr std::size_t kCount = 6;
constexpr std::size_t kVersion = 8;
constexpr std::size_t kUnused = 12;
constexpr std::size_t kRequest = 16;
constexpr std::size_t kNumber = 24;
constexpr std::size_t kEpoch = 32;
constexpr std::size_t kPrevious = 40;
constexpr std::size_t kSequence = 48;
constexpr std::size_t kNames = 56;
}  // namespace WirePlace

/// No frame is larger.
constexpr std::size_t kWireFrameLimit = 56 + 2 * 255 + 32 + 65536;

/// A number of four or eight bytes, the lowest first.
std::string WireWord(std::uint64_t Value);
std::string WireLong(std::uint64_t Value);
/// A field that is a text: its length and its bytes.
std::string WireText(std::string_view Text);
/// One mail among those of a frame.
std::string WireMail(int SignalType, int SignalName, std::string_view Records);

/// A sealed memory file of records, for those that are too large for a frame.
TCFileDescriptor WireMemoryFile(std::string_view Records);

/// One mail of a frame that was read.
struct TSWireMail {
  int SignalType;
  int SignalName;
  std::string Records;
};

/// A frame that is sent or has come.
struct TSWireFrame {
  std::uint8_t Kind = 0;
  std::uint8_t Whose = 0;
  std::string Mailbox;
  std::string Class;
  std::string Fields;  ///< letters of the fields of its records
  std::int32_t Version = 0;
  std::uint64_t Request = 0;
  std::uint64_t Number = 0;
  std::uint64_t Epoch = 0;
  std::uint64_t Previous = 0;
  std::uint64_t Sequence = 0;
  std::uint16_t Count = 0;  ///< as announced
  std::string Mails;        ///< encoded
  std::vector<int> Files;   ///< that are sent beside it, announced as one; stay the caller's
  std::string FileContent;  ///< of the file that came beside it

  /// Appends a mail and counts it.
  TSWireFrame& Add(int SignalType, int SignalName, std::string_view Records);
  /// Appends a mail whose records are in the memory file `File`.
  TSWireFrame& AddFile(int SignalType, int SignalName, int File);

  std::string Encode() const;
  /// Fails the test when the bytes are no frame.
  static TSWireFrame Decode(std::string_view Bytes);
  /// Those of a frame that was read.
  std::vector<TSWireMail> get_Mails() const;
  /// The texts of the only mail's only record, where all its fields are texts.
  std::vector<std::string> get_Texts() const;
};

/// The greeting of `Identity`.
TSWireFrame WireGreeting(std::string const& Identity, std::int32_t Version = 1);
