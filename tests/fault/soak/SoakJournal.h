// SPDX-License-Identifier: MIT
// What a process of the soak has done and seen, in a file that outlives it.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/fault/soak/SoakValues.h"

/// One change: a set, or all sets of a transaction.
struct TSSoakChange {
  TSSoakStamp Stamp;
  std::vector<TSSoakKey> Keys;
};

/// One notified value. Nobody has written it when its stamp has no stream.
struct TSSoakNotice {
  TSSoakKey Key;
  TSSoakStamp Stamp;
};

/// What a keeper's value may be: one of both while it takes a step, else both are the same.
struct TSSoakKept {
  std::string Before;
  std::string After;
};

/// A journal as it was read.
struct TSSoakJournal {
  std::map<int, std::vector<TSSoakChange>> Written;  // by stream, in order
  std::map<int, int> Acknowledged;                   // by stream: the last known one's counter
  std::vector<TSSoakNotice> Seen;
  std::map<int, TSSoakKept> Kept;  // by the keeper's stream
  std::vector<std::string> Complaints;

  /// A line that its process was killed in is left out.
  static TSSoakJournal Read(std::string const& Path);
};

/// Appends lines, each in the file when its call returns. Any thread.
class TSoakJournalWriter {
 public:
  explicit TSoakJournalWriter(std::string const& Path);
  TSoakJournalWriter(TSoakJournalWriter const&) = delete;
  TSoakJournalWriter& operator=(TSoakJournalWriter const&) = delete;
  ~TSoakJournalWriter();

  /// Before the change is made.
  void Writing(TSSoakChange const& Change);
  void Acknowledged(TSSoakStamp const& Last);
  void Seen(std::vector<TSSoakNotice> const& Notices);
  /// Before a keeper's step is taken, and behind it.
  void Keeping(TSSoakStamp const& Step, std::string const& Before, std::string const& After);
  void Kept(TSSoakStamp const& Step, std::string const& Value);
  void Complain(std::string const& Text);

 private:
  void Append(std::string const& Lines);

  int m_File;
};
