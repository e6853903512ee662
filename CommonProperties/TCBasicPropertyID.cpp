// SPDX-License-Identifier: MIT
// The registry is built by whichever node comes first, in any order of static initialisation.
#include "CommonProperties/TCBasicPropertyID.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "CommonProperties/TCPropertyShowControl.h"
#include "CommonProperties/TUEarlyStatic.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

using Accessories::TCNullTypes;

namespace Property {

namespace {

using TNodes = std::list<TCBasicPropertyID*>;
using TClassIDs = std::set<TCNullTypes<int>>;

char const* const kSource = "../CommonProperties/TCBasicPropertyID";

/// The nodes by number once more, for searches: a node is at the place that its number says, or at
/// one of the next. The list's own search visits a dozen entries all over the memory, which a
/// process that wakes for one change has to fetch first.
class TCNodeTable {
 public:
  TCBasicPropertyID* Find(int Number) const {
    return m_Places.empty() ? nullptr : m_Places[PlaceOf(Number)];
  }

  /// Makes room for one more than `Nodes`, which are all that are here.
  void ReserveOneMore(std::map<int, TCBasicPropertyID*> const& Nodes) {
    if (2 * (Nodes.size() + 1) > m_Places.size()) {
      m_Places = TPlaces(std::max(kFewest, 2 * m_Places.size()));
      Insert(Nodes);
    }
  }
  void Insert(TCBasicPropertyID* Node) { m_Places[PlaceOf(Node->get_Number())] = Node; }

  /// With `Nodes` alone, no more than were here.
  void Refill(std::map<int, TCBasicPropertyID*> const& Nodes) noexcept {
    std::fill(m_Places.begin(), m_Places.end(), nullptr);
    Insert(Nodes);
  }

 private:
  using TPlaces = std::vector<TCBasicPropertyID*>;

  static constexpr std::size_t kFewest = 64;
  static constexpr std::uint32_t kSpread = 0x9E3779B1;  // numbers come in series with gaps

  void Insert(std::map<int, TCBasicPropertyID*> const& Nodes) {
    for (auto const& [Number, Node] : Nodes)
      Insert(Node);
  }

  // Where the node is, or would be. At least half of the places are empty.
  std::size_t PlaceOf(int Number) const {
    std::uint32_t const Spread = static_cast<std::uint32_t>(Number) * kSpread;
    std::size_t const Last = m_Places.size() - 1;  // a power of two less one
    std::size_t Place = (Spread ^ Spread >> 16U) & Last;
    while (m_Places[Place] != nullptr && m_Places[Place]->get_Number() != Number)
      Place = (Place + 1) & Last;
    return Place;
  }

  TPlaces m_Places;
};

// guarded by TCBasicPropertyID::m_CSection
TUEarlyStatic<TClassIDs> g_Classlist;
TNodes* g_TempList;    // in the order of construction, until they are initialised
TCNodeTable* g_Table;  // of the nodes in m_List
bool g_Initializing;

void CreateRegistry() {
  if (TCBasicPropertyID::m_List != nullptr)
    return;
  auto TempList = std::make_unique<TNodes>();
  auto Table = std::make_unique<TCNodeTable>();
  TCBasicPropertyID::m_List = new std::map<int, TCBasicPropertyID*>;
  g_TempList = TempList.release();
  g_Table = Table.release();
  new (&g_Classlist.m_Object) TClassIDs;
}

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

std::map<int, TCBasicPropertyID*>* TCBasicPropertyID::m_List = nullptr;
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
  g_Table->ReserveOneMore(*m_List);
  auto const [Itr, Inserted] = m_List->emplace(m_Number, this);
  if (!Inserted)
    throw TCException(kSource, __LINE__, "Itr == m_List->end()")
        .Format("Property %s(%d) is already defined as %s", m_Name.c_str(), m_Number,
                Itr->second->Viewname(true).c_str());
  g_Table->Insert(this);
  if (!m_Initialized)
    g_TempList->splice(g_TempList->end(), Entry);
}

void TCBasicPropertyID::Unregister() noexcept {
  TCCriticalSectionLock Lock(m_CSection);
  m_List->erase(m_Number);
  g_Table->Refill(*m_List);
  g_TempList->remove(this);
}

TCBasicPropertyID* TCBasicPropertyID::Find(int Number) {
  TCCriticalSectionLock Lock(m_CSection);
  return m_List != nullptr ? g_Table->Find(Number) : nullptr;
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
  if (!m_ClassID.IsNull() || m_Parent.IsNull())
    return m_ClassID;
  TCCriticalSectionLock Lock(m_CSection);
  // Links can tie parents to a ring, which has no class id; no chain is longer than the registry.
  TCBasicPropertyID const* Node = this;
  for (std::size_t Left = m_List->size(); Left > 0 && !Node->m_Parent.IsNull(); --Left) {
    Node = Find(Node->m_Parent.get_Value());
    if (Node == nullptr)
      break;
    if (!Node->m_ClassID.IsNull())
      return Node->m_ClassID;
  }
  return m_ClassID;
}

TCNullTypes<std::string> TCBasicPropertyID::GetDefaultValue() {
  if (m_Type == eComboChoice)
    return ToString(m_Number);
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
  if (m_ClassID.IsNull())
    m_ClassID = get_classid();
  if (m_InitOverride != nullptr)
    m_InitOverride->Initialize(this);
}

void TCBasicPropertyID::Initialize() {
  UnassignedProperty();  // belongs to every schema, also to one completed before its own static
  TCCriticalSectionLock Lock(m_CSection);
  if (m_Initialized || g_Initializing)
    return;
  TCInitializing const Pass;
  TCPropertyShowControl::Initialize();
  InitializeNodes();
  TCPropertyChoiceID::Initialize();
  m_Initialized = true;
}

void TCBasicPropertyID::InitializeNodes() {
  std::map<std::pair<TCNullTypes<int>, TCNullTypes<int>>, int> Siblings;
  // An override may construct nodes; they are appended and get their turn.
  for (TCBasicPropertyID* Node : *g_TempList) {
    Node->DoInitialize();
    if (HasOrder(Node->m_Type))
      Node->m_Order = Siblings[{Node->m_ClassID, Node->m_Parent}]++;
    m_Classlist.insert(Node->m_ClassID);
  }
  g_TempList->clear();
}

}  // namespace Property
