// SPDX-License-Identifier: MIT
// A queue of entries, and for each place the newest of them.
#include "PropertyServer/TCUnmovedValues.h"

#include <sys/random.h>

#include <algorithm>
#include <limits>
#include <tuple>

namespace Property {
namespace {

constexpr std::size_t kOverhead =
    256;  // of an entry: its move may change a page, which the log has

// Without the system's random numbers, the place in memory has to do.
std::uint64_t DrawSeed(void const* Object) {
  std::uint64_t Seed = 0;
  if (getrandom(&Seed, sizeof(Seed), GRND_NONBLOCK) != ssize_t{sizeof(Seed)}) {
    Seed = reinterpret_cast<std::uintptr_t>(Object);
  }
  return Seed;
}

std::uint64_t Mix(std::uint64_t Hash, std::uint64_t Part) {
  constexpr std::uint64_t kFactor = 0x9e3779b97f4a7c15U;
  Hash = (Hash ^ Part) * kFactor;
  return Hash ^ Hash >> 32U;
}

}  // namespace

// Whoever changes values chooses their places, and must not be able to give many of them one hash.
std::size_t TCUnmovedValues::TSHash::operator()(TCPropertyPlace const& Place) const noexcept {
  std::uint64_t Hash = Mix(Seed, static_cast<std::uint64_t>(std::get<int>(Place)));
  Hash = Mix(Hash + Seed, std::get<Accessories::TCRecordID>(Place).get_Bits());
  return static_cast<std::size_t>(Mix(Hash + Seed, std::get<TCMACAddress>(Place).get_Bits()));
}

TCUnmovedValues::TCUnmovedValues() : m_Places(0, TSHash{DrawSeed(this)}) {}

void TCUnmovedValues::Add(long long Entry, TCPropertyPlace const& Place, std::size_t Text) {
  TSChange& Change = m_Changes.emplace_back();
  TCPlaces::value_type& Known = *m_Places.try_emplace(Place).first;
  Change.Place = &Known;
  Change.Former = Known.second.Value;
  m_Entries.push_back({Entry, (m_Entries.empty() ? m_Begin : m_Entries.back().End) + Text, &Known});
  Change.IsAdded = true;
  Known.second.Value = Entry;
  ++Known.second.Entries;
}

long long TCUnmovedValues::Overtake(TCPropertyPlace const& Place) {
  auto const Known = m_Places.find(Place);
  if (Known == m_Places.end() || Known->second.Value == 0) {
    return 0;
  }
  long long const Former = Known->second.Value;
  m_Changes.push_back({&*Known, Former, false});
  Known->second.Value = 0;
  return Former;
}

long long TCUnmovedValues::Find(TCPropertyPlace const& Place) const {
  auto const Known = m_Places.find(Place);
  return Known != m_Places.end() ? Known->second.Value : 0;
}

long long TCUnmovedValues::FirstBeyond(long long Entry) const {
  auto const First = Beyond(Entry);
  return First != m_Entries.end() ? First->Entry : std::numeric_limits<long long>::max();
}

std::vector<long long> TCUnmovedValues::Values(long long From, long long To) const {
  std::vector<long long> Found;
  for (auto Next = Beyond(From); Next != m_Entries.end() && Next->Entry <= To; ++Next) {
    if (Next->Place->second.Value == Next->Entry) {
      Found.push_back(Next->Entry);
    }
  }
  return Found;
}

std::size_t TCUnmovedValues::Measure(long long From, long long To) const {
  return From < To ? static_cast<std::size_t>(EndAt(To) - EndAt(From)) +
                         static_cast<std::size_t>(To - From) * kOverhead
                   : 0;
}

long long TCUnmovedValues::LastWithin(std::size_t Bytes, long long From, long long To) const {
  long long Within = std::min(From + 1, To);
  long long Without = To + 1;
  while (Without - Within > 1) {
    long long const Middle = Within + (Without - Within) / 2;
    if (Measure(From, Middle) <= Bytes) {
      Within = Middle;
    } else {
      Without = Middle;
    }
  }
  return Within;
}

void TCUnmovedValues::Commit(long long Moved) noexcept {
  m_Changes.clear();
  while (!m_Entries.empty() && m_Entries.front().Entry <= Moved) {
    m_Begin = m_Entries.front().End;
    TCPlaces::value_type& Place = *m_Entries.front().Place;
    m_Entries.pop_front();
    --Place.second.Entries;
    Leave(Place);
  }
}

void TCUnmovedValues::Undo() noexcept {
  for (; !m_Changes.empty(); m_Changes.pop_back()) {
    TSChange const& Change = m_Changes.back();
    if (Change.Place == nullptr) {
      continue;  // there was no memory for it
    }
    if (Change.IsAdded) {
      m_Entries.pop_back();
      --Change.Place->second.Entries;
    }
    Change.Place->second.Value = Change.Former;
    Leave(*Change.Place);
  }
}

// A place without entries has nothing to say.
void TCUnmovedValues::Leave(TCPlaces::value_type& Place) noexcept {
  if (Place.second.Entries == 0) {
    m_Places.erase(m_Places.find(Place.first));
  }
}

std::uint64_t TCUnmovedValues::EndAt(long long Entry) const {
  if (m_Entries.empty() || Entry < m_Entries.front().Entry) {
    return m_Begin;
  }
  return Entry >= m_Entries.back().Entry ? m_Entries.back().End : (Beyond(Entry) - 1)->End;
}

std::deque<TCUnmovedValues::TSEntry>::const_iterator TCUnmovedValues::Beyond(
    long long Entry) const {
  return std::upper_bound(
      m_Entries.begin(), m_Entries.end(), Entry,
      [](long long Number, TSEntry const& Each) { return Number < Each.Entry; });
}

}  // namespace Property
