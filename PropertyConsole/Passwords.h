// SPDX-License-Identifier: MIT
// Passwords as they are kept: hashed, so that whoever reads the file does not have them.
#pragma once

#include <cstddef>
#include <string>

namespace Property {

constexpr std::size_t kShortestPassword = 8;
constexpr std::size_t kLongestPassword = 256;  ///< bytes

/// What is wrong with a new password; empty for nothing.
std::string CheckPassword(std::string const& Password);

/// The yescrypt hash of a password, with a salt of its own. Throws TCException when the system can
/// not make one.
std::string HashPassword(std::string const& Password);

/// Whether `Hash` is the password's. Takes as long for a wrong password as for the right one.
bool IsPassword(std::string const& Password, std::string const& Hash);

}  // namespace Property
