// SPDX-License-Identifier: MIT
// A disk as the database used it, and what is on it when the power fails at any moment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/unit/PropertyServer/DiskFaults.h"

using TFiles = std::map<std::string, std::string>;  // contents by name

struct TSDiskOperation {
  DiskFaults::TEOperation Kind;
  std::string File;
  std::int64_t Place;
  std::string Data;
  bool SyncsFolder;
};

/// Follows the operations on a disk that keeps after a power cut what was synced: the content of a
/// file when the file was synced, its name when it is a log or a journal and was synced for the
/// first time. Of everything else any part may be there, or none.
class TCPowerCut {
 public:
  /// The files are there and synced.
  explicit TCPowerCut(TFiles const& Files);

  void Do(TSDiskOperation const& Operation);

  /// Changes with every operation after which something else is synced.
  int get_SyncCount() const { return m_Syncs; }

  /// What is there if nothing but what was synced is kept.
  TFiles Synced() const;
  /// What is there if everything is kept, as after the end of the process alone.
  TFiles Written() const;
  /// What is there if a part is kept, drawn by `Random`: any of the writes, whole, cut off or some
  /// of their sectors only, and a beginning of what happened to the names.
  TFiles Torn(std::mt19937& Random) const;

 private:
  struct TSFile {
    std::string Synced;
    std::string Written;
    std::list<TSDiskOperation> Unsynced;
    bool SyncsFolder = false;  // the next sync does
  };
  using TFile = std::shared_ptr<TSFile>;
  using TNames = std::map<std::string, TFile>;

  void SyncFolder();
  static void Apply(TNames& Names, std::pair<std::string, TFile> const& Change);

  TNames m_Names;
  TNames m_SyncedNames;
  std::vector<std::pair<std::string, TFile>> m_UnsyncedNames;  // null: deleted
  int m_Syncs = 0;
};
