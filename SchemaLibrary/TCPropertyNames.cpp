// SPDX-License-Identifier: MIT
// Finds fields by what people type, from the strictest rule to the loosest.
#include "SchemaLibrary/TCPropertyNames.h"

#include <algorithm>
#include <set>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TextConversions.h"
#include "SchemaLibrary/ASCIICase.h"
#include "SchemaLibrary/EditDistance.h"
#include "SchemaLibrary/TCValueRules.h"

using Accessories::TCRecordID;

namespace Property {

namespace {

constexpr std::size_t kMostCandidates = 8;  // that an error lists
constexpr std::size_t kMostSuggestions = 3;
constexpr std::size_t kLongestName = 256;   // of longer ones only the beginning is shown
constexpr std::size_t kLongestPath = 4096;  // there is nothing by the name of longer ones
constexpr std::size_t kLongestMistake = 3;  // bytes

using TNodes = std::vector<TCBasicPropertyID const*>;

std::size_t CountParts(std::string_view Path) {
  return 1 + static_cast<std::size_t>(std::count(Path.begin(), Path.end(), '/'));
}

// The last parts of a path, as many as are wanted, or nothing when it has less.
std::string_view LastParts(std::string_view Path, std::size_t Count) {
  std::size_t Begin = Path.size();
  while (Count-- > 0) {
    if (Begin == 0) {
      return {};
    }
    std::size_t const Slash = Path.rfind('/', Begin - 1);
    Begin = Slash == std::string_view::npos ? 0 : Slash;
  }
  return Path.substr(Begin == 0 ? 0 : Begin + 1);
}

bool EndsWith(std::string_view Path, std::string_view Name, bool AnyCase) {
  if (Path.size() < Name.size()) {
    return false;
  }
  std::size_t const Begin = Path.size() - Name.size();
  return (Begin == 0 || Path[Begin - 1] == '/') && IsSameText(Path.substr(Begin), Name, AnyCase);
}

// Takes the last part off, with the slash before it; what is left is null when it was the only one.
std::string_view TakeLastPart(std::string_view& Path) {
  std::size_t const Slash = Path.rfind('/');
  if (Slash == std::string_view::npos) {
    return std::exchange(Path, std::string_view());
  }
  std::string_view const Part = Path.substr(Slash + 1);
  Path = Path.substr(0, Slash);
  return Part;
}

// Whether the last parts of the path begin with those that are wanted. Allocates nothing: one name
// is compared with all fields of a schema.
bool BeginsLike(std::string_view Path, std::string_view Wanted, bool AnyCase) {
  while (Wanted.data() != nullptr && Path.data() != nullptr) {
    std::string_view const Beginning = TakeLastPart(Wanted);
    std::string_view const Part = TakeLastPart(Path);
    if (Beginning.empty() || Part.size() < Beginning.size() ||
        !IsSameText(Part.substr(0, Beginning.size()), Beginning, AnyCase)) {
      return false;
    }
  }
  return Wanted.data() == nullptr;
}

// Takes a record off the end of what was typed. False for brackets without a number.
bool TakeLink(std::string_view& Typed, TSNamedProperty& Result) {
  std::size_t const Begin = Typed.rfind('[');
  if (Typed.empty() || Typed.back() != ']' || Begin == std::string_view::npos) {
    return true;
  }
  bool OK = false;
  std::string const Number(Typed.substr(Begin + 1, Typed.size() - Begin - 2));
  Result.Link = TCRecordID(static_cast<int>(StringToLong(Number, OK)));
  Result.HasLink = OK;
  Typed = Typed.substr(0, Begin);
  return OK;
}

std::string Quoted(std::string_view Name) {
  std::string Shown(Name.substr(0, kLongestName));
  return "'" + PrintableText(std::move(Shown)) + (Name.size() > kLongestName ? "...'" : "'");
}

// "A, B or C".
std::string Alternatives(std::vector<std::string> const& Names) {
  std::string Text;
  for (std::size_t Place = 0; Place < Names.size(); ++Place) {
    if (Place > 0) {
      Text += Place + 1 < Names.size() ? ", " : " or ";
    }
    Text += PrintableText(Names[Place]);
  }
  return Text;
}

bool IsShown(TCBasicPropertyID const& Node) {
  return &Node != &UnassignedProperty() && Node.get_Type() != eComboChoice;
}

}  // namespace

TCBasicPropertyID const* ParentOf(TCBasicPropertyID const& Node) {
  return Node.get_Parent().IsNull() ? nullptr
                                    : TCBasicPropertyID::Find(Node.get_Parent().get_Value());
}

// What lies in each node, in its order.
class TCPropertyNames::TCTree {
 public:
  TCTree() {
    for (auto const& [Number, Node] : *TCBasicPropertyID::m_List) {
      if (IsShown(*Node)) {
        m_Children[ParentOf(*Node)].push_back(Node);
      }
    }
    for (auto& [Parent, Nodes] : m_Children) {
      std::stable_sort(Nodes.begin(), Nodes.end(), [](auto const* Left, auto const* Right) {
        return Left->GetOrder() < Right->GetOrder();
      });
    }
  }

  TNodes const& ChildrenOf(TCBasicPropertyID const* Parent) const {
    static TNodes const& None = *new TNodes;
    auto const Itr = m_Children.find(Parent);
    return Itr != m_Children.end() ? Itr->second : None;
  }

 private:
  std::map<TCBasicPropertyID const*, TNodes> m_Children;
};

TCPropertyNames::TCPropertyNames() {
  UnassignedProperty();  // there is a registry from here on
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  TCTree const Tree;
  for (TCBasicPropertyID const* Node : Tree.ChildrenOf(nullptr)) {
    AddTree(Tree, *Node);
  }
  // Links can tie parents to a ring, which nothing leads to: it is entered at its lowest number.
  for (auto const& [Number, Node] : *TCBasicPropertyID::m_List) {
    if (IsShown(*Node)) {
      AddTree(Tree, *Node);
    }
  }
}

void TCPropertyNames::AddTree(TCTree const& Tree, TCBasicPropertyID const& Root) {
  std::vector<std::pair<TSPropertyNode, std::string>> Waiting;
  Waiting.push_back({{&Root, 0}, Root.get_Name()});
  while (!Waiting.empty()) {
    auto const [Place, Path] = std::move(Waiting.back());
    Waiting.pop_back();
    if (!m_Paths.emplace(Place.Node, Path).second) {
      continue;
    }
    Add(Place);
    TNodes const& Children = Tree.ChildrenOf(Place.Node);
    for (auto Child = Children.rbegin(); Child != Children.rend(); ++Child) {
      Waiting.push_back({{*Child, Place.Depth + 1}, Path + "/" + (*Child)->get_Name()});
    }
  }
}

void TCPropertyNames::Add(TSPropertyNode const& Place) {
  m_Nodes.push_back(Place);
  auto const* const Field = dynamic_cast<TCPropertyID const*>(Place.Node);
  if (Field != nullptr && Field->IsPropertyField()) {
    m_Fields.push_back(Field);
    m_FieldPaths.push_back(Path(*Field));
  }
}

std::string const& TCPropertyNames::Path(TCBasicPropertyID const& Node) const {
  static std::string const& None = *new std::string;
  auto const Itr = m_Paths.find(&Node);
  return Itr != m_Paths.end() ? Itr->second : None;
}

// ---- what was typed ----

TSNamedProperty TCPropertyNames::Resolve(std::string const& Typed) const {
  TSNamedProperty Result;
  std::string_view Name = Typed;
  if (!TakeLink(Name, Result)) {
    Result.Error = Quoted(Typed) + " names no record: a number has to stand in the brackets";
    return Result;
  }
  bool IsNumber = false;
  long const Number = StringToLong(std::string(Name.substr(0, kLongestName)), IsNumber);
  if (IsNumber) {
    Result.Field = TCValueRules::FindField(static_cast<int>(Number), Result.Error);
    Result.IsUnknown = TCBasicPropertyID::Find(static_cast<int>(Number)) == nullptr;
    return Result;
  }
  TFields const Found = FindByName(Name);
  if (Found.size() == 1) {
    Result.Field = Found.front();
  } else if (Found.empty()) {
    SetNoSuchName(Result, Name);
  } else {
    Result.Error = Ambiguous(Name, Found);
  }
  return Result;
}

TCPropertyNames::TFields TCPropertyNames::FindByName(std::string_view Name) const {
  TFields Found;
  if (Name.empty() || Name.size() > kLongestPath) {
    return Found;
  }
  auto const Find = [&](auto const& Fits) {
    for (std::size_t Place = 0; Place < m_Fields.size(); ++Place) {
      if (Fits(m_FieldPaths[Place])) {
        Found.push_back(m_Fields[Place]);
      }
    }
    return !Found.empty();
  };
  for (bool const AnyCase : {false, true}) {
    if (Find([&](std::string_view Path) { return IsSameText(Path, Name, AnyCase); }) ||
        Find([&](std::string_view Path) { return EndsWith(Path, Name, AnyCase); }) ||
        Find([&](std::string_view Path) { return BeginsLike(Path, Name, AnyCase); })) {
      break;
    }
  }
  return Found;
}

std::string TCPropertyNames::Listed(TFields const& Fields) const {
  std::string Text;
  for (std::size_t Place = 0; Place < Fields.size() && Place < kMostCandidates; ++Place) {
    Text += (Place > 0 ? ", " : "") + PrintableText(Path(*Fields[Place]));
  }
  if (Fields.size() > kMostCandidates) {
    Text += " and " + std::to_string(Fields.size() - kMostCandidates) + " more";
  }
  return Text;
}

// Of fields with the same path only the number tells which is meant.
std::string TCPropertyNames::Ambiguous(std::string_view Name, TFields const& Found) const {
  std::set<std::string> Paths;
  for (TCPropertyID const* Field : Found) {
    Paths.insert(Path(*Field));
  }
  if (Paths.size() == Found.size()) {
    return Quoted(Name) + " is ambiguous: " + Listed(Found);
  }
  std::vector<std::string> Numbers;
  for (TCPropertyID const* Field : Found) {
    if (Numbers.size() < kMostCandidates) {
      Numbers.push_back(std::to_string(Field->get_Number()));
    }
  }
  return "several properties are called " + Quoted(Name) +
         "; name one by its number: " + Alternatives(Numbers);
}

void TCPropertyNames::SetNoSuchName(TSNamedProperty& Result, std::string_view Name) const {
  for (TSPropertyNode const& Place : m_Nodes) {
    bool const IsMeant =
        !Place.Node->IsPropertyField() && !Name.empty() && EndsWith(Path(*Place.Node), Name, false);
    if (IsMeant) {
      Result.Error = Quoted(Name) + " is no property but a " +
                     LowerCase(Place.Node->get_Typename()) + NodeContent(*Place.Node);
      return;
    }
  }
  std::vector<std::string> const Suggestions = Similar(Name);
  Result.IsUnknown = Suggestions.empty();
  Result.Error = "no property " + Quoted(Name);
  if (!Suggestions.empty()) {
    Result.Error += "; did you mean " + Alternatives(Suggestions) + "?";
  }
}

std::string TCPropertyNames::NodeContent(TCBasicPropertyID const& Node) const {
  TFields Content;
  std::string const Beginning = Path(Node) + "/";
  for (TCPropertyID const* Field : m_Fields) {
    if (Path(*Field).compare(0, Beginning.size(), Beginning) == 0) {
      Content.push_back(Field);
    }
  }
  return Content.empty() ? " without any" : " with " + Listed(Content);
}

// The best ones only: with every further mistake anything looks alike.
std::vector<std::string> TCPropertyNames::Similar(std::string_view Name) const {
  std::vector<std::string> Best;
  if (Name.empty() || Name.size() > kLongestName) {
    return Best;
  }
  std::string const Wanted = LowerCase(Name);
  std::size_t const Count = CountParts(Wanted);
  std::string const WantedLast(LastParts(Wanted, 1));
  std::size_t Limit = std::clamp<std::size_t>(WantedLast.size() / 3, 1, kLongestMistake);
  for (TCPropertyID const* Field : m_Fields) {
    std::string const Known = LowerCase(Path(*Field));
    std::size_t Distance = EditDistance(Wanted, LastParts(Known, Count), Limit);
    if (Count > 1) {  // the parts before it may be anything
      Distance = std::min(Distance, EditDistance(WantedLast, LastParts(Known, 1), Limit) + 1);
    }
    if (Distance < Limit) {
      Best.clear();
      Limit = Distance;
    }
    if (Distance <= Limit && Best.size() < kMostSuggestions) {
      Best.push_back(Path(*Field));
    }
  }
  return Best;
}

}  // namespace Property
