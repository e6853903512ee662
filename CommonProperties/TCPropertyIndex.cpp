// SPDX-License-Identifier: MIT
// How the table of the store's values fills, grows and empties.
#include "CommonProperties/TCPropertyIndex.h"

#include <sys/random.h>

#include <algorithm>

namespace Property {

namespace {

// Without the system's random numbers, the place of the process in memory has to do.
std::uint64_t SecretOf(void const* Address) noexcept {
  std::uint64_t Secret = 0;
  if (getrandom(&Secret, sizeof(Secret), GRND_NONBLOCK) != ssize_t{sizeof(Secret)}) {
    Secret = reinterpret_cast<std::uintptr_t>(Address);
  }
  return Secret;
}

}  // namespace

TCPropertyIndex::TCPropertyIndex(TValues& Values) : TCPropertyIndex(Values, SecretOf(&Values)) {}

TCPropertyIndex::TCPropertyIndex(TValues& Values, std::uint64_t Seed)
    : m_Values(Values), m_Buckets(1), m_Seed(Seed) {}

void TCPropertyIndex::Insert(TCPropertyKey const& Key, TCCommonPropertyObject* Value) {
  MakeRoom();
  Enter(m_Values.emplace_hint(m_Values.end(), Key, Value));
}

void TCPropertyIndex::Remove(TCPropertyKey const& Key) noexcept {
  if (m_Size != m_Values.size()) {
    m_Values.erase(Key);
    m_Size = kUnknown;
    return;
  }
  std::uint64_t const Hash = HashOf(Key);
  if (TPlace const* const Found = FindPlace(Key.get_ID(), Key.get_Link(), Key.get_MAC(), Hash)) {
    TPlace const Place = *Found;
    Forget(Found, Hash);
    m_Values.erase(Place);
  }
}

void TCPropertyIndex::Clear() noexcept {
  m_Values.clear();
  std::fill(m_Buckets.begin(), m_Buckets.end(), TSBucket());
  m_Size = 0;
}

// Behind the bucket where the key falls.
TCPropertyIndex::TPlace const* TCPropertyIndex::FindFurther(TCPropertyID const& ID,
                                                            Accessories::TCRecordID const& Link,
                                                            TCMACAddress const& MAC,
                                                            std::uint64_t Hash) const noexcept {
  std::size_t Number = BucketOf(Hash);
  for (std::size_t Passed = 0; Passed < m_Mask; ++Passed) {
    Number += StepOf(Hash);
    TSBucket const& Bucket = m_Buckets[Number & m_Mask];
    TPlace const* const Place = FindIn(Bucket, ID, Link, MAC, TagOf(Hash));
    if (Place != nullptr || Bucket.m_Passed == 0) {
      return Place;
    }
  }
  return nullptr;
}

TCCommonPropertyObject* TCPropertyIndex::FindInMap(TCPropertyID const& ID,
                                                   Accessories::TCRecordID const& Link,
                                                   TCMACAddress const& MAC) const noexcept {
  auto const Place = m_Values.find(TCPropertyKey(ID, Link, MAC));
  return Place != m_Values.end() ? Place->second : nullptr;
}

// The map is walked, not the old buckets: its values often lie in memory in the order of their
// keys.
void TCPropertyIndex::MakeRoom() {
  std::size_t Buckets = m_Buckets.size();
  while (m_Values.size() >= MostKeys(Buckets)) {
    Buckets *= 2;
  }
  if (Buckets == m_Buckets.size() && m_Size == m_Values.size()) {
    return;
  }
  std::vector<TSBucket> Larger(Buckets);
  m_Buckets.swap(Larger);
  m_Mask = Buckets - 1;
  m_Size = 0;
  for (TPlace Place = m_Values.begin(); Place != m_Values.end(); ++Place) {
    Enter(Place);
  }
}

void TCPropertyIndex::Enter(TPlace Place) noexcept {
  std::uint64_t const Hash = HashOf(Place->first);
  std::size_t Number = BucketOf(Hash);
  for (;;) {
    TSBucket& Bucket = m_Buckets[Number & m_Mask];
    auto* const Tag = std::find(std::begin(Bucket.m_Tags), std::end(Bucket.m_Tags), 0);
    if (Tag != std::end(Bucket.m_Tags)) {
      *Tag = TagOf(Hash);
      Bucket.m_Places[Tag - Bucket.m_Tags] = Place;
      ++m_Size;
      return;
    }
    if (Bucket.m_Passed != kMany) {
      ++Bucket.m_Passed;
    }
    Number += StepOf(Hash);
  }
}

void TCPropertyIndex::Forget(TPlace const* Place, std::uint64_t Hash) noexcept {
  std::size_t Number = BucketOf(Hash);
  for (;;) {
    TSBucket& Bucket = m_Buckets[Number & m_Mask];
    for (std::size_t Part = 0; Part < kPlaces; ++Part) {
      if (&Bucket.m_Places[Part] == Place) {
        Bucket.m_Tags[Part] = 0;
        --m_Size;
        return;
      }
    }
    if (Bucket.m_Passed != kMany) {
      --Bucket.m_Passed;
    }
    Number += StepOf(Hash);
  }
}

}  // namespace Property
