// SPDX-License-Identifier: MIT
// Which entries of the history are values that have no other place yet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <vector>

#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// How many bytes of values may stand in the history alone, counting 256 for each entry beside its
/// text. Whatever exceeds one of them is moved, the oldest first.
struct TSUnmovedLimits {
  std::size_t Forgotten = std::size_t{128} << 10;  ///< that are no history any more
  std::size_t All = std::size_t{4} << 20;
};

/// The entries beyond those whose values were moved to their places, as far as they have a text.
/// The newest of each place is its value, unless that was stored elsewhere after it.
///
/// What is changed is undone unless it is committed. Used by one thread.
class TCUnmovedValues {
 public:
  TCUnmovedValues();

  /// The entry, which is newer than all others, becomes the value of `Place`; its text has so many
  /// bytes.
  void Add(long long Entry, TCPropertyPlace const& Place, std::size_t Text);
  /// The value of `Place` stands elsewhere from now on, or there is none any more. Returns the
  /// entry that was it until then; 0 for none.
  long long Overtake(TCPropertyPlace const& Place);

  /// The entry that is the value of `Place`; 0 for none.
  long long Find(TCPropertyPlace const& Place) const;
  /// The first entry beyond that one, or the greatest number when there is none.
  long long FirstBeyond(long long Entry) const;
  /// Those beyond `From`, up to `To`, that are values.
  std::vector<long long> Values(long long From, long long To) const;
  /// The bytes beyond `From`, up to `To`, as they count for the limits.
  std::size_t Measure(long long From, long long To) const;
  /// How far one may go from `From` towards `To` within so many bytes; one entry at least.
  long long LastWithin(std::size_t Bytes, long long From, long long To) const;

  /// What was changed stands, and the entries up to `Moved` are of no concern any more.
  void Commit(long long Moved) noexcept;
  /// All is as it was at the last commit.
  void Undo() noexcept;

 private:
  struct TSHash {
    std::size_t operator()(TCPropertyPlace const& Place) const noexcept;
    std::uint64_t Seed;
  };
  struct TSPlace {
    long long Value = 0;      // the entry that is its value
    std::size_t Entries = 0;  // of m_Entries that are its
  };
  using TCPlaces = std::unordered_map<TCPropertyPlace, TSPlace, TSHash>;
  struct TSEntry {
    long long Entry;
    std::uint64_t End;  // of its text, among those of all entries that ever were
    TCPlaces::value_type* Place;
  };
  struct TSChange {
    TCPlaces::value_type* Place = nullptr;
    long long Former = 0;  // its value
    bool IsAdded = false;  // the last entry is new
  };

  std::uint64_t EndAt(long long Entry) const;
  std::deque<TSEntry>::const_iterator Beyond(long long Entry) const;
  void Leave(TCPlaces::value_type& Place) noexcept;

  TCPlaces m_Places;
  std::deque<TSEntry> m_Entries;    // in their order
  std::uint64_t m_Begin = 0;        // where the text of the first one begins
  std::vector<TSChange> m_Changes;  // since the last commit
};

}  // namespace Property
