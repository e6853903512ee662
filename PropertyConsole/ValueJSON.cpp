// SPDX-License-Identifier: MIT
// Writes values as JSON, secrets without their texts.
#include "PropertyConsole/ValueJSON.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "PropertyConsole/JSONAnswers.h"
#include "SchemaLibrary/TSCurrentValue.h"

namespace Property {

TSViewer ViewerOf(TERole Role, std::set<int> Secrets) {
  return {std::move(Secrets), Role == TERole::eAdministrator};
}

void SetNumber(nlohmann::ordered_json& Object, char const* Name,
               std::optional<long long> const& Number) {
  Object[Name] = nullptr;
  if (Number) {
    Object[Name] = *Number;
  }
}

nlohmann::ordered_json ValueAsJSON(TSStoreValue const& Value, TSViewer const& Viewer) {
  int const Number = Value.Field->get_Number();
  TSCurrentValue const Current = CurrentOf(Value.Field, Value.Data);
  nlohmann::ordered_json Object = {{"number", Number}};
  SetNumber(Object, "record", Value.Record);
  Object["secret"] = Viewer.Secrets.count(Number) != 0;
  SetText(Object, "value", Viewer.Hides(Number) ? std::nullopt : Current.Data);
  Object["source"] = Current.IsDefault ? "default" : Value.Data ? "server" : "none";
  return Object;
}

nlohmann::ordered_json ValuesAsJSON(std::vector<TSStoreValue> const& Values,
                                    TSViewer const& Viewer) {
  auto List = nlohmann::ordered_json::array();
  for (TSStoreValue const& Value : Values) {
    List.push_back(ValueAsJSON(Value, Viewer));
  }
  return List;
}

}  // namespace Property
