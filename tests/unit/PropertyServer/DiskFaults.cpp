// SPDX-License-Identifier: MIT
// A file system for the database library: the system's own, with every operation under control.
#include "tests/unit/PropertyServer/DiskFaults.h"

#include <sqlite3.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <optional>
#include <utility>

namespace {

using DiskFaults::TEOperation;
using DiskFaults::TSOperation;

sqlite3_vfs* g_System = nullptr;

// The system has several tables of methods, for files that are locked and files that are not.
struct TSFile {
  sqlite3_io_methods const* Methods;
  std::string Name;
};
std::map<sqlite3_file*, TSFile> g_Files;

int g_WriteResult = SQLITE_OK;
int g_SyncResult = SQLITE_OK;
int g_SyncCount = 0;
bool g_SkipsSyncs = false;
std::optional<std::int64_t> g_Capacity;
std::map<std::string, std::int64_t> g_Sizes;  // of the files that were opened
DiskFaults::TWatcher g_Watcher;

int ResultOf(TSOperation const& Operation) {
  int Result = SQLITE_OK;
  if (Operation.Kind == TEOperation::eWrite) {
    Result = g_WriteResult;
  } else if (Operation.Kind == TEOperation::eSync) {
    Result = g_SyncResult;
  }
  if (Result == SQLITE_OK && g_Watcher) {
    Result = g_Watcher(Operation);
  }
  if (Result != SQLITE_OK) {
    errno = Result == SQLITE_FULL ? ENOSPC : EIO;
  }
  return Result;
}

// The file has this size from now on, where the disk has room for it.
int Resize(std::string const& Name, std::int64_t Size) {
  std::int64_t Others = 0;
  for (auto const& [File, Bytes] : g_Sizes) {
    Others += File == Name ? 0 : Bytes;
  }
  if (g_Capacity && Size > g_Sizes[Name] && Others + Size > *g_Capacity) {
    errno = ENOSPC;
    return SQLITE_FULL;
  }
  g_Sizes[Name] = Size;
  return SQLITE_OK;
}

std::string NameOf(char const* Path) {
  std::string const Text(Path);
  return Text.substr(Text.rfind('/') + 1);
}

int Close(sqlite3_file* File) {
  return g_Files.extract(File).mapped().Methods->xClose(File);
}

int Read(sqlite3_file* File, void* Bytes, int Count, sqlite3_int64 Offset) {
  auto const& [Methods, Name] = g_Files.at(File);
  int const Result = ResultOf({TEOperation::eRead, Name});
  return Result != SQLITE_OK ? Result : Methods->xRead(File, Bytes, Count, Offset);
}

int Write(sqlite3_file* File, void const* Bytes, int Count, sqlite3_int64 Offset) {
  auto const& [Methods, Name] = g_Files.at(File);
  std::string_view const Data(static_cast<char const*>(Bytes), static_cast<std::size_t>(Count));
  int Result = ResultOf({TEOperation::eWrite, Name, Offset, Data});
  if (Result == SQLITE_OK) {
    Result = Resize(Name, std::max(g_Sizes[Name], std::int64_t{Offset} + Count));
  }
  return Result != SQLITE_OK ? Result : Methods->xWrite(File, Bytes, Count, Offset);
}

int Truncate(sqlite3_file* File, sqlite3_int64 Size) {
  auto const& [Methods, Name] = g_Files.at(File);
  int Result = ResultOf({TEOperation::eTruncate, Name, Size, {}});
  if (Result == SQLITE_OK) {
    Result = Resize(Name, Size);
  }
  return Result != SQLITE_OK ? Result : Methods->xTruncate(File, Size);
}

int Sync(sqlite3_file* File, int Flags) {
  auto const& [Methods, Name] = g_Files.at(File);
  int const Result = ResultOf({TEOperation::eSync, Name});
  if (Result != SQLITE_OK) {
    return Result;
  }
  ++g_SyncCount;
  return g_SkipsSyncs ? SQLITE_OK : Methods->xSync(File, Flags);
}

int Delete(sqlite3_vfs*, char const* Path, int SyncFolder) {
  int const Result = ResultOf({TEOperation::eDelete, NameOf(Path), 0, {}, SyncFolder != 0});
  if (Result == SQLITE_OK) {
    g_Sizes.erase(NameOf(Path));
  }
  return Result != SQLITE_OK ? Result : g_System->xDelete(g_System, Path, SyncFolder);
}

int Create(char const* Path, int Flags) {
  int Exists = 1;
  if (Path != nullptr && (Flags & SQLITE_OPEN_CREATE) != 0) {
    g_System->xAccess(g_System, Path, SQLITE_ACCESS_EXISTS, &Exists);
    if (Exists == 0) {
      return ResultOf({TEOperation::eCreate, NameOf(Path)});
    }
  }
  return SQLITE_OK;
}

int Open(sqlite3_vfs*, char const* Path, sqlite3_file* File, int Flags, int* OutFlags) {
  static std::map<sqlite3_io_methods const*, sqlite3_io_methods> Exchanged;
  File->pMethods = nullptr;
  int Result = Create(Path, Flags);
  if (Result == SQLITE_OK) {
    Result = g_System->xOpen(g_System, Path, File, Flags, OutFlags);
  }
  if (Result == SQLITE_OK) {
    TSFile const& Opened =
        g_Files[File] = {File->pMethods, Path != nullptr ? NameOf(Path) : std::string()};
    sqlite3_int64 Size = 0;
    File->pMethods->xFileSize(File, &Size);
    g_Sizes[Opened.Name] = Size;
    sqlite3_io_methods& Methods = Exchanged.emplace(File->pMethods, *File->pMethods).first->second;
    Methods.xClose = Close;
    Methods.xRead = Read;
    Methods.xWrite = Write;
    Methods.xTruncate = Truncate;
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
  FileSystem.xDelete = Delete;
  sqlite3_vfs_register(&FileSystem, 1);
}

void DiskFaults::FillDisk() {
  g_WriteResult = SQLITE_FULL;
}

void DiskFaults::LimitDisk(std::int64_t Bytes) {
  g_Capacity = Bytes;
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
  g_Capacity.reset();
}

void DiskFaults::SkipSyncs() {
  g_SkipsSyncs = true;
}

void DiskFaults::Watch(TWatcher Watcher) {
  g_Watcher = std::move(Watcher);
}

int DiskFaults::SyncCount() {
  return g_SyncCount;
}
