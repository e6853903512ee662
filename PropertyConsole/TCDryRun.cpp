// SPDX-License-Identifier: MIT
// Lays a plan beside what is stored and says what would differ.
#include "PropertyConsole/TCDryRun.h"

#include <nlohmann/json.hpp>

#include "PropertyConsole/JSONAnswers.h"
#include "SchemaLibrary/TCValueRules.h"
#include "SchemaLibrary/TSCurrentValue.h"
#include "SchemaLibrary/Visibility.h"

namespace Property {
namespace {

using TCDryJSON = nlohmann::ordered_json;

TCPropertyID const* FieldOf(int Number) {
  std::string Reason;
  return TCValueRules::FindField(Number, Reason);
}

std::optional<int> RecordOf(TCPropertyKey const& Place) {
  return Place.get_Link().IsNull() ? std::nullopt : std::optional(Place.get_Link().get_AsInteger());
}

TCDryJSON PlaceAsJSON(TCPropertyID const& Field, std::optional<int> const& Record) {
  TCDryJSON Object = {{"number", Field.get_Number()}};
  SetNumber(Object, "record", Record);
  return Object;
}

// None of what the viewer may not see: that counts as there.
std::optional<std::string> ReadAs(TCPropertyID const& Field, std::optional<std::string> const& Text,
                                  TSViewer const& Viewer) {
  return Viewer.Hides(Field.get_Number())
             ? std::nullopt
             : std::optional(CurrentOf(&Field, Text).Data.value_or(std::string()));
}

}  // namespace

TCDryJSON TCDryRun::Describe(TSTransaction const& Wanted, TSChangePlan const& Plan,
                             TSViewer const& Viewer) const {
  TCFieldDependencies::TCFields Changing;
  TCRecords Records = {std::nullopt};
  for (TSPlannedChange const& Change : Plan.Changes) {
    Changing.insert(&Change.Place.get_ID());
    Records.insert(RecordOf(Change.Place));
  }
  auto const Governed = m_Dependencies.GovernedBy(Changing);
  TSTexts const Texts = Collect(Wanted, Plan, m_Dependencies.Governing(Governed), Records);
  TCDryJSON Object = {{"revision", Texts.Revision},
                      {"changes", ChangesAsJSON(Wanted, Plan, Viewer, Texts)}};
  AddEffects(Governed, Records, Viewer, Texts, Object);
  Object["conflicts"] = ValuesAsJSON(m_Store.ReadAt(Plan.Conflicts).Values, Viewer);
  return Object;
}

// All that is stored is read at one moment.
TCDryRun::TSTexts TCDryRun::Collect(TSTransaction const& Wanted, TSChangePlan const& Plan,
                                    TCFieldDependencies::TCFields const& Governing,
                                    TCRecords const& Records) const {
  std::set<TCPlace> Places;
  for (TSWantedChange const& Change : Wanted.Changes) {
    if (TCPropertyID const* const Field = FieldOf(Change.Number)) {
      Places.emplace(Field, Change.Record);
    }
  }
  for (TCPropertyID const* const Field : Governing) {
    for (std::optional<int> const& Record : Records) {
      Places.emplace(Field, Record);
    }
  }
  std::vector<TCPropertyKey> Keys;
  Keys.reserve(Places.size());
  for (auto const& [Field, Record] : Places) {
    Keys.push_back(TCConsoleStore::PlaceOf(*Field, Record, Wanted.Device));
  }
  TSStoreState State = m_Store.ReadAt(Keys);
  TSTexts Texts;
  Texts.Revision = State.Revision;
  auto Value = State.Values.begin();
  for (TCPlace const& Place : Places) {
    Texts.Stored.emplace(Place, std::move((Value++)->Data));
  }
  for (TSPlannedChange const& Change : Plan.Changes) {
    Texts.Edits.emplace(TCPlace(&Change.Place.get_ID(), RecordOf(Change.Place)), Change.Data);
  }
  return Texts;
}

TCDryJSON TCDryRun::ChangesAsJSON(TSTransaction const& Wanted, TSChangePlan const& Plan,
                                  TSViewer const& Viewer, TSTexts const& Texts) const {
  std::map<std::pair<std::optional<int>, std::optional<int>>, std::string> Reasons;
  for (TSRefusedChange const& Refusal : Plan.Refusals) {
    Reasons[{Refusal.Number, Refusal.Record}] = Refusal.Reason;
  }
  TCDryJSON List = TCDryJSON::array();
  for (TSWantedChange const& Change : Wanted.Changes) {
    TCPropertyID const* const Field = FieldOf(Change.Number);
    bool const Hides = Viewer.Hides(Change.Number);
    auto const Stored = Texts.Stored.find({Field, Change.Record});
    TCDryJSON Object = {{"number", Change.Number}};
    SetNumber(Object, "record", Change.Record);
    Object["secret"] = Viewer.Secrets.count(Change.Number) != 0;
    SetText(Object, "from",
            Hides || Stored == Texts.Stored.end() ? std::nullopt
                                                  : CurrentOf(Field, Stored->second).Data);
    SetText(Object, "to", Hides ? std::nullopt : CurrentOf(Field, Change.Data).Data);
    auto const Reason = Reasons.find({Change.Number, Change.Record});
    SetText(Object, "refused",
            Reason != Reasons.end() ? std::optional(Reason->second) : std::nullopt);
    List.push_back(std::move(Object));
  }
  return List;
}

void TCDryRun::AddEffects(TCFieldDependencies::TCFields const& Governed, TCRecords const& Records,
                          TSViewer const& Viewer, TSTexts const& Texts, TCDryJSON& Object) const {
  // In a record, its own values govern where it has them.
  auto const Read = [&](bool HasEdits) {
    return [&Texts, &Viewer, HasEdits](TCPropertyID const& Field, std::optional<int> Record) {
      for (std::optional<int> const& Place : {Record, std::optional<int>()}) {
        auto const Edit = Texts.Edits.find({&Field, Place});
        if (HasEdits && Edit != Texts.Edits.end()) {
          return ReadAs(Field, Edit->second, Viewer);
        }
        auto const Stored = Texts.Stored.find({&Field, Place});
        if (Stored != Texts.Stored.end() && Stored->second) {
          return ReadAs(Field, Stored->second, Viewer);
        }
      }
      return ReadAs(Field, std::nullopt, Viewer);
    };
  };
  auto const Before = Read(false);
  auto const After = Read(true);
  Object["shown"] = TCDryJSON::array();
  Object["hidden"] = TCDryJSON::array();
  for (TCPropertyID const* const Field : m_Store.get_Names().get_Fields()) {
    bool const IsForThem = Viewer.SeesSecrets || VisibilityOf(*Field) != TEVisibility::eHidden;
    if (Governed.count(Field) == 0 || !IsForThem) {
      continue;
    }
    for (std::optional<int> const& Record : Records) {
      bool const Applies = m_Dependencies.Applies(*Field, Record, After);
      if (Applies != m_Dependencies.Applies(*Field, Record, Before)) {
        Object[Applies ? "shown" : "hidden"].push_back(PlaceAsJSON(*Field, Record));
      }
    }
  }
}

}  // namespace Property
