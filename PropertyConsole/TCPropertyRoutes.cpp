// SPDX-License-Identifier: MIT
// Reads the store, asks the server, and writes JSON.
#include "PropertyConsole/TCPropertyRoutes.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "PropertyConsole/JSONAnswers.h"
#include "PropertyConsole/QueryParts.h"
#include "PropertyConsole/SchemaJSON.h"
#include "PropertyConsole/ValueJSON.h"

namespace Property {
namespace {

using TCJSON = nlohmann::ordered_json;

constexpr int kUsualEntries = 100;
constexpr int kMostEntries = 1000;

TCJSON EntryAsJSON(TSHistoryEntry const& Entry, bool ShowsSecrets) {
  bool const Shows = !Entry.IsSecret || ShowsSecrets;
  TCJSON Object = {{"transaction", nullptr}};
  SetNumber(Object, "transaction", ReadNumber(Entry.Writer.Transaction));
  Object["time"] = Entry.Writer.Time;
  SetText(Object, "user", Entry.Writer.get_UserName());
  SetText(Object, "program", Entry.Writer.Program);
  Object["number"] = Entry.Place.Number;
  SetNumber(Object, "record", ReadNumber(Entry.Place.Link));
  SetText(Object, "device",
          Entry.Place.MAC.empty() ? std::nullopt : std::optional(Entry.Place.MAC));
  Object["secret"] = Entry.IsSecret;
  SetText(Object, "former", Shows ? Entry.Former : std::nullopt);
  SetText(Object, "value", Shows ? Entry.Data : std::nullopt);
  Object["removed"] = Entry.IsRemoval;
  SetNumber(Object, "undoes", ReadNumber(Entry.Undoes));
  return Object;
}

bool MaySeeSecrets(TSCall const& Call) {
  return Call.Session.Role == TERole::eAdministrator;
}

}  // namespace

TCPropertyRoutes::TCPropertyRoutes(TCConsoleStore const& Store, TCServerQuestions& Server)
    : m_Store(Store), m_Server(Server) {}

std::vector<TCPropertyRoutes::TSEntry> const& TCPropertyRoutes::Table() {
  static std::vector<TSEntry> const Entries = {
      {"GET", "/api/v1/schema", &TCPropertyRoutes::GetSchema},
      {"GET", "/api/v1/values", &TCPropertyRoutes::GetValues},
      {"GET", "/api/v1/devices", &TCPropertyRoutes::GetDevices},
      {"GET", "/api/v1/status", &TCPropertyRoutes::GetStatus},
      {"GET", "/api/v1/history", &TCPropertyRoutes::GetHistory}};
  return Entries;
}

void TCPropertyRoutes::AddTo(TCRoutes& Routes) const {
  for (TSEntry const& Entry : Table()) {
    Routes.Add({Entry.Method, Entry.Path, TERole::eViewer,
                [this, &Entry](TSCall const& Call) { return (this->*Entry.Answer)(Call); }});
  }
}

TCRoutes TCPropertyRoutes::Listed() {
  TCRoutes Routes;
  for (TSEntry const& Entry : Table()) {
    Routes.Add({Entry.Method, Entry.Path, TERole::eViewer, nullptr});
  }
  return Routes;
}

TSAnswer TCPropertyRoutes::GetSchema(TSCall const& /*Call*/) const {
  return JSONAnswer(SchemaAsJSON(m_Store.get_Names()));
}

// The values are copied first: nothing waits for the server, or for who has asked, with the store
// in hand.
TSAnswer TCPropertyRoutes::GetValues(TSCall const& Call) const {
  TCQueryParts Query(Call.Request, {"device"});
  std::string const Device = Query.Device("device");
  if (Query.IsWrong()) {
    return Query.get_Problem();
  }
  TSStoreState const State = m_Store.Read(Device);
  TSViewer const Viewer = ViewerOf(Call.Session.Role, m_Server.AskSecrets(m_Store.get_Names()));
  return JSONAnswer({{"device", State.Device},
                     {"revision", State.Revision},
                     {"connected", m_Store.IsConnected()},
                     {"values", ValuesAsJSON(State.Values, Viewer)}});
}

TSAnswer TCPropertyRoutes::GetDevices(TSCall const& /*Call*/) const {
  std::set<std::string> Devices = m_Server.AskDevices();
  TCJSON List = TCJSON::array();
  for (std::string const& Device : Devices) {
    List.push_back(Device);
  }
  return JSONAnswer({{"own", m_Store.get_OwnDevice()}, {"devices", std::move(List)}});
}

TSAnswer TCPropertyRoutes::GetStatus(TSCall const& /*Call*/) const {
  TCJSON Figures = TCJSON::object();
  for (auto [Name, Value] : m_Server.AskFigures()) {
    std::replace(Name.begin(), Name.end(), ' ', '_');
    SetText(Figures, Name, Value);
  }
  return JSONAnswer({{"connected", m_Store.IsConnected()}, {"figures", std::move(Figures)}});
}

TSAnswer TCPropertyRoutes::GetHistory(TSCall const& Call) const {
  TCQueryParts Query(Call.Request, {"number", "device", "transaction", "limit"});
  auto const Number = Query.Number("number", 1, 2147483647);
  auto const Transaction = Query.Number("transaction", 1, 999999999999999999);
  auto const Limit = Query.Number("limit", 1, kMostEntries);
  std::string const Device = Query.Device("device");
  if (Query.IsWrong()) {
    return Query.get_Problem();
  }
  auto const Entries = m_Server.AskHistory(
      static_cast<std::size_t>(Limit.value_or(kUsualEntries)), [&](TCControlRecord& Record) {
        if (Number) {
          Record.m_ID = static_cast<int>(*Number);
        }
        if (Transaction) {
          Record.m_Transaction.set_AsString(std::to_string(*Transaction));
        }
        if (!Device.empty()) {
          Record.m_MAC.set_AsString(Device);
        }
      });
  TCJSON List = TCJSON::array();
  for (TSHistoryEntry const& Entry : Entries) {
    List.push_back(EntryAsJSON(Entry, MaySeeSecrets(Call)));
  }
  return JSONAnswer({{"entries", std::move(List)}});
}

}  // namespace Property
