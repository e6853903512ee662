// SPDX-License-Identifier: MIT
// Makes the database library's writes and syncs fail on demand, and counts the syncs.
#pragma once

namespace DiskFaults {

/// Databases opened from now on, in this process, are under control. Called once.
void Install();

/// Every write fails as it does on a full disk.
void FillDisk();
/// Every write and every sync fails as it does on a broken disk.
void BreakDisk();
/// Every sync fails as it does on a broken disk; writes succeed.
void BreakSync();
/// Writes and syncs succeed again.
void Repair();

/// Successful syncs so far.
int SyncCount();

}  // namespace DiskFaults
