// SPDX-License-Identifier: MIT
// Reads whole numbers as people write them.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace Property {

/// Whether there are digits and nothing else.
inline bool IsNumber(std::string_view Text) {
  return !Text.empty() && Text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// Nothing when the text is no number, or none of the type's.
template <class T>
std::optional<T> ParseNumber(std::string_view Text) {
  T Number = 0;
  if (!IsNumber(Text) ||
      std::from_chars(Text.data(), Text.data() + Text.size(), Number).ec != std::errc()) {
    return std::nullopt;
  }
  return Number;
}

}  // namespace Property
