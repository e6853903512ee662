// SPDX-License-Identifier: MIT
// Files that a user names.
#pragma once

#include <string>

namespace Property {

/// All of a file, or of the standard input for "-". Throws TCToolFailure when it cannot be read or
/// has more than `Limit` bytes.
std::string ReadInputFile(std::string const& Name, std::size_t Limit);

}  // namespace Property
