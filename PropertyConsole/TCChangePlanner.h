// SPDX-License-Identifier: MIT
// What a transaction would change, by schema and store.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Platform/Utility/TCMutex.h"
#include "PropertyConsole/TCChangeDesk.h"
#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TSTransaction.h"
#include "PropertyConsole/ValueJSON.h"
#include "SchemaLibrary/TCValueRules.h"

namespace Property {

/// Why a change cannot be made. Without a number it is about the whole.
struct TSRefusedChange {
  std::optional<int> Number;
  std::optional<int> Record;
  std::string Reason;
};

struct TSChangePlan {
  std::vector<TSPlannedChange> Changes;  ///< those that are not refused
  std::vector<TSRefusedChange> Refusals;
  std::vector<TCPropertyKey> Conflicts;  ///< what has changed since the user has looked
};

/// Lays what is wanted beside schema and store, before the server is asked. Synchronised.
class TCChangePlanner {
 public:
  explicit TCChangePlanner(TCConsoleStore const& Store) : m_Store(Store) {}

  /// For the device that is named, or for none. None when the store is too busy for it to be known
  /// what has changed.
  std::optional<TSChangePlan> Plan(TSTransaction const& Wanted, TSViewer const& Viewer);

 private:
  std::string ReasonAgainst(TCPropertyID const& Field, TSWantedChange const& Change,
                            std::string const& Device, TSViewer const& Viewer);
  void Add(TSWantedChange const& Change, std::string const& Device, TSViewer const& Viewer,
           TSChangePlan& Plan);
  bool Compare(std::string const& Revision, TSChangePlan& Plan) const;

  TCConsoleStore const& m_Store;
  TCMutex m_Lock;
  TCValueRules m_Rules PROPERTY_GUARDED_BY(m_Lock);
};

}  // namespace Property
