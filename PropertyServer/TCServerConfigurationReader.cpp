// SPDX-License-Identifier: MIT
// Reads a configuration file: what its keys mean.
#include <algorithm>
#include <chrono>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "PropertyServer/ParseNumber.h"
#include "PropertyServer/SystemNames.h"
#include "PropertyServer/TCConfigurationText.h"
#include "PropertyServer/TCServerConfiguration.h"

namespace Property {

namespace {

constexpr int kLastNumber = std::numeric_limits<int>::max();

// A number, or two with a dash between them in either order; nothing for all else.
std::optional<TSPropertyRange> ParseRange(toml::node const& Node) {
  if (std::optional<std::int64_t> const Number = Node.value_exact<std::int64_t>()) {
    if (*Number < 0 || *Number > kLastNumber) {
      return std::nullopt;
    }
    return TSPropertyRange{static_cast<int>(*Number), static_cast<int>(*Number)};
  }
  std::string const Text = Node.value_exact<std::string>().value_or("");
  std::size_t const Dash = std::min(Text.find('-'), Text.size());
  std::optional<int> const First = ParseNumber<int>(Text.substr(0, Dash));
  std::optional<int> const Last = ParseNumber<int>(Text.substr(std::min(Dash + 1, Text.size())));
  if (!First || !Last) {
    return std::nullopt;
  }
  return TSPropertyRange{*First, *Last};
}

}  // namespace

// Goes through one text; what can not be meant is thrown as TCException with its line.
class TCServerConfiguration::TCReader {
 public:
  // Both outlive this.
  TCReader(TCConfigurationText const& Text, TCServerConfiguration& Configuration)
      : m_Text(Text), m_Configuration(Configuration) {}

  void Read();

 private:
  void ReadGroup();
  void ReadLimits();
  void ReadHistory();
  void ReadRules();
  void ReadRule(toml::node const& Node);
  std::vector<TSPropertyRange> ReadProperties(toml::node const& Node,
                                              std::string const& Path) const;
  TSPropertyRange ReadRange(toml::node const& Node, std::string const& Path) const;
  std::optional<TCAccessList> ReadAccess(toml::table const& Rule, char const* Key) const;
  void ReadGranted(toml::node const& Node, std::string const& Path, TCAccessList& List) const;
  unsigned RequireId(std::optional<unsigned> (*Find)(std::string const&), std::string const& Name,
                     toml::node const& Node, std::string const& What,
                     std::string const& Kind) const;

  TCConfigurationText const& m_Text;
  TCServerConfiguration& m_Configuration;
};

void TCServerConfiguration::TCReader::Read() {
  toml::table const& Root = m_Text.get_Root();
  m_Text.RequireKeys(Root, "", {"group", "secret", "limits", "history", "rule"});
  ReadGroup();
  if (toml::node const* const Secret = Root.get("secret")) {
    m_Configuration.m_Secrets = ReadProperties(*Secret, "secret");
  }
  ReadLimits();
  ReadHistory();
  ReadRules();
}

void TCServerConfiguration::TCReader::ReadGroup() {
  toml::node const* const Node = m_Text.get_Root().get("group");
  if (Node == nullptr) {
    return;
  }
  if (!Node->is_string()) {
    m_Text.Fail(*Node, "group is " + TCConfigurationText::Describe(*Node) +
                           ", expected the name of a group as a text");
  }
  std::string const& Name = Node->as_string()->get();
  m_Configuration.SetGroup(RequireId(FindGroup, Name, *Node,
                                     "group is " + TCConfigurationText::Describe(*Node), "group"),
                           Name);
}

void TCServerConfiguration::TCReader::ReadLimits() {
  constexpr std::int64_t kMostBytes = std::int64_t{64} << 20;  // what a process can send at all
  constexpr std::int64_t kMostValues = 100000000;
  constexpr std::int64_t kMostOfAll = std::int64_t{1} << (sizeof(std::size_t) > 4 ? 40 : 31);
  constexpr std::int64_t kMostRecords = 1000000;
  constexpr std::int64_t kMostMails = 1000000;
  constexpr std::int64_t kMostConnections = 100000;
  toml::table const* const Section = m_Text.FindSection("limits");
  if (Section == nullptr) {
    return;
  }
  m_Text.RequireKeys(*Section, "limits",
                     {"values", "bytes", "waiting_bytes", "value_bytes", "mail_bytes",
                      "mail_records", "mails_per_second", "connections_per_user", "connections"});
  TSServerLimits& Limits = m_Configuration.m_Limits;
  m_Text.ReadNumber(*Section, "limits", "values", 1, kMostValues, Limits.Values);
  m_Text.ReadNumber(*Section, "limits", "bytes", 1, kMostOfAll, Limits.Bytes);
  m_Text.ReadNumber(*Section, "limits", "waiting_bytes", 1, kMostOfAll, Limits.WaitingBytes);
  m_Text.ReadNumber(*Section, "limits", "value_bytes", 1, kMostBytes, Limits.ValueBytes);
  m_Text.ReadNumber(*Section, "limits", "mail_bytes", 1, kMostBytes, Limits.MailBytes);
  m_Text.ReadNumber(*Section, "limits", "mail_records", 1, kMostRecords, Limits.MailRecords);
  m_Text.ReadNumber(*Section, "limits", "mails_per_second", 1, kMostMails, Limits.MailsPerSecond);
  m_Text.ReadNumber(*Section, "limits", "connections_per_user", 1, kMostConnections,
                    Limits.ConnectionsPerUser);
  m_Text.ReadNumber(*Section, "limits", "connections", 1, kMostConnections, Limits.Connections);
}

void TCServerConfiguration::TCReader::ReadHistory() {
  constexpr std::int64_t kMostEntries = 1000000000;
  constexpr std::int64_t kMostBytes = std::int64_t{1} << 40;
  constexpr std::int64_t kMostDays = 36500;
  toml::table const* const Section = m_Text.FindSection("history");
  if (Section == nullptr) {
    return;
  }
  m_Text.RequireKeys(*Section, "history", {"entries", "bytes", "days"});
  TSHistoryLimits& History = m_Configuration.m_History;
  m_Text.ReadNumber(*Section, "history", "entries", 0, kMostEntries, History.Entries);
  m_Text.ReadNumber(*Section, "history", "bytes", 0, kMostBytes, History.Bytes);
  int Days = 0;
  m_Text.ReadNumber(*Section, "history", "days", 1, kMostDays, Days);
  if (Days > 0) {
    History.Age = std::chrono::hours(24) * Days;
  }
}

void TCServerConfiguration::TCReader::ReadRules() {
  toml::node const* const Node = m_Text.get_Root().get("rule");
  if (Node == nullptr) {
    return;
  }
  std::string const Expected = "sections [[rule]]";
  if (!Node->is_array()) {
    m_Text.Fail(*Node,
                "rule is " + TCConfigurationText::Describe(*Node) + ", expected " + Expected);
  }
  for (toml::node const& Rule : m_Text.RequireList(*Node, "rule", Expected)) {
    ReadRule(Rule);
  }
}

void TCServerConfiguration::TCReader::ReadRule(toml::node const& Node) {
  if (!Node.is_table()) {
    m_Text.Fail(Node,
                "rule is " + TCConfigurationText::Describe(Node) + ", expected sections [[rule]]");
  }
  toml::table const& Rule = *Node.as_table();
  m_Text.RequireKeys(Rule, "rule", {"properties", "read", "write"});
  toml::node const* const Properties = Rule.get("properties");
  if (Properties == nullptr) {
    m_Text.Fail(Node, "rule has no properties, expected the numbers that it is about");
  }
  if (!Rule.contains("read") && !Rule.contains("write")) {
    m_Text.Fail(Node, "rule has neither read nor write, expected at least one of them");
  }
  if (!m_Configuration.m_Rules.Add(ReadProperties(*Properties, "rule.properties"),
                                   ReadAccess(Rule, "read"), ReadAccess(Rule, "write"))) {
    m_Text.Fail(
        Node,
        "rule decides nothing, because rules before it name all its properties, expected it "
        "before them");
  }
}

// Sorted, each number once.
std::vector<TSPropertyRange> TCServerConfiguration::TCReader::ReadProperties(
    toml::node const& Node, std::string const& Path) const {
  struct TSPlaced {
    TSPropertyRange Range;
    std::size_t Line;
  };
  std::vector<TSPlaced> Placed;
  for (toml::node const& Entry : m_Text.RequireList(Node, Path, "property numbers")) {
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
      m_Text.Fail(std::max(Next.Line, Placed[Index - 1].Line),
                  Path + " names " + std::to_string(Next.Range.First) +
                      " twice, expected each property once");
    }
    Ranges.push_back(Next.Range);
  }
  return Ranges;
}

TSPropertyRange TCServerConfiguration::TCReader::ReadRange(toml::node const& Node,
                                                           std::string const& Path) const {
  std::string const Named = Path + " names " + TCConfigurationText::Describe(Node);
  std::optional<TSPropertyRange> const Range = ParseRange(Node);
  if (!Range) {
    m_Text.Fail(Node, Named + ", expected a number from 0 to " + std::to_string(kLastNumber) +
                          " or a range such as \"200-209\"");
  }
  if (Range->First > Range->Last) {
    m_Text.Fail(Node, Named + ", expected the lower number first");
  }
  return *Range;
}

std::optional<TCAccessList> TCServerConfiguration::TCReader::ReadAccess(toml::table const& Rule,
                                                                        char const* Key) const {
  toml::node const* const Node = Rule.get(Key);
  if (Node == nullptr) {
    return std::nullopt;
  }
  std::string const Path = std::string("rule.") + Key;
  TCAccessList List;
  for (toml::node const& Entry : m_Text.RequireList(*Node, Path, "users and groups")) {
    ReadGranted(Entry, Path, List);
  }
  return List;
}

void TCServerConfiguration::TCReader::ReadGranted(toml::node const& Node, std::string const& Path,
                                                  TCAccessList& List) const {
  std::string const Named = Path + " names " + TCConfigurationText::Describe(Node);
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
    m_Text.Fail(Node, Named + ", expected \"user:NAME\", \"group:NAME\" or \"everybody\"");
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
    m_Text.Fail(Node, What + ", which can not be looked up: " + Error.code().message());
  }
  if (!Id) {
    m_Text.Fail(Node, What + ", expected a " + Kind + " that this system has");
  }
  return *Id;
}

TCServerConfiguration TCServerConfiguration::Parse(std::string const& Text,
                                                   std::string const& FileName) {
  TCServerConfiguration Configuration;
  TCReader(TCConfigurationText(Text, FileName), Configuration).Read();
  return Configuration;
}

TCServerConfiguration TCServerConfiguration::ParseForMembers(std::string const& Text,
                                                             std::string const& FileName) {
  TCServerConfiguration Configuration;
  Configuration.m_Rules.CountOwnersAsMembers();
  TCReader(TCConfigurationText(Text, FileName), Configuration).Read();
  return Configuration;
}

TCServerConfiguration TCServerConfiguration::Load(std::string const& Path) {
  return Parse(TCConfigurationText::ReadFile(Path), Path);
}

}  // namespace Property
