// SPDX-License-Identifier: MIT
// Forms of output: values, lines, columns and JSON.
#include "PropertyTool/TCOutput.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string_view>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/UTF8.h"
#include "PropertyTool/TCToolFailure.h"
#include "PropertyTool/Terminals.h"

namespace Property {
namespace {

constexpr int kIndentation = 2;

char const* CodeOf(TCOutput::TEStyle Style) {
  switch (Style) {
    case TCOutput::TEStyle::eHeading:
      return "\x1b[1m";
    case TCOutput::TEStyle::eFaint:
      return "\x1b[2m";
    case TCOutput::TEStyle::eAdded:
      return "\x1b[32m";
    case TCOutput::TEStyle::eRemoved:
      return "\x1b[31m";
  }
  return "";
}

std::string Hexadecimal(std::string const& Bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string Text;
  Text.reserve(2 * Bytes.size());
  for (char const Byte : Bytes) {
    auto const Bits = static_cast<unsigned char>(Byte);
    Text += kDigits[Bits >> 4U];
    Text += kDigits[Bits & 0xfU];
  }
  return Text;
}

}  // namespace

TCOutput::TCOutput(std::FILE* File, TEForm Form)
    : m_File(File),
      m_Form(Form),
      m_IsTerminal(isatty(fileno(File)) == 1),
      m_HasColours(m_IsTerminal && Form == TEForm::ePeople && WantsControlSequences()) {}

void TCOutput::Raw(std::string const& Text) {
  if (std::fwrite(Text.data(), 1, Text.size(), m_File) != Text.size()) {
    throw TCToolFailure(TEExit::eRefused,
                        std::string("cannot write the standard output: ") + std::strerror(errno));
  }
}

void TCOutput::Flush() {
  if (std::fflush(m_File) != 0) {
    throw TCToolFailure(TEExit::eRefused,
                        std::string("cannot write the standard output: ") + std::strerror(errno));
  }
}

void TCOutput::Value(std::string const& Text) {
  Raw((m_IsTerminal ? PrintableText(Text) : Text) + "\n");
}

void TCOutput::Line(std::string const& Text) {
  Raw(Text + "\n");
}

void TCOutput::Plain(std::vector<std::string> const& Columns) {
  std::string Text;
  for (std::string const& Column : Columns) {
    Text += Text.empty() && &Column == &Columns.front() ? "" : "\t";
    Text += PlainText(Column);
  }
  Line(Text);
}

// At a terminal everything but ASCII is escaped: there are characters that a terminal obeys.
void TCOutput::JSON(nlohmann::ordered_json const& Value, bool IsWhole) {
  Line(Value.dump(IsWhole ? kIndentation : -1, ' ', m_IsTerminal));
}

void TCOutput::JSONText(nlohmann::ordered_json const& Value) {
  Raw(Value.dump(-1, ' ', m_IsTerminal));
}

std::string TCOutput::Styled(std::string const& Text, TEStyle Style) const {
  return m_HasColours && !Text.empty() ? CodeOf(Style) + Text + "\x1b[0m" : Text;
}

std::string PlainText(std::string const& Text) {
  std::string Doubled;
  Doubled.reserve(Text.size());
  for (char const Character : Text) {
    Doubled.append(Character == '\\' ? 2 : 1, Character);
  }
  return PrintableText(std::move(Doubled));
}

bool IsUTF8(std::string const& Text) {
  std::string_view Rest = Text;
  while (!Rest.empty()) {
    std::size_t const Length = SequenceLength(Rest);
    if (Length == 0) {
      return false;
    }
    Rest.remove_prefix(Length);
  }
  return true;
}

void SetText(nlohmann::ordered_json& Object, std::string const& Name, std::string const& Text) {
  if (IsUTF8(Text)) {
    Object[Name] = Text;
  } else {
    Object[Name + "_hex"] = Hexadecimal(Text);
  }
}

}  // namespace Property
