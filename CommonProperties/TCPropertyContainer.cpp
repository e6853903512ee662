// SPDX-License-Identifier: MIT
// What is fixed for each class of objects: its table and whether it belongs to the device.
#include "CommonProperties/TCPropertyContainer.h"

#include <new>

#include "CommonProperties/TUEarlyStatic.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"

using Accessories::TCNullTypes;

namespace Property {

namespace {

using TClassIDs = std::set<TCNullTypes<int>>;
using TClassIDsByTable = std::map<TCNullTypes<int>, TClassIDs>;

char const* const kSource = "../CommonProperties/TCPropertyContainer";

// Whether the objects of a class belong to the device. A table, because each access to a value
// asks.
enum TELink : unsigned char { eUnknown, eLinked, eNotLinked };

constexpr unsigned kClasses = 113;

struct TSLinks {
  TELink m_Of[kClasses] = {};
};

// clang-format off
constexpr TSLinks MakeLinks() {
  TSLinks Links;
  for (int const ClassID : {1, 3, 4, 7, 9, 10, 18, 19, 23, 24, 34, 35, 36, 39, 55, 100, 101, 102,
                            104, 106, 111, 112}) {
    Links.m_Of[ClassID] = eLinked;
  }
  for (int const ClassID : {0, 2, 5, 8, 11, 12, 13, 14, 15, 16, 17, 20, 21, 22, 25, 26, 27, 28, 29,
                            30, 31, 33, 37, 38, 40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52,
                            53, 54, 57, 58, 59, 99, 103, 105, 107, 108, 109, 110}) {
    Links.m_Of[ClassID] = eNotLinked;
  }
  return Links;
}
// clang-format on

constexpr TSLinks kLinks = MakeLinks();

[[noreturn, gnu::noinline]] void ThrowUnknownLink(int ClassID) {
  throw TCException(kSource, __LINE__)
      .Format("Property Container %d have no Orvane link specification", ClassID);
}

TUEarlyStatic<TClassIDsByTable> g_TableIDClassList;

/// Built by the first call.
TClassIDsByTable& TableIDClassList() {
  static TClassIDsByTable* const Built = new (&g_TableIDClassList.m_Object) TClassIDsByTable;
  return *Built;
}

// At the latest with this file's initialisers, for whoever reads the static itself.
[[maybe_unused]] TClassIDsByTable const& g_Built = TableIDClassList();

void CollectClasses(TClassIDsByTable& Tables) {
  if (TCBasicPropertyID::m_List == nullptr) {
    return;  // no node yet, nor a list of classes
  }
  for (TCNullTypes<int> const& ClassID : TCBasicPropertyID::m_Classlist) {
    if (ClassID.IsNull()) {
      continue;
    }
    TCNullTypes<int> const TableID = TCPropertyContainer::GetTableID(ClassID.get_Value());
    Tables[TableID].insert(ClassID);
  }
}

}  // namespace

TClassIDsByTable& TCPropertyContainer::m_TableIDClassList = g_TableIDClassList.m_Object;

TCPropertyContainer::TCPropertyContainer(std::string const& Name, int Number,
                                         std::string const& Description, int ClassID)
    : TCBasicPropertyID(Name, Number, eContainer, Description, TCNullTypes<int>()) {
  set_ClassID(ClassID);
}

TCPropertyContainer::TCPropertyContainer(int Number, char const* Name, char const* Description,
                                         int ClassID)
    : TCPropertyContainer(std::string(Name), Number, std::string(Description), ClassID) {}

TCPropertyContainer::~TCPropertyContainer() = default;

// clang-format off
TCNullTypes<int> TCPropertyContainer::GetTableID(int ClassID) {
  switch (ClassID) {
    case 1: case 29: case 30:
      return 4001;
    case 2: case 11: case 13: case 31: case 58:
      return 6000;
    case 3: case 4: case 10: case 18: case 19: case 36: case 39: case 55: case 100: case 101:
    case 102: case 103: case 104: case 106:
      return 2000;
    case 5: case 8: case 9: case 12: case 14: case 15: case 16: case 17: case 21: case 22:
    case 25: case 26: case 27: case 28: case 33: case 37: case 38: case 40: case 41: case 42:
    case 43: case 46: case 49: case 51: case 52: case 99:
      return TCNullTypes<int>();
    case 7:
      return 4002;
    case 20:
      return 5004;
    case 23: case 34: case 35:
      return 8000;
    case 24:
      return 110;
    case 44: case 47: case 107: case 108: case 109: case 110:
      return 1001;
    case 45:
      return 7004;
    case 48:
      return 7001;
    case 50:
      return 5030;
    case 53:
      return 4004;
    case 54:
      return 4006;
    case 57: case 111:
      return 13000;
    case 59:
      return 6009;
    case 105:
      return 1000;
    case 112:
      return 13001;
    default:
      throw TCException(kSource, __LINE__)
          .Format("Property Container %d have no TableID relation", ClassID);
  }
}

// clang-format on

bool TCPropertyContainer::IsOrvaneLinked(int ClassID) {
  auto const Index = static_cast<unsigned>(ClassID);
  TELink const Link = Index < kClasses ? kLinks.m_Of[Index] : eUnknown;
  if (Link == eUnknown) {
    ThrowUnknownLink(ClassID);
  }
  return Link == eLinked;
}

TCNullTypes<int> TCPropertyContainer::GetTableIDForObject(TCBasicPropertyID const& Object) {
  return GetTableID(Object.get_classid().get_Value());
}

TClassIDs const& TCPropertyContainer::GetClassListForTableID(TCNullTypes<int> const& TableID) {
  static TCCriticalSection CSection;
  static TClassIDs const& Empty = *new TClassIDs;  // callers may hold it while the process ends
  TCCriticalSectionLock Lock(CSection);
  TClassIDsByTable& Tables = TableIDClassList();
  if (Tables.empty()) {
    CollectClasses(Tables);
  }
  auto const Itr = Tables.find(TableID);
  return Itr != Tables.end() ? Itr->second : Empty;
}

}  // namespace Property
