// SPDX-License-Identifier: MIT
// Draws and compares secrets.
#include "PropertyConsole/Tokens.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/Tokens";
constexpr std::size_t kTokenBytes = 16;

}  // namespace

std::string MakeToken() {
  std::array<unsigned char, kTokenBytes> Bytes{};
  if (getentropy(Bytes.data(), Bytes.size()) != 0) {
    throw TCException(kSource, __LINE__)
        .Format("the system has no random bytes: %s", std::strerror(errno));
  }
  constexpr char kDigits[] = "0123456789abcdef";
  std::string Token;
  for (unsigned char const Byte : Bytes) {
    Token += kDigits[Byte >> 4U];
    Token += kDigits[Byte & 0xfU];
  }
  return Token;
}

bool AreSameSecret(std::string_view Left, std::string_view Right) {
  if (Left.size() != Right.size()) {
    return false;
  }
  // Volatile, so that nobody ends the loop early on the reader's behalf.
  unsigned char volatile Difference = 0;
  for (std::size_t Place = 0; Place < Left.size(); ++Place) {
    unsigned const Bits = static_cast<unsigned char>(Left[Place]) ^
                          static_cast<unsigned>(static_cast<unsigned char>(Right[Place]));
    Difference = static_cast<unsigned char>(Difference | Bits);
  }
  return Difference == 0;
}

}  // namespace Property
