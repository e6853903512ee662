// SPDX-License-Identifier: MIT
// A file system for the database library: the system's own, with exchanged write and sync.
#include "tests/unit/PropertyServer/DiskFaults.h"

#include <sqlite3.h>

#include <cerrno>
#include <map>

namespace {

sqlite3_vfs* g_System = nullptr;
int (*g_SystemWrite)(sqlite3_file*, void const*, int, sqlite3_int64) = nullptr;
int (*g_SystemSync)(sqlite3_file*, int) = nullptr;

int g_WriteResult = SQLITE_OK;
int g_SyncResult = SQLITE_OK;
int g_SyncCount = 0;

int Write(sqlite3_file* File, void const* Bytes, int Count, sqlite3_int64 Offset) {
  if (g_WriteResult != SQLITE_OK) {
    errno = g_WriteResult == SQLITE_FULL ? ENOSPC : EIO;
    return g_WriteResult;
  }
  return g_SystemWrite(File, Bytes, Count, Offset);
}

int Sync(sqlite3_file* File, int Flags) {
  if (g_SyncResult != SQLITE_OK) {
    errno = EIO;
    return g_SyncResult;
  }
  ++g_SyncCount;
  return g_SystemSync(File, Flags);
}

// The system has several tables of methods, which all write and sync alike.
int Open(sqlite3_vfs*, char const* Name, sqlite3_file* File, int Flags, int* OutFlags) {
  static std::map<sqlite3_io_methods const*, sqlite3_io_methods> Exchanged;
  int const Result = g_System->xOpen(g_System, Name, File, Flags, OutFlags);
  if (Result == SQLITE_OK) {
    sqlite3_io_methods& Methods = Exchanged.emplace(File->pMethods, *File->pMethods).first->second;
    g_SystemWrite = File->pMethods->xWrite;
    g_SystemSync = File->pMethods->xSync;
    Methods.xWrite = Write;
    Methods.xSync = Sync;
    File->pMethods = &Methods;
  }
  return Result;
}

}  // namespace

void DiskFaults::Install() {
  static sqlite3_vfs FileSystem;
  g_System = sqlite3_vfs_find(nullptr);
  FileSystem = *g_System;
  FileSystem.zName = "faulty";
  FileSystem.xOpen = Open;
  sqlite3_vfs_register(&FileSystem, 1);
}

void DiskFaults::FillDisk() {
  g_WriteResult = SQLITE_FULL;
}

void DiskFaults::BreakDisk() {
  g_WriteResult = SQLITE_IOERR_WRITE;
  g_SyncResult = SQLITE_IOERR_FSYNC;
}

void DiskFaults::BreakSync() {
  g_SyncResult = SQLITE_IOERR_FSYNC;
}

void DiskFaults::Repair() {
  g_WriteResult = SQLITE_OK;
  g_SyncResult = SQLITE_OK;
}

int DiskFaults::SyncCount() {
  return g_SyncCount;
}
