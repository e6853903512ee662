// SPDX-License-Identifier: MIT
// What a command writes to its standard output.
#pragma once

#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "PropertyTool/TSToolOptions.h"

namespace Property {

/// Writes texts from outside so that they harm nobody: on a terminal, and wherever a line has to
/// stay one, control characters and bytes that are no UTF-8 are spelled out.
/// Refers to the file and does not own it. Not synchronised.
/// Every operation throws TCToolFailure when the file takes nothing any more.
class TCOutput {
 public:
  enum class TEStyle { eHeading, eFaint, eAdded, eRemoved };

  /// Colours are used at a terminal, unless the environment has a NO_COLOR that is not empty.
  TCOutput(std::FILE* File, TEForm Form);
  TCOutput(TCOutput const&) = delete;
  TCOutput& operator=(TCOutput const&) = delete;

  TEForm get_Form() const { return m_Form; }
  bool IsTerminal() const { return m_IsTerminal; }

  /// One value: its very bytes and a line feed, unless a person looks at them.
  void Value(std::string const& Text);
  /// A line for people. Its texts from outside have passed PrintableText().
  void Line(std::string const& Text);
  /// One entry of the plain form: columns separated by tabs. In each a backslash is doubled, and
  /// what would end it is spelled out as \t, \n, \r or \xHH.
  void Plain(std::vector<std::string> const& Columns);
  /// One JSON value: over several lines where `IsWhole`, else on a line of its own.
  void JSON(nlohmann::ordered_json const& Value, bool IsWhole = true);
  /// The same on one line, without its end.
  void JSONText(nlohmann::ordered_json const& Value);
  /// Text as it is, with nothing added.
  void Raw(std::string const& Text);
  /// What was written goes out now.
  void Flush();

  /// `Text` in a colour, where colours are used.
  std::string Styled(std::string const& Text, TEStyle Style) const;

 private:
  std::FILE* const m_File;
  TEForm const m_Form;
  bool const m_IsTerminal;
  bool const m_HasColours;
};

/// `Text` as a column of the plain form.
std::string PlainText(std::string const& Text);

/// Sets the member `Name` of `Object` to `Text`. JSON has characters only: where `Text` is no valid
/// UTF-8 the member is `Name`_hex, with two hexadecimal digits for each byte.
void SetText(nlohmann::ordered_json& Object, std::string const& Name, std::string const& Text);

/// Whether all of `Text` is valid UTF-8.
bool IsUTF8(std::string const& Text);

}  // namespace Property
