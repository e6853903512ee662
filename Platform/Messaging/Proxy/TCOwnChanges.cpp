// SPDX-License-Identifier: MIT
// Counts the changes on their way, key by key.
#include "Platform/Messaging/Proxy/TCOwnChanges.h"

#include <algorithm>
#include <utility>

#include "Platform/Messaging/Wire/Frame.h"

namespace {

std::string Hexadecimal(std::string const& Bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string Text;
  for (char const Byte : Bytes) {
    Text.push_back(kDigits[static_cast<unsigned char>(Byte) >> 4U]);
    Text.push_back(kDigits[static_cast<unsigned char>(Byte) & 15U]);
  }
  return Text;
}

}  // namespace

TCOwnChanges::TCOwnChanges(TCOwnChanges const& Other) {
  TCMutexLock const Lock(Other.m_Mutex);
  m_LastMark = Other.m_LastMark;
  m_OnWay = Other.m_OnWay;
  auto const Here = [](TSStream& Stream, TCPlaces const& Places) {
    TCPlaces Result;
    for (auto const& Place : Places) {
      Result.push_back(Stream.Keys.find(Place->first));
    }
    return Result;
  };
  for (TSStream const& Stream : Other.m_Streams) {
    m_Streams.push_back({Stream.Mailbox, Stream.MailClass, Stream.Keys, {}, {}, Stream.UpTo});
    TSStream& Copy = m_Streams.back();
    for (auto const& [Number, Places] : Stream.Mails) {
      Copy.Mails.emplace(Number, Here(Copy, Places));
    }
    for (auto const& [Number, Places] : Stream.Come) {
      Copy.Come.emplace(Number, Here(Copy, Places));
    }
  }
  for (TSMarked const& Marked : Other.m_Marked) {
    m_Marked.push_back({Marked.Mark, Marked.Stream, Here(m_Streams[Marked.Stream], Marked.Places)});
  }
}

TCOwnChanges::TCStream TCOwnChanges::StreamOf(std::string const& Mailbox,
                                              TCNorvMailClassID const& MailClass) {
  TCMutexLock const Lock(m_Mutex);
  TCStream Stream = 0;
  while (Stream < m_Streams.size() &&
         !(m_Streams[Stream].MailClass == MailClass && m_Streams[Stream].Mailbox == Mailbox)) {
    ++Stream;
  }
  if (Stream == m_Streams.size()) {
    Wire::RequireNames(Mailbox, MailClass);
    m_Streams.push_back({Mailbox, MailClass, {}, {}, {}, 0});
  }
  return Stream;
}

// ---- changes that are made ----

// What can fail comes first.
TCOwnChanges::TCMark TCOwnChanges::Mark(TCStream Stream, std::vector<std::string> Keys) {
  TCMutexLock const Lock(m_Mutex);
  TSMarked Marked{m_LastMark + 1, Stream, {}};
  Marked.Places.reserve(Keys.size());
  for (std::string& Key : Keys) {
    Marked.Places.push_back(m_Streams[Stream].Keys.try_emplace(std::move(Key)).first);
  }
  m_Marked.push_back(std::move(Marked));
  for (auto const& Place : m_Marked.back().Places) {
    BeginChange(Place->second);
  }
  return ++m_LastMark;
}

void TCOwnChanges::Unmark(TCMark Mark) {
  TCMutexLock const Lock(m_Mutex);
  auto const Marked = FindMarked(Mark);
  for (auto const& Place : Marked->Places) {
    EndChange(Place->second);
    EraseIfUnused(m_Streams[Marked->Stream], Place);
  }
  m_Marked.erase(Marked);
}

void TCOwnChanges::Sent(TCMark Mark, std::uint64_t Number) {
  TCMutexLock const Lock(m_Mutex);
  auto const Marked = FindMarked(Mark);
  auto& Mails = m_Streams[Marked->Stream].Mails;
  TCPlaces& Places = Mails.try_emplace(Mails.end(), Number)->second;
  Places = std::move(Marked->Places);
  for (auto const& Place : Places) {
    TSKey& Key = Place->second;
    Key.Inverted = Key.LastSent > Mark;
    Key.LastSent = std::max(Key.LastSent, Mark);
  }
  m_Marked.erase(Marked);
}

// It is there: who has it gives it back once.
std::vector<TCOwnChanges::TSMarked>::iterator TCOwnChanges::FindMarked(TCMark Mark) {
  return std::find_if(m_Marked.begin(), m_Marked.end(),
                      [Mark](TSMarked const& Marked) { return Marked.Mark == Mark; });
}

bool TCOwnChanges::IsOnWay(TCStream Stream, std::string const& Key) const {
  TCMutexLock const Lock(m_Mutex);
  return Find(Stream, Key) != nullptr;
}

bool TCOwnChanges::IsHeld(TCStream Stream, std::string const& Key) const {
  TCMutexLock const Lock(m_Mutex);
  TSKey const* const Known = Find(Stream, Key);
  return Known != nullptr && !Known->GivenUp;
}

// Null when no change of it is on its way.
TCOwnChanges::TSKey const* TCOwnChanges::Find(TCStream Stream, std::string const& Key) const {
  TCKeys const& Keys = m_Streams[Stream].Keys;
  auto const Place = Keys.find(Key);
  return Place != Keys.end() && Place->second.Changes != 0 ? &Place->second : nullptr;
}

std::vector<std::string> TCOwnChanges::HeldKeys(TCStream Stream) const {
  TCMutexLock const Lock(m_Mutex);
  std::vector<std::string> Keys;
  for (auto const& [Text, Key] : m_Streams[Stream].Keys) {
    if (Key.Changes != 0 && !Key.GivenUp) {
      Keys.push_back(Text);
    }
  }
  return Keys;
}

void TCOwnChanges::GiveUp(TCStream Stream, std::vector<std::string> const& Keys) {
  TCMutexLock const Lock(m_Mutex);
  TCKeys& Known = m_Streams[Stream].Keys;
  for (std::string const& Key : Keys) {
    auto const Place = Known.find(Key);
    if (Place != Known.end() && Place->second.Changes != 0) {
      Place->second.GivenUp = true;
    }
  }
}

bool TCOwnChanges::IsEmpty() const {
  TCMutexLock const Lock(m_Mutex);
  return m_OnWay == 0;
}

// ---- the end of their way ----

bool TCOwnChanges::EndOwn(TCStream Stream, std::uint64_t Number, std::set<std::string>& Held) {
  TCMutexLock const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  auto const Mail = Known.Mails.find(Number);
  if (Mail == Known.Mails.end()) {
    return true;  // its way has ended before, and something else may have come since
  }
  bool const Applied = IsAnyToBeApplied(Mail->second);
  for (auto const& Place : Mail->second) {
    if (Applied && !IsToBeApplied(Place->second)) {
      Held.insert(Place->first);
    }
  }
  MoveToCome(Known, Mail);
  return Applied;
}

bool TCOwnChanges::EndOwnSilently(TCStream Stream, std::uint64_t Number) {
  TCMutexLock const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  auto const Mail = Known.Mails.find(Number);
  if (Mail == Known.Mails.end() || IsAnyToBeApplied(Mail->second)) {
    return false;
  }
  MoveToCome(Known, Mail);
  return true;
}

bool TCOwnChanges::IsAnyToBeApplied(TCPlaces const& Places) {
  return std::any_of(Places.begin(), Places.end(),
                     [](auto const& Place) { return IsToBeApplied(Place->second); });
}

void TCOwnChanges::BeginChange(TSKey& Key) {
  ++m_OnWay;
  ++Key.Changes;
  Key.GivenUp = false;
}

void TCOwnChanges::EndChange(TSKey& Key) {
  --m_OnWay;
  if (--Key.Changes == 0) {
    Key.LastSent = 0;
    Key.Inverted = false;
    Key.GivenUp = false;
  }
}

void TCOwnChanges::EraseIfUnused(TSStream& Stream, TCKeys::iterator Place) {
  if (Place->second.Changes == 0 && Place->second.Copies == 0) {
    Stream.Keys.erase(Place);
  }
}

void TCOwnChanges::MoveToCome(TSStream& Stream, std::map<std::uint64_t, TCPlaces>::iterator Mail) {
  for (auto const& Place : Mail->second) {
    EndChange(Place->second);
    ++Place->second.Copies;
  }
  Stream.Come.insert(Stream.Mails.extract(Mail));
}

// All up to `Number`.
void TCOwnChanges::MoveToCome(TSStream& Stream, std::uint64_t Number) {
  while (!Stream.Mails.empty() && Stream.Mails.begin()->first <= Number) {
    MoveToCome(Stream, Stream.Mails.begin());
  }
}

// The process may hold something that came after the copy.
void TCOwnChanges::MoveBack(TSStream& Stream, std::map<std::uint64_t, TCPlaces>::iterator Mail) {
  for (auto const& Place : Mail->second) {
    --Place->second.Copies;
    ++Place->second.Changes;
    ++m_OnWay;
    Place->second.GivenUp = true;
  }
  Stream.Mails.insert(Stream.Come.extract(Mail));
}

void TCOwnChanges::CatchUp(TCStream Stream, std::uint64_t Number) {
  TCMutexLock const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  Known.UpTo = Number;
  MoveToCome(Known, Number);
  for (auto Lost = Known.Come.upper_bound(Number); Lost != Known.Come.end();
       Lost = Known.Come.upper_bound(Number)) {
    MoveBack(Known, Lost);
  }
}

// ---- changes that the service has decided on ----

std::vector<std::string> TCOwnChanges::TakeDecided(TCStream Stream, std::uint64_t Number,
                                                   std::vector<std::string> const& Keys,
                                                   bool InDelivery) {
  TCMutexLock const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  std::vector<std::string> Taken;
  bool const HasCome = Known.UpTo >= Number;
  if (HasCome && !InDelivery) {
    return Taken;
  }
  for (std::string const& Key : Keys) {
    if (!IsChangedAfter(Stream, Number, Key)) {
      Taken.push_back(Key);
    }
  }
  if (HasCome || Taken.empty()) {
    return Taken;
  }
  TCPlaces Places;
  Places.reserve(Taken.size());
  ++m_LastMark;
  for (std::string const& Key : Taken) {
    auto const Place = Known.Keys.try_emplace(Key).first;
    BeginChange(Place->second);
    Place->second.LastSent = m_LastMark;
    Place->second.Inverted = false;
    Places.push_back(Place);
  }
  Known.Mails[Number] = std::move(Places);
  return Taken;
}

// Whether a change of `Key` is on its way that is not in a mail up to `Number`.
bool TCOwnChanges::IsChangedAfter(TCStream Stream, std::uint64_t Number,
                                  std::string const& Key) const {
  auto const IsOfKey = [&Key](TCPlaces const& Places) {
    return std::any_of(Places.begin(), Places.end(),
                       [&Key](auto const& Place) { return Place->first == Key; });
  };
  auto const& Mails = m_Streams[Stream].Mails;
  for (auto Mail = Mails.upper_bound(Number); Mail != Mails.end(); ++Mail) {
    if (IsOfKey(Mail->second)) {
      return true;
    }
  }
  return std::any_of(m_Marked.begin(), m_Marked.end(), [&](auto const& Marked) {
    return Marked.Stream == Stream && IsOfKey(Marked.Places);
  });
}

void TCOwnChanges::Acknowledge(TCStream Stream, std::uint64_t Number) {
  TCMutexLock const Lock(m_Mutex);
  TSStream& Known = m_Streams[Stream];
  MoveToCome(Known, Number);
  ForgetCome(Known, Number);
}

bool TCOwnChanges::HasUpTo(TCStream Stream, std::uint64_t Number) const {
  TCMutexLock const Lock(m_Mutex);
  auto const Reaches = [Number](auto const& Mails) {
    return !Mails.empty() && Mails.begin()->first <= Number;
  };
  TSStream const& Known = m_Streams[Stream];
  return Reaches(Known.Mails) || Reaches(Known.Come);
}

void TCOwnChanges::ForgetCome(TSStream& Stream, std::uint64_t Number) {
  while (!Stream.Come.empty() && Stream.Come.begin()->first <= Number) {
    for (auto const& Place : Stream.Come.begin()->second) {
      --Place->second.Copies;
      EraseIfUnused(Stream, Place);
    }
    Stream.Come.erase(Stream.Come.begin());
  }
}

// Of marks only the order matters, and only beside those that are still to be sent.
std::string TCOwnChanges::get_AsText() const {
  TCMutexLock const Lock(m_Mutex);
  std::string Text;
  for (TSStream const& Stream : m_Streams) {
    Text += Stream.Mailbox + ' ' + Stream.MailClass.get_Name() + ':';
    for (auto const& [Bytes, Key] : Stream.Keys) {
      auto const Later = std::count_if(
          m_Marked.begin(), m_Marked.end(),
          [Last = Key.LastSent](TSMarked const& Marked) { return Marked.Mark >= Last; });
      Text += ' ' + Hexadecimal(Bytes) + 'x' + std::to_string(Key.Changes) + '+' +
              std::to_string(Key.Copies) + '@' + std::to_string(Later) + (Key.Inverted ? "i" : "") +
              (Key.GivenUp ? "g" : "");
    }
    for (auto const* const Mails : {&Stream.Mails, &Stream.Come}) {
      Text += Mails == &Stream.Mails ? " on their way" : " come";
      for (auto const& [Number, Places] : *Mails) {
        Text += ' ' + std::to_string(Number) + ':';
        for (auto const& Place : Places) {
          Text += ' ' + Hexadecimal(Place->first);
        }
      }
    }
  }
  return Text;
}
