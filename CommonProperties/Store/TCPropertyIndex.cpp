// SPDX-License-Identifier: MIT
// How the table of the store's values fills, grows and empties.
#include "CommonProperties/Store/TCPropertyIndex.h"

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
  m_Values.emplace_hint(m_Values.end(), Key, Value);
  Enter(Key, Value);
}

void TCPropertyIndex::Remove(TCPropertyKey const& Key) noexcept {
  auto const Place = m_Values.find(Key);
  if (Place == m_Values.end()) {
    return;
  }
  if (m_Size == m_Values.size()) {
    Forget(Key, Place->second);
  } else {
    m_Size = kUnknown;
  }
  m_Values.erase(Place);
}

void TCPropertyIndex::Clear() noexcept {
  m_Values.clear();
  std::fill(m_Buckets.begin(), m_Buckets.end(), TSBucket());
  m_Size = 0;
}

// Begins with the first bucket again, for the values that say that they are others.
TCCommonPropertyObject* TCPropertyIndex::FindFurther(TCPropertyID const& ID,
                                                     Accessories::TCRecordID const& Link,
                                                     TCMACAddress const& MAC,
                                                     std::uint64_t Hash) const noexcept {
  std::size_t Number = BucketOf(Hash);
  for (std::size_t Passed = 0; Passed <= m_Mask; ++Passed) {
    TSBucket const& Bucket = m_Buckets[Number & m_Mask];
    for (std::size_t Place = 0; Place < kPlaces; ++Place) {
      if (Bucket.m_Tags[Place] != TagOf(Hash)) {
        continue;
      }
      return Is(*Bucket.m_Values[Place], ID, Link, MAC) ? Bucket.m_Values[Place]
                                                        : FindInMap(ID, Link, MAC);
    }
    if (Bucket.m_Passed == 0) {
      return nullptr;
    }
    Number += StepOf(Hash);
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
  for (auto const& [Key, Value] : m_Values) {
    Enter(Key, Value);
  }
}

void TCPropertyIndex::Enter(TCPropertyKey const& Key, TCCommonPropertyObject* Value) noexcept {
  std::uint64_t const Hash = HashOf(Key);
  std::size_t Number = BucketOf(Hash);
  for (;;) {
    TSBucket& Bucket = m_Buckets[Number & m_Mask];
    for (std::size_t Place = 0; Place < kPlaces; ++Place) {
      if (Bucket.m_Tags[Place] == 0) {
        Bucket.m_Tags[Place] = TagOf(Hash);
        Bucket.m_Values[Place] = Value;
        ++m_Size;
        return;
      }
    }
    if (Bucket.m_Passed != kMany) {
      ++Bucket.m_Passed;
    }
    Number += StepOf(Hash);
  }
}

void TCPropertyIndex::Forget(TCPropertyKey const& Key,
                             TCCommonPropertyObject const* Value) noexcept {
  std::uint64_t const Hash = HashOf(Key);
  std::size_t Number = BucketOf(Hash);
  for (std::size_t Passed = 0; Passed <= m_Mask; ++Passed) {
    TSBucket& Bucket = m_Buckets[Number & m_Mask];
    for (std::size_t Place = 0; Place < kPlaces; ++Place) {
      if (Bucket.m_Tags[Place] != 0 && Bucket.m_Values[Place] == Value) {
        Bucket.m_Tags[Place] = 0;
        --m_Size;
        return;
      }
    }
    if (Bucket.m_Passed != kMany) {
      --Bucket.m_Passed;
    }
    Number += StepOf(Hash);
  }
  m_Size = kUnknown;  // somebody has put another value under the key
}

}  // namespace Property
