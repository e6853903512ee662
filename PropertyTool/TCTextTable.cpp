// SPDX-License-Identifier: MIT
// Measures and pads columns.
#include "PropertyTool/TCTextTable.h"

#include <algorithm>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/UTF8.h"

namespace Property {
namespace {

constexpr std::size_t kWidest = 60;
constexpr char kCut[] = "...";
constexpr char kGap[] = "  ";

// In characters, of a text that is valid UTF-8.
std::size_t WidthOf(std::string const& Text) {
  return static_cast<std::size_t>(
      std::count_if(Text.begin(), Text.end(), [](char Byte) { return !IsContinuation(Byte); }));
}

std::string Cut(std::string Text) {
  if (WidthOf(Text) <= kWidest) {
    return Text;
  }
  std::size_t Place = 0;
  for (std::size_t Width = 0; Width < kWidest - (sizeof(kCut) - 1) || IsContinuation(Text[Place]);
       ++Place) {
    Width += IsContinuation(Text[Place]) ? 0U : 1U;
  }
  return Text.substr(0, Place) + kCut;
}

}  // namespace

TCTextTable::TCTextTable(std::vector<std::string> Headings) : m_Headings(std::move(Headings)) {
  for (std::string const& Heading : m_Headings) {
    m_Widths.push_back(WidthOf(Heading));
  }
}

void TCTextTable::Add(std::vector<std::string> Row) {
  for (std::size_t Column = 0; Column < Row.size(); ++Column) {
    Row[Column] = PrintableText(std::move(Row[Column]));
    if (Column + 1 < Row.size()) {
      Row[Column] = Cut(std::move(Row[Column]));
      m_Widths[Column] = std::max(m_Widths[Column], WidthOf(Row[Column]));
    }
  }
  m_Rows.push_back(std::move(Row));
}

std::string TCTextTable::LineOf(std::vector<std::string> const& Row) const {
  std::string Line;
  for (std::size_t Column = 0; Column < Row.size(); ++Column) {
    Line += Row[Column];
    if (Column + 1 < Row.size()) {
      Line.append(m_Widths[Column] - WidthOf(Row[Column]), ' ') += kGap;
    }
  }
  Line.erase(Line.find_last_not_of(' ') + 1);
  return Line;
}

void TCTextTable::Write(TCOutput& Output) const {
  if (std::any_of(m_Headings.begin(), m_Headings.end(),
                  [](std::string const& Heading) { return !Heading.empty(); })) {
    Output.Line(Output.Styled(LineOf(m_Headings), TCOutput::TEStyle::eHeading));
  }
  for (std::vector<std::string> const& Row : m_Rows) {
    Output.Line(LineOf(Row));
  }
}

}  // namespace Property
