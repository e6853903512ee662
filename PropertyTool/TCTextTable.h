// SPDX-License-Identifier: MIT
// Columns of text for people.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/TCOutput.h"

namespace Property {

/// Collects rows and writes them with every column as wide as its widest text; a very wide one is
/// cut, all but the last. Texts pass PrintableText() here.
class TCTextTable {
 public:
  explicit TCTextTable(std::vector<std::string> Headings);

  /// As many texts as there are headings.
  void Add(std::vector<std::string> Row);
  bool IsEmpty() const { return m_Rows.empty(); }
  void Write(TCOutput& Output) const;

 private:
  std::string LineOf(std::vector<std::string> const& Row) const;

  std::vector<std::string> m_Headings;
  std::vector<std::size_t> m_Widths;
  std::vector<std::vector<std::string>> m_Rows;
};

}  // namespace Property
