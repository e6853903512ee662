// SPDX-License-Identifier: MIT
// The registry is built by whichever node comes first, in any order of static initialisation.
#include "CommonProperties/TCBasicPropertyID.h"

#include <cstddef>
#include <list>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyLink.h"
#include "CommonProperties/TCPropertyShowControl.h"
#include "CommonProperties/TCValidRegexPropertySettings.h"
#include "CommonProperties/TUEarlyStatic.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;

namespace Property {

namespace {

using TNodes = std::list<TCBasicPropertyID*>;
using TRegistry = std::map<int, TCBasicPropertyID*>;
using TClassIDs = std::set<TCNullTypes<int>>;

char const* const kSource = "../CommonProperties/TCBasicPropertyID";

// guarded by TCBasicPropertyID::m_CSection
TUEarlyStatic<TClassIDs> g_Classlist;
TNodes* g_TempList;  // in the order of construction, until they are initialised
bool g_Initializing;

void CreateRegistry() {
  if (TCBasicPropertyID::m_List != nullptr) {
    return;
  }
  auto TempList = std::make_unique<TNodes>();
  TCBasicPropertyID::m_List = new TRegistry;
  g_TempList = TempList.release();
  new (&g_Classlist.m_Object) TClassIDs;
}

/// Finds nodes whose numbers are asked for in ascending order, as those of values that come
/// together are, without a search from the registry's root for each.
class TCNodeSearch {
 public:
  /// The end when the number is missing.
  TRegistry::const_iterator Find(TRegistry const& Registry, int Number) {
    TRegistry::const_iterator Node = Registry.end();
    if (m_Last && m_Size == Registry.size() && (*m_Last)->first <= Number) {
      Node = *m_Last;
      for (int Step = 0; Step < kSteps && Node != Registry.end() && Node->first < Number; ++Step) {
        ++Node;
      }
    }
    if (Node == Registry.end() || Node->first != Number) {
      Node = Registry.find(Number);
    }
    if (Node != Registry.end()) {
      m_Last = Node;
      m_Size = Registry.size();
    }
    return Node;
  }
  /// Has to be called when a node leaves the registry.
  void Forget() noexcept { m_Last.reset(); }

 private:
  static constexpr int kSteps = 2;  // more would make numbers in another order slower to find

  std::optional<TRegistry::const_iterator> m_Last;
  std::size_t m_Size = 0;  // of the registry, when m_Last was found
};

TCNodeSearch g_Search;  // no constructor runs: used before those of this file would

/// Marks the initialisation as under way.
class TCInitializing {
 public:
  TCInitializing() { g_Initializing = true; }
  ~TCInitializing() { g_Initializing = false; }
  TCInitializing(TCInitializing const&) = delete;
  TCInitializing& operator=(TCInitializing const&) = delete;
};

bool HasOrder(TEPropertyType Type) {
  return Type != eUndefinedField && Type != eContainer && Type != eComboChoice;
}

}  // namespace

TRegistry* TCBasicPropertyID::m_List = nullptr;
TClassIDs& TCBasicPropertyID::m_Classlist = g_Classlist.m_Object;
bool TCBasicPropertyID::m_Initialized = false;
TCCriticalSection TCBasicPropertyID::m_CSection;

TCBasicPropertyID::TCBasicPropertyID(std::string const& Name, int Number, TEPropertyType Type,
                                     std::string const& Description, TCNullTypes<int> const& Parent)
    : m_Number(Number),
      m_Type(Type),
      m_Parent(Parent),
      m_Name(Name),
      m_Description(Description.empty() ? Name : Description) {
  Register();
}

TCBasicPropertyID::TCBasicPropertyID(std::string const& Name, int Number,
                                     std::string const& Description, TCNullTypes<int> const& Parent)
    : TCBasicPropertyID(Name, Number, eUndefinedField, Description, Parent) {}

TCBasicPropertyID::~TCBasicPropertyID() = default;

void TCBasicPropertyID::Register() {
  TNodes Entry(1, this);
  TCCriticalSectionLock Lock(m_CSection);
  CreateRegistry();
  auto const [Itr, Inserted] = m_List->emplace(m_Number, this);
  if (!Inserted) {
    throw TCException(kSource, __LINE__, "Itr == m_List->end()")
        .Format("Property %s(%d) is already defined as %s", m_Name.c_str(), m_Number,
                Itr->second->Viewname(true).c_str());
  }
  try {
    TCPropertyLink::Connect(*this);
  } catch (...) {
    g_Search.Forget();
    m_List->erase(Itr);
    throw;
  }
  TCPropertyInitOverride::Attach(*this);
  if (!m_Initialized) {
    g_TempList->splice(g_TempList->end(), Entry);
  }
}

// The memory of a static object is zero until it is constructed, so it passes for a node of the
// number 0 that is registered elsewhere, if at all. What checks the use of objects must not see it.
__attribute__((no_sanitize("address", "undefined"))) bool TCBasicPropertyID::IsConstructed(
    TCBasicPropertyID const& Node) {
  TCCriticalSectionLock Lock(m_CSection);
  if (m_List == nullptr) {
    return false;
  }
  auto const Itr = m_List->find(Node.m_Number);
  return Itr != m_List->end() && Itr->second == &Node;
}

void TCBasicPropertyID::Unregister() noexcept {
  TCCriticalSectionLock Lock(m_CSection);
  g_Search.Forget();
  m_List->erase(m_Number);
  g_TempList->remove(this);
}

TCBasicPropertyID* TCBasicPropertyID::Find(int Number) {
  TCCriticalSectionLock Lock(m_CSection);
  if (m_List == nullptr) {
    return nullptr;
  }
  auto const Itr = g_Search.Find(*m_List, Number);
  return Itr != m_List->end() ? Itr->second : nullptr;
}

bool TCBasicPropertyID::IsPropertyField() const {
  switch (m_Type) {
    case eComboField:
    case eIntegerField:
    case eStringField:
    case eBooleanField:
    case eDBLookupField:
      return true;
    default:
      return false;
  }
}

std::string TCBasicPropertyID::get_Typename() const {
  switch (m_Type) {
    case eUndefinedField:
      return "Field";
    case eContainer:
      return "Container";
    case eGroup:
      return "Group";
    case eComboField:
      return "Choice Field";
    case eComboChoice:
      return "Choice";
    case eIntegerField:
      return "Integer Field";
    case eStringField:
      return "String Field";
    case eBooleanField:
      return "Boolean Field";
    default:
      return "Unknown";
  }
}

std::string TCBasicPropertyID::Viewname(bool) const {
  std::string Result;
  return sprintf(Result, "%s(%d) %s", m_Name.c_str(), m_Number, get_Typename().c_str());
}

TCNullTypes<int> TCBasicPropertyID::get_classid() const {
  if (!m_ClassID.IsNull() || m_Parent.IsNull()) {
    return m_ClassID;
  }
  TCCriticalSectionLock Lock(m_CSection);
  // Links can tie parents to a ring, which has no class id; no chain is longer than the registry.
  TCBasicPropertyID const* Node = this;
  for (std::size_t Left = m_List->size(); Left > 0 && !Node->m_Parent.IsNull(); --Left) {
    Node = Find(Node->m_Parent.get_Value());
    if (Node == nullptr) {
      break;
    }
    if (!Node->m_ClassID.IsNull()) {
      return Node->m_ClassID;
    }
  }
  return m_ClassID;
}

TCNullTypes<std::string> TCBasicPropertyID::GetDefaultValue() {
  if (m_Type == eComboChoice) {
    return ToString(m_Number);
  }
  return TCNullTypes<std::string>();
}

int TCBasicPropertyID::GetOrder() const {
  return m_Order;
}

bool TCBasicPropertyID::GetShow() const {
  return true;
}

void TCBasicPropertyID::SetShow(bool) {}

void TCBasicPropertyID::DoInitialize() {
  if (m_ClassID.IsNull()) {
    m_ClassID = get_classid();
  }
  if (m_InitOverride != nullptr) {
    m_InitOverride->Initialize(this);
  }
}

void TCBasicPropertyID::Initialize() {
  UnassignedProperty();  // belongs to every schema, also to one completed before its own static
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Initialized || g_Initializing) {
    return;
  }
  TCInitializing const Pass;
  RequireConstructed();
  TCPropertyShowControl::Initialize();
  InitializeNodes();
  TCPropertyChoiceID::Initialize();
  m_Initialized = true;
}

void TCBasicPropertyID::RequireConstructed() {
  TCPropertyLink::RequireConstructed();
  TCPropertyChoice::RequireConstructed();
  TCPropertyInitOverride::RequireConstructed();
  TCValidRegexPropertySettings::RequireConstructed();
}

void TCBasicPropertyID::InitializeNodes() {
  std::map<std::pair<TCNullTypes<int>, TCNullTypes<int>>, int> Siblings;
  // An override may construct nodes; they are appended and get their turn.
  for (TCBasicPropertyID* Node : *g_TempList) {
    Node->DoInitialize();
    if (HasOrder(Node->m_Type)) {
      Node->m_Order = Siblings[{Node->m_ClassID, Node->m_Parent}]++;
    }
    m_Classlist.insert(Node->m_ClassID);
  }
  g_TempList->clear();
}

}  // namespace Property
