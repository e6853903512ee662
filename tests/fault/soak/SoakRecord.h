// SPDX-License-Identifier: MIT
// What is known of a round when it is over.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/fault/soak/SoakJournal.h"
#include "tests/fault/soak/SoakValues.h"

/// A client from its start to its end.
struct TSSoakLife {
  std::string Name;
  bool Listens = false;
  bool Killed = false;
  unsigned Interruptions = 0;  // that may have cost it published mails
  TSSoakJournal Journal;
  std::set<std::string> Store;  // at the end, unless it was killed
};

/// One stamped value of the server's history. Nobody has written it when its stamp has no stream.
struct TSSoakEntry {
  std::uint64_t Transaction = 0;
  TSSoakNotice Value;
  std::optional<TSSoakStamp> Former;
};

/// One change of a keeper's value in the server's history.
struct TSSoakKeptEntry {
  std::uint64_t Transaction = 0;
  std::uint64_t Undoes = 0;  // the transaction that it takes back; 0 for none
  int Stream = 0;
  std::string From;
  std::string To;
};

struct TSSoakRecord {
  bool Relaxed = false;
  std::vector<TSSoakLife> Lives;
  std::vector<TSSoakEntry> History;   // oldest first
  std::vector<std::uint64_t> Deaths;  // the last transaction on the disk at each server's death
  std::set<std::string> Database;     // its values, in the form of a client's store
  std::map<TSSoakKey, TSSoakStamp> Values;   // those of them with stamps
  std::vector<TSSoakKeptEntry> KeptHistory;  // oldest first
  std::map<int, std::string> Kept;           // the keepers' values, by stream
};

struct TSSoakCounts {
  std::size_t Written = 0;       // values
  std::size_t Acknowledged = 0;  // values
  std::size_t Checked = 0;       // entries of histories and notifications
  std::size_t ServerKills = 0;
  std::size_t ClientKills = 0;
  std::size_t Stops = 0;
  std::size_t Cuts = 0;

  void Add(TSSoakCounts const& More);
  std::string ToText() const;
};
