// SPDX-License-Identifier: MIT
// Compares journals, histories and stores.
#include "tests/fault/soak/SoakChecker.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>

namespace {

constexpr long kNever = std::numeric_limits<long>::max();

[[noreturn]] void Fail(std::string const& Text) {
  throw std::runtime_error(Text);
}

std::string ToText(TSSoakNotice const& Notice) {
  return ToText(Notice.Key) + " = " + ToText(Notice.Stamp);
}

std::string ToText(TSSoakEntry const& Entry) {
  return ToText(Entry.Value) + " (transaction " + std::to_string(Entry.Transaction) + ")";
}

bool IsOf(TSSoakChange const& Change, TSSoakNotice const& Value) {
  return MakeValue(Value.Key.Number, Value.Stamp) == MakeValue(Value.Key.Number, Change.Stamp);
}

}  // namespace

TSoakChecker::TSoakChecker(TSSoakRecord const& Record) : m_Record(Record) {
  Index();
}

void TSoakChecker::Index() {
  for (TSSoakLife const& Life : m_Record.Lives) {
    for (auto const& [Stream, Changes] : Life.Journal.Written) {
      m_Writers[Stream] = &Life;
      auto const Acknowledged = Life.Journal.Acknowledged.find(Stream);
      for (TSSoakChange const& Change : Changes) {
        m_Counts.Written += Change.Keys.size();
        if (Acknowledged != Life.Journal.Acknowledged.end() &&
            Change.Stamp.Counter <= Acknowledged->second) {
          m_Counts.Acknowledged += Change.Keys.size();
        }
      }
    }
  }
  long Place = 0;
  for (TSSoakEntry const& Entry : m_Record.History) {
    auto const& [Key, Stamp] = Entry.Value;
    m_Places[{Key, Stamp.Stream, Stamp.Counter}] = Place;
    m_Changes[Key].push_back(Place);
    ++Place;
  }
}

void TSoakChecker::Check() {
  CheckComplaints();
  CheckHistory();
  CheckFormer();
  CheckKept();
  m_Counts.Checked += m_Record.History.size();
  for (TSSoakLife const& Life : m_Record.Lives) {
    if (Life.Listens) {
      CheckListener(Life);
    }
  }
  CheckStores();
}

void TSoakChecker::CheckComplaints() const {
  for (TSSoakLife const& Life : m_Record.Lives) {
    if (!Life.Journal.Complaints.empty()) {
      Fail(Life.Name + " " + Life.Journal.Complaints.front());
    }
  }
}

// ---- the history ----

void TSoakChecker::CheckHistory() const {
  std::vector<TSSoakEntry> const& History = m_Record.History;
  std::map<int, int> Last;  // counters, by stream
  std::uint64_t Former = 0;
  for (std::size_t First = 0; First < History.size();) {
    std::uint64_t const Transaction = History[First].Transaction;
    if (Transaction <= Former) {
      Fail("reordered: transaction " + std::to_string(Transaction) + " comes after " +
           std::to_string(Former) + " in the history");
    }
    Former = Transaction;
    std::size_t Behind = First;
    while (Behind < History.size() && History[Behind].Transaction == Transaction) {
      ++Behind;
    }
    CheckTransaction(First, Behind, Last);
    First = Behind;
  }
  CheckEnds(Last);
}

void TSoakChecker::CheckTransaction(std::size_t First, std::size_t Behind,
                                    std::map<int, int>& Last) const {
  TSSoakEntry const& Entry = m_Record.History[First];
  TSSoakStamp const& Stamp = Entry.Value.Stamp;
  auto const Writer = m_Writers.find(Stamp.Stream);
  int& Counter = Last[Stamp.Stream];
  if (Writer == m_Writers.end()) {
    Fail("the history has what nobody wrote: " + ToText(Entry));
  }
  if (Stamp.Counter != Counter + 1) {
    Fail((Stamp.Counter <= Counter ? "doubled or reordered: " : "lost or reordered: ") +
         ToText(Entry) + " comes after " + std::to_string(Stamp.Stream) + "." +
         std::to_string(Counter) + " in the history");
  }
  ++Counter;
  auto const& Changes = Writer->second->Journal.Written.at(Stamp.Stream);
  if (Stamp.Counter > static_cast<int>(Changes.size())) {
    Fail("the history has what nobody wrote: " + ToText(Entry));
  }
  TSSoakChange const& Change = Changes[static_cast<std::size_t>(Stamp.Counter) - 1];
  std::set<TSSoakKey> Missing(Change.Keys.begin(), Change.Keys.end());
  for (std::size_t Place = First; Place < Behind; ++Place) {
    TSSoakNotice const& Value = m_Record.History[Place].Value;
    if (!IsOf(Change, Value) || Missing.erase(Value.Key) == 0) {
      Fail("torn: " + ToText(m_Record.History[Place]) + " is no part of the change " +
           ToText(Change.Stamp));
    }
  }
  if (!Missing.empty()) {
    Fail("torn: " + ToText(*Missing.begin()) + " is missing from the change " +
         ToText(Change.Stamp) + ", transaction " + std::to_string(Entry.Transaction));
  }
}

void TSoakChecker::CheckEnds(std::map<int, int> const& Last) const {
  for (auto const& [Stream, Life] : m_Writers) {
    auto const Found = Last.find(Stream);
    int const Stored = Found == Last.end() ? 0 : Found->second;
    auto const Acknowledged = Life->Journal.Acknowledged.find(Stream);
    int const Expected =
        Acknowledged == Life->Journal.Acknowledged.end() ? 0 : Acknowledged->second;
    if (Stored < Expected) {
      Fail("lost: " + Life->Name + " had " + std::to_string(Stream) + "." +
           std::to_string(Expected) + " acknowledged, and the history ends with ." +
           std::to_string(Stored));
    }
    auto const Written = Life->Journal.Written.at(Stream).size();
    if (!Life->Killed && Expected != static_cast<int>(Written)) {
      Fail(Life->Name + " ended with " + std::to_string(Expected) + " of " +
           std::to_string(Written) + " changes of stream " + std::to_string(Stream) +
           " acknowledged");
    }
  }
}

void TSoakChecker::CheckFormer() const {
  std::map<TSSoakKey, TSSoakStamp> Values;
  for (TSSoakEntry const& Entry : m_Record.History) {
    auto const Known = Values.find(Entry.Value.Key);
    std::optional<TSSoakStamp> const Former =
        Known == Values.end() ? std::nullopt : std::make_optional(Known->second);
    if (Entry.Former != Former) {
      Fail("the history says that " + ToText(Entry) + " replaced " +
           (Entry.Former ? ToText(*Entry.Former) : "nothing") + ", it replaced " +
           (Former ? ToText(*Former) : "nothing"));
    }
    Values[Entry.Value.Key] = Entry.Value.Stamp;
  }
  for (auto const& [Key, Stamp] : Values) {
    auto const Held = m_Record.Values.find(Key);
    if (Held == m_Record.Values.end() || !(Held->second == Stamp)) {
      Fail("the history ends with " + ToText(Key) + " = " + ToText(Stamp) +
           ", the database holds " +
           (Held == m_Record.Values.end() ? "nothing" : ToText(Held->second)));
    }
  }
}

// ---- what keepers have taken back, reset and confirmed ----

void TSoakChecker::CheckKept() const {
  std::map<int, std::string> Values;
  std::map<std::uint64_t, std::uint64_t> Undone;  // by what each transaction takes back
  for (TSSoakKeptEntry const& Entry : m_Record.KeptHistory) {
    std::string& Value = Values.try_emplace(Entry.Stream, kNoValue).first->second;
    std::string const What = "transaction " + std::to_string(Entry.Transaction) + " of keeper " +
                             std::to_string(Entry.Stream);
    if (Entry.From != Value) {
      Fail("the history says that " + What + " replaced " + Entry.From + ", it replaced " + Value);
    }
    if (Entry.Undoes != 0 && !Undone.try_emplace(Entry.Undoes, Entry.Transaction).second) {
      Fail("doubled: " + What + " takes back " + std::to_string(Entry.Undoes) +
           ", as another has before");
    }
    Value = Entry.To;
  }
  for (TSSoakLife const& Life : m_Record.Lives) {
    for (auto const& [Stream, Kept] : Life.Journal.Kept) {
      CheckKept(Life, Stream, Kept, Values.try_emplace(Stream, kNoValue).first->second);
    }
  }
}

void TSoakChecker::CheckKept(TSSoakLife const& Life, int Stream, TSSoakKept const& Kept,
                             std::string const& Last) const {
  auto const Found = m_Record.Kept.find(Stream);
  std::string const Held = Found == m_Record.Kept.end() ? kNoValue : Found->second;
  if (Held != Last) {
    Fail("the history of keeper " + std::to_string(Stream) + " ends with " + Last +
         ", the database holds " + Held);
  }
  bool const IsInStep = Kept.Before != Kept.After;
  if (IsInStep && !Life.Killed) {
    Fail(Life.Name + " ended in the middle of a step of keeper " + std::to_string(Stream));
  }
  if (Held != Kept.Before && Held != Kept.After) {
    Fail("lost: keeper " + std::to_string(Stream) + " of " + Life.Name + " has left " +
         Kept.Before + (IsInStep ? " or " + Kept.After : "") + ", the database holds " + Held);
  }
}

void TSoakChecker::CheckStores() const {
  for (TSSoakLife const& Life : m_Record.Lives) {
    if (Life.Killed || Life.Store == m_Record.Database) {
      continue;
    }
    std::vector<std::string> Differing;
    std::set_symmetric_difference(Life.Store.begin(), Life.Store.end(), m_Record.Database.begin(),
                                  m_Record.Database.end(), std::back_inserter(Differing));
    std::string Text = "the store of " + Life.Name + " differs from the database:";
    for (std::string const& Line : Differing) {
      Text +=
          (Life.Store.count(Line) != 0 ? "\n  store     " : "\n  database  ") + Line.substr(0, 100);
    }
    Fail(Text);
  }
}

// ---- listeners ----

void TSoakChecker::CheckListener(TSSoakLife const& Life) {
  std::vector<TSSoakNotice> const& Seen = Life.Journal.Seen;
  TSWalk Walk{Life, -1, {}, {}, 0, 0};
  if (!Seen.empty() && FindPlace(Seen[0]) >= 0) {
    Walk.Place = FindPlace(Seen[0]) - 1;  // it had loaded what was before
  }
  for (std::size_t Notice = 0; Notice < Seen.size();) {
    long const Next = Walk.Place + 1;
    if (FindPlace(Seen[Notice]) == Next) {
      Walk.Values[Seen[Notice].Key] = Next;
      Walk.Furthest[Seen[Notice].Key] = Next;
      Walk.Place = Next;
      ++Notice;
      continue;
    }
    Notice = m_Record.Relaxed ? JumpSomewhere(Walk, Notice) : Jump(Walk, Notice);
  }
  long const End = static_cast<long>(m_Record.History.size()) - 1;
  if (!Life.Killed && !Seen.empty() && Walk.Place != End) {
    Fail(Life.Name + " was not told of " +
         ToText(m_Record.History[static_cast<std::size_t>(Walk.Place + 1)]) +
         " and all that came after it");
  }
  m_Counts.Checked += Seen.size();
}

// Over a piece that was told of in sum: the changed values in the order of their keys. Returns the
// number of the notice behind them.
std::size_t TSoakChecker::Jump(TSWalk& Walk, std::size_t Notice) const {
  std::vector<TSSoakNotice> const& Seen = Walk.Life.Journal.Seen;
  std::string const Where =
      Walk.Life.Name + ", notification " + std::to_string(Notice) + ": " + ToText(Seen[Notice]) +
      " instead of " + (EndsTransaction(Walk.Place) ? "" : "the rest of a transaction, ") +
      (Walk.Place + 1 < static_cast<long>(m_Record.History.size())
           ? ToText(m_Record.History[static_cast<std::size_t>(Walk.Place) + 1])
           : "nothing");
  if (++Walk.Jumps > Walk.Life.Interruptions) {
    Fail(Where + ", after " + std::to_string(Walk.Life.Interruptions) + " interruptions");
  }
  TCPlaces Values = Walk.Values;
  std::size_t Behind = 0;
  std::size_t Next = Notice;
  for (; Next < Seen.size() && (Next == Notice || Seen[Next - 1].Key < Seen[Next].Key); ++Next) {
    long const Place = FindPlace(Seen[Next]);
    auto const Known = Values.find(Seen[Next].Key);
    if (Place < 0 || (Known != Values.end() && Place <= Known->second)) {
      break;
    }
    Values[Seen[Next].Key] = Place;
    long const Last = std::max(Walk.Place, LastPlace(Values));
    if (EndsTransaction(Last) && IsState(Values, Last)) {
      Behind = Next + 1;
      Walk.Values = Values;
      Walk.Place = Last;
    }
  }
  if (Behind == 0 && Next == Seen.size() && Walk.Life.Killed) {
    return Next;  // in the middle of the piece
  }
  if (Behind == 0) {
    Fail(Where + ", and the values never were what it was told");
  }
  return Behind;
}

// The same, after values that were taken back or stored in another order: whatever it was told,
// the values end as they were at one time.
std::size_t TSoakChecker::JumpSomewhere(TSWalk& Walk, std::size_t Notice) const {
  std::vector<TSSoakNotice> const& Seen = Walk.Life.Journal.Seen;
  std::string const Where =
      Walk.Life.Name + ", notification " + std::to_string(Notice) + ": " + ToText(Seen[Notice]);
  if (Walk.Life.Interruptions == 0) {
    Fail(Where + " is not the next, and nothing has interrupted it");
  }
  std::optional<long> Behind;  // of what it was told again, the first that was over
  for (std::size_t Next = Notice; Next < Seen.size(); ++Next) {
    TSSoakKey const& Key = Seen[Next].Key;
    long const Place = FindPlace(Seen[Next]);
    if (Place < 0 && !IsTakenBack(Seen[Next])) {
      Fail(Walk.Life.Name + " was told of " + ToText(Seen[Next]) +
           ", which is not in the history and was not taken back");
    }
    if (Place >= 0) {
      long& Furthest = Walk.Furthest.try_emplace(Key, -1).first->second;
      if (Place <= Furthest) {
        Behind = std::min(Behind.value_or(kNever), NextChange(Key, Place));
      }
      Furthest = Place;
    }
    Walk.Values[Key] = Place;
    long const Last = LastPlace(Walk.Values);
    if (IsState(Walk.Values, Last)) {
      if (Behind && !FallBack(Walk, *Behind)) {
        Fail(Where + ", and from there on it was told again what it knew, or what was over");
      }
      Walk.Place = Last;
      return Next + 1;
    }
  }
  if (!Walk.Life.Killed) {
    Fail(Where + ", and the values never were what it was told from there on");
  }
  return Seen.size();
}

// -1: not in the history.
long TSoakChecker::FindPlace(TSSoakNotice const& Notice) const {
  auto const Found = m_Places.find({Notice.Key, Notice.Stamp.Stream, Notice.Stamp.Counter});
  return Found == m_Places.end() ? -1 : Found->second;
}

// Its writer lived no longer than the server that took it, and never heard that it was stored.
bool TSoakChecker::IsTakenBack(TSSoakNotice const& Notice) const {
  auto const Writer = m_Writers.find(Notice.Stamp.Stream);
  if (Writer == m_Writers.end() || !Writer->second->Killed || m_Record.Deaths.empty()) {
    return false;
  }
  TSSoakJournal const& Journal = Writer->second->Journal;
  auto const Acknowledged = Journal.Acknowledged.find(Notice.Stamp.Stream);
  return Notice.Stamp.Counter <= static_cast<int>(Journal.Written.at(Notice.Stamp.Stream).size()) &&
         (Acknowledged == Journal.Acknowledged.end() ||
          Notice.Stamp.Counter > Acknowledged->second);
}

long TSoakChecker::LastPlace(TCPlaces const& Values) {
  long Last = -1;
  for (auto const& [Key, Place] : Values) {
    Last = std::max(Last, Place);
  }
  return Last;
}

bool TSoakChecker::IsState(TCPlaces const& Values, long Place) const {
  return std::all_of(Values.begin(), Values.end(), [&](auto const& Value) {
    auto const Changes = m_Changes.find(Value.first);
    if (Changes == m_Changes.end()) {
      return false;
    }
    auto const Behind = std::upper_bound(Changes->second.begin(), Changes->second.end(), Place);
    return Behind != Changes->second.begin() && *std::prev(Behind) == Value.second;
  });
}

bool TSoakChecker::EndsTransaction(long Place) const {
  auto const Next = static_cast<std::size_t>(Place + 1);
  return Place < 0 || Next >= m_Record.History.size() ||
         m_Record.History[Next].Transaction != m_Record.History[Next - 1].Transaction;
}

long TSoakChecker::NextChange(TSSoakKey const& Key, long Place) const {
  std::vector<long> const& Changes = m_Changes.at(Key);
  auto const Next = std::upper_bound(Changes.begin(), Changes.end(), Place);
  return Next == Changes.end() ? kNever : *Next;
}

// Whether a death of the server explains that values were told again of which the first was over at
// `Behind`: what was stored when it died must not go so far.
bool TSoakChecker::FallBack(TSWalk& Walk, long Behind) const {
  for (; Walk.Death < m_Record.Deaths.size(); ++Walk.Death) {
    auto const NotStored = std::upper_bound(
        m_Record.History.begin(), m_Record.History.end(), m_Record.Deaths[Walk.Death],
        [](std::uint64_t Transaction, TSSoakEntry const& Entry) {
          return Transaction < Entry.Transaction;
        });
    if (NotStored - m_Record.History.begin() <= Behind) {
      return true;
    }
  }
  return false;
}
