// SPDX-License-Identifier: MIT
// Finds what must not reach a log or terminal as it is.
#include "Platform/Utility/PrintableText.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include "Platform/Utility/UTF8.h"

namespace {

constexpr std::size_t kLongestLine = 4096;  // about as much as every system log takes in one piece

unsigned ByteAt(std::string_view Text, std::size_t Place) {
  return static_cast<unsigned char>(Text[Place]);
}

// Whether the valid sequence is a control character (C0, DEL, C1), a line or paragraph separator
// (U+2028, U+2029) or one that changes the direction of writing (U+202A to U+202E, U+2066 to
// U+2069).
bool IsObeyed(std::string_view Sequence) {
  unsigned const First = ByteAt(Sequence, 0);
  if (Sequence.size() == 1) {
    return First < 0x20U || First == 0x7fU;
  }
  unsigned const Second = ByteAt(Sequence, 1);
  if (Sequence.size() == 2) {
    return First == 0xc2U && Second < 0xa0U;
  }
  unsigned const Third = ByteAt(Sequence, 2);  // it has three bytes or four
  return First == 0xe2U && ((Second == 0x80U && Third >= 0xa8U && Third <= 0xaeU) ||
                            (Second == 0x81U && Third >= 0xa6U && Third <= 0xa9U));
}

// How many bytes at the start of `Text` may stay.
std::size_t HarmlessLength(std::string_view Text) {
  std::size_t Length = 0;
  while (Length < Text.size()) {
    std::string_view const Rest = Text.substr(Length);
    std::size_t const Sequence = SequenceLength(Rest);
    if (Sequence == 0 || IsObeyed(Rest.substr(0, Sequence))) {
      break;
    }
    Length += Sequence;
  }
  return Length;
}

void AppendEscaped(std::string& Result, char Byte) {
  constexpr char kDigits[] = "0123456789abcdef";
  switch (Byte) {
    case '\n':
      Result += "\\n";
      return;
    case '\r':
      Result += "\\r";
      return;
    case '\t':
      Result += "\\t";
      return;
    default:
      auto const Value = static_cast<unsigned char>(Byte);
      Result += "\\x";
      Result += kDigits[Value >> 4U];
      Result += kDigits[Value & 15U];
  }
}

}  // namespace

std::string PrintableText(std::string Text) {
  std::string_view Rest = Text;
  std::size_t Harmless = HarmlessLength(Rest);
  if (Harmless == Rest.size()) {
    return Text;
  }
  std::string Result;
  for (;;) {
    Result += Rest.substr(0, Harmless);
    Rest.remove_prefix(Harmless);
    if (Rest.empty()) {
      return Result;
    }
    std::size_t const Sequence = SequenceLength(Rest);
    std::size_t const Escaped = Sequence == 0 ? 1 : Sequence;
    for (char const Byte : Rest.substr(0, Escaped)) {
      AppendEscaped(Result, Byte);
    }
    Rest.remove_prefix(Escaped);
    Harmless = HarmlessLength(Rest);
  }
}

std::string PrintableLine(std::string Text) {
  std::size_t const Size = Text.size();
  if (Size <= kLongestLine) {
    return PrintableText(std::move(Text));
  }
  std::size_t const Kept = BeginningLength(Text, kLongestLine);
  Text.resize(Kept);
  return PrintableText(std::move(Text)) + "... (" + std::to_string(Size - Kept) + " bytes more)";
}
