// SPDX-License-Identifier: MIT
// Proves from what a round has left behind that nothing was lost, doubled, torn or reordered.
#pragma once

#include <cstddef>
#include <map>
#include <tuple>
#include <vector>

#include "tests/fault/soak/SoakRecord.h"

/// Refers to the record, which must outlive it.
class TSoakChecker {
 public:
  explicit TSoakChecker(TSSoakRecord const& Record);

  /// Throws std::runtime_error with the first violation and its evidence.
  ///  - No process has complained.
  ///  - Each stream's changes are in the history once, whole and in their order, without a gap: all
  ///    that were acknowledged, and all of a process that was not killed.
  ///  - Each entry of the history was written by somebody, and names the value before it.
  ///  - A listener's notifications are the history from one place on. Each interruption may have
  ///    cost it one piece, in place of which it is told what has changed in sum.
  ///    With relaxed durability it may also have seen what the server had not stored when it died:
  ///    that is in the history later, unless its writer was killed too.
  ///  - The database holds what the history ends with, and the processes' stores hold the same.
  void Check();

  /// Written, acknowledged and checked.
  TSSoakCounts const& get_Counts() const { return m_Counts; }

 private:
  // The place in the history of the last value that is known of a key.
  using TCPlaces = std::map<TSSoakKey, long>;

  // A listener's way through the history.
  struct TSWalk {
    TSSoakLife const& Life;
    long Place = -1;    // of the last entry in effect
    TCPlaces Values;    // of what it holds; -1: taken back
    TCPlaces Furthest;  // of what it was last told, but for what was taken back
    unsigned Jumps = 0;
    std::size_t Death = 0;  // of the server, the last that has taken something back
  };

  void Index();
  void CheckComplaints() const;
  void CheckHistory() const;
  void CheckTransaction(std::size_t First, std::size_t Behind, std::map<int, int>& Last) const;
  void CheckEnds(std::map<int, int> const& Last) const;
  void CheckFormer() const;
  void CheckKept() const;
  void CheckKept(TSSoakLife const& Life, int Stream, TSSoakKept const& Kept,
                 std::string const& Last) const;
  void CheckStores() const;

  void CheckListener(TSSoakLife const& Life);
  std::size_t Jump(TSWalk& Walk, std::size_t Notice) const;
  std::size_t JumpSomewhere(TSWalk& Walk, std::size_t Notice) const;
  long FindPlace(TSSoakNotice const& Notice) const;
  bool IsTakenBack(TSSoakNotice const& Notice) const;
  static long LastPlace(TCPlaces const& Values);
  bool IsState(TCPlaces const& Values, long Place) const;
  bool EndsTransaction(long Place) const;
  long NextChange(TSSoakKey const& Key, long Place) const;
  bool FallBack(TSWalk& Walk, long Behind) const;

  TSSoakRecord const& m_Record;
  std::map<int, TSSoakLife const*> m_Writers;  // by stream
  // Places in the history: of each value, and of each key's values in order.
  std::map<std::tuple<TSSoakKey, int, int>, long> m_Places;
  std::map<TSSoakKey, std::vector<long>> m_Changes;
  TSSoakCounts m_Counts;
};
