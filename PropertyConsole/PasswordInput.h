// SPDX-License-Identifier: MIT
// A new password, from the terminal or the standard input.
#pragma once

#include <string>

namespace Property {

/// Asks twice, without showing what is typed, where the standard input is a terminal; else reads
/// its first line. Throws TCException when there is none, the two differ, or the password is too
/// short or too long.
std::string AskForPassword();

}  // namespace Property
