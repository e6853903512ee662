// SPDX-License-Identifier: MIT
// Checks a configuration file's text, and reads what is of no special meaning.
#include "PropertyServer/TCConfigurationText.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCConfigurationText";
constexpr std::size_t kFileLimit = std::size_t{1} << 20;
constexpr std::size_t kLineLimit = 1024;  // a key's parts nest, and nesting costs stack
constexpr std::size_t kQuoteLimit = 64;
constexpr std::string_view kMark = "\xef\xbb\xbf";  // of UTF-8, at a file's beginning

[[noreturn]] void Refuse(int Line, std::string const& Text) {
  throw TCException(kSource, Line).Format("%s", Text.c_str());
}

[[noreturn]] void FailToRead(std::string const& Path, std::string const& Reason) {
  Refuse(__LINE__, "cannot read " + Path + ": " + Reason);
}

// The place of the '#' with which the line's comment begins, or the line's end.
std::size_t FindComment(std::string_view Line) {
  char Quotation = 0;  // of the text that the place is in
  for (std::size_t Place = 0; Place < Line.size(); ++Place) {
    char const Byte = Line[Place];
    if (Quotation == 0 && Byte == '#') {
      return Place;
    }
    if (Quotation == 0 && (Byte == '"' || Byte == '\'')) {
      Quotation = Byte;
    } else if (Byte == Quotation) {
      Quotation = 0;
    } else if (Byte == '\\' && Quotation == '"') {
      ++Place;
    }
  }
  return Line.size();
}

// Looks at the whole line: a comment needs no such mark.
bool HasLongQuotation(std::string_view Line) {
  return Line.find("\"\"\"") != std::string_view::npos ||
         Line.find("'''") != std::string_view::npos;
}

// "a, b or c"
std::string ListNames(std::initializer_list<std::string_view> Names) {
  std::string List;
  for (std::string_view const& Name : Names) {
    bool const IsLast = &Name == Names.end() - 1;
    List += List.empty() ? "" : IsLast ? " or " : ", ";
    List += Name;
  }
  return List;
}

}  // namespace

std::string QuoteText(std::string_view Text) {
  std::string Quoted(Text.substr(0, kQuoteLimit));
  if (Text.size() > kQuoteLimit) {
    while (!Quoted.empty() && (static_cast<unsigned char>(Text[Quoted.size()]) & 0xC0U) == 0x80U) {
      Quoted.pop_back();  // no half character at the end
    }
    Quoted += "...";
  }
  return "\"" + PrintableText(Quoted) + "\"";
}

TCConfigurationText::TCConfigurationText(std::string const& Text, std::string const& FileName)
    : m_FileName(FileName), m_Root(Parse(Text)) {}

// One byte more than is allowed is enough to see that there is too much. Does not wait for the
// writer of a pipe.
std::string TCConfigurationText::ReadFile(std::string const& Path) {
  TCFileDescriptor const File(open(Path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (File.get() < 0) {
    FailToRead(Path, std::generic_category().message(errno));
  }
  struct stat Status {};
  if (fstat(File.get(), &Status) == 0 && !S_ISREG(Status.st_mode)) {
    FailToRead(Path, "it is no regular file");
  }
  std::string Text(kFileLimit + 1, '\0');
  std::size_t Size = 0;
  while (Size < Text.size()) {
    ssize_t const Got = read(File.get(), Text.data() + Size, Text.size() - Size);
    if (Got == 0) {
      break;
    }
    if (Got < 0 && errno != EINTR) {
      FailToRead(Path, std::generic_category().message(errno));
    }
    Size += static_cast<std::size_t>(std::max<ssize_t>(Got, 0));
  }
  Text.resize(Size);
  return Text;
}

void TCConfigurationText::Fail(std::size_t Line, std::string const& What) const {
  Refuse(__LINE__, m_FileName + ":" + std::to_string(Line) + ": " + What);
}

void TCConfigurationText::Fail(toml::node const& Node, std::string const& What) const {
  Fail(Node.source().begin.line, What);
}

void TCConfigurationText::RequireSize(std::string const& Text) const {
  if (Text.size() > kFileLimit) {
    Refuse(__LINE__, m_FileName + ": the file is larger than " + std::to_string(kFileLimit) +
                         " bytes, expected less");
  }
}

void TCConfigurationText::RequirePlainLines(std::string_view Text) const {
  std::size_t Line = 1;
  for (std::size_t Start = Text.substr(0, kMark.size()) == kMark ? kMark.size() : 0;
       Start < Text.size(); ++Line) {
    std::size_t const End = std::min(Text.find('\n', Start), Text.size());
    RequirePlainLine(Text.substr(Start, End - Start), Line);
    Start = End + 1;
  }
}

// Other characters than ASCII belong into comments: elsewhere the parser does not know what to do
// with some of them. To find the comment, a text that holds a '#' has to end on its line.
void TCConfigurationText::RequirePlainLine(std::string_view Text, std::size_t Line) const {
  if (Text.size() > kLineLimit) {
    Fail(Line, "the line is longer than " + std::to_string(kLineLimit) +
                   " bytes, expected a list to be spread over several lines");
  }
  if (HasLongQuotation(Text)) {
    Fail(Line, "three quotation marks, expected a text on one line");
  }
  std::string_view const Settings = Text.substr(0, FindComment(Text));
  if (std::any_of(Settings.begin(), Settings.end(),
                  [](char Byte) { return static_cast<unsigned char>(Byte) >= 0x80; })) {
    Fail(Line, "a character that is not ASCII, expected only in comments");
  }
}

toml::table TCConfigurationText::Parse(std::string const& Text) const {
  RequireSize(Text);
  RequirePlainLines(Text);
  try {
    return toml::parse(Text);
  } catch (toml::parse_error const& Error) {
    Fail(Error.source().begin.line,
         "no valid TOML: " + PrintableText(std::string(Error.description())));
  }
}

void TCConfigurationText::RequireKeys(toml::table const& Table, std::string const& Section,
                                      std::initializer_list<std::string_view> Known) const {
  for (auto const& [Key, Value] : Table) {
    if (std::find(Known.begin(), Known.end(), Key.str()) == Known.end()) {
      std::string const Place = Section.empty() ? "" : " in " + Section;
      Fail(Key.source().begin.line,
           "unknown key " + QuoteText(Key.str()) + Place + ", expected " + ListNames(Known));
    }
  }
}

std::string TCConfigurationText::Describe(toml::node const& Node) {
  switch (Node.type()) {
    case toml::node_type::string:
      return QuoteText(Node.as_string()->get());
    case toml::node_type::integer:
      return std::to_string(Node.as_integer()->get());
    case toml::node_type::boolean:
      return Node.as_boolean()->get() ? "true" : "false";
    case toml::node_type::floating_point:
      return "a number with a fraction";
    case toml::node_type::table:
      return "a table";
    case toml::node_type::array:
      return "a list";
    default:
      return "a date or time";
  }
}

toml::table const* TCConfigurationText::FindSection(char const* Name) const {
  toml::node const* const Node = m_Root.get(Name);
  if (Node != nullptr && !Node->is_table()) {
    Fail(*Node,
         std::string(Name) + " is " + Describe(*Node) + ", expected a section [" + Name + "]");
  }
  return Node != nullptr ? Node->as_table() : nullptr;
}

std::optional<std::int64_t> TCConfigurationText::ReadNumber(toml::table const& Section,
                                                            char const* SectionName,
                                                            char const* Key, std::int64_t Least,
                                                            std::int64_t Most) const {
  toml::node const* const Node = Section.get(Key);
  if (Node == nullptr) {
    return std::nullopt;
  }
  std::optional<std::int64_t> const Value = Node->value_exact<std::int64_t>();
  if (!Value || *Value < Least || *Value > Most) {
    Fail(*Node, std::string(SectionName) + "." + Key + " is " + Describe(*Node) +
                    ", expected a number from " + std::to_string(Least) + " to " +
                    std::to_string(Most));
  }
  return Value;
}

toml::array const& TCConfigurationText::RequireList(toml::node const& Node, std::string const& Path,
                                                    std::string const& Entries) const {
  if (!Node.is_array()) {
    Fail(Node, Path + " is " + Describe(Node) + ", expected a list of " + Entries);
  }
  if (Node.as_array()->empty()) {
    Fail(Node, Path + " is an empty list, expected " + Entries);
  }
  return *Node.as_array();
}

}  // namespace Property
