// SPDX-License-Identifier: MIT
// Tells valid UTF-8 from other bytes.
#include "Platform/Utility/UTF8.h"

std::size_t SequenceLength(std::string_view Text) noexcept {
  auto const Byte = [&Text](std::size_t Place) { return Place < Text.size() ? Text[Place] : '\0'; };
  unsigned const First = static_cast<unsigned char>(Byte(0));
  if (First < 0x80U) {
    return Text.empty() ? 0 : 1;
  }
  unsigned const Second = static_cast<unsigned char>(Byte(1));
  if (First >= 0xc2U && First <= 0xdfU) {
    return IsContinuation(Byte(1)) ? 2 : 0;
  }
  bool const Third = IsContinuation(Byte(2));
  if (First >= 0xe0U && First <= 0xefU) {
    unsigned const Low = First == 0xe0U ? 0xa0U : 0x80U;
    unsigned const High = First == 0xedU ? 0x9fU : 0xbfU;  // no surrogates
    return Second >= Low && Second <= High && Third ? 3 : 0;
  }
  if (First >= 0xf0U && First <= 0xf4U) {
    unsigned const Low = First == 0xf0U ? 0x90U : 0x80U;
    unsigned const High = First == 0xf4U ? 0x8fU : 0xbfU;
    bool const Fourth = IsContinuation(Byte(3));
    return Second >= Low && Second <= High && Third && Fourth ? 4 : 0;
  }
  return 0;
}

std::size_t BeginningLength(std::string_view Text, std::size_t Most) noexcept {
  if (Text.size() <= Most) {
    return Text.size();
  }
  constexpr std::size_t kLongestTail = 3;  // of a character, behind its first byte
  for (std::size_t Tail = 0; Tail <= kLongestTail && Tail <= Most; ++Tail) {
    if (!IsContinuation(Text[Most - Tail])) {
      return Most - Tail;
    }
  }
  return Most;
}
