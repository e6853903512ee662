// SPDX-License-Identifier: MIT
// Hashes passwords with the system's crypt(3).
#include "PropertyConsole/Passwords.h"

#include <crypt.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "Platform/Utility/TCException.h"
#include "PropertyConsole/Tokens.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/Passwords";
constexpr char kMethod[] = "$y$";  // yescrypt
constexpr unsigned long kUsualCost = 0;

// The hash with the method, cost and salt of `Setting`; empty when it can not be made. The work
// area is some 32 KiB and holds the password: not for the stack, and not left as it is.
std::string Crypt(std::string const& Password, char const* Setting) {
  auto const Area = std::make_unique<crypt_data>();
  char const* const Hash = crypt_rn(Password.c_str(), Setting, Area.get(), sizeof(crypt_data));
  std::string Result = Hash != nullptr ? Hash : "";
  explicit_bzero(Area.get(), sizeof(crypt_data));
  return Result;
}

}  // namespace

std::string CheckPassword(std::string const& Password) {
  if (Password.size() < kShortestPassword) {
    return "the password is shorter than " + std::to_string(kShortestPassword) + " bytes";
  }
  if (Password.size() > kLongestPassword) {
    return "the password is longer than " + std::to_string(kLongestPassword) + " bytes";
  }
  if (Password.find('\0') != std::string::npos) {
    return "the password has a zero byte in it";
  }
  return "";
}

std::string HashPassword(std::string const& Password) {
  char Setting[CRYPT_GENSALT_OUTPUT_SIZE] = {};
  std::string Hash;
  if (crypt_gensalt_rn(kMethod, kUsualCost, nullptr, 0, Setting, sizeof(Setting)) != nullptr) {
    Hash = Crypt(Password, Setting);
  }
  if (Hash.empty()) {
    throw TCException(kSource, __LINE__).Format("cannot hash a password: %s", std::strerror(errno));
  }
  return Hash;
}

bool IsPassword(std::string const& Password, std::string const& Hash) {
  // What crypt(3) would not look at is no password: it ends at the first zero byte.
  bool const IsWhole =
      Password.size() <= kLongestPassword && Password.find('\0') == std::string::npos;
  std::string const Made = Crypt(IsWhole ? Password : std::string(), Hash.c_str());
  return IsWhole && !Made.empty() && AreSameSecret(Made, Hash);
}

}  // namespace Property
