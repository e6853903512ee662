// SPDX-License-Identifier: MIT
// How tests and their client process write texts of any bytes into lines.
#pragma once

#include <string>

/// Two digits a byte; "-" for the empty text.
inline std::string Hex(std::string const& Text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string Result;
  for (char Character : Text) {
    auto const Byte = static_cast<unsigned char>(Character);
    Result.push_back(kDigits[Byte >> 4U]);
    Result.push_back(kDigits[Byte & 0xfU]);
  }
  return Result.empty() ? "-" : Result;
}
