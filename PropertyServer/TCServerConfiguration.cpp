// SPDX-License-Identifier: MIT
// Reads and checks the configuration file.
#include "PropertyServer/TCServerConfiguration.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"

// Built into this file rather than linked, because only so the depth of values can be limited, and
// a check at the beginning of a section's name, "[.a]", be left to the one behind it: the first one
// ends the process, or in a release lets the compiler rely on what the file's author wrote.
#undef TOML_SHARED_LIB
#undef TOML_HEADER_ONLY
#undef NDEBUG
#define TOML_HEADER_ONLY 1
#define TOML_MAX_NESTED_VALUES 8
#define TOML_ASSERT(Condition) static_assert(true)
#include <toml++/toml.h>

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCServerConfiguration";
constexpr char kDefaultGroup[] = "property";
constexpr std::size_t kFileLimit = std::size_t{1} << 20;
constexpr std::size_t kLineLimit = 1024;  // a key's parts nest, and nesting costs stack
constexpr std::size_t kQuoteLimit = 64;
constexpr std::size_t kEntryLimit = std::size_t{1} << 20;  // of a user or group
constexpr std::string_view kMark = "\xef\xbb\xbf";         // of UTF-8, at a file's beginning
constexpr int kLastNumber = std::numeric_limits<int>::max();

[[noreturn]] void Refuse(int Line, std::string const& Text) {
  throw TCException(kSource, Line).Format("%s", Text.c_str());
}

std::string ErrorText(int Error) {
  return std::generic_category().message(Error);
}

std::string Quote(std::string_view Text) {
  std::string Quoted(Text.substr(0, kQuoteLimit));
  if (Text.size() > kQuoteLimit) {
    while (!Quoted.empty() && (static_cast<unsigned char>(Text[Quoted.size()]) & 0xC0U) == 0x80U) {
      Quoted.pop_back();  // no half character at the end
    }
    Quoted += "...";
  }
  return "\"" + PrintableText(Quoted) + "\"";
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

std::string Describe(toml::node const& Node) {
  switch (Node.type()) {
    case toml::node_type::string:
      return Quote(Node.as_string()->get());
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

bool IsNumber(std::string_view Text) {
  return !Text.empty() && Text.find_first_not_of("0123456789") == std::string_view::npos;
}

template <class T>
std::optional<T> ParseNumber(std::string_view Text) {
  T Number = 0;
  if (!IsNumber(Text) ||
      std::from_chars(Text.data(), Text.data() + Text.size(), Number).ec != std::errc()) {
    return std::nullopt;
  }
  return Number;
}

// The highest number stands for no user and no group.
std::optional<unsigned> ParseId(std::string const& Name) {
  std::optional<unsigned> const Id = ParseNumber<unsigned>(Name);
  return Id != std::numeric_limits<unsigned>::max() ? Id : std::nullopt;
}

// Looks up a user or group by name; throws std::system_error when the system can not tell.
template <class TEntry>
std::optional<unsigned> FindId(int (*Find)(char const*, TEntry*, char*, std::size_t, TEntry**),
                               unsigned TEntry::*Id, std::string const& Name) {
  std::string Buffer(1024, '\0');
  TEntry Entry{};
  TEntry* Found = nullptr;
  int Error = Find(Name.c_str(), &Entry, Buffer.data(), Buffer.size(), &Found);
  while (Error == ERANGE && Buffer.size() < kEntryLimit) {
    Buffer.resize(Buffer.size() * 2);
    Error = Find(Name.c_str(), &Entry, Buffer.data(), Buffer.size(), &Found);
  }
  if (Found != nullptr) {
    return Entry.*Id;
  }
  // The values with which the various sources of names say that they do not know one.
  constexpr std::array<int, 5> kUnknown = {0, ENOENT, ESRCH, EBADF, EPERM};
  if (std::find(kUnknown.begin(), kUnknown.end(), Error) == kUnknown.end()) {
    throw std::system_error(Error, std::generic_category());
  }
  return std::nullopt;
}

std::optional<unsigned> FindUser(std::string const& Name) {
  return IsNumber(Name) ? ParseId(Name) : FindId(getpwnam_r, &passwd::pw_uid, Name);
}

std::optional<unsigned> FindGroup(std::string const& Name) {
  return IsNumber(Name) ? ParseId(Name) : FindId(getgrnam_r, &group::gr_gid, Name);
}

class TCFile {
 public:
  explicit TCFile(std::string const& Path)
      // Does not wait for the writer of a pipe.
      : m_Path(Path), m_File(open(Path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (m_File < 0) {
      Fail(ErrorText(errno));
    }
  }
  TCFile(TCFile const&) = delete;
  TCFile& operator=(TCFile const&) = delete;
  ~TCFile() { close(m_File); }

  // One byte more than is allowed is enough to see that there is too much.
  std::string Read() const {
    struct stat Status {};
    if (fstat(m_File, &Status) == 0 && !S_ISREG(Status.st_mode)) {
      Fail("it is no regular file");
    }
    std::string Text(kFileLimit + 1, '\0');
    std::size_t Size = 0;
    while (Size < Text.size()) {
      ssize_t const Got = read(m_File, Text.data() + Size, Text.size() - Size);
      if (Got == 0) {
        break;
      }
      if (Got < 0 && errno != EINTR) {
        Fail(ErrorText(errno));
      }
      Size += static_cast<std::size_t>(std::max<ssize_t>(Got, 0));
    }
    Text.resize(Size);
    return Text;
  }

 private:
  [[noreturn]] void Fail(std::string const& Reason) const {
    Refuse(__LINE__, "cannot read " + m_Path + ": " + Reason);
  }

  std::string const& m_Path;
  int const m_File;
};

}  // namespace

// Goes through one file; every complaint names it and the line.
class TCServerConfiguration::TCReader {
 public:
  TCReader(std::string const& FileName, TCServerConfiguration& Configuration)
      : m_FileName(FileName), m_Configuration(Configuration) {}

  void Read(std::string const& Text);

 private:
  [[noreturn]] void Fail(std::size_t Line, std::string const& What) const;
  [[noreturn]] void Fail(toml::node const& Node, std::string const& What) const;

  void RequireSize(std::string const& Text) const;
  void RequirePlainLines(std::string_view Text) const;
  void RequirePlainLine(std::string_view Text, std::size_t Line) const;
  void RequireKeys(toml::table const& Table, std::string const& Section,
                   std::initializer_list<std::string_view> Known) const;
  toml::table ParseText(std::string const& Text) const;

  void ReadGroup(toml::table const& Root);
  void ReadLimits(toml::table const& Root);
  void ReadHistory(toml::table const& Root);
  void ReadRules(toml::table const& Root);
  void ReadRule(toml::node const& Node);

  toml::table const* FindSection(toml::table const& Root, char const* Name) const;
  template <class T>
  void ReadNumber(toml::table const& Section, char const* SectionName, char const* Key,
                  std::int64_t Least, std::int64_t Most, T& Number) const;
  toml::array const& RequireList(toml::node const& Node, std::string const& Path,
                                 std::string const& Entries) const;
  std::vector<TSPropertyRange> ReadProperties(toml::node const& Node,
                                              std::string const& Path) const;
  TSPropertyRange ReadRange(toml::node const& Node, std::string const& Path) const;
  std::optional<TCAccessList> ReadAccess(toml::table const& Rule, char const* Key) const;
  void ReadGranted(toml::node const& Node, std::string const& Path, TCAccessList& List) const;
  unsigned RequireId(std::optional<unsigned> (*Find)(std::string const&), std::string const& Name,
                     toml::node const& Node, std::string const& What,
                     std::string const& Kind) const;

  std::string const& m_FileName;
  TCServerConfiguration& m_Configuration;
};

void TCServerConfiguration::TCReader::Fail(std::size_t Line, std::string const& What) const {
  Refuse(__LINE__, m_FileName + ":" + std::to_string(Line) + ": " + What);
}

void TCServerConfiguration::TCReader::Fail(toml::node const& Node, std::string const& What) const {
  Fail(Node.source().begin.line, What);
}

void TCServerConfiguration::TCReader::Read(std::string const& Text) {
  RequireSize(Text);
  RequirePlainLines(Text);
  toml::table const Root = ParseText(Text);
  RequireKeys(Root, "", {"group", "secret", "limits", "history", "rule"});
  ReadGroup(Root);
  if (toml::node const* const Secret = Root.get("secret")) {
    m_Configuration.m_Secrets = ReadProperties(*Secret, "secret");
  }
  ReadLimits(Root);
  ReadHistory(Root);
  ReadRules(Root);
}

void TCServerConfiguration::TCReader::RequireSize(std::string const& Text) const {
  if (Text.size() > kFileLimit) {
    Refuse(__LINE__, m_FileName + ": the file is larger than " + std::to_string(kFileLimit) +
                         " bytes, expected less");
  }
}

void TCServerConfiguration::TCReader::RequirePlainLines(std::string_view Text) const {
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
void TCServerConfiguration::TCReader::RequirePlainLine(std::string_view Text,
                                                       std::size_t Line) const {
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

toml::table TCServerConfiguration::TCReader::ParseText(std::string const& Text) const {
  try {
    return toml::parse(Text);
  } catch (toml::parse_error const& Error) {
    Fail(Error.source().begin.line,
         "no valid TOML: " + PrintableText(std::string(Error.description())));
  }
}

void TCServerConfiguration::TCReader::RequireKeys(
    toml::table const& Table, std::string const& Section,
    std::initializer_list<std::string_view> Known) const {
  for (auto const& [Key, Value] : Table) {
    if (std::find(Known.begin(), Known.end(), Key.str()) == Known.end()) {
      std::string const Place = Section.empty() ? "" : " in " + Section;
      Fail(Key.source().begin.line,
           "unknown key " + Quote(Key.str()) + Place + ", expected " + ListNames(Known));
    }
  }
}

void TCServerConfiguration::TCReader::ReadGroup(toml::table const& Root) {
  toml::node const* const Node = Root.get("group");
  if (Node == nullptr) {
    return;
  }
  if (!Node->is_string()) {
    Fail(*Node, "group is " + Describe(*Node) + ", expected the name of a group as a text");
  }
  std::string const& Name = Node->as_string()->get();
  m_Configuration.SetGroup(
      RequireId(FindGroup, Name, *Node, "group is " + Describe(*Node), "group"), Name);
}

toml::table const* TCServerConfiguration::TCReader::FindSection(toml::table const& Root,
                                                                char const* Name) const {
  toml::node const* const Node = Root.get(Name);
  if (Node != nullptr && !Node->is_table()) {
    Fail(*Node,
         std::string(Name) + " is " + Describe(*Node) + ", expected a section [" + Name + "]");
  }
  return Node != nullptr ? Node->as_table() : nullptr;
}

template <class T>
void TCServerConfiguration::TCReader::ReadNumber(toml::table const& Section,
                                                 char const* SectionName, char const* Key,
                                                 std::int64_t Least, std::int64_t Most,
                                                 T& Number) const {
  toml::node const* const Node = Section.get(Key);
  if (Node == nullptr) {
    return;
  }
  std::optional<std::int64_t> const Value = Node->value_exact<std::int64_t>();
  if (!Value || *Value < Least || *Value > Most) {
    Fail(*Node, std::string(SectionName) + "." + Key + " is " + Describe(*Node) +
                    ", expected a number from " + std::to_string(Least) + " to " +
                    std::to_string(Most));
  }
  Number = static_cast<T>(*Value);
}

void TCServerConfiguration::TCReader::ReadLimits(toml::table const& Root) {
  constexpr std::int64_t kMostBytes = std::int64_t{64} << 20;  // what a process can send at all
  constexpr std::int64_t kMostValues = 100000000;
  constexpr std::int64_t kMostOfAll = std::int64_t{1} << (sizeof(std::size_t) > 4 ? 40 : 31);
  constexpr std::int64_t kMostRecords = 1000000;
  constexpr std::int64_t kMostMails = 1000000;
  constexpr std::int64_t kMostConnections = 100000;
  toml::table const* const Section = FindSection(Root, "limits");
  if (Section == nullptr) {
    return;
  }
  RequireKeys(*Section, "limits",
              {"values", "bytes", "waiting_bytes", "value_bytes", "mail_bytes", "mail_records",
               "mails_per_second", "connections_per_user", "connections"});
  TSServerLimits& Limits = m_Configuration.m_Limits;
  ReadNumber(*Section, "limits", "values", 1, kMostValues, Limits.Values);
  ReadNumber(*Section, "limits", "bytes", 1, kMostOfAll, Limits.Bytes);
  ReadNumber(*Section, "limits", "waiting_bytes", 1, kMostOfAll, Limits.WaitingBytes);
  ReadNumber(*Section, "limits", "value_bytes", 1, kMostBytes, Limits.ValueBytes);
  ReadNumber(*Section, "limits", "mail_bytes", 1, kMostBytes, Limits.MailBytes);
  ReadNumber(*Section, "limits", "mail_records", 1, kMostRecords, Limits.MailRecords);
  ReadNumber(*Section, "limits", "mails_per_second", 1, kMostMails, Limits.MailsPerSecond);
  ReadNumber(*Section, "limits", "connections_per_user", 1, kMostConnections,
             Limits.ConnectionsPerUser);
  ReadNumber(*Section, "limits", "connections", 1, kMostConnections, Limits.Connections);
}

void TCServerConfiguration::TCReader::ReadHistory(toml::table const& Root) {
  constexpr std::int64_t kMostEntries = 1000000000;
  constexpr std::int64_t kMostBytes = std::int64_t{1} << 40;
  constexpr std::int64_t kMostDays = 36500;
  toml::table const* const Section = FindSection(Root, "history");
  if (Section == nullptr) {
    return;
  }
  RequireKeys(*Section, "history", {"entries", "bytes", "days"});
  TSHistoryLimits& History = m_Configuration.m_History;
  ReadNumber(*Section, "history", "entries", 0, kMostEntries, History.Entries);
  ReadNumber(*Section, "history", "bytes", 0, kMostBytes, History.Bytes);
  int Days = 0;
  ReadNumber(*Section, "history", "days", 1, kMostDays, Days);
  if (Days > 0) {
    History.Age = std::chrono::hours(24) * Days;
  }
}

void TCServerConfiguration::TCReader::ReadRules(toml::table const& Root) {
  toml::node const* const Node = Root.get("rule");
  if (Node == nullptr) {
    return;
  }
  std::string const Expected = "sections [[rule]]";
  if (!Node->is_array()) {
    Fail(*Node, "rule is " + Describe(*Node) + ", expected " + Expected);
  }
  for (toml::node const& Rule : RequireList(*Node, "rule", Expected)) {
    ReadRule(Rule);
  }
}

void TCServerConfiguration::TCReader::ReadRule(toml::node const& Node) {
  if (!Node.is_table()) {
    Fail(Node, "rule is " + Describe(Node) + ", expected sections [[rule]]");
  }
  toml::table const& Rule = *Node.as_table();
  RequireKeys(Rule, "rule", {"properties", "read", "write"});
  toml::node const* const Properties = Rule.get("properties");
  if (Properties == nullptr) {
    Fail(Node, "rule has no properties, expected the numbers that it is about");
  }
  if (!Rule.contains("read") && !Rule.contains("write")) {
    Fail(Node, "rule has neither read nor write, expected at least one of them");
  }
  if (!m_Configuration.m_Rules.Add(ReadProperties(*Properties, "rule.properties"),
                                   ReadAccess(Rule, "read"), ReadAccess(Rule, "write"))) {
    Fail(Node,
         "rule decides nothing, because rules before it name all its properties, expected it "
         "before them");
  }
}

toml::array const& TCServerConfiguration::TCReader::RequireList(toml::node const& Node,
                                                                std::string const& Path,
                                                                std::string const& Entries) const {
  if (!Node.is_array()) {
    Fail(Node, Path + " is " + Describe(Node) + ", expected a list of " + Entries);
  }
  if (Node.as_array()->empty()) {
    Fail(Node, Path + " is an empty list, expected " + Entries);
  }
  return *Node.as_array();
}

// Sorted, each number once.
std::vector<TSPropertyRange> TCServerConfiguration::TCReader::ReadProperties(
    toml::node const& Node, std::string const& Path) const {
  struct TSPlaced {
    TSPropertyRange Range;
    std::size_t Line;
  };
  std::vector<TSPlaced> Placed;
  for (toml::node const& Entry : RequireList(Node, Path, "property numbers")) {
    Placed.push_back({ReadRange(Entry, Path), Entry.source().begin.line});
  }
  std::stable_sort(Placed.begin(), Placed.end(), [](TSPlaced const& Left, TSPlaced const& Right) {
    return Left.Range.First < Right.Range.First;
  });
  std::vector<TSPropertyRange> Ranges;
  Ranges.reserve(Placed.size());
  for (std::size_t Index = 0; Index < Placed.size(); ++Index) {
    TSPlaced const& Next = Placed[Index];
    if (Index > 0 && Next.Range.First <= Ranges.back().Last) {
      Fail(std::max(Next.Line, Placed[Index - 1].Line), Path + " names " +
                                                            std::to_string(Next.Range.First) +
                                                            " twice, expected each property once");
    }
    Ranges.push_back(Next.Range);
  }
  return Ranges;
}

TSPropertyRange TCServerConfiguration::TCReader::ReadRange(toml::node const& Node,
                                                           std::string const& Path) const {
  std::string const Named = Path + " names " + Describe(Node);
  if (std::optional<std::int64_t> const Number = Node.value_exact<std::int64_t>()) {
    if (*Number >= 0 && *Number <= kLastNumber) {
      return {static_cast<int>(*Number), static_cast<int>(*Number)};
    }
  } else if (Node.is_string()) {
    std::string_view const Text = Node.as_string()->get();
    std::size_t const Dash = std::min(Text.find('-'), Text.size());
    std::optional<int> const First = ParseNumber<int>(Text.substr(0, Dash));
    std::optional<int> const Last = ParseNumber<int>(Text.substr(std::min(Dash + 1, Text.size())));
    if (First && Last && *First > *Last) {
      Fail(Node, Named + ", expected the lower number first");
    }
    if (First && Last) {
      return {*First, *Last};
    }
  }
  Fail(Node, Named + ", expected a number from 0 to " + std::to_string(kLastNumber) +
                 " or a range such as \"200-209\"");
}

std::optional<TCAccessList> TCServerConfiguration::TCReader::ReadAccess(toml::table const& Rule,
                                                                        char const* Key) const {
  toml::node const* const Node = Rule.get(Key);
  if (Node == nullptr) {
    return std::nullopt;
  }
  std::string const Path = std::string("rule.") + Key;
  TCAccessList List;
  for (toml::node const& Entry : RequireList(*Node, Path, "users and groups")) {
    ReadGranted(Entry, Path, List);
  }
  return List;
}

void TCServerConfiguration::TCReader::ReadGranted(toml::node const& Node, std::string const& Path,
                                                  TCAccessList& List) const {
  std::string const Named = Path + " names " + Describe(Node);
  std::string const Text = Node.value_exact<std::string>().value_or("");
  std::size_t const Colon = std::min(Text.find(':'), Text.size());
  std::string const Kind = Text.substr(0, Colon);
  std::string const Name = Text.substr(std::min(Colon + 1, Text.size()));
  if (Text == "everybody") {
    List.AddEverybody();
  } else if (Kind == "user" && !Name.empty()) {
    List.AddUser(RequireId(FindUser, Name, Node, Named, Kind));
  } else if (Kind == "group" && !Name.empty()) {
    List.AddGroup(RequireId(FindGroup, Name, Node, Named, Kind));
  } else {
    Fail(Node, Named + ", expected \"user:NAME\", \"group:NAME\" or \"everybody\"");
  }
}

unsigned TCServerConfiguration::TCReader::RequireId(
    std::optional<unsigned> (*Find)(std::string const&), std::string const& Name,
    toml::node const& Node, std::string const& What, std::string const& Kind) const {
  std::optional<unsigned> Id;
  try {
    // The system would read a name up to its first zero byte only.
    Id = Name.find('\0') == std::string::npos ? Find(Name) : std::nullopt;
  } catch (std::system_error const& Error) {
    Fail(Node, What + ", which can not be looked up: " + ErrorText(Error.code().value()));
  }
  if (!Id) {
    Fail(Node, What + ", expected a " + Kind + " that this system has");
  }
  return *Id;
}

TCServerConfiguration::TCServerConfiguration() {
  try {
    if (std::optional<unsigned> const Group = FindGroup(kDefaultGroup)) {
      SetGroup(*Group, kDefaultGroup);
    }
  } catch (std::system_error const& Error) {
    Refuse(__LINE__, "cannot look up the group " + Quote(kDefaultGroup) + ": " +
                         ErrorText(Error.code().value()));
  }
}

void TCServerConfiguration::SetGroup(gid_t Group, std::string const& Name) {
  m_Rules.SetGroup(Group);
  m_GroupName = Name;
}

std::string TCServerConfiguration::get_Administrators() const {
  return m_GroupName.empty()
             ? "root and the server's own user"
             : "root, the server's own user and members of the group " + m_GroupName;
}

TCServerConfiguration TCServerConfiguration::Parse(std::string const& Text,
                                                   std::string const& FileName) {
  TCServerConfiguration Configuration;
  TCReader(FileName, Configuration).Read(Text);
  return Configuration;
}

TCServerConfiguration TCServerConfiguration::ParseForMembers(std::string const& Text,
                                                             std::string const& FileName) {
  TCServerConfiguration Configuration;
  Configuration.m_Rules.CountOwnersAsMembers();
  TCReader(FileName, Configuration).Read(Text);
  return Configuration;
}

TCServerConfiguration TCServerConfiguration::Load(std::string const& Path) {
  return Parse(TCFile(Path).Read(), Path);
}

}  // namespace Property
