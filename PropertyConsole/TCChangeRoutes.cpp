// SPDX-License-Identifier: MIT
// Has transactions made, taken back and confirmed, and tells what has become of them.
#include "PropertyConsole/TCChangeRoutes.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyConsole/JSONAnswers.h"
#include "PropertyConsole/QueryParts.h"
#include "PropertyConsole/ValueJSON.h"
#include "SchemaLibrary/TCValueRules.h"
#include "SchemaLibrary/Visibility.h"

namespace Property {
namespace {

using TCJSON = nlohmann::ordered_json;

constexpr std::size_t kMostDigits = 18;      // of a transaction's number
constexpr std::size_t kMostCompared = 1000;  // entries of a transaction

TSAnswer BusyAnswer() {
  return ProblemAnswer(503, "busy", "Too many changes wait at the moment; try again.");
}

TSAnswer RefusedAnswer(std::vector<TSRefusedChange> const& Refusals) {
  TCJSON List = TCJSON::array();
  for (TSRefusedChange const& Refusal : Refusals) {
    TCJSON Entry = TCJSON::object();
    SetNumber(Entry, "number", Refusal.Number);
    SetNumber(Entry, "record", Refusal.Record);
    SetText(Entry, "reason", Refusal.Reason);
    List.push_back(std::move(Entry));
  }
  TSAnswer Answer = JSONAnswer({{"code", "refused"},
                                {"message", "The change is not possible; nothing has changed."},
                                {"refusals", std::move(List)}});
  Answer.Status = 422;
  return Answer;
}

// What the server says of the whole, or of the values that it is about.
TSAnswer RefusedAnswer(TSDecision const& Decision) {
  std::vector<TSRefusedChange> Refusals;
  for (TCPropertyKey const& Place : Decision.Places) {
    TSRefusedChange Refusal{Place.get_ID().get_Number(), std::nullopt, Decision.Reason};
    if (!Place.get_Link().IsNull()) {
      Refusal.Record = Place.get_Link().get_AsInteger();
    }
    Refusals.push_back(std::move(Refusal));
  }
  if (Refusals.empty()) {
    Refusals.push_back({std::nullopt, std::nullopt, Decision.Reason});
  }
  return RefusedAnswer(Refusals);
}

TSAnswer UnknownTransaction() {
  return ProblemAnswer(404, "no_transaction", "There is no such transaction.");
}

// The number in the path, as the server writes it; empty where it is none.
std::string TransactionOf(TSCall const& Call) {
  std::string const& Text = Call.Parameters.at("transaction");
  auto const Number = Text.size() <= kMostDigits ? ReadNumber(Text) : std::nullopt;
  return Number && *Number > 0 ? std::to_string(*Number) : std::string();
}

// These take no members.
bool IsEmptyObject(TSCall const& Call, TSAnswer& Wrong) {
  auto const Body = ReadObject(Call.Request, Wrong);
  if (Body && !Body->empty()) {
    Wrong = ProblemAnswer(400, "bad_request", "The body has to be {}.");
  }
  return Body && Body->empty();
}

// What is hidden only administrators change, in whatever way. Of more entries than are compared
// nobody knows.
std::string ReasonAgainstUndo(std::vector<TSHistoryEntry> const& Entries, TSViewer const& Viewer) {
  if (Viewer.SeesSecrets) {
    return std::string();
  }
  if (Entries.size() > kMostCompared) {
    return "it has changed more than " + std::to_string(kMostCompared) +
           " values, and only administrators take that back";
  }
  bool const ChangesHidden =
      std::any_of(Entries.begin(), Entries.end(), [](TSHistoryEntry const& Entry) {
        std::string Reason;
        TCPropertyID const* const Field = TCValueRules::FindField(Entry.Place.Number, Reason);
        return Field != nullptr && VisibilityOf(*Field) == TEVisibility::eHidden;
      });
  return ChangesHidden ? "it has changed what is hidden, and for administrators alone" : "";
}

void LogChange(TSCall const& Call, char const* What, std::string const& Transaction) {
  SyslogWarning("%s has %s: transaction %s", Call.Session.User.c_str(), What,
                Transaction.empty() ? "none, nothing has changed" : Transaction.c_str());
}

}  // namespace

TCChangeRoutes::TCChangeRoutes(TCConsoleStore const& Store, TCServerQuestions& Server,
                               TCChangeDesk& Desk, TSConsoleCounters& Counters)
    : m_Store(Store),
      m_Server(Server),
      m_Desk(Desk),
      m_Counters(Counters),
      m_Planner(Store),
      m_DryRun(Store) {}

std::vector<TCChangeRoutes::TSEntry> const& TCChangeRoutes::Table() {
  static std::vector<TSEntry> const Entries = {
      {"/api/v1/transactions", &TCChangeRoutes::PostTransaction, true},
      {"/api/v1/dry-run", &TCChangeRoutes::PostDryRun, false},
      {"/api/v1/transactions/{transaction}/undo", &TCChangeRoutes::PostUndo, true},
      {"/api/v1/transactions/{transaction}/confirm", &TCChangeRoutes::PostConfirm, false}};
  return Entries;
}

void TCChangeRoutes::AddTo(TCRoutes& Routes) {
  for (TSEntry const& Entry : Table()) {
    Routes.Add({"POST", Entry.Path, TERole::eOperator,
                [this, &Entry](TSCall const& Call) { return AnswerOf(Entry, Call); }});
  }
}

TCRoutes TCChangeRoutes::Listed() {
  TCRoutes Routes;
  for (TSEntry const& Entry : Table()) {
    Routes.Add({"POST", Entry.Path, TERole::eOperator, nullptr});
  }
  return Routes;
}

TSAnswer TCChangeRoutes::AnswerOf(TSEntry const& Entry, TSCall const& Call) {
  TSAnswer Answer = (this->*Entry.Answer)(Call);
  if (Entry.Changes) {
    m_Counters.Changes += Answer.Status == 200 ? 1 : 0;
    m_Counters.Conflicts += Answer.Status == 409 || Answer.Status == 412 ? 1 : 0;
    m_Counters.Refusals += Answer.Status == 422 ? 1 : 0;
  }
  return Answer;
}

TSAnswer TCChangeRoutes::PostTransaction(TSCall const& Call) {
  TSAnswer Wrong;
  auto const Judged = Judge(Call, Wrong);
  if (!Judged) {
    return Wrong;
  }
  if (!Judged->Plan.Refusals.empty()) {
    return RefusedAnswer(Judged->Plan.Refusals);
  }
  return Judged->Plan.Conflicts.empty()
             ? Store(Call, *Judged)
             : ConflictAnswer(412, Judged->Plan.Conflicts, Judged->Viewer);
}

TSAnswer TCChangeRoutes::PostDryRun(TSCall const& Call) {
  TSAnswer Wrong;
  auto const Judged = Judge(Call, Wrong);
  return Judged ? JSONAnswer(m_DryRun.Describe(Judged->Wanted, Judged->Plan, Judged->Viewer))
                : Wrong;
}

// What is to be made of a transaction before the server is asked; none where it is none.
std::optional<TCChangeRoutes::TSJudged> TCChangeRoutes::Judge(TSCall const& Call, TSAnswer& Wrong) {
  auto Wanted = ReadTransaction(Call.Request, Wrong);
  if (!Wanted) {
    return std::nullopt;
  }
  if (Wanted->Device.empty()) {
    Wanted->Device = m_Store.get_OwnDevice();
  }
  TSViewer Viewer = ViewerOf(Call.Session.Role, m_Server.AskSecrets(m_Store.get_Names()));
  auto Plan = m_Planner.Plan(*Wanted, Viewer);
  if (!Plan) {
    Wrong = BusyAnswer();
    return std::nullopt;
  }
  return TSJudged{std::move(*Wanted), std::move(Viewer), std::move(*Plan)};
}

// The time to confirm is told from before the server takes the change: rather too short than too
// long.
TSAnswer TCChangeRoutes::Store(TSCall const& Call, TSJudged const& Judged) {
  auto const& [Wanted, Viewer, Plan] = Judged;
  std::time_t const Now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  TSDecision const Decision = m_Desk.Change(Plan.Changes, Wanted.ConfirmWithin);
  switch (Decision.Kind) {
    case TSDecision::TEKind::eBusy:
      return BusyAnswer();
    case TSDecision::TEKind::eRefused:
      return RefusedAnswer(Decision);
    case TSDecision::TEKind::eConflict:
      return ConflictAnswer(412, Decision.Places, Viewer);
    case TSDecision::TEKind::eStored:
      break;
  }
  LogChange(Call, "changed values", Decision.Transaction);
  TCJSON Object = {{"transaction", nullptr},
                   {"revision", m_Store.ReadAt({}).Revision},
                   {"confirm_until", nullptr}};
  SetNumber(Object, "transaction", ReadNumber(Decision.Transaction));
  if (Wanted.ConfirmWithin && !Decision.Transaction.empty()) {
    SetNumber(Object, "confirm_until", Now + *Wanted.ConfirmWithin);
  }
  return JSONAnswer(Object);
}

TSAnswer TCChangeRoutes::PostUndo(TSCall const& Call) {
  TSAnswer Wrong;
  if (!IsEmptyObject(Call, Wrong)) {
    return Wrong;
  }
  std::string const Transaction = TransactionOf(Call);
  auto const Entries = Transaction.empty() ? std::vector<TSHistoryEntry>() : EntriesOf(Transaction);
  if (Entries.empty()) {
    return UnknownTransaction();
  }
  TSViewer const Viewer = ViewerOf(Call.Session.Role, m_Server.AskSecrets(m_Store.get_Names()));
  std::string const Reason = ReasonAgainstUndo(Entries, Viewer);
  if (!Reason.empty()) {
    return RefusedAnswer(std::vector<TSRefusedChange>{{std::nullopt, std::nullopt, Reason}});
  }
  TSDecision const Decision = m_Desk.Undo(Transaction);
  switch (Decision.Kind) {
    case TSDecision::TEKind::eBusy:
      return BusyAnswer();
    case TSDecision::TEKind::eStored:
      LogChange(Call, ("taken back " + Transaction).c_str(), Decision.Transaction);
      return StoredAnswer(Decision.Transaction);
    default:
      break;
  }
  auto const Changed = ChangedSince(Entries);
  return Changed.empty() ? RefusedAnswer(Decision) : ConflictAnswer(409, Changed, Viewer);
}

TSAnswer TCChangeRoutes::PostConfirm(TSCall const& Call) {
  TSAnswer Wrong;
  if (!IsEmptyObject(Call, Wrong)) {
    return Wrong;
  }
  std::string const Transaction = TransactionOf(Call);
  if (Transaction.empty()) {
    return UnknownTransaction();
  }
  TSAnswer Late = ProblemAnswer(410, "not_pending", "This transaction waits for nothing more.");
  if (m_Server.AskPending().count(Transaction) == 0) {
    return EntriesOf(Transaction).empty() ? UnknownTransaction() : Late;
  }
  TSDecision const Decision = m_Desk.Confirm(Transaction);
  switch (Decision.Kind) {
    case TSDecision::TEKind::eBusy:
      return BusyAnswer();
    case TSDecision::TEKind::eStored:
      LogChange(Call, "confirmed", Transaction);
      return StoredAnswer(Transaction);
    default:
      return Late;  // its time has ended in between
  }
}

std::vector<TSHistoryEntry> TCChangeRoutes::EntriesOf(std::string const& Transaction) {
  return m_Server.AskHistory(kMostCompared + 1, [&Transaction](TCControlRecord& Record) {
    Record.m_Transaction.set_AsString(Transaction);
  });
}

// The entries come newest first: the first one of a place is what the transaction has left there.
std::vector<TCPropertyKey> TCChangeRoutes::ChangedSince(
    std::vector<TSHistoryEntry> const& Entries) const {
  std::set<TCPropertyKey> Seen;
  std::vector<TCPropertyKey> Changed;
  for (TSHistoryEntry const& Entry : Entries) {
    std::string Reason;
    TCPropertyID const* const Field = TCValueRules::FindField(Entry.Place.Number, Reason);
    bool const IsKept = Entry.Data.has_value() || Entry.IsRemoval;
    if (Field == nullptr || Entry.IsSecret || !IsKept) {
      continue;
    }
    TCPropertyKey const Place(*Field, Accessories::TCRecordID(Entry.Place.Link), Entry.Place.MAC);
    if (Seen.insert(Place).second && m_Store.ReadAt({Place}).Values.at(0).Data != Entry.Data) {
      Changed.push_back(Place);
    }
  }
  return Changed;
}

TSAnswer TCChangeRoutes::StoredAnswer(std::string const& Transaction) const {
  TCJSON Object = {{"transaction", nullptr}};
  SetNumber(Object, "transaction", ReadNumber(Transaction));
  Object["revision"] = m_Store.ReadAt({}).Revision;
  return JSONAnswer(Object);
}

// As they are now.
TSAnswer TCChangeRoutes::ConflictAnswer(int Status, std::vector<TCPropertyKey> const& Places,
                                        TSViewer const& Viewer) const {
  TSStoreState const State = m_Store.ReadAt(Places);
  TSAnswer Answer =
      JSONAnswer({{"code", "changed_since"},
                  {"message", "Somebody else has changed this; nothing has changed now."},
                  {"revision", State.Revision},
                  {"conflicts", ValuesAsJSON(State.Values, Viewer)}});
  Answer.Status = Status;
  return Answer;
}

}  // namespace Property
