// SPDX-License-Identifier: MIT
// A configuration file's text, and complaints about it that name their line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "PropertyServer/StrictTOML.h"

namespace Property {

/// A text in TOML, of bounded size and depth. What is wrong with it, or found to be wrong in it
/// later, is thrown as TCException with "FILE:LINE: " before it.
class TCConfigurationText {
 public:
  /// Reads a text. `FileName` has to live as long as this.
  TCConfigurationText(std::string const& Text, std::string const& FileName);

  /// The content of a file, or so much of it that it is known to be too large. Throws TCException
  /// when it can not be read.
  static std::string ReadFile(std::string const& Path);

  toml::table const& get_Root() const { return m_Root; }

  [[noreturn]] void Fail(std::size_t Line, std::string const& What) const;
  [[noreturn]] void Fail(toml::node const& Node, std::string const& What) const;

  /// Fails when the table has other keys.
  void RequireKeys(toml::table const& Table, std::string const& Section,
                   std::initializer_list<std::string_view> Known) const;
  /// Null when there is none of the name. Fails when it is no section.
  toml::table const* FindSection(char const* Name) const;
  /// Leaves `Number` as it is when there is no such key. Fails when it is no number in the bounds,
  /// which the type can hold.
  template <class T>
  void ReadNumber(toml::table const& Section, char const* SectionName, char const* Key,
                  std::int64_t Least, std::int64_t Most, T& Number) const {
    if (auto const Value = ReadNumber(Section, SectionName, Key, Least, Most)) {
      Number = static_cast<T>(*Value);
    }
  }
  /// Fails when the node, which stands at `Path`, is no list, or an empty one.
  toml::array const& RequireList(toml::node const& Node, std::string const& Path,
                                 std::string const& Entries) const;

  /// A value, for a message.
  static std::string Describe(toml::node const& Node);

 private:
  std::optional<std::int64_t> ReadNumber(toml::table const& Section, char const* SectionName,
                                         char const* Key, std::int64_t Least,
                                         std::int64_t Most) const;
  void RequireSize(std::string const& Text) const;
  void RequirePlainLines(std::string_view Text) const;
  void RequirePlainLine(std::string_view Text, std::size_t Line) const;
  toml::table Parse(std::string const& Text) const;

  std::string const& m_FileName;
  toml::table const m_Root;
};

/// A text in quotation marks, as it may stand in a message: cut when it is long.
std::string QuoteText(std::string_view Text);

}  // namespace Property
