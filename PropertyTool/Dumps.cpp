// SPDX-License-Identifier: MIT
// Takes a dump apart while it is parsed, and remembers on which line each entry stands.
#include "PropertyTool/Dumps.h"

#include <cstdio>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCMACAddress.h"
#include "PropertyTool/InputFiles.h"
#include "PropertyTool/TCProgress.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

using TCJSON = nlohmann::json;

constexpr std::size_t kLargestDump = std::size_t{512} << 20;
constexpr std::size_t kMostProblems = 100;  // that are told
constexpr char kFormat[] = "property-dump";
constexpr int kVersion = 1;
constexpr int kLeast = std::numeric_limits<int>::min();
constexpr int kGreatest = std::numeric_limits<int>::max();

// How far a text was read.
struct TSReached {
  std::size_t Line = 1;
  std::size_t Bytes = 0;
};

// Characters of a text, which tell how far they were read.
class TCCharacters {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = char const*;
  using reference = char const&;

  TCCharacters(char const* Place, TSReached* Reached) : m_Place(Place), m_Reached(Reached) {}

  reference operator*() const { return *m_Place; }
  TCCharacters& operator++() {
    m_Reached->Line += *m_Place == '\n' ? 1U : 0U;
    ++m_Reached->Bytes;
    ++m_Place;
    return *this;
  }
  bool operator==(TCCharacters const& Right) const { return m_Place == Right.m_Place; }
  bool operator!=(TCCharacters const& Right) const { return m_Place != Right.m_Place; }

 private:
  char const* m_Place;
  TSReached* m_Reached;
};

std::optional<std::string> FromHexadecimal(std::string const& Text) {
  std::string Bytes;
  if (Text.size() % 2 != 0 ||
      Text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    return std::nullopt;
  }
  for (std::size_t Place = 0; Place < Text.size(); Place += 2) {
    Bytes += static_cast<char>(std::stoi(Text.substr(Place, 2), nullptr, 16));
  }
  return Bytes;
}

// Why an entry is none.
struct TCBadEntry : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Makes values of entries.
class TCEntries {
 public:
  TCEntries(TCToolContext& Context, TSDump& Dump) : m_Context(Context), m_Dump(Dump) {}

  void Take(TCJSON const& Entry, std::size_t Line) {
    try {
      TSPropertyPlace const Place = PlaceOf(Entry);
      std::optional<std::string> const Data = DataOf(Entry, Place.Number);
      if (!m_Dump.Values.emplace(Place, Data).second) {
        throw TCBadEntry(m_Context.get_Naming().NameOf(Place) + " has an entry already");
      }
    } catch (TCBadEntry const& Bad) {
      m_Dump.Problems.push_back({Line, Bad.what()});
    }
  }

 private:
  int NumberOf(TCJSON const& Entry) {
    if (Entry.contains("number")) {
      TCJSON const& Number = Entry["number"];
      if (!Number.is_number_integer() || Number < 1 || Number > kGreatest) {
        throw TCBadEntry("number is no property's number");
      }
      return Number.get<int>();
    }
    if (!Entry.contains("path") || !Entry["path"].is_string()) {
      throw TCBadEntry("an entry without number and path");
    }
    try {
      return m_Context.get_Naming().Find(Entry["path"].get<std::string>(), {}).Place.Number;
    } catch (TCToolFailure const& Failure) {
      throw TCBadEntry(Failure.get_Reason());
    }
  }

  TSPropertyPlace PlaceOf(TCJSON const& Entry) {
    TSPropertyPlace Place;
    Place.Number = NumberOf(Entry);
    if (Entry.contains("record") && !Entry["record"].is_null()) {
      TCJSON const& Record = Entry["record"];
      if (!Record.is_number_integer() || Record < kLeast || Record > kGreatest) {
        throw TCBadEntry("record is neither a number nor null");
      }
      Place.Link = std::to_string(Entry["record"].get<int>());
    }
    if (Entry.contains("device") && !Entry["device"].is_null()) {
      std::string const Device =
          Entry["device"].is_string() ? Entry["device"].get<std::string>() : std::string();
      Place.MAC = TCMACAddress(Device).get_AsString(':');
      if (Place.MAC.empty()) {
        throw TCBadEntry("device is neither a MAC address nor null");
      }
    }
    return Place;
  }

  std::optional<std::string> DataOf(TCJSON const& Entry, int Number) {
    std::optional<std::string> Data;
    if (Entry.contains("value") && Entry["value"].is_string()) {
      Data = Entry["value"].get<std::string>();
    } else if (Entry.contains("value_hex") && Entry["value_hex"].is_string()) {
      Data = FromHexadecimal(Entry["value_hex"].get<std::string>());
    }
    if (!Data && Entry.value("secret", TCJSON(false)) != TCJSON(true)) {
      throw TCBadEntry(m_Context.get_Schema().NameOf(Number) + ": value is no text");
    }
    RequireAllowed(Number, Data.value_or(std::string()));
    return Data;
  }

  void RequireAllowed(int Number, std::string const& Data) {
    if (!m_Context.get_Schema().IsThere()) {
      return;
    }
    std::string Reason;
    TCPropertyID const* const Field = TCValueRules::FindField(Number, Reason);
    if (Field == nullptr) {
      throw TCBadEntry(Reason);
    }
    Reason = m_Context.get_Schema().Rules().ReasonAgainst(*Field, Data);
    if (!Reason.empty()) {
      throw TCBadEntry(m_Context.get_Schema().NameOf(Number) + ": " + Reason);
    }
  }

  TCToolContext& m_Context;
  TSDump& m_Dump;
};

// Without the parser's own name of the error and the line, which is told anyway.
std::string ReasonOf(std::string const& Error) {
  constexpr char kPlace[] = "column ";
  std::size_t const Column = Error.find(kPlace);
  std::size_t const Name = Error.find("] ");
  if (Column != std::string::npos) {
    return Error.substr(Column);
  }
  return Name != std::string::npos ? Error.substr(Name + 2) : Error;
}

// Follows the parser. Entries are the objects of the top's array "values".
class TCDumpParser : public nlohmann::json_sax<TCJSON> {
 public:
  TCDumpParser(TCEntries& Entries, std::vector<TSDumpProblem>& Problems, TSReached const& Reached,
               TCProgress& Progress)
      : m_Entries(Entries), m_Problems(Problems), m_Reached(Reached), m_Progress(Progress) {}

  bool IsDump() const { return m_Format == kFormat && m_HasVersion && m_HasValues; }
  std::string const& get_Error() const { return m_Error; }

  bool null() override { return Scalar(nullptr); }
  bool boolean(bool Value) override { return Scalar(Value); }
  bool number_integer(number_integer_t Value) override { return Scalar(Value); }
  bool number_unsigned(number_unsigned_t Value) override { return Scalar(Value); }
  bool number_float(number_float_t Value, string_t const& /*Text*/) override {
    return Scalar(Value);
  }
  bool string(string_t& Value) override { return Scalar(Value); }
  bool binary(binary_t& /*Value*/) override { return true; }  // no JSON

  bool start_object(std::size_t /*Count*/) override { return Begin(); }
  bool start_array(std::size_t /*Count*/) override {
    m_InValues = m_InValues || (m_Depth == 1 && m_Key == "values");
    m_HasValues = m_HasValues || m_InValues;
    return Begin();
  }
  bool key(string_t& Key) override {
    m_Key = Key;
    return true;
  }
  bool end_object() override {
    if (--m_Depth == kEntryDepth - 1 && m_InValues) {
      m_Entries.Take(m_Entry, m_EntryLine);
      m_Progress.Reach(m_Reached.Bytes);
    }
    return true;
  }
  bool end_array() override {
    m_InValues = --m_Depth > 1 && m_InValues;
    return true;
  }
  bool parse_error(std::size_t /*Place*/, std::string const& /*Token*/,
                   nlohmann::detail::exception const& Error) override {
    m_Error = ReasonOf(Error.what());
    return false;
  }

 private:
  static constexpr int kEntryDepth = 3;  // in the top, in the array, in the entry
  static constexpr int kDeepest = 16;

  bool Begin() {
    if (++m_Depth > kDeepest) {
      m_Error = "it is nested too deep";
      return false;
    }
    if (m_InValues && m_Depth == kEntryDepth) {
      m_Entry = TCJSON::object();
      m_EntryLine = m_Reached.Line;
    } else if (m_InValues && m_Depth == kEntryDepth + 1) {
      m_Entry[m_Key] = TCJSON::array();  // no member of an entry is a list or an object
    }
    return true;
  }

  bool Scalar(TCJSON const& Value) {
    if (m_Depth == 1 && m_Key == "format" && Value.is_string()) {
      m_Format = Value.get<std::string>();
    } else if (m_Depth == 1 && m_Key == "version" && Value.is_number_integer()) {
      m_HasVersion = Value == kVersion;
    } else if (m_InValues && m_Depth == kEntryDepth) {
      m_Entry[m_Key] = Value;
    } else if (m_InValues && m_Depth == kEntryDepth - 1) {
      m_Problems.push_back({m_Reached.Line, "an entry that is no object"});
    }
    return true;
  }

  TCEntries& m_Entries;
  std::vector<TSDumpProblem>& m_Problems;
  TSReached const& m_Reached;
  TCProgress& m_Progress;
  int m_Depth = 0;
  bool m_InValues = false;
  bool m_HasValues = false;
  std::string m_Key;
  TCJSON m_Entry;
  std::size_t m_EntryLine = 0;
  std::string m_Format;
  bool m_HasVersion = false;
  std::string m_Error;
};

}  // namespace

TSDump ReadDump(TCToolContext& Context, std::string const& Name) {
  std::string const Text = ReadInputFile(Name, kLargestDump);
  TSDump Dump{Name == "-" ? "standard input" : Name, {}, {}};
  TSReached Reached;
  TCEntries Entries(Context, Dump);
  TCProgress Progress(stderr, Context.get_Output().get_Form() == TEForm::ePeople, "read",
                      Text.size());
  TCDumpParser Parser(Entries, Dump.Problems, Reached, Progress);
  char const* const Begin = Text.data();
  if (!TCJSON::sax_parse(TCCharacters(Begin, &Reached), TCCharacters(Begin + Text.size(), &Reached),
                         &Parser)) {
    throw TCToolFailure(TEExit::eRefused, Dump.Name + ":" + std::to_string(Reached.Line) +
                                              ": no valid JSON: " + Parser.get_Error());
  }
  if (!Parser.IsDump()) {
    throw TCToolFailure(TEExit::eRefused,
                        Dump.Name + ": no dump of version 1, as property dump writes it");
  }
  return Dump;
}

void RequireSound(TSDump const& Dump) {
  std::size_t Told = 0;
  for (TSDumpProblem const& Problem : Dump.Problems) {
    if (++Told <= kMostProblems) {
      std::string const Text =
          "property: " + Dump.Name + ":" + std::to_string(Problem.Line) + ": " + Problem.Text;
      std::fputs((PrintableText(Text) + "\n").c_str(), stderr);
    }
  }
  if (!Dump.Problems.empty()) {
    std::string const Count =
        Dump.Problems.size() == 1 ? "an entry" : std::to_string(Dump.Problems.size()) + " entries";
    throw TCToolFailure(TEExit::eRefused,
                        Dump.Name + " has " + Count + " that cannot be used; nothing is changed");
  }
}

}  // namespace Property
