// SPDX-License-Identifier: MIT
// Numbers of four and eight bytes, the lowest first, as they stand in and around encoded records.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr std::size_t kWordSize = 4;
inline constexpr std::size_t kLongSize = 8;

inline std::uint32_t LoadWord(char const* Bytes) {
  std::uint32_t Word = 0;
  for (std::size_t Byte = 0; Byte < kWordSize; ++Byte) {
    Word |= static_cast<std::uint32_t>(static_cast<unsigned char>(Bytes[Byte])) << (8 * Byte);
  }
  return Word;
}

/// Writes `Word` to `Bytes` and returns the place behind it.
inline char* StoreWord(char* Bytes, std::uint32_t Word) {
  for (std::size_t Byte = 0; Byte < kWordSize; ++Byte) {
    Bytes[Byte] = static_cast<char>((Word >> (8 * Byte)) & 0xffU);
  }
  return Bytes + kWordSize;
}

inline std::uint64_t LoadLong(char const* Bytes) {
  return LoadWord(Bytes) | std::uint64_t{LoadWord(Bytes + kWordSize)} << 32U;
}

inline char* StoreLong(char* Bytes, std::uint64_t Long) {
  return StoreWord(StoreWord(Bytes, static_cast<std::uint32_t>(Long)),
                   static_cast<std::uint32_t>(Long >> 32U));
}
