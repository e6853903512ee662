// SPDX-License-Identifier: MIT
// What a transaction would do.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "PropertyConsole/TCChangePlanner.h"
#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TCFieldDependencies.h"
#include "PropertyConsole/TSTransaction.h"
#include "PropertyConsole/ValueJSON.h"

namespace Property {

/// Describes transactions that were judged and are not made. Unchanging; may be used by several
/// threads.
class TCDryRun {
 public:
  explicit TCDryRun(TCConsoleStore const& Store)
      : m_Store(Store), m_Dependencies(DeclaredDependencies()) {}

  /// changes, shown, hidden, conflicts and the revision at which that is so. What is shown and
  /// hidden is looked at in no record and in those that the changes are about.
  nlohmann::ordered_json Describe(TSTransaction const& Wanted, TSChangePlan const& Plan,
                                  TSViewer const& Viewer) const;

 private:
  using TCPlace = std::pair<TCPropertyID const*, std::optional<int>>;
  using TCRecords = std::set<std::optional<int>>;  // none first

  /// Texts by their places; null: none is stored there.
  struct TSTexts {
    std::string Revision;
    std::map<TCPlace, std::optional<std::string>> Stored;
    std::map<TCPlace, std::optional<std::string>> Edits;
  };

  TSTexts Collect(TSTransaction const& Wanted, TSChangePlan const& Plan,
                  TCFieldDependencies::TCFields const& Governing, TCRecords const& Records) const;
  nlohmann::ordered_json ChangesAsJSON(TSTransaction const& Wanted, TSChangePlan const& Plan,
                                       TSViewer const& Viewer, TSTexts const& Texts) const;
  void AddEffects(TCFieldDependencies::TCFields const& Governed, TCRecords const& Records,
                  TSViewer const& Viewer, TSTexts const& Texts,
                  nlohmann::ordered_json& Object) const;

  TCConsoleStore const& m_Store;
  TCFieldDependencies const m_Dependencies;
};

}  // namespace Property
