// SPDX-License-Identifier: MIT
// Finds the store's values in constant time, however many there are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <vector>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyKey.h"

namespace Property {

/// A hash table of the values in an ordered map: whatever enters the map or leaves it does so here,
/// so that the two do not differ.
///
/// A bucket is a line of the processor's cache: seven values, and of each a byte of its key's hash,
/// so that hardly ever another one's is looked at. What does not fit into its bucket goes to a
/// later one, and is counted in those that it has passed. A value knows its own definition, record
/// and device: the map's node is not looked at.
///
/// Refers to the map, which has to live longer, and owns neither it nor the values. The map is
/// searched itself where the table alone cannot tell: as long as it has another number of values
/// than the table, because somebody has changed it alone, and where a value with the right byte
/// says that it is another one. Not synchronised.
class TCPropertyIndex {
 public:
  using TValues = std::map<TCPropertyKey, TCCommonPropertyObject*>;

  /// For an empty map. Keys that others choose to fall into one bucket do not: where a key falls is
  /// the process's secret.
  explicit TCPropertyIndex(TValues& Values);
  /// The same with a `Seed` that decides where keys fall.
  TCPropertyIndex(TValues& Values, std::uint64_t Seed);
  TCPropertyIndex(TCPropertyIndex const&) = delete;
  TCPropertyIndex& operator=(TCPropertyIndex const&) = delete;

  /// Enters `Value` under its key, which is missing. Ascending keys are entered fastest. When
  /// memory runs out, map and table are unchanged.
  void Insert(TCPropertyKey const& Key, TCCommonPropertyObject* Value);
  /// Removes the key, and nothing when it is missing.
  void Remove(TCPropertyKey const& Key) noexcept;
  /// Removes all keys. Keeps the memory for those that come next.
  void Clear() noexcept;

  /// Null when the key is missing.
  TCCommonPropertyObject* Find(TCPropertyKey const& Key) const noexcept {
    return Find(Key.get_ID(), Key.get_Link(), Key.get_MAC());
  }
  /// The same for the parts of a key, which is not made then.
  TCCommonPropertyObject* Find(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                               TCMACAddress const& MAC) const noexcept {
    if (m_Size != m_Values.size()) {
      return FindInMap(ID, Link, MAC);
    }
    std::uint64_t const Hash = HashOf(ID, Link, MAC);
    TSBucket const& Bucket = m_Buckets[BucketOf(Hash) & m_Mask];
    for (std::size_t Place = 0; Place < kPlaces; ++Place) {
      if (Bucket.m_Tags[Place] == TagOf(Hash) && Is(*Bucket.m_Values[Place], ID, Link, MAC)) {
        return Bucket.m_Values[Place];
      }
    }
    return FindFurther(ID, Link, MAC, Hash);
  }

 private:
  static constexpr std::size_t kPlaces = sizeof(void*) == 8 ? 7 : 6;

  struct alignas(8 * sizeof(void*)) TSBucket {
    std::uint8_t m_Tags[kPlaces] = {};  // 0 where there is no value
    std::uint8_t m_Passed = 0;          // values that are in a later bucket; kMany stays
    TCCommonPropertyObject* m_Values[kPlaces] = {};
  };
  static constexpr std::uint8_t kMany = 255;
  static constexpr std::size_t kUnknown = std::numeric_limits<std::size_t>::max();
  static_assert(sizeof(TSBucket) == 8 * sizeof(void*), "a bucket is a line of the cache");

  // A number and a record that are in use do not meet in the first line's bits.
  std::uint64_t HashOf(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                       TCMACAddress const& MAC) const noexcept {
    auto const Number = static_cast<std::uint32_t>(ID.get_Number());
    std::uint64_t Hash = std::uint64_t{Number} << 32U ^ Link.get_Bits() ^ m_Seed;
    Hash *= kFirstFactor;
    return (Hash ^ Hash >> 32U ^ MAC.get_Bits()) * kSecondFactor;
  }
  std::uint64_t HashOf(TCPropertyKey const& Key) const noexcept {
    return HashOf(Key.get_ID(), Key.get_Link(), Key.get_MAC());
  }
  // The upper half of a hash is the better one.
  static std::size_t BucketOf(std::uint64_t Hash) noexcept {
    return static_cast<std::size_t>(Hash >> 32U);
  }
  // Never 0.
  static std::uint8_t TagOf(std::uint64_t Hash) noexcept {
    return static_cast<std::uint8_t>(Hash >> 57U | 0x80U);
  }
  // Odd, so that all buckets are reached.
  static std::size_t StepOf(std::uint64_t Hash) noexcept {
    return static_cast<std::size_t>(Hash >> 50U) | 1U;
  }

  static bool Is(TCCommonPropertyObject const& Value, TCPropertyID const& ID,
                 Accessories::TCRecordID const& Link, TCMACAddress const& MAC) noexcept {
    return Value.get_Link() == Link && Value.get_MAC() == MAC &&
           (&Value.get_ID() == &ID || Value.get_ID().get_Number() == ID.get_Number());
  }
  /// When the value is not in the bucket where its key falls.
  TCCommonPropertyObject* FindFurther(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                                      TCMACAddress const& MAC, std::uint64_t Hash) const noexcept;
  [[gnu::cold]] TCCommonPropertyObject* FindInMap(TCPropertyID const& ID,
                                                  Accessories::TCRecordID const& Link,
                                                  TCMACAddress const& MAC) const noexcept;
  // Seven of eight places.
  static std::size_t MostKeys(std::size_t Buckets) noexcept {
    return Buckets * kPlaces - Buckets * kPlaces / 8;
  }
  void MakeRoom();
  void Enter(TCPropertyKey const& Key, TCCommonPropertyObject* Value) noexcept;
  void Forget(TCPropertyKey const& Key, TCCommonPropertyObject const* Value) noexcept;

  static constexpr std::uint64_t kFirstFactor = 0x9E3779B97F4A7C15;
  static constexpr std::uint64_t kSecondFactor = 0xD6E8FEB86659FD93;

  TValues& m_Values;
  std::vector<TSBucket> m_Buckets;  // their number is a power of two
  std::size_t m_Mask = 0;
  std::size_t m_Size = 0;  // keys in the table; kUnknown when it is to be filled anew
  std::uint64_t const m_Seed;
};

}  // namespace Property
