// SPDX-License-Identifier: MIT
// Judges changes by the schema, and finds out what the user has not seen.
#include "PropertyConsole/TCChangePlanner.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "SchemaLibrary/TSCurrentValue.h"
#include "SchemaLibrary/Visibility.h"

namespace Property {

std::optional<TSChangePlan> TCChangePlanner::Plan(TSTransaction const& Wanted,
                                                  TSViewer const& Viewer) {
  TSChangePlan Plan;
  for (TSWantedChange const& Change : Wanted.Changes) {
    Add(Change, Wanted.Device, Viewer, Plan);
  }
  return Compare(Wanted.Revision, Plan) ? std::optional(std::move(Plan)) : std::nullopt;
}

void TCChangePlanner::Add(TSWantedChange const& Change, std::string const& Device,
                          TSViewer const& Viewer, TSChangePlan& Plan) {
  std::string Reason;
  TCPropertyID const* const Field = TCValueRules::FindField(Change.Number, Reason);
  if (Field != nullptr) {
    Reason = ReasonAgainst(*Field, Change, Device, Viewer);
  }
  if (Field != nullptr && Reason.empty()) {
    Plan.Changes.push_back(
        {TCConsoleStore::PlaceOf(*Field, Change.Record, Device), std::nullopt, Change.Data});
  } else {
    Plan.Refusals.push_back({Change.Number, Change.Record, Reason});
  }
}

std::string TCChangePlanner::ReasonAgainst(TCPropertyID const& Field, TSWantedChange const& Change,
                                           std::string const& Device, TSViewer const& Viewer) {
  if (!Viewer.SeesSecrets && VisibilityOf(Field) == TEVisibility::eHidden) {
    return "it is hidden, and for administrators alone";
  }
  if (Device.empty() && IsOfDevices(Field)) {
    return "this device has no address; say which device is meant";
  }
  if (!Change.Data) {
    return std::string();
  }
  TCMutexLock const Lock(m_Lock);
  return m_Rules.ReasonAgainst(Field, *Change.Data, Viewer.Secrets.count(Change.Number) != 0);
}

// Values may be in the store and not be told of yet: what was read is known to be what the user has
// seen only when all is told and nothing of it has changed.
bool TCChangePlanner::Compare(std::string const& Revision, TSChangePlan& Plan) const {
  std::vector<TCPropertyKey> Places;
  std::transform(Plan.Changes.begin(), Plan.Changes.end(), std::back_inserter(Places),
                 [](TSPlannedChange const& Change) { return Change.Place; });
  TSStoreState State = m_Store.ReadAt(Places);
  for (std::size_t Index = 0; Index < Places.size(); ++Index) {
    Plan.Changes[Index].Expected = std::move(State.Values[Index].Data);
  }
  if (!TCChangeDesk::AwaitTold()) {
    return false;
  }
  auto const Seen = m_Store.NumberIn(Revision);
  auto const Changed = Seen ? m_Store.get_Changes().PlacesAfter(*Seen) : std::nullopt;
  std::copy_if(
      Places.begin(), Places.end(), std::back_inserter(Plan.Conflicts),
      [&Changed](TCPropertyKey const& Place) { return !Changed || Changed->count(Place) != 0; });
  return true;
}

}  // namespace Property
