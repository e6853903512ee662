// SPDX-License-Identifier: MIT
// The pattern of a field, and the one way in which it is matched.
#pragma once

#include <optional>
#include <regex>
#include <string>

namespace Property {

/// A regular expression as in ECMAScript, byte by byte. Matching takes time and memory in
/// proportion to text and pattern, whatever they are: both may come from somebody who wants the
/// server to stand still. Back-references, which cannot be matched so, are not supported.
/// Unchanging; may be used by several threads.
class TCValuePattern {
 public:
  /// Longer texts are not matched.
  static constexpr std::size_t kLongestText = 4096;

  explicit TCValuePattern(std::string const& Pattern);

  /// What is wrong with the pattern; empty when it is one.
  std::string const& get_Error() const { return m_Error; }
  /// Whether the pattern matches all of `Text`. A pattern that is none matches everything.
  bool Matches(std::string const& Text) const;

 private:
  std::optional<std::regex> m_Regex;
  std::string m_Error;
};

}  // namespace Property
