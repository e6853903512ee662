// SPDX-License-Identifier: MIT
// Makes the database library's operations on files fail on demand, and lets a test watch them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace DiskFaults {

enum class TEOperation { eRead, eWrite, eTruncate, eSync, eCreate, eDelete };

struct TSOperation {
  TEOperation Kind;
  std::string const& File;     ///< without its folder
  std::int64_t Place = 0;      ///< of a write; the new size of a truncation
  std::string_view Data = {};  ///< of a write
  bool SyncsFolder = false;    ///< of a deletion
};

/// Syncs succeed from now on without waiting for the disk.
void SkipSyncs();

/// Asked before each operation; a result other than 0 is the operation's failure.
using TWatcher = std::function<int(TSOperation const&)>;

/// Databases opened from now on, in this process, are under control. Called once.
void Install();

/// Every write fails as it does on a full disk.
void FillDisk();
/// The files of the databases take up to so many bytes; a write beyond that fails as it does on a
/// full disk.
void LimitDisk(std::int64_t Bytes);
/// Every write and every sync fails as it does on a broken disk.
void BreakDisk();
/// Every sync fails as it does on a broken disk; writes succeed.
void BreakSync();
/// Writes and syncs succeed again.
void Repair();

/// A null function ends the watching.
void Watch(TWatcher Watcher);

/// Successful syncs so far.
int SyncCount();

}  // namespace DiskFaults
