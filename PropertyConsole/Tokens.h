// SPDX-License-Identifier: MIT
// Secrets that nobody guesses, and their comparison.
#pragma once

#include <string>
#include <string_view>

namespace Property {

/// 32 hexadecimal digits from the system's source of random bytes: 128 bits. Throws TCException
/// when it has none.
std::string MakeToken();

/// Whether two secrets are the same, in a time that says nothing of where they differ; only their
/// lengths may be learned from it.
bool AreSameSecret(std::string_view Left, std::string_view Right);

}  // namespace Property
